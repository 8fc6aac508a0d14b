#include "core_audio/soundsystem.h"

#include "core_audio/pulseprobe.h"

#include <QAudioDeviceInfo>
#include <QCoreApplication>
#include <QThread>

#include <condition_variable>
#include <mutex>

namespace {

// How long the end of the application waits for a server that does not answer.
constexpr unsigned long endMs = 2000;

/// The thread that the plug-ins belong to.
class Keeper : public QThread
{
public:
    Keeper() { setObjectName("sound system"); }

    void acquire()
    {
        std::unique_lock<std::mutex> lock(mutex);
        if (leases == 0 && !ending) {
            isAsked = true;
            changed.notify_all();
        }
        changed.wait(lock, [this] { return !isAsked; });
        ++leases;
    }

    void release()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        --leases;
    }

    /// Whether the thread has ended.
    bool end()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            ending = true;
        }
        changed.notify_all();
        return wait(endMs);
    }

protected:
    void run() override
    {
        QAudioDeviceInfo::defaultOutputDevice(); // loads the plug-ins
        std::unique_lock<std::mutex> lock(mutex);
        while (!ending) {
            changed.wait(lock, [this] { return isAsked || ending; });
            lock.unlock();
            lookAfterConnection();
            lock.lock();
            isAsked = false;
            changed.notify_all();
        }
        isAsked = false;
        changed.notify_all();
    }

private:
    /// What a plug-in left to be done on this thread: to clear up after a lost connection and to connect again.
    static void lookAfterConnection()
    {
        constexpr int mostMs = 50;
        QCoreApplication::processEvents(QEventLoop::AllEvents, mostMs);
    }

    std::mutex mutex;
    std::condition_variable changed;
    int leases = 0;
    bool isAsked = false;
    bool ending = false;
};

// Never destroyed: leases may outlive the application object.
Keeper* keeper = nullptr;
std::once_flag once;

void endKeeper() { keeper->end(); }

Keeper& theKeeper()
{
    std::call_once(once, [] {
        keeper = new Keeper;
        keeper->start();
        qAddPostRoutine(endKeeper);
    });
    return *keeper;
}

} // namespace

SoundSystem::Lease::Lease()
    : usable(PulseProbe::isServerThere())
{
    if (usable)
        theKeeper().acquire();
}

SoundSystem::Lease::~Lease()
{
    if (usable)
        theKeeper().release();
}
