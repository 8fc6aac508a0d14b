#include "core_video/urladdress.h"

#include "core_videobase/abstractvideothread.h"

#include <QFileInfo>
#include <QUrl>

namespace {

/// The name of a device as its input format wants it.
QString captureUrl(const QString& format, const QString& name, const QString& size, int frameRate)
{
    if (format == "dshow")
        return "video=" + name;
    if (format == "v4l2" && !name.contains('/'))
        return "/dev/" + name;
    // The graph of a generated picture is its own address; a bare name takes the asked size and rate.
    if (format == "lavfi" && !name.contains('=') && !name.contains(','))
        return QString("%1=size=%2:rate=%3").arg(name, size).arg(frameRate > 0 ? frameRate : 25);
    return name;
}

UrlAddress captureAddress(const QString& text, const QString& format)
{
    UrlAddress address;
    QString name;
    AbstractVideoThread::checkCameraUrl(text, name, address.size, address.frameRate);
    address.type = name.isEmpty() ? FFmpegHelper::Source_Unknown : FFmpegHelper::Source_Device;
    address.inputFormat = format;
    address.url = captureUrl(format, name, address.size, address.frameRate);
    address.isPaced = format == "lavfi"; // computed as fast as it is read
    return address;
}

UrlAddress fileAddress(const QString& path)
{
    UrlAddress address;
    if (path.isEmpty()) // "file://" and what is no address behind it
        return address;
    address.type = FFmpegHelper::Source_File;
    address.url = path;
    address.isPaced = true;
    return address;
}

UrlAddress networkAddress(const QString& text)
{
    UrlAddress address;
    address.type = FFmpegHelper::Source_Network;
    address.url = text;
    // The test knows TCP and the default port of RTSP; other schemes have ports, or no TCP, of their own.
    address.isTested = text.startsWith("rtsp://") || !text.contains("://");
    return address;
}

bool looksLikePath(const QString& text)
{
    return text.contains('/') || text.contains('\\') || !QFileInfo(text).suffix().isEmpty();
}

} // namespace

UrlAddress UrlAddress::parse(const QString& text, const QString& captureFormat)
{
    if (text.isEmpty())
        return {};
    if (QFileInfo(text).isFile())
        return fileAddress(text);
    if (text.contains('|'))
        return captureAddress(text, captureFormat);
    if (text.startsWith("file:"))
        return fileAddress(QUrl(text).toLocalFile());
    if (text.contains("://") || text.contains('@'))
        return networkAddress(text);
    return looksLikePath(text) ? fileAddress(text) : UrlAddress{};
}

QString UrlAddress::platformCaptureFormat()
{
#if defined(Q_OS_WIN)
    return "dshow";
#elif defined(Q_OS_MACOS)
    return "avfoundation";
#else
    return "v4l2";
#endif
}
