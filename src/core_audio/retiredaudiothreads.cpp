#include "core_audio/retiredaudiothreads.h"

#include "core_audio/audiothread.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLoggingCategory>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
Q_LOGGING_CATEGORY(lcRetired, "vantor.audio.retired")

constexpr int pollMs = 20;
constexpr int endMs = 5000;

class Retirement : public QObject
{
public:
    Retirement()
    {
        timer.setInterval(pollMs);
        connect(&timer, &QTimer::timeout, this, [this] { poll(); });
    }

    ~Retirement() override
    {
        const QDeadlineTimer deadline(endMs);
        while (!threads.empty() && !deadline.hasExpired()) {
            poll();
            QThread::msleep(1);
        }
        for (auto& thread : threads) {
            qCWarning(lcRetired).noquote() << "a sound thread is left behind: the sound server does not answer";
            thread.release(); // it still runs
        }
    }

    void take(AudioThread* thread)
    {
        thread->quit();
        threads.emplace_back(thread);
        timer.start();
    }

private:
    void poll()
    {
        const auto hasEnded = [](const std::unique_ptr<AudioThread>& thread) { return !thread->isRunning(); };
        threads.erase(std::remove_if(threads.begin(), threads.end(), hasEnded), threads.end());
        if (threads.empty())
            timer.stop();
    }

    QTimer timer;
    std::vector<std::unique_ptr<AudioThread>> threads;
};

std::unique_ptr<Retirement> retirement;

void endAll() { retirement.reset(); }

} // namespace

void RetiredAudioThreads::take(AudioThread* thread)
{
    if (!QCoreApplication::instance()) {
        delete thread;
        return;
    }
    if (!retirement) {
        retirement = std::make_unique<Retirement>();
        qAddPostRoutine(endAll);
    }
    retirement->take(thread);
}
