#pragma once

#include <QByteArray>
#include <QColor>

/// A small YUV picture that a test paints pixel by pixel. The chroma planes have half the size, rounded down, or the
/// full height for 4:2:2.
class Picture
{
public:
    enum Chroma { HalfHeight, FullHeight };

    Picture(int columns, int rows, Chroma chroma = HalfHeight)
        : width(columns)
        , height(rows)
        , chromaWidth(width / 2)
        , chromaHeight(chroma == FullHeight ? height : height / 2)
        , y(width * height, char(0))
        , u(chromaWidth * chromaHeight, char(128))
        , v(u)
    {
    }

    static Picture filled(int width, int height, int y, int u = 128, int v = 128)
    {
        Picture picture(width, height);
        picture.y.fill(char(y));
        picture.u.fill(char(u));
        picture.v.fill(char(v));
        return picture;
    }

    void setLuma(int column, int row, int value) { y[row * width + column] = char(value); }
    void setChroma(int column, int row, int valueU, int valueV)
    {
        u[row * chromaWidth + column] = char(valueU);
        v[row * chromaWidth + column] = char(valueV);
    }

    /// The colour that a screen shows for these values, in the exact form of the conversion, clamped.
    static QColor color(int y, int u = 128, int v = 128)
    {
        const double luma = y / 255.0 - 0.0625;
        const double blue = u / 255.0 - 0.5;
        const double red = v / 255.0 - 0.5;
        return QColor::fromRgbF(qBound(0.0, luma + 1.13983 * red, 1.0),
                                qBound(0.0, luma - 0.39465 * blue - 0.58060 * red, 1.0),
                                qBound(0.0, luma + 2.03211 * blue, 1.0));
    }

    /// A plane with @p padding bytes of noise behind each row.
    static QByteArray padded(const QByteArray& plane, int rowBytes, int padding)
    {
        QByteArray result;
        for (int offset = 0; offset < plane.size(); offset += rowBytes)
            result += plane.mid(offset, rowBytes) + QByteArray(padding, char(0x5a));
        return result;
    }

    QByteArray interleavedChroma() const
    {
        QByteArray result;
        for (int i = 0; i < u.size(); ++i)
            result.append(u[i]).append(v[i]);
        return result;
    }

    int width;
    int height;
    int chromaWidth;
    int chromaHeight;
    QByteArray y;
    QByteArray u;
    QByteArray v;
};
