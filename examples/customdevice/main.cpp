// A device of the host's own: a class that hands out frames, here the pictures of a raw H.264 file, again and again.
//
//     customdevice FILE.h264 WIDTH HEIGHT
//
// The file has an access unit delimiter before every picture:
// ffmpeg -i clip.mp4 -c:v libx264 -bf 0 -x264-params aud=1 FILE.h264
#include <core_live/livevideowidget.h>
#include <devnet/xnetdevice.h>
#include <vantor.h>

#include <QApplication>
#include <QDateTime>
#include <QFile>
#include <QMutex>
#include <QSize>
#include <QThread>

#include <algorithm>
#include <cstring>

namespace {

constexpr int frameMs = 40;

/// The file's pictures, Annex B.
QVector<QByteArray> readPictures(const QString& fileName)
{
    const QByteArray delimiter("\0\0\0\1\x09", 5);
    QFile file(fileName);
    QVector<QByteArray> pictures;
    if (!file.open(QIODevice::ReadOnly))
        return pictures;
    const QByteArray stream = file.readAll();
    for (int begin = stream.indexOf(delimiter); begin >= 0;) {
        const int end = stream.indexOf(delimiter, begin + 1);
        pictures.append(stream.mid(begin, end < 0 ? -1 : end - begin));
        begin = end;
    }
    return pictures;
}

/// Whether a picture brings its sequence parameter set, as key frames do.
bool isKeyFrame(const QByteArray& picture)
{
    for (int at = picture.indexOf(QByteArray("\0\0\1", 3)); at >= 0;
         at = picture.indexOf(QByteArray("\0\0\1", 3), at + 3))
        if (at + 3 < picture.size() && (picture.at(at + 3) & 0x1f) == 7)
            return true;
    return false;
}

/// One channel with one stream. Every operation may be called from any thread.
class FileDevice : public XNetDevice
{
public:
    FileDevice(const QVector<QByteArray>& encoded, const QSize& size)
        : pictures(encoded)
        , pixels(size)
    {
    }

    XChannelStatus getConnectStatus() override { return XChannelStatus_Connected; }
    QString getAlias() override { return "file"; }
    XTransportProtocol getStreamProtocol() override { return XTransportProtocol_Rta; }
    int getChannelCount() override { return 1; }
    int getStreamCount() override { return 1; }
    int getStreamCountPerChannel() override { return 1; }

    XRetError enableMediaTransmit(int channel, int stream, bool enable) override
    {
        const QMutexLocker lock(&mutex);
        if (channel != 0 || stream != 0)
            return XRet::BadParameter;
        if (enable && isOn)
            return XRet::AlreadyEnabled;
        isOn = enable;
        nextAt = QDateTime::currentMSecsSinceEpoch();
        return XRet::Ok;
    }

    XRetError readFrame(int, int, XFrameHeader* frame, int timeout) override
    {
        if (!waitForNext(timeout))
            return XRet::Timeout;
        const QMutexLocker lock(&mutex);
        const QByteArray& picture = pictures.at(number % pictures.size());
        *frame = XFrameHeader();
        frame->frameType = isKeyFrame(picture) ? XFrameHeader::VideoKeyFrame : XFrameHeader::LastVideoFrame;
        frame->codecId = 0; // H.264
        frame->width = static_cast<std::uint32_t>(pixels.width());
        frame->height = static_cast<std::uint32_t>(pixels.height());
        frame->timestamp = static_cast<std::uint64_t>(nextAt);
        frame->length
            = std::min<std::uint32_t>(static_cast<std::uint32_t>(picture.size()), XFrameHeader::largestPayload);
        // The buffer is larger than the record; the payload begins inside the record.
        std::memcpy(reinterpret_cast<char*>(frame) + offsetof(XFrameHeader, data), picture.constData(), frame->length);
        nextAt += frameMs;
        ++number;
        return XRet::Ok;
    }

    XRetError getCodecInfo(int, int, XVideoEncPara& video, XAudioEncPara& audio) override
    {
        video = XVideoEncPara();
        video.codec = 1; // H.264
        video.width = pixels.width();
        video.height = pixels.height();
        audio = XAudioEncPara(); // no sound
        return XRet::Ok;
    }

private:
    /// False when no picture is due within the time, or nobody asked for the stream.
    bool waitForNext(int timeout)
    {
        mutex.lock();
        const qint64 wait = isOn ? nextAt - QDateTime::currentMSecsSinceEpoch() : timeout + 1;
        mutex.unlock();
        if (wait > 0)
            QThread::msleep(static_cast<unsigned long>(std::min<qint64>(wait, timeout)));
        return wait <= timeout;
    }

    const QVector<QByteArray> pictures;
    const QSize pixels;
    QMutex mutex;
    bool isOn = false;
    int number = 0;
    qint64 nextAt = 0;
};

int show(const QSharedPointer<XNetDevice>& device)
{
    LiveVideoWidget video(device->getStreamProtocol());
    video.setVideoMode(VideoMode_Opengl);
    video.resize(960, 540);
    video.show();
    if (!video.init(device, 0, 1) || !video.start())
        return 1;
    video.playStart(0);
    return QApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QVector<QByteArray> pictures = readPictures(arguments.value(1));
    if (arguments.size() != 4 || pictures.isEmpty())
        qFatal("usage: customdevice FILE.h264 WIDTH HEIGHT");

    Vantor::init();
    const int result = show(
        QSharedPointer<XNetDevice>(new FileDevice(pictures, QSize(arguments.at(2).toInt(), arguments.at(3).toInt()))));
    Vantor::release();
    return result;
}
