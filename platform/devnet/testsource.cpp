#include "devnet/testsource.h"

#include "devnet/framemaker.h"
#include "devnet/mediatimeline.h"
#include "devnet/pictureencoder.h"
#include "devnet/testpainter.h"
#include "devnet/tonegenerator.h"
#include "devnet/videopackager.h"

namespace {

constexpr qint64 second = 1000000; ///< microseconds, as all times here

/// One run of the test picture.
class TestPlay
{
public:
    TestPlay(const TestPictureOptions& pictureOptions, const FrameSource::Output& frameOutput)
        : options(pictureOptions)
        , output(frameOutput)
        , tone(pictureOptions)
    {
    }

    QString open()
    {
        const QString problem = encoder.open(options);
        if (!problem.isEmpty())
            return problem;
        packager = VideoPackager::make(encoder.parameters());
        if (options.toneHertz > 0)
            maker.setAudio(tone.format());
        return packager ? QString() : QStringLiteral("this FFmpeg can't parse what it encodes");
    }

    void run(const TestPainter& painter, std::atomic<bool>& keyFrameWanted, const StopSignal& stop)
    {
        for (qint64 number = 0; !stop.isRequested(); ++number) {
            const qint64 time = number * second / options.rate;
            timeline.waitFor(time, stop);
            putSoundUntil(time);
            painter.paint(encoder.frame(), number, QDateTime::fromMSecsSinceEpoch(timeline.wallTime(time)));
            putPicture(number, time, keyFrameWanted.exchange(false));
        }
    }

private:
    /// What was heard before @p time.
    void putSoundUntil(qint64 time)
    {
        constexpr qint64 frame = ToneGenerator::frameMs * 1000;
        for (; options.toneHertz > 0 && soundTime + frame <= time; soundTime += frame)
            output(maker.makeAudio(tone.next(), timeline.wallTime(soundTime)));
    }

    void putPicture(qint64 number, qint64 time, bool asKeyFrame)
    {
        if (!encoder.encode(number, asKeyFrame))
            return;
        packager->package(encoder.packet(), [this, time](const VideoPackager::Picture& picture) {
            const XVideoEncPara encoding{
                options.h265 ? 2 : 1, picture.size.width(), picture.size.height(), options.rate, 1, 0};
            if (encoding != maker.video())
                maker.setVideo(encoding);
            output(maker.makeVideo(picture.isKey, picture.payload, timeline.wallTime(time)));
        });
    }

    const TestPictureOptions& options;
    const FrameSource::Output& output;
    ToneGenerator tone;
    PictureEncoder encoder;
    std::optional<VideoPackager> packager;
    FrameMaker maker;
    MediaTimeline timeline{MediaTimeline::Pace::Player};
    qint64 soundTime = 0;
};

} // namespace

TestSource::TestSource(const TestPictureOptions& pictureOptions, int channelNumber, const QString& channelName)
    : options(pictureOptions)
    , channel(channelNumber)
    , name(channelName)
{
}

QString TestSource::run(const Output& output, const StopSignal& stop)
{
    TestPlay play(options, output);
    const QString problem = play.open();
    if (problem.isEmpty())
        play.run(TestPainter(options.width, options.height, channel, name), keyFrameWanted, stop);
    return problem;
}

bool TestSource::requestKeyFrame()
{
    keyFrameWanted = true;
    return true;
}
