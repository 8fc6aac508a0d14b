// Addresses as users type them: taken apart, escaped, tested, and shown without the secrets in them.

#include "core_ffmpeg/ffmpeghelper.h"
#include "core_video/urladdress.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/shownaddress.h"
#include "devnet/mediasourceaddress.h"
#include "fuzz/fuzzing.h"
#include "qttoolkit/quihelper.h"

#include <QHostAddress>
#include <QUrl>

namespace {
constexpr int shortestSecret = 3; // shorter ones are in every other text by chance

const char* const schemes[] = {"rtsp://", "", "http://", "https://", "rtsps://", "rtmp://", "srt://", "RTSP://"};

struct Address
{
    QString scheme;
    QString user;
    QString password;
    QString rest; // host, port and path; no "@", since the last one ends the credentials

    QString text() const { return scheme + user + ':' + password + '@' + rest; }
};

Address takeAddress(FuzzInput& input)
{
    Address address;
    address.scheme = QLatin1String(schemes[input.byte() % (sizeof schemes / sizeof *schemes)]);
    address.user = input.line().remove(':');
    address.password = input.line();
    address.rest = input.line().remove('@');
    return address;
}

/// Without a scheme, "a://b:c@host" begins with one after all.
bool looksLikeScheme(const Address& address) { return address.scheme.isEmpty() && address.password.startsWith("//"); }

bool isSecretIn(const QString& secret, const QString& shown, const QString& beside)
{
    return secret.size() >= shortestSecret && shown.contains(secret) && !beside.contains(secret);
}

void requireHidden(const Address& address)
{
    if (looksLikeScheme(address))
        return;
    const QString beside = address.scheme + "***@" + address.rest;
    const QString shown = shownAddress(address.text());
    require(!isSecretIn(address.password, shown, beside), "the password is not shown");
    require(!isSecretIn(address.user, shown, beside), "the user is not shown");
    QString error;
    const auto source = MediaSourceAddress::parse(address.text(), &error);
    if (source && source->kind == MediaSourceAddress::Url)
        require(!isSecretIn(address.password, source->display(), beside), "a device does not show the password");
}

/// What is escaped is what was typed.
void requireEscaped(const Address& address)
{
    const bool isTyped = !address.user.isEmpty() || address.scheme == "rtsp://";
    const bool isBare = address.scheme.isEmpty() && !address.text().contains("://");
    if (!isTyped || !(isBare || address.scheme == "rtsp://"))
        return;
    const QString encoded = FFmpegHelper::encodeUrl(address.text());
    require(encoded.startsWith("rtsp://") && encoded.endsWith('@' + address.rest), "the host stays");
    const QString credentials = encoded.mid(7, encoded.lastIndexOf('@') - 7);
    const auto decoded = [](const QString& part) { return QUrl::fromPercentEncoding(part.toLatin1()); };
    require(decoded(credentials.section(':', 0, 0)) == address.user, "the user is escaped and no more");
    require(decoded(credentials.section(':', 1)) == address.password, "the password is escaped and no more");
}

void requireQueryHidden(FuzzInput& input)
{
    static const char* const names[]
        = {"user", "username", "usr", "pass", "passwd", "password", "pwd", "token", "PASSWORD"};
    const QString name = QLatin1String(names[input.byte() % (sizeof names / sizeof *names)]);
    const QString secret = input.line().remove('&');
    const QString before = "http://host/" + input.line() + (input.byte() % 2 ? '?' : '&');
    const QString shown = shownAddress(before + name + '=' + secret);
    require(!isSecretIn(secret, shown, before + name + "=***"), "what a query item says is not shown");
}

/// Only the loopback is really asked.
void test(const QString& text)
{
    require(FFmpegHelper::checkUrl(text, 0) == !text.isEmpty(), "without time every address passes");
    const QString host = QUIHelper::urlToIp(text);
    require(!host.contains('@') && !host.contains('/'), "a host is a host alone");
    if (QHostAddress(host).isLoopback())
        FFmpegHelper::checkUrl(text, 1);
}

void parse(const QString& text)
{
    for (const char* format : {"v4l2", "lavfi", "dshow"}) {
        const UrlAddress address = UrlAddress::parse(text, format);
        require(address.type == FFmpegHelper::Source_Unknown || !address.inputFormat.isEmpty()
                    || !address.url.isEmpty(),
                "what is known has an address");
    }
    QString name;
    QString size;
    int rate = 0;
    AbstractVideoThread::checkCameraUrl(text, name, size, rate);
    require(!name.contains('|'), "the name ends at the first bar");
    shownAddress(text);
    FFmpegHelper::encodeUrl(text);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    switch (input.byte() % 4) {
    case 0: {
        const Address address = takeAddress(input);
        requireHidden(address);
        requireEscaped(address);
        parse(address.text());
        break;
    }
    case 1:
        requireQueryHidden(input);
        break;
    default: {
        const QString text = QString::fromUtf8(input.rest());
        parse(text);
        test(text);
    }
    }
    return 0;
}
