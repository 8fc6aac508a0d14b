#include "devnet/testpainter.h"

#include "devnet/testfont.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr double pi = 3.14159265358979323846;

// Neighbouring channels get hues that are far from each other, and none comes back soon.
constexpr double hueStep = 137.5 * pi / 180;
constexpr double saturation = 56;

constexpr int darkest = 60;
constexpr int brightest = 140;
constexpr int boxesAcross = 8;
constexpr int boxSteps = 100; ///< pictures from one side to the other
constexpr int linesAcross = 24; ///< letters of the largest size that have room side by side
constexpr int letterWidth = TestFont::width + 1;
constexpr int lineHeight = TestFont::height + 3;

quint8 byte(double value) { return static_cast<quint8>(std::lround(value)); }

bool isKnown(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar letter) { return TestFont::glyph(letter) != nullptr; });
}

QString shownName(const QString& name, int channel)
{
    return !name.isEmpty() && isKnown(name) ? name : QString("CHANNEL %1").arg(channel + 1);
}

/// 0 to @p steps and back.
int swing(qint64 number, int steps)
{
    const int phase = static_cast<int>(number % (2 * steps));
    return phase <= steps ? phase : 2 * steps - phase;
}

} // namespace

TestPainter::TestPainter(int pictureWidth, int pictureHeight, int channel, const QString& channelName)
    : width(pictureWidth)
    , height(pictureHeight)
    , name(shownName(channelName, channel))
    , sizeText(QString("%1X%2").arg(width).arg(height))
    , scale(std::max(1, width / (linesAcross * letterWidth)))
    , luma(height, '\0')
{
    for (int row = 0; row < height; ++row)
        luma[row] = static_cast<char>(brightest - (brightest - darkest) * row / height);
    const double hue = channel * hueStep;
    background = {0, byte(128 + saturation * std::cos(hue)), byte(128 + saturation * std::sin(hue))};
    box = {200, byte(128 - saturation * std::cos(hue)), byte(128 - saturation * std::sin(hue))};
}

void TestPainter::paint(AVFrame* frame, qint64 number, const QDateTime& time) const
{
    paintBackground(frame);
    paintBox(frame, number);
    const int line = lineHeight * scale;
    write(frame, name, line / 2, scale);
    write(frame, time.toString("yyyy-MM-dd"), line / 2 + line, scale);
    write(frame, time.toString("HH:mm:ss.zzz").left(10), line / 2 + 2 * line, scale);
    write(frame, sizeText, height - line, std::max(1, scale / 2));
}

void TestPainter::paintBackground(AVFrame* frame) const
{
    for (int row = 0; row < height; ++row)
        std::memset(frame->data[0] + row * frame->linesize[0], luma.at(row), static_cast<std::size_t>(width));
    for (int row = 0; row < height / 2; ++row) {
        std::memset(frame->data[1] + row * frame->linesize[1], background.u, static_cast<std::size_t>(width / 2));
        std::memset(frame->data[2] + row * frame->linesize[2], background.v, static_cast<std::size_t>(width / 2));
    }
}

void TestPainter::paintBox(AVFrame* frame, qint64 number) const
{
    const int side = std::min(width, height) / boxesAcross / 2 * 2;
    const int left = (width - side) * swing(number, boxSteps) / boxSteps;
    fill(frame, left / 2 * 2, height / 2 / 2 * 2, side, side, box);
}

void TestPainter::write(AVFrame* frame, const QString& text, int top, int size) const
{
    int left = letterWidth * scale;
    for (const QChar letter : text) {
        if (left + letterWidth * size > width || top + TestFont::height * size > height)
            return;
        writeGlyph(frame, letter, left, top, size);
        left += letterWidth * size;
    }
}

void TestPainter::writeGlyph(AVFrame* frame, QChar letter, int left, int top, int size) const
{
    const TestFont::Glyph* const glyph = TestFont::glyph(letter);
    for (int row = 0; glyph && row < TestFont::height; ++row) {
        for (int column = 0; column < TestFont::width; ++column) {
            if (glyph->at(static_cast<std::size_t>(row)) >> (TestFont::width - 1 - column) & 1)
                fill(frame, left + column * size, top + row * size, size, size, {235, 128, 128});
        }
    }
}

void TestPainter::fill(AVFrame* frame, int left, int top, int w, int h, const Color& color) const
{
    for (int row = top; row < top + h; ++row)
        std::memset(frame->data[0] + row * frame->linesize[0] + left, color.y, static_cast<std::size_t>(w));
    for (int row = top / 2; row < (top + h) / 2; ++row) {
        std::memset(frame->data[1] + row * frame->linesize[1] + left / 2, color.u, static_cast<std::size_t>(w / 2));
        std::memset(frame->data[2] + row * frame->linesize[2] + left / 2, color.v, static_cast<std::size_t>(w / 2));
    }
}
