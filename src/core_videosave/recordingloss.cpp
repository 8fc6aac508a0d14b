#include "core_videosave/recordingloss.h"

namespace {
constexpr qint64 quietMs = 2000;
constexpr char timePattern[] = "yyyy-MM-dd HH:mm:ss.zzz";
} // namespace

void RecordingLoss::Amount::add(bool isPicture, const QDateTime& now)
{
    ++(isPicture ? pictures : sounds);
    if (!since.isValid())
        since = now;
}

void RecordingLoss::Amount::take(Amount& other)
{
    pictures += other.pictures;
    sounds += other.sounds;
    if (!since.isValid() || (other.since.isValid() && other.since < since))
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
    one.add(isPicture, QDateTime::currentDateTime());
    loseAll(one, reason);
}

void RecordingLoss::hand(bool isPicture)
{
    const std::lock_guard<std::mutex> lock(mutex);
    handed.add(isPicture, QDateTime::currentDateTime());
}

QString RecordingLoss::keep()
{
    const std::lock_guard<std::mutex> lock(mutex);
    if (!endOfLoss.isValid())
        endOfLoss = qMax(lastLoss, handed.since);
    kept.take(handed);
    failing = false;
    return lastLoss.isValid() && lastLoss.msecsTo(QDateTime::currentDateTime()) >= quietMs ? takeLine() : QString();
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
    lastLoss = QDateTime::currentDateTime();
    endOfLoss = QDateTime();
}

QString RecordingLoss::takeLine()
{
    QString line;
    if (lost.pictures + lost.sounds > 0) {
        const QDateTime end = endOfLoss.isValid() ? endOfLoss : lastLoss;
        line = QString("lost %1 pictures and %2 packets of sound in %3 s, from %4 to %5: %6")
                   .arg(lost.pictures)
                   .arg(lost.sounds)
                   .arg(double(lost.since.msecsTo(end)) / 1000, 0, 'f', 2)
                   .arg(lost.since.toString(timePattern), end.toString(timePattern), why);
    }
    lost = {};
    lastLoss = QDateTime();
    why.clear();
    return line;
}
