#include "mediaproc/videoframes.h"

#include "ffmpegcommand.h"
#include "support/testpicture.h"

namespace {
constexpr int frameRate = 25;

QByteArray delimiter(int codec)
{
    return codec == VideoFrames::h264 ? QByteArray("\0\0\0\1\x09", 5) : QByteArray("\0\0\0\1\x46\x01", 6);
}

QString formatName(int codec) { return codec == VideoFrames::h264 ? "h264" : "hevc"; }

QStringList encoding(int codec, const QStringList& options)
{
    const QString encoder = codec == VideoFrames::h264 ? "libx264" : "libx265";
    return QStringList{"-c:v", encoder, "-threads", "1"} + options + QStringList{"-f", formatName(codec)};
}

QStringList parameters(int codec, const QString& own)
{
    if (codec == VideoFrames::h264)
        return {"-preset", "veryfast", "-x264-params", "aud=1:keyint=10:scenecut=0:" + own};
    return {"-preset", "ultrafast", "-x265-params",
            "aud=1:keyint=10:scenecut=0:pools=none:frame-threads=1:log-level=none:repeat-headers=1:" + own};
}

QByteArray rows(const quint8* plane, int stride, int bytes, int count)
{
    QByteArray all;
    all.reserve(bytes * count);
    for (int row = 0; row < count; ++row)
        all.append(reinterpret_cast<const char*>(plane) + static_cast<qptrdiff>(row) * stride, bytes);
    return all;
}
} // namespace

QByteArray VideoFrames::encode(int codec, const QSize& size, int count, const QStringList& options)
{
    const QString source = QString("testsrc2=size=%1x%2:rate=%3").arg(size.width()).arg(size.height()).arg(frameRate);
    const QStringList input{"-v", "error", "-f", "lavfi", "-i", source, "-frames:v", QString::number(count)};
    const CommandResult result = runCommand("ffmpeg", input + encoding(codec, options) + QStringList{"pipe:1"});
    return result.ok ? result.output : QByteArray();
}

QByteArray VideoFrames::encodeTestPictures(int codec, const QSize& size, int count, const QStringList& options)
{
    QByteArray pictures;
    for (int number = 0; number < count; ++number)
        pictures += TestPicture::i420(size, number);
    const QStringList input{"-f",
                            "rawvideo",
                            "-pixel_format",
                            "yuv420p",
                            "-framerate",
                            QString::number(frameRate),
                            "-video_size",
                            QString("%1x%2").arg(size.width()).arg(size.height())};
    const CommandResult result = runFFmpeg(input, encoding(codec, options), pictures);
    return result.ok ? result.output : QByteArray();
}

QStringList VideoFrames::plain(int codec)
{
    return parameters(codec, "bframes=0") + QStringList{"-pix_fmt", "yuv420p"};
}

QStringList VideoFrames::withBFrames(int codec)
{
    return parameters(codec, "bframes=2:b-adapt=0") + QStringList{"-pix_fmt", "yuv420p"};
}

QVector<QByteArray> VideoFrames::split(int codec, const QByteArray& video)
{
    QVector<QByteArray> frames;
    const QByteArray begin = delimiter(codec);
    int at = video.indexOf(begin);
    while (at >= 0) {
        const int next = video.indexOf(begin, at + 1);
        frames.append(video.mid(at, next < 0 ? -1 : next - at));
        at = next;
    }
    return frames;
}

QByteArray VideoFrames::decodedByFFmpeg(int codec, const QByteArray& video, const QString& pixelFormat)
{
    const CommandResult result = runFFmpeg(
        {"-f", formatName(codec)}, {"-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", pixelFormat}, video);
    return result.ok ? result.output : QByteArray();
}

QByteArray VideoFrames::planes(const _tag_yuv_frame_s& picture)
{
    const int chromaWidth = (picture.width + 1) / 2;
    const int chromaHeight = (picture.height + 1) / 2;
    return rows(picture.plane[0], picture.y_stride, picture.width, picture.height)
        + rows(picture.plane[1], picture.uv_stride, chromaWidth, chromaHeight)
        + rows(picture.plane[2], picture.uv_stride, chromaWidth, chromaHeight);
}

QByteArray VideoFrames::planesNv12(const _tag_yuv_frame_s& picture)
{
    return rows(picture.plane[0], picture.y_stride, picture.width, picture.height)
        + rows(picture.plane[1], picture.uv_stride, (picture.width + 1) / 2 * 2, (picture.height + 1) / 2);
}

QByteArray VideoFrames::pixels(const _tag_rgb_frame_s& picture)
{
    return rows(picture.data, picture.stride, picture.width * 3, picture.height);
}

int VideoFrames::bytesOf(const QSize& size)
{
    return size.width() * size.height() + (size.width() + 1) / 2 * ((size.height() + 1) / 2) * 2;
}

bool VideoFrames::isEmpty(const _tag_yuv_frame_s& picture)
{
    return !picture.plane[0] && !picture.plane[1] && !picture.plane[2] && picture.width == 0 && picture.height == 0
        && picture.y_stride == 0 && picture.uv_stride == 0;
}
