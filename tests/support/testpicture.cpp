#include "support/testpicture.h"

#include <array>
#include <cstdlib>
#include <functional>

namespace {

constexpr int bits = 12;
constexpr int blocks = bits + 2;
constexpr int bandBegin = 5;
constexpr int bandEnd = 7;
constexpr int bandParts = 12;

constexpr quint8 black = 16;
constexpr quint8 white = 235;
constexpr quint8 gray = 128;

struct Quadrant
{
    std::array<quint8, 3> yuv;
    QRgb shown;
};

constexpr Quadrant red{{81, 90, 240}, 0xffff0000};
constexpr Quadrant green{{145, 54, 34}, 0xff00ff00};
constexpr Quadrant blue{{41, 240, 110}, 0xff0000ff};
constexpr Quadrant yellow{{210, 16, 146}, 0xffffff00};

const Quadrant& quadrantAt(bool right, bool bottom)
{
    if (bottom)
        return right ? yellow : blue;
    return right ? green : red;
}

bool isInBand(int y, int height) { return y >= height * bandBegin / bandParts && y < height * bandEnd / bandParts; }

quint8 bandLuma(int x, int width, int number)
{
    for (int bit = 0; bit < bits; ++bit) {
        const bool inside = x >= width * (bit + 1) / blocks && x < width * (bit + 2) / blocks;
        if (inside)
            return (number >> (bits - 1 - bit)) & 1 ? white : black;
    }
    return black;
}

QByteArray lumaPlane(const QSize& size, int number)
{
    QByteArray plane(size.width() * size.height(), '\0');
    char* out = plane.data();
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const Quadrant& quadrant = quadrantAt(x >= size.width() / 2, y >= size.height() / 2);
            *out++
                = static_cast<char>(isInBand(y, size.height()) ? bandLuma(x, size.width(), number) : quadrant.yuv[0]);
        }
    }
    return plane;
}

QByteArray chromaPlane(const QSize& size, std::size_t component)
{
    const int width = (size.width() + 1) / 2;
    const int height = (size.height() + 1) / 2;
    QByteArray plane(width * height, '\0');
    char* out = plane.data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Quadrant& quadrant = quadrantAt(2 * x >= size.width() / 2, 2 * y >= size.height() / 2);
            const bool colored = !isInBand(2 * y, size.height()) && !isInBand(2 * y + 1, size.height());
            *out++ = static_cast<char>(colored ? quadrant.yuv[component] : gray);
        }
    }
    return plane;
}

/// @p brightness gives 0 to 255 for a point; read in the middle of each block.
int readNumber(int width, int height, const std::function<int(int, int)>& brightness)
{
    int result = 0;
    for (int bit = 0; bit < bits; ++bit) {
        const int value = brightness(width * (2 * bit + 3) / (2 * blocks), height / 2);
        if (value > 90 && value < 165)
            return -1;
        result = result * 2 + (value >= 165 ? 1 : 0);
    }
    return result;
}

bool isNear(QRgb seen, QRgb wanted, int tolerance)
{
    return std::abs(qRed(seen) - qRed(wanted)) <= tolerance && std::abs(qGreen(seen) - qGreen(wanted)) <= tolerance
        && std::abs(qBlue(seen) - qBlue(wanted)) <= tolerance;
}

} // namespace

QColor TestPicture::topLeft() { return QColor(red.shown); }

QColor TestPicture::topRight() { return QColor(green.shown); }

QColor TestPicture::bottomLeft() { return QColor(blue.shown); }

QColor TestPicture::bottomRight() { return QColor(yellow.shown); }

QByteArray TestPicture::i420(const QSize& size, int number)
{
    return lumaPlane(size, number % count) + chromaPlane(size, 1) + chromaPlane(size, 2);
}

int TestPicture::number(const QImage& image)
{
    if (image.isNull())
        return -1;
    return readNumber(image.width(), image.height(), [&](int x, int y) { return qGray(image.pixel(x, y)); });
}

int TestPicture::number(const quint8* luma, int width, int height, int lineSize)
{
    return readNumber(width, height, [=](int x, int y) { return static_cast<int>(luma[y * lineSize + x]); });
}

bool TestPicture::hasColors(const QImage& image, int tolerance)
{
    if (image.isNull())
        return false;
    for (const bool bottom : {false, true}) {
        for (const bool right : {false, true}) {
            const int x = image.width() * (right ? 3 : 1) / 4;
            const int y = image.height() * (bottom ? 7 : 1) / 8;
            if (!isNear(image.pixel(x, y), quadrantAt(right, bottom).shown, tolerance))
                return false;
        }
    }
    return true;
}
