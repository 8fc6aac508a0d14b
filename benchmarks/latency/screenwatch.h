#pragma once

#include "stamp.h"

#include <QMutex>
#include <QThread>
#include <QVector>

#include <atomic>

class VirtualScreen;

/// A picture when it was first on the screen.
struct Sighting
{
    quint16 number = 0;
    qint64 seenUs = 0; ///< of the monotonic clock
    double ageMs = 0;
};

/// Looks at the screen every half millisecond and notes each stamped picture when it appears.
class ScreenWatch final : public QThread
{
public:
    explicit ScreenWatch(const VirtualScreen& screen);
    ~ScreenWatch() override;

    /// The pictures that have appeared since the last call.
    QVector<Sighting> take();

    /// Whether a stamped picture is there at this moment.
    bool isPictureThere() const;

    static qint64 nowUs();

protected:
    void run() override;

private:
    std::optional<Stamp> look() const;

    const VirtualScreen& watched;
    std::atomic<bool> isEnding{false};
    QMutex mutex;
    QVector<Sighting> sightings; // guarded by mutex
};
