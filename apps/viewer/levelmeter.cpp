#include "levelmeter.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace {

constexpr double quietest = -60; // decibels at the beginning of the bar
constexpr int fallMs = 40;
constexpr double fallStep = 0.03;
const QColor ground("#121519");
const QColor normal("#22A3A9");
const QColor loud("#FF3B30");
constexpr double loudFrom = 0.95;

double lengthOf(double level)
{
    if (level <= 0)
        return 0;
    return qBound(0.0, 1 - 20 * std::log10(level) / quietest, 1.0);
}

} // namespace

LevelMeter::LevelMeter(QWidget* parent)
    : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    fallTimer.setInterval(fallMs);
    connect(&fallTimer, &QTimer::timeout, this, &LevelMeter::fall);
}

QSize LevelMeter::sizeHint() const { return {90, 8}; }

void LevelMeter::setLevel(double level)
{
    length = std::max(length, lengthOf(level));
    if (length > 0 && !fallTimer.isActive())
        fallTimer.start();
    update();
}

void LevelMeter::clear()
{
    length = 0;
    fallTimer.stop();
    update();
}

void LevelMeter::fall()
{
    length = std::max(0.0, length - fallStep);
    if (length <= 0)
        fallTimer.stop();
    update();
}

void LevelMeter::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), ground);
    QRect bar = rect();
    bar.setWidth(int(std::lround(width() * length)));
    painter.fillRect(bar, length < loudFrom ? normal : loud);
}
