#include "glinspector.h"
#include "renderer.h"
#include "screenpixels.h"

#include "support/messageguard.h"

#include <QApplication>
#include <QTest>

#include <memory>

using ScreenPixels::mismatch;

/// The renderers in an application that asks for OpenGL ES. Where the context is one of desktop OpenGL all the same,
/// the precision lines do not compile; the text is then found in Qt's message about it.
class TestOpenglEsShaders : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        guard = std::make_unique<MessageGuard>();
        guard->allow("QOpenGLShader::compile\\(Fragment\\)");
        guard->allow("Problematic Fragment shader source code");
    }

    void cleanup()
    {
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        guard.reset();
    }

    void yuvFragmentShader_startsWithThePrecisionLines()
    {
        YuvRenderer renderer;
        show(renderer.widget());
        const QString text = fragmentSource(renderer.widget());
        QVERIFY2(text.startsWith("precision mediump int;precision mediump float;varying mediump vec2 textureOut;"
                                 "uniform sampler2D textureY;"),
                 qPrintable(text));
        QVERIFY(text.endsWith("  gl_FragColor = vec4(rgb, 1.0);}"));
    }

    void nv12FragmentShader_startsWithThePrecisionLines()
    {
        Nv12Renderer renderer;
        show(renderer.widget());
        const QString text = fragmentSource(renderer.widget());
        QVERIFY2(text.startsWith("precision mediump int;precision mediump float;varying mediump vec4 textureOut;"
                                 "uniform sampler2D textureY;"),
                 qPrintable(text));
        QVERIFY(text.endsWith("  gl_FragColor = vec4(rgb, 1.0);}"));
    }

    void paint_showsPictureOrBackground()
    {
        YuvRenderer yuv;
        Nv12Renderer nv12;
        for (Renderer* renderer : {static_cast<Renderer*>(&yuv), static_cast<Renderer*>(&nv12)}) {
            show(renderer->widget());
            for (int frame = 0; frame < 2; ++frame) {
                renderer->updateFrame(Picture::filled(8, 8, 126));
                renderer->widget().repaint();
            }
            const bool compiled = !guard->contains("QOpenGLShader::compile");
            QCOMPARE(mismatch(renderer->widget(), compiled ? Picture::color(126) : background), QString());
        }
    }

private:
    void show(QWidget& widget)
    {
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Window, background);
        widget.setPalette(palette);
        widget.setGeometry(100, 80, 240, 200);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCOMPARE(mismatch(widget, background), QString());
    }

    QString fragmentSource(QGLWidget& widget) const
    {
        for (const QString& text : guard->texts(QtWarningMsg)) {
            const int start = text.indexOf("#line 1\n");
            if (start >= 0)
                return text.mid(start).section('\n', 1, 1);
        }
        return GlInspector(widget).source(QOpenGLShader::Fragment);
    }

    const QColor background{70, 20, 90};
    std::unique_ptr<MessageGuard> guard;
};

int main(int argc, char* argv[])
{
    QCoreApplication::setAttribute(Qt::AA_UseOpenGLES);
    QApplication application(argc, argv);
    TestOpenglEsShaders test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_openglesshaders.moc"
