#include "core_video/ffmpegfaults.h"
#include "core_video/playing.h"
#include "support/clips.h"
#include "support/messageguard.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

using FFmpegFaults::Call;
Q_DECLARE_METATYPE(FFmpegFaults::Call)
Q_DECLARE_METATYPE(QtMsgType)

class TestFFmpegVideoThreadFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        AbstractVideoThread::debugInfo = true;
    }

    void cleanup()
    {
        FFmpegFaults::set(Call::None);
        AbstractVideoThread::debugInfo = false;
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void open_saysWhy_whenAStepFails_data()
    {
        QTest::addColumn<Call>("call");
        QTest::addColumn<QtMsgType>("level");
        QTest::addColumn<QString>("message");
        const QString why = " Input/output error";
        QTest::newRow("analysis") << Call::FindStreamInfo << QtCriticalMsg << "找流失败 -> 错误: Input/output error";
        QTest::newRow("video find") << Call::FindVideoDecoder << QtCriticalMsg
                                    << "无解码器 -> 错误: 查找视频解码器失败";
        QTest::newRow("video allocate") << Call::AllocateVideoContext << QtCriticalMsg
                                        << "无解码器 -> 错误: 创建视频解码器上下文失败";
        QTest::newRow("video parameters") << Call::SetVideoParameters << QtCriticalMsg
                                          << "无解码器 -> 错误: 设置视频解码器参数失败" + why;
        QTest::newRow("video open") << Call::OpenVideoDecoder << QtCriticalMsg
                                    << "无解码器 -> 错误: 打开视频解码器失败" + why;
        QTest::newRow("audio find") << Call::FindAudioDecoder << QtInfoMsg << "无解码器 -> 错误: 查找音频解码器失败";
        QTest::newRow("audio allocate") << Call::AllocateAudioContext << QtInfoMsg
                                        << "无解码器 -> 错误: 创建音频解码器上下文失败";
        QTest::newRow("audio parameters") << Call::SetAudioParameters << QtInfoMsg
                                          << "无解码器 -> 错误: 设置音频解码器参数失败";
        QTest::newRow("audio open") << Call::OpenAudioDecoder << QtInfoMsg << "打开解码 -> 错误: 打开音频解码器失败";
    }

    void open_saysWhy_whenAStepFails()
    {
        QFETCH(Call, call);
        QFETCH(QtMsgType, level);
        QFETCH(QString, message);
        const QString line = QString("%1 地址: %2").arg(message, Clips::h264AacMp4());
        guard->allow("^" + QRegularExpression::escape(line) + "$");
        guard->allow("^error count: \\d why: End of file$"); // in the end the whole file may be read before the stop
        FFmpegFaults::set(call);
        Player player(Clips::h264AacMp4());
        player.thread.play();
        QTRY_VERIFY(guard->count(level, line) >= 2); // a failed open is tried again
        QVERIFY(!player.thread.getIsOk());
        QVERIFY(!player.display.events.contains("start"));

        FFmpegFaults::set(Call::None);
        QTRY_VERIFY(!player.display.frames.isEmpty());
        player.thread.stopAndWait();
        QCOMPARE(player.display.events.count("start"), 1);
        QCOMPARE(player.display.events.count("finish"), 1);
    }

    void open_fails_whenSoundCanNotBeConverted()
    {
        FFmpegFaults::set(Call::InitResampler);
        Player player(Clips::h264AacMp4());
        player.thread.play();
        QTRY_VERIFY(player.display.events.count("format 44100 2 16") >= 2); // announced before, as it is known by then
        QVERIFY(!player.thread.getIsOk());
        QVERIFY(!player.display.events.contains("start"));
    }

private:
    std::unique_ptr<MessageGuard> guard;
};

QTEST_GUILESS_MAIN(TestFFmpegVideoThreadFaults)
#include "tst_ffmpegvideothread_faults.moc"
