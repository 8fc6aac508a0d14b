#pragma once

#include "support/fakedevice.h"

#include <QSharedPointer>

class AbstractVideoThread;
class DevLiveThrSet;

/// What the tests of live streams play from.
namespace LiveBench {

/// A device whose streams play the test picture in real time: stream 0 of each channel in Clips::size, the others in
/// Clips::otherSize.
QSharedPointer<FakeDevice> makeDevice(XTransportProtocol protocol = XTransportProtocol_Rta, int channels = 1,
                                      int streamsPerChannel = 2);

/// Starts a thread of a set as a widget would.
void startThread(const QSharedPointer<AbstractVideoThread>& thread, int channel, int stream);

/// Whether the thread's stream is open, within a few seconds.
bool waitUntilOpen(const QSharedPointer<AbstractVideoThread>& thread);

} // namespace LiveBench
