#include "beepwatch.h"

#include "support/soundserver.h"

#include <QtEndian>

namespace {
constexpr int intervalMs = 4;
constexpr int rate = SoundServer::recordingRate;
constexpr int silence = rate / 2;
constexpr int loud = 32768 / 50;
} // namespace

BeepWatch::BeepWatch(SoundServer& server, const QElapsedTimer& clock)
    : source(server)
    , running(clock)
    , quiet(silence)
{
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { listen(); });
    timer.start(intervalMs);
}

void BeepWatch::listen()
{
    const QByteArray samples = source.recorded();
    const double now = double(running.nsecsElapsed()) / 1e6;
    const int count = samples.size() / 2;
    for (; heard < count; ++heard) {
        const bool isLoud = qAbs<int>(qFromLittleEndian<qint16>(samples.constData() + 2 * heard)) > loud;
        if (isLoud && quiet >= silence)
            moments.append(now - 1000.0 * (count - heard) / rate);
        quiet = isLoud ? 0 : quiet + 1;
    }
}
