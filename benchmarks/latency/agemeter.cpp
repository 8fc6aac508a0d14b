#include "agemeter.h"

#include "player.h"

#include <algorithm>

namespace {
constexpr int secondOfPictures = 25;

double part(QVector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values.at(std::min(values.size() - 1, int(values.size() * fraction)));
}
} // namespace

AgeMeter::AgeMeter() = default;

AgeMeter::~AgeMeter() = default;

bool AgeMeter::start(const Player& player, const QString& url)
{
    if (!screen.start())
        return false;
    running = std::make_unique<RunningPlayer>(player, url, screen);
    watch = std::make_unique<ScreenWatch>(screen);
    return true;
}

AgeFigures AgeMeter::take()
{
    AgeFigures figures;
    QVector<double> ages;
    const Sighting* last = nullptr;
    const QVector<Sighting> sightings = watch->take();
    for (const Sighting& sighting : sightings) {
        const int step = last ? qint16(sighting.number - last->number) : 1;
        if (step < 1)
            continue; // drawn once more
        figures.skipped += step - 1;
        ages.append(sighting.ageMs);
        last = &sighting;
    }
    figures.pictures = ages.size();
    if (!ages.isEmpty()) {
        figures.median = part(ages, 0.5);
        figures.late = part(ages, 0.95);
    }
    return figures;
}

double AgeMeter::recovery(qint64 momentUs, const AgeFigures& usual)
{
    QVector<Sighting> sightings = watch->take();
    const auto isBefore = [momentUs](const Sighting& sighting) { return sighting.seenUs < momentUs; };
    sightings.erase(std::remove_if(sightings.begin(), sightings.end(), isBefore), sightings.end());
    for (int i = 0; i + secondOfPictures <= sightings.size(); ++i) {
        QVector<double> ages;
        for (int j = i; j < i + secondOfPictures; ++j)
            ages.append(sightings.at(j).ageMs);
        if (part(ages, 0.5) <= usual.late && ages.first() <= usual.late)
            return double(sightings.at(i).seenUs - momentUs) / 1e6;
    }
    return -1;
}

qint64 AgeMeter::processId() const { return running->processId(); }
