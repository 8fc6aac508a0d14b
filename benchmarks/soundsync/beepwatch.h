#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QVector>

class SoundServer;

/// Hears when a tone begins after a silence in what comes out of a sound server's loudspeaker. GUI thread.
///
/// The moment of a sample is reckoned back from when the recording delivered it, which is late by up to the 20 ms that
/// the recording asks of the server.
class BeepWatch
{
public:
    BeepWatch(SoundServer& server, const QElapsedTimer& clock);

    /// When each tone began, in milliseconds of the clock.
    const QVector<double>& begins() const { return moments; }

private:
    void listen();

    SoundServer& source;
    const QElapsedTimer running;
    QTimer timer;
    QVector<double> moments;
    int heard = 0; // samples
    int quiet = 0; // samples since the last loud one
};
