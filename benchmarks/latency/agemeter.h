#pragma once

#include "screenwatch.h"
#include "virtualscreen.h"

#include <memory>

class RunningPlayer;
struct Player;

/// The ages of the pictures of some time.
struct AgeFigures
{
    double median = 0; ///< milliseconds
    double late = 0; ///< the 95th percentile
    int pictures = 0;
    int skipped = 0; ///< numbers that never were on the screen, between those that were
};

/// One player on a screen of its own, and how old its pictures are when they appear.
class AgeMeter
{
public:
    AgeMeter();
    ~AgeMeter();

    /// False when there is no screen.
    bool start(const Player& player, const QString& url);

    /// The pictures that have appeared since the last call.
    AgeFigures take();

    /// Seconds from @p momentUs until the pictures, which are taken too, were again as young as 95 % of @p usual for a
    /// second at the median; -1 when they were not.
    double recovery(qint64 momentUs, const AgeFigures& usual);

    qint64 processId() const;

private:
    VirtualScreen screen;
    std::unique_ptr<ScreenWatch> watch;
    std::unique_ptr<RunningPlayer> running;
};
