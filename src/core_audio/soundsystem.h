#pragma once

/// Qt's sound plug-ins, used in a way that survives the end of the sound server.
///
/// The plug-in for PulseAudio has one connection for the whole process, which belongs to the thread that first asked
/// for a device. When the server goes, that thread takes the connection apart under the streams of all the others, and
/// when that thread has ended, nobody connects again. So the plug-ins are loaded on a thread of their own here, which
/// looks after the connection only while no stream exists.
namespace SoundSystem {

/// Taken before devices are looked for, and kept by a stream until after it has been deleted. The first one may wait
/// until a connection that was lost is made again, or given up. Any thread.
class Lease
{
public:
    Lease();
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    /// False where the sound server does not answer. Qt must not be asked for devices then.
    bool isUsable() const { return usable; }

private:
    const bool usable;
};

} // namespace SoundSystem
