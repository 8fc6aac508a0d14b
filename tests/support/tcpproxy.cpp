#include "support/tcpproxy.h"

#include "support/loopback.h"

#include <QUrl>

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr qint64 unlimited = std::numeric_limits<qint64>::max();
constexpr int pollMs = 10;

struct Connection
{
    SocketHandle client;
    SocketHandle server;
    qint64 sent = 0;
    bool closed = false;
};

} // namespace

class TcpProxy::Worker
{
public:
    Worker(quint16 targetPort, Edit editor)
        : edit(std::move(editor))
        , target(targetPort)
        , listener(Loopback::listen(16))
        , port(Loopback::portOf(listener))
        , thread([this] { run(); })
    {
    }

    ~Worker()
    {
        ending = true;
        thread.join();
    }

    std::atomic<qint64> stallLimit{unlimited};
    std::atomic<qint64> cutLimit{unlimited};
    std::atomic<int> accepted{0};
    std::atomic<qint64> total{0};

private:
    void run()
    {
        while (!ending) {
            waitForData();
            acceptClients();
            for (Connection& connection : connections)
                serve(connection);
            const auto closed = [](const Connection& connection) { return connection.closed; };
            connections.erase(std::remove_if(connections.begin(), connections.end(), closed), connections.end());
        }
    }

    void waitForData() const
    {
        std::vector<pollfd> handles{{listener.get(), POLLIN, 0}};
        for (const Connection& connection : connections) {
            handles.push_back({connection.client.get(), POLLIN, 0});
            if (connection.server && allowance(connection) > 0)
                handles.push_back({connection.server.get(), POLLIN, 0});
        }
        poll(handles.data(), handles.size(), pollMs);
    }

    void acceptClients()
    {
        if (!Loopback::isReadable(listener))
            return;
        Connection connection;
        connection.client = Loopback::accept(listener);
        if (!connection.client)
            return;
        ++accepted;
        if (target != 0) {
            connection.server = Loopback::connect(target);
            connection.closed = !connection.server;
        }
        connections.push_back(std::move(connection));
    }

    void serve(Connection& connection)
    {
        passOn(connection.client, connection.server, sizeof buffer, connection);
        if (connection.sent >= cutLimit)
            connection.closed = true;
        const qint64 allowed = allowance(connection);
        if (!connection.closed && connection.server && allowed > 0) {
            const qint64 passed = passOn(connection.server, connection.client, allowed, connection);
            connection.sent += passed;
            total += passed;
        }
    }

    /// What may still be sent to the client before the nearer limit.
    qint64 allowance(const Connection& connection) const
    {
        return std::min(stallLimit.load(), cutLimit.load()) - connection.sent;
    }

    /// Bytes read from @p from and written to @p to, which may be nobody.
    qint64 passOn(const SocketHandle& from, const SocketHandle& to, qint64 most, Connection& connection)
    {
        if (!Loopback::isReadable(from))
            return 0;
        const std::size_t size = static_cast<std::size_t>(std::min<qint64>(most, sizeof buffer));
        const ssize_t got = recv(from.get(), buffer.data(), size, 0);
        if (got > 0 && edit && &to == &connection.client)
            edit(buffer.data(), static_cast<size_t>(got));
        if (got <= 0 || (to && !Loopback::sendAll(to, buffer.data(), got, ending))) {
            connection.closed = true;
            return 0;
        }
        return got;
    }

    const Edit edit;
    const quint16 target;
    const SocketHandle listener;
    std::vector<Connection> connections; // the thread only
    std::array<char, 16384> buffer; // the thread only
    std::atomic<bool> ending{false};

public:
    const quint16 port;

private:
    std::thread thread; // last: it uses all of the above
};

TcpProxy::TcpProxy(quint16 target)
    : TcpProxy(target, Edit())
{
}

TcpProxy::TcpProxy(quint16 target, Edit edit)
    : worker(new Worker(target, std::move(edit)))
{
}

TcpProxy::~TcpProxy() = default;

quint16 TcpProxy::port() const { return worker->port; }

QString TcpProxy::url(const QString& url) const
{
    const int at = url.lastIndexOf('@');
    const int colon = url.indexOf(':', at >= 0 ? at : url.indexOf("//"));
    const int slash = url.indexOf('/', colon);
    return url.left(colon + 1) + QString::number(port()) + (slash >= 0 ? url.mid(slash) : QString());
}

void TcpProxy::stallAfter(qint64 bytes) { worker->stallLimit = bytes; }

void TcpProxy::cutAfter(qint64 bytes) { worker->cutLimit = bytes; }

void TcpProxy::resume()
{
    worker->stallLimit = unlimited;
    worker->cutLimit = unlimited;
}

int TcpProxy::connections() const { return worker->accepted; }

qint64 TcpProxy::bytesSent() const { return worker->total; }
