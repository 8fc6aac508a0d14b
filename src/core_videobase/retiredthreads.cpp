#include "core_videobase/retiredthreads.h"

#include "core_videobase/abstractvideothread.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int pollMs = 20;

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
        for (const auto& thread : threads)
            thread->stopAndWait();
    }

    void take(AbstractVideoThread* thread)
    {
        thread->setParent(nullptr);
        thread->stop();
        threads.emplace_back(thread);
        timer.start();
    }

private:
    // The stop is repeated because a source that closes itself may have cleared an earlier one.
    void poll()
    {
        const auto hasEnded = [](const std::unique_ptr<AbstractVideoThread>& thread) {
            thread->stop();
            return !thread->isRunning();
        };
        threads.erase(std::remove_if(threads.begin(), threads.end(), hasEnded), threads.end());
        if (threads.empty())
            timer.stop();
    }

    QTimer timer;
    std::vector<std::unique_ptr<AbstractVideoThread>> threads;
};

std::unique_ptr<Retirement> retirement;

void endAll() { retirement.reset(); }

} // namespace

void RetiredThreads::take(AbstractVideoThread* thread)
{
    if (!retirement) {
        retirement = std::make_unique<Retirement>();
        qAddPostRoutine(endAll);
    }
    retirement->take(thread);
}
