#include "core_ffmpeg/ffmpeghelper.h"

#include "core_ffmpeg/capturedevices.h"
#include "core_ffmpeg/ffmpegcompat.h"
#include "core_ffmpeg/ffmpegptr.h"
#include "core_ffmpeg/mediatime.h"
#include "core_videobase/abstractvideothread.h"
#include "core_videobase/clock.h"
#include "qttoolkit/quihelper.h"

#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QLoggingCategory>
#include <QMutex>
#include <QNetworkSession>
#include <QSharedPointer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

#include <atomic>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace {
Q_LOGGING_CATEGORY(lcHelper, "vantor.ffmpeg.helper")

constexpr int defaultRtspPort = 554;
constexpr int longestPort = 6;
constexpr qint64 longestDelayUs = 999999;

std::atomic<AVPixelFormat> surfaceFormat{AV_PIX_FMT_NONE};

int portOf(const QString& url)
{
    const QString tail = url.mid(url.lastIndexOf(':') + 1).left(longestPort);
    const int port = tail.section('/', 0, 0).toInt();
    return port == 0 ? defaultRtspPort : port;
}

/// A socket that connects registers this type, and Qt writes a warning where two threads do so for the first time at
/// the same moment.
void registerSocketTypes()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    static const int type = qRegisterMetaType<QSharedPointer<QNetworkSession>>();
    QT_WARNING_POP
    Q_UNUSED(type)
}

bool isRtspOrBare(const QString& url)
{
    return url.startsWith("rtsp://") || !url.contains("://");
}

bool isNothingToReport(int result) { return result >= 0 || result == AVERROR(EAGAIN) || result == AVERROR_EOF; }

void reportDecodeError(AbstractVideoThread* thread, bool isVideo, const char* step, int result)
{
    if (thread)
        thread->debug(isVideo ? "视频解码" : "音频解码",
                      QString("步骤: %1 原因: %2").arg(step, FFmpegHelper::getError(result)));
}

/// Opens an address for the sake of what the input format writes to FFmpeg's log; the open is expected to fail.
void openForListing(const QString& format, const QString& address, const char* option)
{
    CaptureDevices::registerAll();
    FormatInputPtr context(avformat_alloc_context());
    AvDictionary options;
    if (option)
        options.set(option, "true");
    // A failed open frees the context, a successful one may replace it.
    AVFormatContext* raw = context.release();
    avformat_open_input(&raw, address.toUtf8().constData(), av_find_input_format(format.toUtf8().constData()),
                        options.address());
    context.reset(raw);
}

/// Where the picture's point (x, y) goes: plane by plane, clockwise.
void rotatePlane(int angle, const quint8* src, int srcLine, quint8* dst, int dstLine, int width, int height)
{
    for (int y = 0; y < height; ++y) {
        const quint8* row = src + y * static_cast<qptrdiff>(srcLine);
        for (int x = 0; x < width; ++x) {
            qptrdiff target = 0;
            if (angle == 90)
                target = x * static_cast<qptrdiff>(dstLine) + (height - 1 - y);
            else if (angle == 180)
                target = (height - 1 - y) * static_cast<qptrdiff>(dstLine) + (width - 1 - x);
            else
                target = (width - 1 - x) * static_cast<qptrdiff>(dstLine) + y;
            dst[target] = row[x];
        }
    }
}

} // namespace

void FFmpegHelper::initLib()
{
    static QMutex mutex;
    static bool done = false;
    const QMutexLocker lock(&mutex);
    if (done)
        return;
    avformat_network_init();
    av_log_set_level(AV_LOG_QUIET);
    done = true;
}

bool FFmpegHelper::checkSource(AbstractVideoThread* thread, int type, const QString& url, int timeout)
{
    QString reason;
    if (url.isEmpty())
        reason = "地址为空";
    else if (type == Source_Network && !checkUrl(url, timeout))
        reason = "网络地址不可达";
    else if (type == Source_File && !QFile::exists(url))
        reason = "文件不存在";
    else if (type == Source_Unknown)
        reason = "未知地址";

    if (reason.isEmpty())
        return true;
    if (thread)
        thread->debug("地址有误", "原因: " + reason);
    return false;
}

bool FFmpegHelper::checkUrl(const QString& url, int timeout)
{
    if (url.isEmpty()) {
        qCCritical(lcHelper).noquote() << "url is empty";
        return false;
    }
    if (timeout < 1)
        return true;

    registerSocketTypes();
    QEventLoop loop;
    QTcpSocket socket;
    QObject::connect(&socket, &QTcpSocket::connected, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
    socket.connectToHost(QUIHelper::urlToIp(url), static_cast<quint16>(portOf(url)));
    loop.exec();
    const bool reachable = socket.state() == QAbstractSocket::ConnectedState;
    socket.abort();
    return reachable;
}

QString FFmpegHelper::encodeUrl(const QString& url)
{
    const int at = url.lastIndexOf('@');
    if (at < 1 || !isRtspOrBare(url) || QFile::exists(url))
        return url;

    const int begin = url.startsWith("rtsp://") ? int(qstrlen("rtsp://")) : 0;
    const QString credentials = url.mid(begin, at - begin);
    const QString user = credentials.section(':', 0, 0);
    const QString password = credentials.section(':', 1);
    return QString("rtsp://%1:%2@%3").arg(QString::fromLatin1(QUrl::toPercentEncoding(user)),
                                          QString::fromLatin1(QUrl::toPercentEncoding(password)), url.mid(at + 1));
}

QString FFmpegHelper::getError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

AVPixelFormat FFmpegHelper::hwPixelFormatOf(AVHWDeviceType type)
{
    switch (type) {
    case AV_HWDEVICE_TYPE_VDPAU: return AV_PIX_FMT_VDPAU;
    case AV_HWDEVICE_TYPE_VAAPI: return AV_PIX_FMT_VAAPI;
    case AV_HWDEVICE_TYPE_DXVA2: return AV_PIX_FMT_DXVA2_VLD;
    case AV_HWDEVICE_TYPE_VIDEOTOOLBOX: return AV_PIX_FMT_VIDEOTOOLBOX;
    case AV_HWDEVICE_TYPE_D3D11VA: return AV_PIX_FMT_D3D11;
    default: return AV_PIX_FMT_NONE;
    }
}

AVPixelFormat FFmpegHelper::hwPixelFormat() { return surfaceFormat; }

void FFmpegHelper::setHwPixelFormat(AVPixelFormat format) { surfaceFormat = format; }

AVPixelFormat FFmpegHelper::getFormat(AVCodecContext*, const AVPixelFormat*) { return surfaceFormat; }

void FFmpegHelper::getResolution(const AVStream* stream, int& width, int& height)
{
    width = stream->codecpar->width;
    height = stream->codecpar->height;
}

int FFmpegHelper::decode(AbstractVideoThread* thread, AVCodecContext* context, const AVPacket* packet, AVFrame* frame,
                         bool isVideo)
{
    int result = avcodec_send_packet(context, packet);
    if (!isNothingToReport(result)) {
        reportDecodeError(thread, isVideo, "avcodec_send_packet", result);
        return result;
    }
    result = avcodec_receive_frame(context, frame);
    if (!isNothingToReport(result))
        reportDecodeError(thread, isVideo, "avcodec_receive_frame", result);
    return result;
}

void FFmpegHelper::delay(Clock& clock, qint64 startTime, qint64 dts, AVRational timeBase)
{
    const qint64 due = av_sat_add64(startTime, MediaTime::microseconds(dts, timeBase));
    const qint64 wait = av_sat_sub64(due, clock.microseconds());
    if (wait > 0 && wait <= longestDelayUs)
        clock.sleep(wait);
}

void FFmpegHelper::freeFrame(AVFrame* frame) { const AvFramePtr owner(frame); }

void FFmpegHelper::freePacket(AVPacket* packet) { const AvPacketPtr owner(packet); }

QString FFmpegHelper::getPixFormatName(int format)
{
    static const QHash<int, QString> names = {
        {AV_PIX_FMT_NONE, "AV_PIX_FMT_NONE"},
        {AV_PIX_FMT_YUV420P, "AV_PIX_FMT_YUV420P"},
        {AV_PIX_FMT_YUYV422, "AV_PIX_FMT_YUYV422"},
        {AV_PIX_FMT_RGB24, "AV_PIX_FMT_RGB24"},
        {AV_PIX_FMT_BGR24, "AV_PIX_FMT_BGR24"},
        {AV_PIX_FMT_RGBA, "AV_PIX_FMT_RGBA"},
        {AV_PIX_FMT_BGRA, "AV_PIX_FMT_BGRA"},
        {AV_PIX_FMT_YUV422P, "AV_PIX_FMT_YUV422P"},
        {AV_PIX_FMT_YUVJ420P, "AV_PIX_FMT_YUVJ420P"},
        {AV_PIX_FMT_YUVJ422P, "AV_PIX_FMT_YUVJ422P"},
        {AV_PIX_FMT_UYVY422, "AV_PIX_FMT_UYVY422"},
        {AV_PIX_FMT_NV12, "AV_PIX_FMT_NV12"},
        {AV_PIX_FMT_NV21, "AV_PIX_FMT_NV21"},
        {AV_PIX_FMT_VAAPI, "AV_PIX_FMT_VAAPI"},
        {AV_PIX_FMT_VDPAU, "AV_PIX_FMT_VDPAU"},
        {AV_PIX_FMT_YVYU422, "AV_PIX_FMT_YVYU422"},
        {AV_PIX_FMT_QSV, "AV_PIX_FMT_QSV"},
        {AV_PIX_FMT_CUDA, "AV_PIX_FMT_CUDA"},
        {AV_PIX_FMT_D3D11, "AV_PIX_FMT_D3D11"},
        {AV_PIX_FMT_YUV420P10LE, "AV_PIX_FMT_YUV420P10LE"},
    };
    return names.value(format, QString::number(format));
}

QString FFmpegHelper::getVersion() { return "4.4.2"; }

void FFmpegHelper::listDevices(const QString& format)
{
    if (format == "vfwcap")
        openForListing(format, "list", nullptr);
    else
        openForListing(format, format == "dshow" ? "video=dummy" : "", "list_devices");
}

void FFmpegHelper::listOptions(const QString& format, const QString& device)
{
    openForListing(format, format == "dshow" ? "video=" + device : device, "list_options");
}

void FFmpegHelper::rotateFrame(int angle, const AVFrame* src, AVFrame* dst)
{
    if (angle != 90 && angle != 180 && angle != 270)
        return;
    const int width = src->width;
    const int height = src->height;
    rotatePlane(angle, src->data[0], src->linesize[0], dst->data[0], dst->linesize[0], width, height);
    for (int plane = 1; plane < 3; ++plane)
        rotatePlane(angle, src->data[plane], src->linesize[plane], dst->data[plane], dst->linesize[plane], width / 2,
                    height / 2);
}
