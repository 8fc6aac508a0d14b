#include "support/clips.h"

#include "support/testpicture.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStringList>
#include <QVector>

namespace {

// Raised when a clip is made in another way, so that a build tree does not keep the old one.
constexpr int recipeVersion = 1;
constexpr int ffmpegMs = 120000;

/// Makes the clip at @p path; false when it could not.
using Recipe = bool (*)(const QString& path);

[[noreturn]] void fail(const QString& name) { qFatal("Clips: %s could not be made", qPrintable(name)); }

QString clip(const QString& name, Recipe make)
{
    const QDir directory(QString("%1/v%2").arg(VANTOR_TEST_CLIPS_DIR).arg(recipeVersion));
    const QString path = directory.filePath(name);
    if (QFile::exists(path))
        return path;
    directory.mkpath(".");
    QLockFile lock(path + ".lock");
    lock.setStaleLockTime(0); // a slow machine is no dead one; the lock of a dead process is noticed anyway
    lock.lock();
    if (QFile::exists(path))
        return path;
    // Complete or not there at all: a test that is ended in the middle leaves nothing that looks like a clip.
    const QString unfinished = directory.filePath("new-" + name);
    QFile::remove(unfinished);
    if (!make(unfinished) || !QFile::rename(unfinished, path))
        fail(name);
    return path;
}

bool ffmpeg(const QStringList& arguments, const QString& path, const QByteArray& input = QByteArray())
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start("ffmpeg", QStringList{"-hide_banner", "-loglevel", "error", "-y"} + arguments + QStringList{path});
    process.write(input);
    process.closeWriteChannel();
    return process.waitForFinished(ffmpegMs) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

QByteArray pictures(const QSize& size, int count)
{
    QByteArray all;
    for (int number = 0; number < count; ++number)
        all += TestPicture::i420(size, number);
    return all;
}

QStringList pictureInput(const QSize& size, int rate)
{
    return {"-f",
            "rawvideo",
            "-pixel_format",
            "yuv420p",
            "-video_size",
            QString("%1x%2").arg(size.width()).arg(size.height()),
            "-framerate",
            QString::number(rate),
            "-i",
            "-"};
}

const QStringList toneInput{"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=44100:duration=5"};
const QStringList h264{"-c:v",     "libx264", "-preset", "ultrafast", "-tune", "zerolatency",
                       "-threads", "1",       "-crf",    "20",        "-g",    "25"};
const QStringList h265{"-c:v",   "libx265", "-preset", "ultrafast",    "-crf",
                       "20",     "-g",      "25",      "-x265-params", "pools=none:frame-threads=1:log-level=none",
                       "-tag:v", "hvc1"};
const QStringList deviceH264Codec
    = h264 + QStringList{"-bf", "0",   "-x264-params", "aud=1:repeat-headers=1:scenecut=0:keyint=25:min-keyint=25",
                         "-f",  "h264"};
const QStringList deviceH265Codec{
    "-c:v",
    "libx265",
    "-preset",
    "ultrafast",
    "-crf",
    "20",
    "-f",
    "hevc",
    "-x265-params",
    "pools=none:frame-threads=1:log-level=none:aud=1:repeat-headers=1:bframes=0:scenecut=0:keyint=25:min-keyint=25"};
const QStringList aac{"-c:a", "aac", "-b:a", "64k"};
const QStringList copy{"-c", "copy"};

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool store(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool storeTwoThirds(const QString& path, const QString& whole)
{
    const QByteArray bytes = contents(whole);
    return store(path, bytes.left(bytes.size() / 3 * 2 + 1));
}

/// Two seconds of MPEG-TS whose times begin at @p second.
QByteArray tsPart(const QString& path, const QSize& size, const QStringList& codec, int second)
{
    const QString part = path + ".part.ts";
    const bool made = ffmpeg(pictureInput(size, Clips::frameRate) + codec
                                 + QStringList{"-output_ts_offset", QString::number(second)},
                             part, pictures(size, 2 * Clips::frameRate));
    const QByteArray bytes = made ? contents(part) : QByteArray();
    QFile::remove(part);
    return bytes;
}

bool makeDeviceStream(const QString& path, const QSize& size, const QStringList& codec)
{
    return ffmpeg(pictureInput(size, Clips::frameRate) + codec, path, pictures(size, Clips::frameCount));
}

bool makeDeviceSound(const QString& path, const QString& format)
{
    return ffmpeg(toneInput + QStringList{"-ar", "8000", "-ac", "1", "-f", format}, path);
}

bool storeBoth(const QString& path, const QByteArray& first, const QByteArray& second)
{
    return !first.isEmpty() && !second.isEmpty() && store(path, first + second);
}

QString fastStartMp4()
{
    return clip("fast-start.mp4", [](const QString& path) {
        return ffmpeg(QStringList{"-i", Clips::h264AacMp4()} + copy + QStringList{"-movflags", "+faststart"}, path);
    });
}

bool makeNoise(const QString& path)
{
    QRandomGenerator random(20240229);
    QVector<quint32> words(65536);
    random.fillRange(words.data(), words.size());
    return store(path, QByteArray(reinterpret_cast<const char*>(words.constData()), words.size() * 4));
}

bool makeDamaged(const QString& path)
{
    QByteArray bytes = contents(Clips::h264AnnexB());
    QRandomGenerator random(20240301);
    for (int at = bytes.size() / 10; at < bytes.size(); at += 97)
        bytes[at] = static_cast<char>(random.bounded(256));
    return store(path, bytes);
}

} // namespace

QString Clips::h264AacMp4()
{
    return clip("h264-aac.mp4", [](const QString& path) {
        return ffmpeg(pictureInput(size, frameRate) + toneInput + h264 + aac, path, pictures(size, frameCount));
    });
}

QString Clips::h264AacMkv()
{
    return clip("h264-aac.mkv", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264AacMp4()} + copy, path);
    });
}

QString Clips::h264Mp4()
{
    return clip("h264.mp4", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264AacMp4(), "-an"} + copy, path);
    });
}

QString Clips::h265Mp4()
{
    return clip("h265.mp4", [](const QString& path) {
        return ffmpeg(pictureInput(size, frameRate) + h265, path, pictures(size, frameCount));
    });
}

QString Clips::h264BFramesMp4()
{
    return clip("h264-b-frames.mp4", [](const QString& path) {
        const QStringList codec{"-c:v", "libx264", "-preset", "veryfast", "-threads", "1",           "-crf",
                                "20",   "-g",      "25",      "-bf",      "2",        "-b_strategy", "0"};
        return ffmpeg(pictureInput(size, frameRate) + codec, path, pictures(size, frameCount));
    });
}

QString Clips::h264BFramesMkv()
{
    return clip("h264-b-frames.mkv", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264BFramesMp4()} + copy, path);
    });
}

QString Clips::h264PcmaMkv()
{
    return clip("h264-pcma.mkv", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264Mp4()} + toneInput
                          + QStringList{"-c:v", "copy", "-c:a", "pcm_alaw", "-ar", "8000", "-ac", "1"},
                      path);
    });
}

QString Clips::h265Mkv()
{
    return clip("h265.mkv", [](const QString& path) { return ffmpeg(QStringList{"-i", h265Mp4()} + copy, path); });
}

QString Clips::h264Ts()
{
    return clip("h264-aac.ts", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264AacMp4()} + copy, path);
    });
}

QString Clips::h264AnnexB()
{
    return clip("h264.h264", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264AacMp4(), "-an"} + copy, path);
    });
}

QString Clips::sizeChangeTs()
{
    return clip("size-change.ts", [](const QString& path) {
        return storeBoth(path, tsPart(path, size, h264, 0), tsPart(path, otherSize, h264, 2));
    });
}

QString Clips::codecChangeTs()
{
    return clip("codec-change.ts", [](const QString& path) {
        return storeBoth(path, tsPart(path, size, h264, 0), tsPart(path, size, h265, 2));
    });
}

QString Clips::fps90Mp4()
{
    return clip("fps90.mp4",
                [](const QString& path) { return ffmpeg(pictureInput(size, 90) + h264, path, pictures(size, 90)); });
}

QString Clips::soundOnlyM4a()
{
    return clip("sound.m4a", [](const QString& path) {
        return ffmpeg(toneInput + aac + QStringList{"-t", "3"}, path);
    });
}

QString Clips::soundOnlyWav()
{
    return clip("sound.wav", [](const QString& path) {
        return ffmpeg(toneInput + QStringList{"-c:a", "pcm_alaw", "-ar", "8000", "-t", "3"}, path);
    });
}

QString Clips::yuv422Mp4()
{
    return clip("yuv422.mp4", [](const QString& path) {
        return ffmpeg(pictureInput(size, frameRate) + h264 + QStringList{"-pix_fmt", "yuv422p"}, path,
                      pictures(size, 2 * frameRate));
    });
}

QString Clips::rotatedMp4()
{
    return clip("rotated.mp4", [](const QString& path) {
        return ffmpeg(QStringList{"-i", h264Mp4()} + copy + QStringList{"-metadata:s:v", "rotate=90"}, path);
    });
}

QString Clips::oddSizeMkv()
{
    return clip("odd-size.mkv", [](const QString& path) {
        constexpr QSize oddSize(321, 241);
        return ffmpeg(pictureInput(oddSize, frameRate) + QStringList{"-c:v", "ffv1"}, path,
                      pictures(oddSize, 2 * frameRate));
    });
}

QString Clips::deviceH264()
{
    return clip("device.h264", [](const QString& path) { return makeDeviceStream(path, size, deviceH264Codec); });
}

QString Clips::deviceH264OtherSize()
{
    return clip("device-other.h264",
                [](const QString& path) { return makeDeviceStream(path, otherSize, deviceH264Codec); });
}

QString Clips::deviceH265()
{
    return clip("device.h265", [](const QString& path) { return makeDeviceStream(path, size, deviceH265Codec); });
}

QString Clips::deviceH265OtherSize()
{
    return clip("device-other.h265",
                [](const QString& path) { return makeDeviceStream(path, otherSize, deviceH265Codec); });
}

QString Clips::deviceALaw()
{
    return clip("device.alaw", [](const QString& path) { return makeDeviceSound(path, "alaw"); });
}

QString Clips::deviceMuLaw()
{
    return clip("device.mulaw", [](const QString& path) { return makeDeviceSound(path, "mulaw"); });
}

QString Clips::devicePcm()
{
    return clip("device.pcm", [](const QString& path) { return makeDeviceSound(path, "s16le"); });
}

QString Clips::truncatedMp4()
{
    return clip("truncated.mp4", [](const QString& path) { return storeTwoThirds(path, h264AacMp4()); });
}

QString Clips::truncatedFastStartMp4()
{
    return clip("truncated-fast-start.mp4", [](const QString& path) { return storeTwoThirds(path, fastStartMp4()); });
}

QString Clips::truncatedTs()
{
    return clip("truncated.ts", [](const QString& path) { return storeTwoThirds(path, h264Ts()); });
}

QString Clips::randomH264() { return clip("random.h264", makeNoise); }

QString Clips::damagedH264() { return clip("damaged.h264", makeDamaged); }

QString Clips::textMp4()
{
    return clip("text.mp4", [](const QString& path) {
        return store(path, QByteArray("This is no media at all, only a line of text.\n").repeated(200));
    });
}

QString Clips::emptyMp4()
{
    return clip("empty.mp4", [](const QString& path) { return store(path, QByteArray()); });
}
