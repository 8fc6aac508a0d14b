#include "devnet/mediasource.h"

#include "devnet/mediapass.h"

MediaSource::MediaSource(const MediaSourceAddress& source)
    : address(source)
{
}

QString MediaSource::run(const Output& output, const StopSignal& stop)
{
    const auto pace = address.isLive() ? MediaTimeline::Pace::Live : MediaTimeline::Pace::Player;
    MediaPlay play{output, stop, MediaTimeline(pace), FrameMaker(), 0};
    while (!stop.isRequested()) {
        const qint64 begin = play.position;
        MediaPass pass(play);
        QString problem = pass.open(address);
        if (problem.isEmpty())
            problem = pass.run();
        if (problem.isEmpty() && address.isLive())
            problem = QStringLiteral("the other side ended it");
        if (problem.isEmpty() && play.position == begin)
            problem = QStringLiteral("there is nothing in it");
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}
