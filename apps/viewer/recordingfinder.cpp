#include "recordingfinder.h"

#include "backgroundlookup.h"
#include "walltime.h"

namespace {

RecordingList recordingsOf(const MediaDevice& device, int channel)
{
    const qint64 begin = WallTime::startOf(QDate(1970, 1, 1));
    const qint64 end = WallTime::startOf(QDate(9999, 12, 31));
    QVector<RecordedSpan> spans;
    const QVector<MediaRecording> recordings
        = device.recordings(channel, WallTime::moment(begin), WallTime::moment(end));
    for (const MediaRecording& recording : recordings)
        spans.append({WallTime::of(recording.start), WallTime::of(recording.end)});
    return RecordingList(spans);
}

} // namespace

RecordingFinder::RecordingFinder(QObject* parent)
    : QObject(parent)
    , lookup(new BackgroundLookup(this))
{
}

void RecordingFinder::find(const RecordingPlace& place)
{
    lookup->ask([this, device = place.device, channel = place.channel]() -> BackgroundLookup::Answer {
        const RecordingList list = recordingsOf(*device, channel);
        return [this, list] { Q_EMIT found(list); };
    });
}

void RecordingFinder::drop() { lookup->drop(); }

bool RecordingFinder::isLooking() const { return lookup->isAsking(); }
