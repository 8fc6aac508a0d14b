#include "devnet/hostlookup.h"

#include "devnet/socketlibrary.h"
#include "devnet/stopsignal.h"

#include <QRegularExpression>

#include <atomic>
#include <memory>
#include <thread>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <netdb.h>
#endif

namespace {

constexpr std::chrono::milliseconds step{10};

bool isNumeric(const QString& host)
{
    static const QRegularExpression ipV4(QStringLiteral("^[0-9.]+$"));
    return host.contains(':') || ipV4.match(host).hasMatch();
}

} // namespace

void HostLookup::resolve(const std::string& host)
{
    SocketLibrary::start();
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, nullptr, &found) == 0)
        freeaddrinfo(found);
}

QString HostLookup::nameIn(const QString& address)
{
    static const QRegularExpression pattern(
        QStringLiteral("^[^:/]+://(?:[^/?#]*@)?(\\[[^\\]]*\\]|[^/?#:@]*)(?::[^/?#]*)?(?:[/?#]|$)"));
    const QString host = pattern.match(address).captured(1);
    return isNumeric(host) ? QString() : host;
}

bool HostLookup::waitForAnswer(const QString& address, const StopSignal& stop, const Resolver& resolver)
{
    const std::string host = nameIn(address).toStdString();
    if (host.empty())
        return true;
    const auto answered = std::make_shared<std::atomic<bool>>(false);
    std::thread([host, resolver, answered] {
        resolver(host);
        *answered = true;
    }).detach();
    while (!*answered) {
        if (stop.waitUntil(std::chrono::steady_clock::now() + step))
            return false;
    }
    return true;
}

bool HostLookup::waitForAnswer(const QString& address, const StopSignal& stop)
{
    return waitForAnswer(address, stop, [](const std::string& host) { resolve(host); });
}
