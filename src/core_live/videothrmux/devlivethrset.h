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
/// Widgets get it from DevLiveThrSetManager. A thread is given its channel and stream and is started by the first widget
/// that uses it. Any thread may call; the thread objects live in the thread that called bindDevice() and are deleted
/// there.
class VANTOR_EXPORT DevLiveThrSet
{
public:
    DevLiveThrSet();
    ~DevLiveThrSet();

    DevLiveThrSet(const DevLiveThrSet&) = delete;
    DevLiveThrSet& operator=(const DevLiveThrSet&) = delete;

    /// Creates the threads; 0, or -1 when @p protocol is not the device's or has no live thread.
    int bindDevice(const QSharedPointer<XNetDevice>& device, XTransportProtocol protocol);

    /// Entries may be null.
    QVector<QSharedPointer<AbstractVideoThread>> getChannelThreads() const;

    QSharedPointer<XNetDevice> getDevPtr() const;

    /// Whether a widget has any of the threads.
    bool isOwned() const;

    /// Displays and switched-on recordings of all threads.
    int referenceCount() const;

    /// Asks all threads to end.
    void quit();

    /// Waits until all threads have ended, and asks again meanwhile.
    void wait();

    /// Lets go of the device and the threads.
    void unbindDevice();

private:
    mutable QMutex mutex;
    QSharedPointer<XNetDevice> device;
    XTransportProtocol protocol = XTransportProtocol_Mbe;
    QVector<QSharedPointer<AbstractVideoThread>> threads;
};
using PtrDevLiveThrSet = QSharedPointer<DevLiveThrSet>;
Q_DECLARE_METATYPE(PtrDevLiveThrSet)
