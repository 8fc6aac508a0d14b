#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QByteArray>
#include <QSize>

#include <atomic>

/// A video thread that shows the test picture without a source: it opens at once, delivers numbered pictures as
/// setVideoMode() and setHardware() ask for (NV12 planes for a hardware decoder), and ends when it is stopped.
///
/// Planes are freed as early as the rules allow: those of a picture when the next one has been delivered, the last ones
/// after sig_decoderDestroyed(). Whoever keeps a pointer longer is caught by AddressSanitizer.
class ScriptedThread : public AbstractVideoThread
{
    Q_OBJECT

public:
    explicit ScriptedThread(QObject* parent = nullptr);
    ~ScriptedThread() override;

    /// Before play().
    QSize pictureSize{160, 120};
    /// What receivePlayStart() carries.
    int playStartTime = 77;
    /// Pictures after which the source ends; 0 for never.
    int pictureCount = 0;
    /// Pause between two pictures in microseconds.
    int intervalUs = 2000;
    bool emitsSound = false;
    /// Ends at once, as a source does that can't be opened.
    bool openFails = false;
    /// How many stops are lost, as by a source that closes itself at that moment.
    int losesStops = 0;
    /// Emits sig_decoderDestroyed() and goes on with new planes after this many pictures; 0 for never.
    int decoderLife = 0;

    /// Any thread.
    std::atomic<int> delivered{0};
    std::atomic<bool> holdsPictures{false}; ///< keeps the source open and delivers nothing
    std::atomic<bool> lingers{false}; ///< does not end while it is set
    std::atomic<int> resumed{0};

    /// Objects that exist.
    static std::atomic<int> alive;

public Q_SLOTS:
    void next() override;

protected:
    void run() override;

private:
    bool isAskedToEnd();
    void showPictures();
    void deliver();
    void deliverPlanes(int number);
    void destroyDecoder();

    QByteArray shown; // the planes that receivers may still read
};
