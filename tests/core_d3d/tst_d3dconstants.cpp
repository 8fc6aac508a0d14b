#include "core_d3d/d3dconstants.h"
#include "core_d3d/viewquad.h"
#include "core_d3d/viewrect.h"

#include <QTest>

#include <cstddef>
#include <cstring>

using namespace D3DConstants;

namespace {

/// The numbers of a quad as they lie in memory.
QVector<float> numbers(const Quad& quad)
{
    QVector<float> values(int(sizeof(quad) / sizeof(float)));
    std::memcpy(values.data(), quad.data(), sizeof(quad));
    return values;
}

/// The texture coordinates of the upper left and the lower right corner.
QVector<float> corners(const Quad& quad) { return {quad[0].u, quad[0].v, quad[2].u, quad[2].v}; }

QVector<int> edges(const ViewRect& view, int width, int height)
{
    const PixelEdges part = evenEdges(view, width, height);
    return {part.left, part.top, part.right, part.bottom};
}

} // namespace

class TestD3DConstants : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quad_coversTheViewportClockwise()
    {
        QCOMPARE(sizeof(quad), size_t(80));
        QCOMPARE(numbers(quad), (QVector<float>{-1, 1, 0, 0, 0, 1, 1, 0, 1, 0, 1, -1, 0, 1, 1, -1, -1, 0, 0, 1}));
    }

    void vertex_liesInMemoryAsTheInputLayoutSays()
    {
        QCOMPARE(vertexStride, 20u);
        QCOMPARE(sizeof(Vertex), size_t(vertexStride));
        QCOMPARE(size_t(positionOffset), offsetof(Vertex, x));
        QCOMPARE(size_t(coordinateOffset), offsetof(Vertex, u));
        QCOMPARE(coordinateOffset, 12u);
    }

    void indices_areTwoTriangles()
    {
        const Indices expected{0, 1, 2, 0, 2, 3};
        QCOMPARE(sizeof(indices), size_t(12));
        QVERIFY(indices == expected);
    }

    void transform_isTheIdentity()
    {
        QCOMPARE(sizeof(transform), size_t(64));
        for (size_t row = 0; row < 4; ++row)
            for (size_t column = 0; column < 4; ++column)
                QCOMPARE(transform[row * 4 + column], row == column ? 1.f : 0.f);
    }

    void textures_haveTheLayoutOfNv12()
    {
        QCOMPARE(formatFrame, 103);
        QCOMPARE(formatLuma, 61);
        QCOMPARE(formatChroma, 49);
        QCOMPARE(lumaSlot, 0u);
        QCOMPARE(chromaSlot, 1u);
    }

    void screen_hasTwoTenBitBuffersShownAtOnce()
    {
        const std::array<float, 4> opaqueBlack{0, 0, 0, 1};
        QCOMPARE(formatScreen, 24);
        QCOMPARE(screenBufferCount, 2u);
        QCOMPARE(samplesPerPixel, 1u);
        QCOMPARE(presentInterval, 0u);
        QVERIFY(background == opaqueBlack);
    }

    void sampler_andViewport()
    {
        QCOMPARE(anisotropy, 16u);
        QCOMPARE(depthNear, 0.f);
        QCOMPARE(depthFar, 1.f);
    }

    void inputLayout_hasTheFormatsOfAVertex()
    {
        QCOMPARE(formatPosition, 6);
        QCOMPARE(formatCoordinate, 16);
        QCOMPARE(formatIndex, 57);
    }

    void needsResize_whenEitherSideDiffers()
    {
        QVERIFY(!needsResize(1920, 1080, 1920, 1080));
        QVERIFY(needsResize(1920, 1088, 1920, 1080));
        QVERIFY(needsResize(1922, 1080, 1920, 1080));
        QVERIFY(needsResize(1080, 1920, 1920, 1080));
    }

    void viewQuad_isTheConstantQuad_whenTheWholeFrameIsShown()
    {
        for (const QSize& size : {QSize(16, 16), QSize(1920, 1080), QSize(3840, 2160), QSize(638, 358)}) {
            const ViewRect whole{0, 0, double(size.width()), double(size.height())};
            QCOMPARE(numbers(viewQuad(whole, size.width(), size.height())), numbers(quad));
            QCOMPARE(numbers(viewQuad(ViewRect(), size.width(), size.height())), numbers(quad));
        }
    }

    void viewQuad_movesTheTextureCoordinatesAlone()
    {
        const Quad zoomed = viewQuad({480, 270, 960, 540}, 1920, 1080);
        QCOMPARE(numbers(zoomed), (QVector<float>{-1, 1,  0, .25f, .25f, 1,  1,  0, .75f, .25f, //
                                                  1,  -1, 0, .75f, .75f, -1, -1, 0, .25f, .75f}));
    }

    void viewQuad_staysInsideTheFrame()
    {
        QCOMPARE(corners(viewQuad({-100, 50, 300, 500}, 400, 200)), (QVector<float>{0, .25f, .5f, 1}));
        QCOMPARE(corners(viewQuad({500, 0, 100, 100}, 400, 200)), (QVector<float>{0, 0, 1, 1})); // of another frame
    }

    void visiblePart_isTheWholeFrame_whenTheViewIsEmpty()
    {
        const ViewRect whole{0, 0, 64, 48};
        QVERIFY(visiblePart({}, 64, 48) == whole);
        QVERIFY(visiblePart({10, 10, 0, 20}, 64, 48) == whole);
        QVERIFY(visiblePart({10, 10, -5, 20}, 64, 48) == whole);
        QVERIFY((visiblePart({10, 10, 5, 20}, 64, 48) != whole));
    }

    void evenEdges_areTheFrame_whenTheWholeFrameIsShown()
    {
        QCOMPARE(edges({}, 1920, 1080), (QVector<int>{0, 0, 1920, 1080}));
        QCOMPARE(edges({0, 0, 1920, 1080}, 1920, 1080), (QVector<int>{0, 0, 1920, 1080}));
    }

    void evenEdges_widenTheViewToSharedColours()
    {
        QCOMPARE(edges({101.5, 33, 50, 20.5}, 1920, 1080), (QVector<int>{100, 32, 152, 54}));
        QCOMPARE(edges({100, 32, 52, 22}, 1920, 1080), (QVector<int>{100, 32, 152, 54}));
    }

    void evenEdges_stayInsideTheFrame()
    {
        QCOMPARE(edges({-3, -3, 10, 10}, 64, 48), (QVector<int>{0, 0, 8, 8}));
        QCOMPARE(edges({60, 40, 100, 100}, 63, 47), (QVector<int>{60, 40, 63, 47}));
    }
};

QTEST_APPLESS_MAIN(TestD3DConstants)
#include "tst_d3dconstants.moc"
