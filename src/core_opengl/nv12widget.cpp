#include "core_opengl/nv12widget.h"

#include "core_opengl/glpicture.h"
#include "core_opengl/rawframe.h"

#include <QOpenGLContext>
#include <QThread>

namespace {

const QRectF wholeFrame(0, 0, 1, 1);

constexpr int vertexCount = 4;
constexpr int componentCount = 2;
constexpr int vertexStride = 8; // bytes
constexpr int coordinateOffset = 32; // bytes
constexpr GLenum unitOfY = GL_TEXTURE1;
constexpr GLenum unitOfUV = GL_TEXTURE0;

// Missing from the OpenGL ES headers.
constexpr GLenum glQuads = 0x0007;

// Clockwise from the upper left corner; the first image row is at the top.
constexpr std::array<GLfloat, 16> vertexTable{
    -1, 1, 1, 1, 1, -1, -1, -1, // positions
    0,  0, 1, 0, 1, 1,  0,  1, // texture coordinates
};

std::array<GLfloat, 8> coordinatesOf(const QRectF& view)
{
    const auto left = GLfloat(view.left());
    const auto top = GLfloat(view.top());
    const auto right = GLfloat(view.right());
    const auto bottom = GLfloat(view.bottom());
    return {left, top, right, top, right, bottom, left, bottom};
}

QString vertexText()
{
    return GlPicture::vertexSource({
        "attribute vec4 vertexIn;",
        "attribute vec4 textureIn;",
        "varying vec4 textureOut;",
        "void main(void)",
        "{",
        "  gl_Position = vertexIn;",
        "  textureOut = textureIn;",
        "}",
    });
}

QString fragmentText()
{
    return GlPicture::fragmentSource({
        "varying mediump vec4 textureOut;",
        "uniform sampler2D textureY;",
        "uniform sampler2D textureUV;",
        "void main(void)",
        "{",
        "  vec3 yuv;",
        "  vec3 rgb;",
        "  yuv.x = texture2D(textureY, textureOut.st).r - 0.0625;",
        "  yuv.y = texture2D(textureUV, textureOut.st).r - 0.5;",
        "  yuv.z = texture2D(textureUV, textureOut.st).g - 0.5;",
        "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;",
        "  gl_FragColor = vec4(rgb, 1.0);",
        "}",
    });
}

} // namespace

Nv12Widget::Nv12Widget(QWidget* parent)
    : QGLWidget(parent, nullptr, Qt::WindowFlags())
    , vertexSource(vertexText())
    , fragmentSource(fragmentText())
    , vertexBuffer(QOpenGLBuffer::VertexBuffer)
    , program(this)
    , file(this)
    , timer(this)
    , rawFrame(std::make_unique<RawFrame>())
{
    connect(&timer, &QTimer::timeout, this, &Nv12Widget::read);
}

Nv12Widget::~Nv12Widget()
{
    if (!isValid())
        return;
    makeCurrent();
    vertexBuffer.destroy();
    doneCurrent();
}

void Nv12Widget::setViewRect(const QRectF& normalized)
{
    Q_ASSERT(QThread::currentThread() == thread());
    viewRect = normalized.isEmpty() ? wholeFrame : normalized;
    viewRectChanged = true;
    update();
}

void Nv12Widget::clear()
{
    Q_ASSERT(QThread::currentThread() == thread());
    forgetFrame();
    update();
}

void Nv12Widget::setFrameSize(int width, int height)
{
    Q_ASSERT(QThread::currentThread() == thread());
    frameWidth = width;
    frameHeight = height;
}

void Nv12Widget::updateTextures(quint8* planeY, quint8* planeUV, int bytesY, int bytesUV)
{
    Q_ASSERT(QThread::currentThread() == thread());
    dataY = planeY;
    dataUV = planeUV;
    linesizeY = bytesY;
    linesizeUV = bytesUV;
    update();
}

void Nv12Widget::updateFrame(int width, int height, quint8* planeY, quint8* planeUV, int bytesY, int bytesUV)
{
    setFrameSize(width, height);
    updateTextures(planeY, planeUV, bytesY, bytesUV);
}

void Nv12Widget::read()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!file.isOpen())
        return;
    if (rawFrame->read(file, frameWidth, frameHeight) > 0) {
        update();
        return;
    }
    timer.stop();
    Q_EMIT playFinsh();
}

void Nv12Widget::play(QString fileName, int frameRate)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (frameRate <= 0)
        return;
    timer.stop();
    file.close();
    file.setFileName(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return;
    rawFrame->allocate(frameWidth, frameHeight);
    dataY = rawFrame->at(0);
    dataUV = rawFrame->at(qint64(frameWidth) * frameHeight);
    timer.start(1000 / frameRate);
}

void Nv12Widget::stop()
{
    Q_ASSERT(QThread::currentThread() == thread());
    timer.stop();
    file.close();
    forgetFrame();
    update();
    Q_EMIT playFinsh();
}

void Nv12Widget::initializeGL()
{
    initializeOpenGLFunctions();
    glDisable(GL_DEPTH_TEST);
    // Line sizes count bytes; OpenGL would otherwise round them up to a multiple of four.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    vertexBuffer.create();
    vertexBuffer.bind();
    vertexBuffer.allocate(vertexTable.data(), sizeof(vertexTable));
    program.addShaderFromSourceCode(QOpenGLShader::Vertex, vertexSource);
    program.addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentSource);
    // A shader that does not compile is missing from the program, which would fill the widget with white.
    canDraw = program.link() && program.shaders().size() == 2;
    program.bind();
    glGenTextures(GLsizei(textures.size()), textures.data());
    GlPicture::clear(*this, palette());
}

void Nv12Widget::resizeGL(int w, int h)
{
    glViewport(0, 0, w, h);
    QGLWidget::resizeGL(w, h);
}

void Nv12Widget::paintGL()
{
    if (!canDraw || !hasPicture()) {
        GlPicture::clear(*this, palette());
        return;
    }
    program.bind();
    bindGeometry();
    uploadPlane(unitOfY, textures[0], GL_RED, frameWidth, frameHeight, linesizeY, dataY);
    uploadPlane(unitOfUV, textures[1], GL_RG, frameWidth >> 1, frameHeight >> 1, linesizeUV >> 1, dataUV);
    glDrawArrays(primitive(), 0, vertexCount);
    // After the draw on purpose: the first frame of a program samples both planes from unit 0.
    program.setUniformValue("textureY", GLint(unitOfY - GL_TEXTURE0));
    program.setUniformValue("textureUV", GLint(unitOfUV - GL_TEXTURE0));
    program.disableAttributeArray("vertexIn");
    program.disableAttributeArray("textureIn");
    program.release();
}

void Nv12Widget::bindGeometry()
{
    if (viewRectChanged) {
        const std::array<GLfloat, 8> coordinates = coordinatesOf(viewRect);
        vertexBuffer.write(coordinateOffset, coordinates.data(), sizeof(coordinates));
        viewRectChanged = false;
    }
    program.enableAttributeArray("vertexIn");
    program.enableAttributeArray("textureIn");
    program.setAttributeBuffer("vertexIn", GL_FLOAT, 0, componentCount, vertexStride);
    program.setAttributeBuffer("textureIn", GL_FLOAT, coordinateOffset, componentCount, vertexStride);
}

void Nv12Widget::uploadPlane(GLenum unit, GLuint texture, GLenum format, int width, int height, int rowLength,
                             const quint8* pixels)
{
    glActiveTexture(unit);
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, rowLength);
    glTexImage2D(GL_TEXTURE_2D, 0, GLint(format), width, height, 0, format, GL_UNSIGNED_BYTE, pixels);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

GLenum Nv12Widget::primitive() const
{
    // OpenGL ES has no quads; as a fan the four vertices cover the same area.
    return QOpenGLContext::currentContext()->isOpenGLES() ? GL_TRIANGLE_FAN : glQuads;
}

bool Nv12Widget::hasPicture() const
{
    return dataY && dataUV && frameWidth > 0 && frameHeight > 0
        && rawFrame->covers(dataY, frameWidth, frameHeight, linesizeY)
        && rawFrame->covers(dataUV, (frameWidth >> 1) * 2, frameHeight >> 1, (linesizeUV >> 1) * 2);
}

void Nv12Widget::forgetFrame()
{
    frameWidth = 0;
    frameHeight = 0;
    dataY = dataUV = nullptr;
    linesizeY = linesizeUV = 0;
    viewRect = wholeFrame;
    viewRectChanged = true;
}
