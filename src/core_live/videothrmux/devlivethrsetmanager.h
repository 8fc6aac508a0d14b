#pragma once

#include "core_live/videothrmux/devlivethrset.h"

#include <QHash>
#include <QObject>
#include <QScopedPointer>
#include <QThread>

#include <atomic>

/// Finds, creates and tears down the sets of live threads, one set a device.
///
/// Vantor::init() starts it and Vantor::release() stops it. A set that is released can't be found any more at once; its
/// threads are stopped on the manager's own worker thread, so the caller never waits and may ask for a new set of the
/// same device while the old one is still ending.
///
/// While the worker does not run (before start() and after stop()), the thread objects' own thread ends released sets
/// in its event loop, without waiting. What is left when the application object goes is ended then.
///
/// Any thread may call, start() and stop() the GUI thread alone.
class VANTOR_EXPORT DevLiveThrSetManager : public QObject
{
    Q_OBJECT

public:
    static DevLiveThrSetManager* Instance();
    ~DevLiveThrSetManager() override;

    /// Starts the worker; true when it runs.
    bool start();

    /// Ends the worker, which tears all sets down, and waits for it. It keeps serving queued calls meanwhile, as
    /// AbstractVideoThread::stopAndWait() does. In a slot of a display widget it does not wait, as a video thread may
    /// be waiting for that slot: the rest follows when the slot has returned. start() may follow.
    void stop();

    bool isRunning() const;

    /// Null when the device has none.
    PtrDevLiveThrSet getVideoThreadSet(const QSharedPointer<XNetDevice>& device);

    /// Null when there are no live threads of that protocol for the device. Replaces an earlier set of the device.
    PtrDevLiveThrSet newVideoThreadSet(const QSharedPointer<XNetDevice>& device, XTransportProtocol protocol);

    void releaseVideoThreadSet(const QSharedPointer<XNetDevice>& device);

private Q_SLOTS:
    void slot_releaseVThreadSet(QSharedPointer<DevLiveThrSet> set);
    void slot_quitAllVideoThreadSets();

private:
    DevLiveThrSetManager();
    static void stopWithApplication();
    void putOffStop();
    void finishStop();
    QHash<DevLiveThrSet*, PtrDevLiveThrSet> takeAllSets();

    static QScopedPointer<DevLiveThrSetManager> self;

    mutable QMutex mutex; // guards both tables
    QHash<XNetDevice*, PtrDevLiveThrSet> setsByDevice;
    QHash<DevLiveThrSet*, PtrDevLiveThrSet> allSets;
    std::atomic<bool> stopping{false};
    std::atomic<bool> stopPutOff{false};
    QThread worker; // the manager lives in it while it runs
    QThread* idleThread = nullptr; // and in this one otherwise; constant after construction
};
