#include "glinspector.h"
#include "renderer.h"
#include "screenpixels.h"

#include "support/messageguard.h"

#include <QMetaMethod>
#include <QTest>

#include <memory>

using ScreenPixels::mismatch;

namespace {
const QString matches;
constexpr int unitOfY = 1;
constexpr int unitOfUV = 0;
} // namespace

class TestNv12Widget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        renderer = std::make_unique<Nv12Renderer>();
        QPalette palette = widget().palette();
        palette.setColor(QPalette::Window, background);
        widget().setPalette(palette);
        widget().setGeometry(100, 80, 240, 200);
        widget().show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget()));
        // What showing the widget asked for is painted before a test counts paints.
        QCOMPARE(mismatch(widget(), background), matches);
        QTest::qWait(50);
    }

    void cleanup()
    {
        renderer.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void metaObject_listsTheMethodsInOrder()
    {
        const QMetaObject& type = Nv12Widget::staticMetaObject;
        QStringList signatures;
        for (int index = type.methodOffset(); index < type.methodCount(); ++index)
            signatures.append(type.method(index).methodSignature());
        QCOMPARE(signatures,
                 QStringList({
                     "playFinsh()",
                     "clear()",
                     "setFrameSize(int,int)",
                     "updateTextures(quint8*,quint8*,int,int)",
                     "updateFrame(int,int,quint8*,quint8*,int,int)",
                     "read()",
                     "play(QString,int)",
                     "stop()",
                 }));
        QCOMPARE(type.method(type.methodOffset()).methodType(), QMetaMethod::Signal);
        for (int index = type.methodOffset() + 1; index < type.methodCount(); ++index)
            QCOMPARE(type.method(index).methodType(), QMetaMethod::Slot);
        QCOMPARE(QByteArray(type.superClass()->className()), QByteArray("QGLWidget"));
    }

    void shaders_haveTheirExactText()
    {
        GlInspector gl(widget());
        QCOMPARE(gl.source(QOpenGLShader::Vertex),
                 QString("attribute vec4 vertexIn;attribute vec4 textureIn;varying vec4 textureOut;void main(void){"
                         "  gl_Position = vertexIn;  textureOut = textureIn;}"));
        QCOMPARE(gl.source(QOpenGLShader::Fragment),
                 QString("varying mediump vec4 textureOut;uniform sampler2D textureY;uniform sampler2D textureUV;"
                         "void main(void){  vec3 yuv;  vec3 rgb;"
                         "  yuv.x = texture2D(textureY, textureOut.st).r - 0.0625;"
                         "  yuv.y = texture2D(textureUV, textureOut.st).r - 0.5;"
                         "  yuv.z = texture2D(textureUV, textureOut.st).g - 0.5;"
                         "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;"
                         "  gl_FragColor = vec4(rgb, 1.0);}"));
    }

    void geometry_isTheConstantTable_whenNotZoomed()
    {
        const QVector<float> table{-1, 1, 1, 1, 1, -1, -1, -1, 0, 0, 1, 0, 1, 1, 0, 1};
        QCOMPARE(GlInspector(widget()).bufferContents(16), table);
        renderer->setViewRect({0.25, 0.25, 0.5, 0.5});
        paintFrame(Picture::filled(8, 8, 126));
        QCOMPARE(GlInspector(widget()).bufferContents(16).mid(8),
                 QVector<float>({0.25f, 0.25f, 0.75f, 0.25f, 0.75f, 0.75f, 0.25f, 0.75f}));
        renderer->clear();
        paintFrame(Picture::filled(8, 8, 126));
        QCOMPARE(GlInspector(widget()).bufferContents(16), table);
    }

    void paint_samplesBothPlanesFromTheChroma_whenTheFrameIsTheFirst()
    {
        paintFrame(Picture::filled(8, 8, 200, 100, 150));
        // The luma sampler still reads the U values.
        QCOMPARE(mismatch(widget(), Picture::color(100, 100, 150)), matches);
        paintFrame(Picture::filled(8, 8, 200, 100, 150));
        QCOMPARE(mismatch(widget(), Picture::color(200, 100, 150)), matches);
    }

    void paint_isRight_whenTheBackgroundWasPaintedBetween()
    {
        paintFrame(Picture::filled(8, 8, 200, 100, 150));
        renderer->clear();
        QCOMPARE(mismatch(widget(), background), matches);
        paintFrame(Picture::filled(8, 8, 200, 100, 150));
        QCOMPARE(mismatch(widget(), Picture::color(200, 100, 150)), matches);
    }

    void paint_setsTheSamplersAfterTheDraw()
    {
        QCOMPARE(GlInspector(widget()).uniform("textureY"), 0);
        QCOMPARE(GlInspector(widget()).uniform("textureUV"), 0);
        paintFrame(Picture::filled(8, 8, 126));
        GlInspector gl(widget());
        QCOMPARE(gl.uniform("textureY"), unitOfY);
        QCOMPARE(gl.uniform("textureUV"), unitOfUV);
        QCOMPARE(gl.integer(GL_CURRENT_PROGRAM), 0);
        QCOMPARE(gl.integer(GL_DEPTH_TEST), 0);
    }

    void textures_interpolateAndClampToTheEdge()
    {
        paintFrame(Picture::filled(8, 8, 126));
        GlInspector gl(widget());
        for (int unit : {unitOfY, unitOfUV}) {
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_MAG_FILTER), GL_LINEAR);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_MIN_FILTER), GL_LINEAR);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_WRAP_S), GL_CLAMP_TO_EDGE);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_WRAP_T), GL_CLAMP_TO_EDGE);
        }
    }

    void paint_uploadsChromaRoundedDown_whenTheSizeIsOdd()
    {
        paintFrame(Picture::filled(7, 5, 126));
        GlInspector gl(widget());
        QCOMPARE(gl.textureSize(unitOfY), QSize(7, 5));
        QCOMPARE(gl.textureSize(unitOfUV), QSize(3, 2));
    }

    void updateFrame_showsTheBackground_whenChromaIsNull()
    {
        Picture picture = Picture::filled(8, 8, 235);
        paintFrame(picture);
        paintFrame(picture);
        QCOMPARE(mismatch(widget(), Picture::color(235)), matches);
        widget().updateFrame(8, 8, reinterpret_cast<quint8*>(picture.y.data()), nullptr, 0, 0);
        QCOMPARE(mismatch(widget(), background), matches);
    }

private:
    Nv12Widget& widget() { return renderer->renderer; }

    /// Exactly one paint.
    void paintFrame(const Picture& picture)
    {
        renderer->updateFrame(picture);
        widget().repaint();
    }

    const QColor background{70, 20, 90};
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<Nv12Renderer> renderer;
};

QTEST_MAIN(TestNv12Widget)
#include "tst_nv12widget.moc"
