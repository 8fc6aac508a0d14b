#include "core_opengl/glpicture.h"

#include <QColor>
#include <QCoreApplication>
#include <QOpenGLFunctions>

QString GlPicture::vertexSource(const QStringList& lines) { return lines.join(""); }

QString GlPicture::fragmentSource(const QStringList& lines)
{
    QStringList all = lines;
    if (QCoreApplication::testAttribute(Qt::AA_UseOpenGLES))
        all = QStringList{"precision mediump int;", "precision mediump float;"} + lines;
    return all.join("");
}

void GlPicture::clear(QOpenGLFunctions& gl, const QPalette& palette)
{
    const QColor color = palette.color(QPalette::Window);
    gl.glClearColor(GLfloat(color.redF()), GLfloat(color.greenF()), GLfloat(color.blueF()), GLfloat(color.alphaF()));
    gl.glClear(GL_COLOR_BUFFER_BIT);
}
