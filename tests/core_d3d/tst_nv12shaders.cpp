#include "core_d3d/nv12shaders.h"

#include <QRegularExpression>
#include <QTest>

#include <array>
#include <cmath>

namespace {

using Color = std::array<double, 3>;

QString programText() { return QString::fromLatin1(Nv12Shaders::text).simplified(); }

/// The numbers in the first parentheses or braces behind @p start.
QVector<double> numbersBehind(const QString& start)
{
    const QString text = programText();
    const QRegularExpression list("[({]([-0-9., ]+)[)}]");
    const int position = text.indexOf(start);
    QVector<double> numbers;
    for (const QString& number : list.match(text, position).captured(1).split(','))
        numbers << number.trimmed().toDouble();
    return position < 0 ? QVector<double>() : numbers;
}

/// What the pixel shader computes, with the numbers that stand in its text.
Color shaded(const std::array<int, 3>& bytes)
{
    static const QVector<double> offsets = numbersBehind("uv.y) - float3");
    static const QVector<double> matrix = numbersBehind("YUVtoRGBCoeffMatrix =");
    Color rgb{};
    for (int column = 0; column < 3; ++column) {
        for (int row = 0; row < 3; ++row)
            rgb[size_t(column)] += (bytes[size_t(row)] / 255.0 - offsets[row]) * matrix[row * 3 + column];
        rgb[size_t(column)] = qBound(0.0, rgb[size_t(column)], 1.0);
    }
    return rgb;
}

/// BT.601 from its definition: luma is 0.299 R + 0.587 G + 0.114 B, and the ranges are 16..235 and 16..240.
Color bt601(const std::array<int, 3>& bytes)
{
    const double luma = (bytes[0] - 16) / 219.0;
    const double blue = luma + (bytes[1] - 128) / 224.0 * 2 * (1 - 0.114);
    const double red = luma + (bytes[2] - 128) / 224.0 * 2 * (1 - 0.299);
    const double green = (luma - 0.299 * red - 0.114 * blue) / 0.587;
    return {qBound(0.0, red, 1.0), qBound(0.0, green, 1.0), qBound(0.0, blue, 1.0)};
}

double difference(const Color& one, const Color& other)
{
    double largest = 0;
    for (size_t i = 0; i < one.size(); ++i)
        largest = std::max(largest, std::abs(one[i] - other[i]));
    return largest;
}

} // namespace

class TestNv12Shaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entryPoints_areCompiledForShaderModel5()
    {
        QCOMPARE(Nv12Shaders::vertexEntry, "main_VS");
        QCOMPARE(Nv12Shaders::pixelEntry, "main_PS");
        QCOMPARE(Nv12Shaders::vertexTarget, "vs_5_0");
        QCOMPARE(Nv12Shaders::pixelTarget, "ps_5_0");
    }

    void text_contains_data()
    {
        QTest::addColumn<QString>("part");
        for (const char* part : {
                 "cbuffer CBuf { matrix transform; }",
                 "Texture2D<float> yChannel : register(t0);",
                 "Texture2D<float2> uvChannel : register(t1);",
                 "SamplerState splr;",
                 "main_VS(float3 pos : POSITION, float2 tex : TEXCOORD)",
                 "mul(float4(pos, 1.0), transform)",
                 "output.tex = tex;",
                 "yChannel.Sample(splr, input.tex)",
                 "uvChannel.Sample(splr, input.tex)",
                 "mul(yuv, YUVtoRGBCoeffMatrix), 0.0, 1.0)",
                 "return float4(rgb, 1.0);",
             })
            QTest::newRow(part) << QString(part);
    }

    void text_contains()
    {
        QFETCH(QString, part);
        QVERIFY2(programText().contains(part), Nv12Shaders::text);
    }

    void text_hasOneSampler() { QCOMPARE(programText().count("SamplerState"), 1); }

    void matrix_hasItsCoefficients()
    {
        QCOMPARE(numbersBehind("YUVtoRGBCoeffMatrix ="),
                 (QVector<double>{1.164383, 1.164383, 1.164383, 0, -0.391762, 2.017232, 1.596027, -0.812968, 0}));
        QCOMPARE(numbersBehind("uv.y) - float3"), (QVector<double>{0.062745, 0.501960, 0.501960}));
    }

    void pixel_isBt601_forTheWholeCube()
    {
        for (int y = 0; y <= 255; y += 5)
            for (int u = 0; u <= 255; u += 5)
                for (int v = 0; v <= 255; v += 5) {
                    const std::array<int, 3> bytes{y, u, v};
                    QVERIFY2(difference(shaded(bytes), bt601(bytes)) < 0.0001,
                             qPrintable(QString("%1 %2 %3").arg(y).arg(u).arg(v)));
                }
    }

    void pixel_isBlackAndWhite_atTheEndsOfTheRange()
    {
        QVERIFY(difference(shaded({16, 128, 128}), Color{0, 0, 0}) < 0.00001);
        QVERIFY(difference(shaded({235, 128, 128}), Color{1, 1, 1}) < 0.00001);
    }

    void pixel_isClamped_beyondTheRange()
    {
        QCOMPARE(shaded({0, 128, 128}), (Color{0, 0, 0}));
        QCOMPARE(shaded({255, 128, 128}), (Color{1, 1, 1}));
    }
};

QTEST_APPLESS_MAIN(TestNv12Shaders)
#include "tst_nv12shaders.moc"
