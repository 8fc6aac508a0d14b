#include "glinspector.h"
#include "renderer.h"
#include "screenpixels.h"

#include "support/messageguard.h"

#include <QMetaMethod>
#include <QTemporaryFile>
#include <QTest>

#include <memory>

using ScreenPixels::cell;
using ScreenPixels::mismatch;

namespace {
const QString matches;
} // namespace

class TestYuvWidget : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        renderer = std::make_unique<YuvRenderer>();
        widget().setGeometry(100, 80, 240, 200);
        widget().show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget()));
    }

    void cleanup()
    {
        renderer.reset();
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void metaObject_listsTheMethodsInOrder()
    {
        const QMetaObject& type = YuvWidget::staticMetaObject;
        QStringList signatures;
        for (int index = type.methodOffset(); index < type.methodCount(); ++index)
            signatures.append(type.method(index).methodSignature());
        QCOMPARE(signatures,
                 QStringList({
                     "playFinsh()",
                     "setYuyv(bool)",
                     "clear()",
                     "setFrameSize(int,int)",
                     "updateTextures(quint8*,quint8*,quint8*,int,int,int)",
                     "updateFrame(int,int,quint8*,quint8*,quint8*,int,int,int)",
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
                 QString("attribute vec4 vertexIn;attribute vec2 textureIn;varying vec2 textureOut;void main(void){"
                         "  gl_Position = vertexIn;  textureOut = textureIn;}"));
        QCOMPARE(gl.source(QOpenGLShader::Fragment),
                 QString("varying mediump vec2 textureOut;uniform sampler2D textureY;uniform sampler2D textureU;"
                         "uniform sampler2D textureV;void main(void){  vec3 yuv;  vec3 rgb;"
                         "  yuv.x = texture2D(textureY, textureOut).r - 0.0625;"
                         "  yuv.y = texture2D(textureU, textureOut).r - 0.5;"
                         "  yuv.z = texture2D(textureV, textureOut).r - 0.5;"
                         "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;"
                         "  gl_FragColor = vec4(rgb, 1.0);}"));
    }

    void geometry_isTheConstantTable_whenNotZoomed()
    {
        renderer->updateFrame(Picture::filled(8, 8, 126));
        renderer->setViewRect({0.25, 0.25, 0.5, 0.5});
        renderer->clear();
        GlInspector gl(widget());
        QCOMPARE(gl.program().attributeLocation("vertexIn"), 0);
        QCOMPARE(gl.program().attributeLocation("textureIn"), 1);
        QCOMPARE(gl.clientArray(0, 8), QVector<float>({-1, -1, 1, -1, -1, 1, 1, 1}));
        QCOMPARE(gl.clientArray(1, 8), QVector<float>({0, 1, 1, 1, 0, 0, 1, 0}));
    }

    void program_staysBound()
    {
        GlInspector gl(widget());
        QCOMPARE(GLuint(gl.integer(GL_CURRENT_PROGRAM)), gl.program().programId());
        QCOMPARE(gl.integer(GL_DEPTH_TEST), 0);
    }

    void textures_takeTheNearestTexelAndTheUnitOfTheirPlane()
    {
        renderer->updateFrame(Picture::filled(8, 8, 126));
        QCOMPARE(mismatch(widget(), Picture::color(126)), matches);
        GlInspector gl(widget());
        for (int unit = 0; unit < 3; ++unit) {
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_MAG_FILTER), GL_NEAREST);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_MIN_FILTER), GL_NEAREST);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_WRAP_S), 0x2900);
            QCOMPARE(gl.textureParameter(unit, GL_TEXTURE_WRAP_T), 0x2900);
        }
        QCOMPARE(gl.uniform("textureY"), 0);
        QCOMPARE(gl.uniform("textureU"), 1);
        QCOMPARE(gl.uniform("textureV"), 2);
    }

    void paint_uploadsChromaRoundedDown_whenTheSizeIsOdd()
    {
        renderer->updateFrame(Picture::filled(7, 5, 126));
        QCOMPARE(mismatch(widget(), Picture::color(126)), matches);
        GlInspector gl(widget());
        QCOMPARE(gl.textureSize(0), QSize(7, 5));
        QCOMPARE(gl.textureSize(1), QSize(3, 2));
        QCOMPARE(gl.textureSize(2), QSize(3, 2));
    }

    void paint_isRightInTheFirstFrame()
    {
        renderer->updateFrame(Picture::filled(8, 8, 81, 90, 240));
        QCOMPARE(mismatch(widget(), Picture::color(81, 90, 240)), matches);
    }

    void setYuyv_uploadsChromaOfFullHeight()
    {
        renderer->renderer.setYuyv(true);
        renderer->updateFrame(chromaRows(Picture::FullHeight));
        for (int row = 0; row < 4; ++row)
            QCOMPARE(mismatch(widget(), cell(widget(), 1, row, 2, 4), rowColor(row)), matches);
        GlInspector gl(widget());
        QCOMPARE(gl.textureSize(1), QSize(2, 4));
        QCOMPARE(gl.textureSize(2), QSize(2, 4));
    }

    void setYuyv_uploadsChromaOfHalfHeight_whenOff()
    {
        renderer->renderer.setYuyv(true);
        renderer->renderer.setYuyv(false);
        renderer->updateFrame(chromaRows(Picture::HalfHeight));
        QCOMPARE(mismatch(widget(), cell(widget(), 1, 0, 2, 2), rowColor(0)), matches);
        QCOMPARE(mismatch(widget(), cell(widget(), 1, 1, 2, 2), rowColor(1)), matches);
    }

    void setYuyv_holds_whenClearedAndStopped()
    {
        renderer->renderer.setYuyv(true);
        renderer->clear();
        renderer->stop();
        renderer->updateFrame(chromaRows(Picture::FullHeight));
        for (int row = 0; row < 4; ++row)
            QCOMPARE(mismatch(widget(), cell(widget(), 1, row, 2, 4), rowColor(row)), matches);
    }

    void setYuyv_staysInTheRawFrame_whenAFileIsPlaying()
    {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(renderer->rawFrame(Picture::filled(16, 16, 200)));
        file.close();
        renderer->renderer.setYuyv(true);
        renderer->setFrameSize(16, 16);
        renderer->play(file.fileName(), 1);
        renderer->read();
        // The first chroma row of the file serves both planes there.
        QCOMPARE(mismatch(widget(), cell(widget(), 0, 0, 16, 16), Picture::color(200)), matches);
    }

private:
    YuvWidget& widget() { return renderer->renderer; }

    static QColor rowColor(int row) { return Picture::color(126, 80 + 30 * row, 180 - 30 * row); }

    static Picture chromaRows(Picture::Chroma chroma)
    {
        Picture picture(4, 4, chroma);
        picture.y.fill(char(126));
        for (int row = 0; row < picture.chromaHeight; ++row) {
            for (int column = 0; column < picture.chromaWidth; ++column)
                picture.setChroma(column, row, 80 + 30 * row, 180 - 30 * row);
        }
        return picture;
    }

    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<YuvRenderer> renderer;
};

QTEST_MAIN(TestYuvWidget)
#include "tst_yuvwidget.moc"
