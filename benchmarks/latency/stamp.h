#pragma once

#include <QtGlobal>

#include <functional>
#include <optional>

/// What a picture of stamped_server.py says about itself.
struct Stamp
{
    quint16 number = 0;
    quint32 time = 0; ///< when the picture was taken, in units of unitUs of the monotonic clock, the lower 26 bits

    static constexpr int unitUs = 100;
    static constexpr int rowHeight = 16;
    static constexpr int top = 64; ///< first row of the picture that holds the stamp; the inverted one follows below

    bool operator==(const Stamp& other) const { return number == other.number && time == other.time; }

    /// Reads the picture's blocks; @p brightness gives that of a point in the picture, 0 to 255. Nothing where the rows
    /// don't agree.
    static std::optional<Stamp> read(const std::function<int(int x, int y)>& brightness);

    /// Milliseconds from when the picture was taken to @p nowUs of the monotonic clock.
    double ageMs(qint64 nowUs) const;
};
