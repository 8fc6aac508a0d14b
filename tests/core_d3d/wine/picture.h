#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// An NV12 picture in system memory.
struct Picture
{
    struct Color
    {
        int y, u, v;
    };

    Picture(int width, int height, const std::function<Color(int x, int y)>& colorAt);

    static Picture filled(int width, int height, Color color);
    /// Four quarters, clockwise from the upper left one.
    static Picture quarters(int width, int height, const std::vector<Color>& colors);

    int width;
    int height;
    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> chroma; // pairs, for blocks of 2 x 2 pixels
};

/// Red, green and blue in 0 to 1.
struct Rgb
{
    double red, green, blue;

    bool isNear(const Rgb& other, double tolerance) const;
    std::string text() const;
};

/// BT.601 by its definition, in the limited range and in the full one.
Rgb limitedBt601(const Picture::Color& color);
Rgb fullBt601(const Picture::Color& color);

/// What was about to be shown.
struct Shot
{
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;
    Rgb (*color)(std::uint32_t pixel) = nullptr;

    Rgb at(int x, int y) const { return color(pixels[size_t(y) * size_t(width) + size_t(x)]); }

    /// A picture in memory whose rows are @p pitch bytes apart.
    void take(int shotWidth, int shotHeight, const void* rows, size_t pitch);
};
