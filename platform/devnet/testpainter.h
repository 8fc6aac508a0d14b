#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

extern "C" {
#include <libavutil/frame.h>
}

/// Paints the built-in test picture: a background in the colours of its channel, a box that moves, the name of the
/// channel, date and time, and the size.
class TestPainter
{
public:
    /// @p channel counts from 0. A name with letters that the painter does not know becomes "CHANNEL n".
    TestPainter(int pictureWidth, int pictureHeight, int channel, const QString& channelName);

    /// @p frame is a writable one of 4:2:0 and the painter's size; @p number counts the pictures.
    void paint(AVFrame* frame, qint64 number, const QDateTime& time) const;

private:
    struct Color
    {
        quint8 y;
        quint8 u;
        quint8 v;
    };

    void paintBackground(AVFrame* frame) const;
    void paintBox(AVFrame* frame, qint64 number) const;
    void write(AVFrame* frame, const QString& text, int top, int scale) const;
    void writeGlyph(AVFrame* frame, QChar letter, int left, int top, int scale) const;
    void fill(AVFrame* frame, int left, int top, int w, int h, const Color& color) const;

    const int width;
    const int height;
    const QString name;
    const QString sizeText;
    const int scale; ///< pixels of the picture to one of a letter
    QByteArray luma; ///< of the background, a value for each line
    Color background;
    Color box;
};
