#pragma once

#include "core_videobase/vantorexport.h"
#include "devnet/xnetdevice.h"

#include <QMetaType>
#include <QMutex>
#include <QSharedPointer>
#include <QVector>

class AbstractVideoThread;

/// The live threads of one device, one for each of its streams in the device's order, for all widgets that show it.
///
/// Widgets get it from DevLiveThrSetManager. A thread is given its channel and stream and is started by the first
/// widget that uses it. Any thread may call; the thread objects live in the thread that called bindDevice() (normally
/// the GUI thread) and are deleted there, whoever has the last reference.
class VANTOR_EXPORT DevLiveThrSet
{
public:
    DevLiveThrSet();

    /// Ends the threads that are still here, and waits for them.
    ~DevLiveThrSet();

    DevLiveThrSet(const DevLiveThrSet&) = delete;
    DevLiveThrSet& operator=(const DevLiveThrSet&) = delete;

    /// Creates the threads, in place of those of an earlier call; 0, or -1 for a null device and when @p protocol is
    /// not the device's or has no live thread.
    int bindDevice(const QSharedPointer<XNetDevice>& device, XTransportProtocol protocol);

    /// Entries may be null.
    QVector<QSharedPointer<AbstractVideoThread>> getChannelThreads() const;

    QSharedPointer<XNetDevice> getDevPtr() const;

    /// Whether a widget has any of the threads.
    bool isOwned() const;

    /// Displays and switched-on recordings of all threads.
    int referenceCount() const;

    /// Whether one of the threads has not ended yet.
    bool isRunning() const;

    /// Asks all threads to end.
    void quit();

    /// Waits until all threads have ended, and asks again meanwhile. In the thread that they live in, it serves their
    /// calls, see AbstractVideoThread::stopAndWait().
    void wait();

    /// Lets go of the device and the threads, which must have ended.
    void unbindDevice();

private:
    mutable QMutex mutex; // guards all below
    QSharedPointer<XNetDevice> device;
    XTransportProtocol protocol = XTransportProtocol_Mbe;
    QVector<QSharedPointer<AbstractVideoThread>> threads;
};
using PtrDevLiveThrSet = QSharedPointer<DevLiveThrSet>;
Q_DECLARE_METATYPE(PtrDevLiveThrSet)
