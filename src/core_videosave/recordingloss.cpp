#include "core_videosave/recordingloss.h"

#include <QDateTime>

namespace {
constexpr qint64 quietMs = 2000;

QString textOf(qint64 time) { return QDateTime::fromMSecsSinceEpoch(time).toString("yyyy-MM-dd HH:mm:ss.zzz"); }
} // namespace

void RecordingLoss::Amount::add(bool isPicture, Time now)
{
    ++(isPicture ? pictures : sounds);
    if (since == 0)
        since = now;
}

void RecordingLoss::Amount::take(Amount& other)
{
    pictures += other.pictures;
    sounds += other.sounds;
    if (since == 0 || (other.since != 0 && other.since < since))
        since = other.since;
    other = {};
}

void RecordingLoss::beginFile()
{
    const std::lock_guard<std::mutex> lock(mutex);
    handed = {};
    kept = {};
}

void RecordingLoss::lose(bool isPicture, const QString& reason)
{
    const std::lock_guard<std::mutex> lock(mutex);
    Amount one;
    one.add(isPicture, QDateTime::currentMSecsSinceEpoch());
    loseAll(one, reason);
}

void RecordingLoss::hand(bool isPicture, Time arrival)
{
    const std::lock_guard<std::mutex> lock(mutex);
    handed.add(isPicture, arrival);
}

QString RecordingLoss::keep()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (endOfLoss == 0)
        endOfLoss = qMax(lastLoss, handed.since);
    kept.take(handed);
    failing = false;
    const bool isOver = lastLoss != 0 && QDateTime::currentMSecsSinceEpoch() - lastLoss >= quietMs;
    return isOver ? takeLine() : QString();
}

void RecordingLoss::fail(const QString& reason)
{
    const std::lock_guard<std::mutex> lock(mutex);
    failing = true;
    loseAll(handed, reason);
}

void RecordingLoss::failWithFile(const QString& reason)
{
    const std::lock_guard<std::mutex> lock(mutex);
    failing = true;
    handed.take(kept);
    loseAll(handed, reason);
}

bool RecordingLoss::isFailing() const
{
    const std::lock_guard<std::mutex> lock(mutex);
    return failing;
}

void RecordingLoss::loseWithoutFile(bool isPicture)
{
    if (isFailing())
        lose(isPicture, QString());
}

QString RecordingLoss::end()
{
    const std::lock_guard<std::mutex> lock(mutex);
    failing = false;
    return takeLine();
}

void RecordingLoss::loseAll(Amount& amount, const QString& reason)
{
    if (why.isEmpty())
        why = reason;
    lost.take(amount);
    lastLoss = QDateTime::currentMSecsSinceEpoch();
    endOfLoss = 0;
}

QString RecordingLoss::takeLine()
{
    QString line;
    if (lost.pictures + lost.sounds > 0) {
        const Time end = endOfLoss != 0 ? endOfLoss : lastLoss;
        line = QString("lost %1 pictures and %2 packets of sound in %3 s, from %4 to %5: %6")
                   .arg(lost.pictures)
                   .arg(lost.sounds)
                   .arg(double(end - lost.since) / 1000, 0, 'f', 2)
                   .arg(textOf(lost.since), textOf(end), why);
    }
    lost = {};
    lastLoss = 0;
    why.clear();
    return line;
}
