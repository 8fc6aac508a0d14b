#include "streamwatcher.h"

#include "eventlines.h"
#include "picturestate.h"
#include "support/resourcecount.h"

#include <QElapsedTimer>
#include <QTest>

namespace {
constexpr int settleMs = 300;
}

StreamWatcher::StreamWatcher(std::unique_ptr<AbstractVideoThread> player)
    : thread(std::move(player))
{
    ++thread->previewRef();
    thread->setVideoMode(VideoMode_Opengl);
    const auto direct = Qt::DirectConnection;
    connect(thread.get(), &AbstractVideoThread::receivePlayStart, this, [] { EventLines::write("start"); }, direct);
    connect(thread.get(), &AbstractVideoThread::receivePlayFinsh, this, [] { EventLines::write("finish"); }, direct);
    connect(
        thread.get(), &AbstractVideoThread::recorderStateChanged, this,
        [](const RecorderState& state, const QString& file) {
            EventLines::write("recorder", {{"state", int(state)}, {"file", file}});
        },
        direct);
    connect(
        thread.get(),
        qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(&AbstractVideoThread::receiveFrame),
        this,
        [](int width, int height, const quint8* y, const quint8* u, const quint8* v, quint32 lineY, quint32 lineU) {
            const PictureState seen = PictureState::of(width, height, y, u, v, lineY, lineU);
            EventLines::write("picture", {{"state", seen.name()}, {"number", seen.number}});
        },
        direct);
}

StreamWatcher::~StreamWatcher() { thread->stopAndWait(); }

void StreamWatcher::command(const QString& line)
{
    constexpr auto type = AbstractVideoThread::MANUAL_RECORD;
    if (line == "play") {
        thread->play();
    } else if (line == "stop") {
        stop();
    } else if (line == "count") {
        tellCount("count");
    } else if (line == "norecord") {
        thread->recordStop(type);
    } else if (line.startsWith("record ")) {
        thread->setSavePath(type, line.section(' ', 1));
        thread->recordStart(type);
    } else {
        EventLines::write("unknown", {{"command", line}});
    }
}

void StreamWatcher::stop()
{
    QElapsedTimer timer;
    timer.start();
    thread->stopAndWait();
    const int elapsed = int(timer.elapsed());
    // Sockets and decoder threads of libraries end a little after the call that ended them.
    QTest::qWait(settleMs);
    tellCount("stopped", {{"ms", elapsed}});
}

void StreamWatcher::tellCount(const char* event, QJsonObject fields)
{
    const ResourceCount now = ResourceCount::now();
    fields["threads"] = now.threads;
    fields["handles"] = now.handles;
    EventLines::write(event, fields);
}
