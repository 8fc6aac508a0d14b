#include "support/loopback.h"

#include <utility>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int fullBacklog = 4;

sockaddr_in addressOf(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

bool waitFor(const SocketHandle& socket, short events, int milliseconds)
{
    pollfd handle{socket.get(), events, 0};
    return socket && poll(&handle, 1, milliseconds) > 0;
}

SocketHandle newSocket(int extra = 0) { return SocketHandle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | extra, 0)); }

bool connectTo(const SocketHandle& socket, quint16 port)
{
    const sockaddr_in address = addressOf(port);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

SocketHandle boundSocket()
{
    SocketHandle socket = newSocket();
    const sockaddr_in address = addressOf(0);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return SocketHandle();
    return socket;
}

} // namespace

SocketHandle::SocketHandle(int socket)
    : descriptor(socket)
{
}

SocketHandle::~SocketHandle()
{
    if (descriptor >= 0)
        ::close(descriptor);
}

SocketHandle::SocketHandle(SocketHandle&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1))
{
}

SocketHandle& SocketHandle::operator=(SocketHandle&& other) noexcept
{
    std::swap(descriptor, other.descriptor);
    return *this;
}

SocketHandle Loopback::listen(int backlog)
{
    SocketHandle socket = boundSocket();
    if (!socket || ::listen(socket.get(), backlog) != 0)
        qFatal("Loopback: no port to listen on");
    return socket;
}

SocketHandle Loopback::accept(const SocketHandle& listener)
{
    return SocketHandle(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

SocketHandle Loopback::connect(quint16 port)
{
    SocketHandle socket = newSocket();
    return connectTo(socket, port) ? std::move(socket) : SocketHandle();
}

quint16 Loopback::portOf(const SocketHandle& socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

bool Loopback::isReadable(const SocketHandle& socket) { return waitFor(socket, POLLIN, 0); }

bool Loopback::sendAll(const SocketHandle& socket, const char* data, std::ptrdiff_t size,
                       const std::atomic<bool>& ending)
{
    while (size > 0 && !ending) {
        if (!waitFor(socket, POLLOUT, 10))
            continue;
        const ssize_t sent = ::send(socket.get(), data, static_cast<std::size_t>(size), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return false;
        data += sent;
        size -= sent;
    }
    return size == 0;
}

quint16 Loopback::refusedPort() { return portOf(boundSocket()); }

Loopback::UnreachablePort::UnreachablePort()
    : listener(Loopback::listen(0))
{
    for (int i = 0; i < fullBacklog; ++i) {
        waiting.push_back(newSocket(SOCK_NONBLOCK));
        connectTo(waiting.back(), port());
    }
}

quint16 Loopback::UnreachablePort::port() const { return portOf(listener); }
