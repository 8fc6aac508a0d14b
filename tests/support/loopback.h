#pragma once

#include <QtGlobal>

#include <atomic>
#include <cstddef>
#include <vector>

/// A socket that closes itself; -1 inside when there is none.
class SocketHandle
{
public:
    SocketHandle() = default;
    explicit SocketHandle(int descriptor);
    ~SocketHandle();
    SocketHandle(SocketHandle&& other) noexcept;
    SocketHandle& operator=(SocketHandle&& other) noexcept;
    SocketHandle(const SocketHandle&) = delete;
    SocketHandle& operator=(const SocketHandle&) = delete;

    int get() const { return descriptor; }
    explicit operator bool() const { return descriptor >= 0; }

private:
    int descriptor = -1;
};

/// TCP on 127.0.0.1.
namespace Loopback {

/// Listens on a free port.
SocketHandle listen(int backlog);
SocketHandle accept(const SocketHandle& listener);
SocketHandle connect(quint16 port);
quint16 portOf(const SocketHandle& socket);

/// Whether a read (or an accept) would return at once.
bool isReadable(const SocketHandle& socket);

/// Writes everything, waiting for a slow reader until @p ending; whether it did.
bool sendAll(const SocketHandle& socket, const char* data, std::ptrdiff_t size, const std::atomic<bool>& ending);

/// A port on which nobody listens: a connection to it is refused.
quint16 refusedPort();

/// A port whose connections are neither accepted nor refused, as those of a host that is gone: the queue of waiting
/// connections is full and the system drops what comes.
class UnreachablePort
{
public:
    UnreachablePort();
    quint16 port() const;

private:
    SocketHandle listener;
    std::vector<SocketHandle> waiting;
};

} // namespace Loopback
