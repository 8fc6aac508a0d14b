#pragma once

#include <QString>

#include <functional>
#include <memory>

/// A loopback port in front of a server, which can be made to fail as a bad network does.
///
/// It passes bytes both ways, on a thread of its own, until it has sent a client as many as it was told to; counting
/// begins anew with every connection. Without a server behind it, it accepts everybody, takes whatever they send and
/// never answers. Called from any thread.
class TcpProxy
{
public:
    /// @p target is a port of 127.0.0.1; 0 for nobody, a server that never answers.
    explicit TcpProxy(quint16 target = 0);

    /// As above; @p edit may change the bytes that are about to be sent to a client, in place. Called on the proxy's
    /// thread.
    using Edit = std::function<void(char* bytes, size_t count)>;
    TcpProxy(quint16 target, Edit edit);

    /// Closes every connection.
    ~TcpProxy();
    TcpProxy(const TcpProxy&) = delete;
    TcpProxy& operator=(const TcpProxy&) = delete;

    quint16 port() const;

    /// @p url with this proxy's port in place of its own.
    QString url(const QString& url) const;

    /// After that many bytes towards a client nothing more reaches it, in mid-packet if need be, while its connection
    /// stays open. Connections past that number stop at once.
    void stallAfter(qint64 bytes);

    /// After that many bytes towards a client its connection is closed.
    void cutAfter(qint64 bytes);

    /// No limit any more; what was held back flows on.
    void resume();

    /// How many clients have been accepted so far.
    int connections() const;

    /// How many bytes all clients together have been sent.
    qint64 bytesSent() const;

private:
    class Worker;
    std::unique_ptr<Worker> worker;
};
