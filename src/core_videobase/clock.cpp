#include "core_videobase/clock.h"

#include <QThread>

#include <chrono>

namespace {

class SystemClock final : public Clock
{
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }

    qint64 microseconds() const override
    {
        const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count();
    }

    void sleep(qint64 microseconds) override
    {
        if (microseconds > 0)
            QThread::usleep(static_cast<unsigned long>(microseconds));
    }
};

} // namespace

Clock::~Clock() = default;

Clock& Clock::system()
{
    static SystemClock clock;
    return clock;
}
