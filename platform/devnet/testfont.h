#pragma once

#include <QChar>

#include <array>

/// Letters of 5 by 7 dots, so that the test picture needs no fonts.
namespace TestFont {

constexpr int width = 5;
constexpr int height = 7;

/// A line of dots each, the leftmost in bit 4.
using Glyph = std::array<unsigned char, height>;

/// Null for a letter that is not there. Small letters are the large ones.
const Glyph* glyph(QChar letter);

} // namespace TestFont
