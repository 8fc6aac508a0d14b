#pragma once

#include <QGLWidget>
#include <QOpenGLContext>
#include <QOpenGLFunctions_2_1>
#include <QOpenGLShader>
#include <QOpenGLShaderProgram>
#include <QSize>

/// Reads the OpenGL state of a renderer. Makes its context current for the life of the object.
class GlInspector
{
public:
    explicit GlInspector(QGLWidget& inspected)
        : widget(inspected)
    {
        widget.makeCurrent();
        gl = QOpenGLContext::currentContext()->versionFunctions<QOpenGLFunctions_2_1>();
        gl->initializeOpenGLFunctions();
        gl->glGetIntegerv(GL_ACTIVE_TEXTURE, &activeUnit);
    }
    ~GlInspector()
    {
        gl->glActiveTexture(GLenum(activeUnit));
        widget.doneCurrent();
    }
    GlInspector(const GlInspector&) = delete;
    GlInspector& operator=(const GlInspector&) = delete;

    /// Size of the texture bound to a unit.
    QSize textureSize(int unit) { return {level(unit, GL_TEXTURE_WIDTH), level(unit, GL_TEXTURE_HEIGHT)}; }

    /// Parameter of the texture bound to a unit.
    int textureParameter(int unit, GLenum name)
    {
        GLint value = 0;
        gl->glActiveTexture(GL_TEXTURE0 + GLenum(unit));
        gl->glGetTexParameteriv(GL_TEXTURE_2D, name, &value);
        return value;
    }

    int integer(GLenum name)
    {
        GLint value = 0;
        gl->glGetIntegerv(name, &value);
        return value;
    }

    /// Values of an attribute array in the bound vertex buffer or in client memory.
    QVector<float> clientArray(GLuint attribute, int count)
    {
        void* pointer = nullptr;
        gl->glGetVertexAttribPointerv(attribute, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        const auto* values = static_cast<const float*>(pointer);
        return QVector<float>(values, values + count);
    }

    QVector<float> bufferContents(int count)
    {
        QVector<float> values(count);
        gl->glGetBufferSubData(GL_ARRAY_BUFFER, 0, count * int(sizeof(float)), values.data());
        return values;
    }

    int uniform(const char* name)
    {
        const GLuint id = program().programId();
        GLint value = -1;
        gl->glGetUniformiv(id, gl->glGetUniformLocation(id, name), &value);
        return value;
    }

    QOpenGLShaderProgram& program() { return *widget.findChild<QOpenGLShaderProgram*>(); }

    /// A shader's text without the lines that Qt puts in front of it.
    QString source(QOpenGLShader::ShaderType type)
    {
        for (QOpenGLShader* shader : program().shaders()) {
            if (shader->shaderType() == type)
                return QString::fromLatin1(shader->sourceCode()).section('\n', -1);
        }
        return QString();
    }

private:
    int level(int unit, GLenum name)
    {
        GLint value = 0;
        gl->glActiveTexture(GL_TEXTURE0 + GLenum(unit));
        gl->glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, name, &value);
        return value;
    }

    QGLWidget& widget;
    QOpenGLFunctions_2_1* gl = nullptr;
    GLint activeUnit = 0;
};
