#include "support/waiting.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace {
constexpr int stepMs = 5;
}

bool Waiting::until(const std::function<bool()>& condition, int milliseconds)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.elapsed() >= milliseconds)
            return false;
        QEventLoop loop;
        QTimer::singleShot(stepMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}
