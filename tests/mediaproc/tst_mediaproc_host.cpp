// What a host of the C library sees: a program in C, and a process whose FFmpeg log stays its own.

#include "ffmpegcommand.h"
#include "mediaproc/codechandle.h"
#include "mediaproc/videoframes.h"

#include <QTest>
#include <QtEndian>

#include <atomic>
#include <cstdarg>

extern "C" {
#include <libavutil/log.h>
}

namespace {
constexpr QSize size(320, 240);
constexpr int frameCount = 12;

std::atomic<int> linesShown{0};

/// Counts what FFmpeg's own callback would have printed.
void countLine(void*, int level, const char*, va_list)
{
    if (level <= av_log_get_level())
        ++linesShown;
}

QByteArray withLengths(const QVector<QByteArray>& frames)
{
    QByteArray all;
    for (const QByteArray& frame : frames) {
        const quint32 length = qToLittleEndian(static_cast<quint32>(frame.size()));
        all.append(reinterpret_cast<const char*>(&length), sizeof length);
        all.append(frame);
    }
    return all;
}
} // namespace

class tst_MediaprocHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cProgram_decodesVideo_data();
    void cProgram_decodesVideo();
    void cProgram_decodesSound();
    void cProgram_isToldOfUnknownCodec();
    void library_leavesLogLevelToHost_data();
    void library_leavesLogLevelToHost();
    void library_tellsOfDamage_fromLevelDebugOn();
};

void tst_MediaprocHost::cProgram_decodesVideo_data()
{
    QTest::addColumn<int>("codec");
    QTest::newRow("H.264") << VideoFrames::h264;
    QTest::newRow("H.265") << VideoFrames::h265;
}

void tst_MediaprocHost::cProgram_decodesVideo()
{
    QFETCH(int, codec);
    const QByteArray video = VideoFrames::encode(codec, size, frameCount, VideoFrames::plain(codec));
    const QByteArray expected = VideoFrames::decodedByFFmpeg(codec, video, "yuv420p");
    QCOMPARE(expected.size(), frameCount * VideoFrames::bytesOf(size));
    const CommandResult result
        = runCommand(DECODEFRAMES_PROGRAM, {QString::number(codec)}, withLengths(VideoFrames::split(codec, video)));
    QVERIFY(result.ok);
    QVERIFY(result.output == expected);
    QCOMPARE(result.messages, QByteArray());
}

void tst_MediaprocHost::cProgram_decodesSound()
{
    const CommandResult result = runCommand(DECODEFRAMES_PROGRAM, {"34"}, withLengths({"\xFF\x7F\x80", "\x01"}));
    QVERIFY(result.ok);
    QCOMPARE(result.output, QByteArray("\x00\x00\x00\x00\x7C\x7D\x84\x86", 8));
}

void tst_MediaprocHost::cProgram_isToldOfUnknownCodec() { QVERIFY(!runCommand(DECODEFRAMES_PROGRAM, {"3"}).ok); }

void tst_MediaprocHost::library_leavesLogLevelToHost_data()
{
    QTest::addColumn<int>("level");
    QTest::newRow("quiet") << AV_LOG_QUIET;
    QTest::newRow("info") << AV_LOG_INFO;
    QTest::newRow("debug") << AV_LOG_DEBUG;
}

void tst_MediaprocHost::library_leavesLogLevelToHost()
{
    QFETCH(int, level);
    av_log_set_callback(&countLine);
    av_log_set_level(level);
    mediaproc_init();
    const QVector<QByteArray> frames = VideoFrames::split(
        VideoFrames::h264, VideoFrames::encode(VideoFrames::h264, size, 2, VideoFrames::plain(VideoFrames::h264)));
    QCOMPARE(frames.size(), 2);
    const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(VideoFrames::h264));
    _tag_yuv_frame_s picture{};
    QCOMPARE(decode(decoder, frames.first(), &picture), 0);
    QCOMPARE(av_log_get_level(), level);
    av_log_set_callback(&av_log_default_callback);
    av_log_set_level(AV_LOG_INFO);
}

void tst_MediaprocHost::library_tellsOfDamage_fromLevelDebugOn()
{
    QByteArray frame = VideoFrames::encode(VideoFrames::h264, size, 1, VideoFrames::plain(VideoFrames::h264));
    QVERIFY(frame.size() > 2000);
    for (int at = frame.size() / 2; at < frame.size(); at += 3)
        frame[at] = static_cast<char>(at);
    const auto linesAt = [&](int level) {
        av_log_set_level(level);
        linesShown = 0;
        const VideoDecoderHandle decoder = makeVideoDecoder(videoParam(VideoFrames::h264));
        _tag_yuv_frame_s picture{};
        decode(decoder, frame, &picture);
        decode(decoder, "no frame at all", &picture);
        return linesShown.load();
    };
    av_log_set_callback(&countLine);
    const int shownAtInfo = linesAt(AV_LOG_INFO);
    const int shownAtDebug = linesAt(AV_LOG_DEBUG);
    av_log_set_callback(&av_log_default_callback);
    av_log_set_level(AV_LOG_INFO);
    QCOMPARE(shownAtInfo, 0);
    QVERIFY(shownAtDebug > 0);
}

QTEST_GUILESS_MAIN(tst_MediaprocHost)
#include "tst_mediaproc_host.moc"
