#include "picturestate.h"

#include "support/testpicture.h"

#include <cstdlib>

namespace {
constexpr int rows = 8;
constexpr int columns = 12;
constexpr int tolerance = 36; // the server may add noise
constexpr int greyTolerance = 12;

struct Color
{
    int y;
    int u;
    int v;

    bool isNear(const Color& other, int most) const
    {
        return std::abs(y - other.y) <= most && std::abs(u - other.u) <= most && std::abs(v - other.v) <= most;
    }
};

/// The quadrants of the test picture: red, green, blue, yellow.
constexpr Color quadrants[2][2] = {{{81, 90, 240}, {145, 54, 34}}, {{41, 240, 110}, {210, 16, 146}}};
constexpr Color grey{128, 128, 128};
} // namespace

PictureState PictureState::of(int width, int height, const quint8* y, const quint8* u, const quint8* v, quint32 lineY,
                              quint32 lineUV)
{
    int wrong = 0;
    int greys = 0;
    for (int row = 0; row < rows; ++row) {
        // Of each half the part that the band with the number leaves free, away from the edges.
        const int band = row < rows / 2 ? 0 : height * 7 / 12;
        const int py = band + height * 5 / 12 * (row % (rows / 2) * 2 + 1) / rows;
        for (int column = 0; column < columns; ++column) {
            const int px = width * (2 * column + 1) / (2 * columns);
            const auto chroma = static_cast<quint32>(py / 2) * lineUV + static_cast<quint32>(px / 2);
            const Color seen{y[static_cast<quint32>(py) * lineY + static_cast<quint32>(px)], u[chroma], v[chroma]};
            wrong += !seen.isNear(quadrants[row * 2 / rows][column * 2 / columns], tolerance);
            greys += seen.isNear(grey, greyTolerance);
        }
    }
    PictureState result;
    result.number = TestPicture::number(y, width, height, static_cast<int>(lineY));
    if (greys > rows * columns / 2)
        result.state = Grey;
    else if (wrong > 0 || result.number < 0)
        result.state = Damaged;
    return result;
}

const char* PictureState::name() const
{
    switch (state) {
    case Good: return "good";
    case Damaged: return "damaged";
    default: return "grey";
    }
}
