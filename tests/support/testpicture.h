#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QSize>

/// The picture that every clip and every live mount shows: four coloured quadrants, and across the middle a band in
/// which the picture's number is written as twelve blocks, the most significant bit first, white for 1, black for 0.
///
/// So a test can tell from pixels which picture it sees, whether it is upright and whether its colours are right. The
/// band takes rows 5/12 to 7/12 of the height; block b begins at (b + 1)/14 of the width. rtsp_server.py paints the
/// same.
namespace TestPicture {

/// Numbers begin again at 0 here.
constexpr int count = 4096;

/// The colours of the quadrants as they are shown.
QColor topLeft(); ///< red
QColor topRight(); ///< green
QColor bottomLeft(); ///< blue
QColor bottomRight(); ///< yellow

/// The picture as I420, BT.601 limited range, planes without padding; odd sizes have chroma rounded up.
QByteArray i420(const QSize& size, int number);

/// The number that a picture of any size shows; -1 when its blocks are neither black nor white.
int number(const QImage& image);

/// As number(const QImage&), from a plane of limited-range luma.
int number(const quint8* luma, int width, int height, int lineSize);

/// Whether the four quadrants have their colours, each channel within @p tolerance.
bool hasColors(const QImage& image, int tolerance = 48);

} // namespace TestPicture
