#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

double unit(double value) { return std::clamp(value, 0.0, 1.0); }

/// Luma is 0.299 R + 0.587 G + 0.114 B; all three from -0.5 or 0 to 0.5 or 1.
Rgb bt601(double luma, double blueness, double redness)
{
    const double blue = luma + blueness * 2 * (1 - 0.114);
    const double red = luma + redness * 2 * (1 - 0.299);
    const double green = (luma - 0.299 * red - 0.114 * blue) / 0.587;
    return {unit(red), unit(green), unit(blue)};
}

} // namespace

Picture::Picture(int pictureWidth, int pictureHeight, const std::function<Color(int x, int y)>& colorAt)
    : width(pictureWidth)
    , height(pictureHeight)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            luma.push_back(std::uint8_t(colorAt(x, y).y));
    for (int y = 0; y < height; y += 2)
        for (int x = 0; x < width; x += 2) {
            chroma.push_back(std::uint8_t(colorAt(x, y).u));
            chroma.push_back(std::uint8_t(colorAt(x, y).v));
        }
}

Picture Picture::filled(int width, int height, Color color)
{
    return Picture(width, height, [color](int, int) { return color; });
}

Picture Picture::quarters(int width, int height, const std::vector<Color>& colors)
{
    return Picture(width, height, [&](int x, int y) {
        const bool isRight = x >= width / 2;
        return y < height / 2 ? colors[isRight ? 1 : 0] : colors[isRight ? 2 : 3];
    });
}

bool Rgb::isNear(const Rgb& other, double tolerance) const
{
    return std::abs(red - other.red) <= tolerance && std::abs(green - other.green) <= tolerance
        && std::abs(blue - other.blue) <= tolerance;
}

std::string Rgb::text() const
{
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "(%.4f %.4f %.4f)", red, green, blue);
    return buffer;
}

Rgb limitedBt601(const Picture::Color& color)
{
    return bt601((color.y - 16) / 219.0, (color.u - 128) / 224.0, (color.v - 128) / 224.0);
}

Rgb fullBt601(const Picture::Color& color)
{
    return bt601(color.y / 255.0, (color.u - 128) / 255.0, (color.v - 128) / 255.0);
}

void Shot::take(int shotWidth, int shotHeight, const void* rows, size_t pitch)
{
    width = shotWidth;
    height = shotHeight;
    pixels.resize(size_t(width) * size_t(height));
    for (int y = 0; y < height; ++y)
        std::memcpy(&pixels[size_t(y) * size_t(width)], static_cast<const char*>(rows) + size_t(y) * pitch,
                    size_t(width) * sizeof(std::uint32_t));
}
