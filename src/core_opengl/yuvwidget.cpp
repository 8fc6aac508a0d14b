#include "core_opengl/yuvwidget.h"

#include "core_opengl/glpicture.h"
#include "core_opengl/rawframe.h"

#include <QThread>

namespace {

const QRectF wholeFrame(0, 0, 1, 1);

// Legacy wrap mode, missing from the OpenGL ES headers.
constexpr GLfloat glClamp = 0x2900;

constexpr GLuint positionAttribute = 0;
constexpr GLuint textureAttribute = 1;
constexpr int vertexCount = 4;

// Triangle strip from the lower left corner; the array outlives every draw that reads it.
constexpr std::array<GLfloat, 8> positions{-1, -1, 1, -1, -1, 1, 1, 1};

// In the order of the positions, with the first image row at the top.
std::array<GLfloat, 8> coordinatesOf(const QRectF& view)
{
    const auto left = GLfloat(view.left());
    const auto top = GLfloat(view.top());
    const auto right = GLfloat(view.right());
    const auto bottom = GLfloat(view.bottom());
    return {left, bottom, right, bottom, left, top, right, top};
}

QString vertexText()
{
    return GlPicture::vertexSource({
        "attribute vec4 vertexIn;",
        "attribute vec2 textureIn;",
        "varying vec2 textureOut;",
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
        "varying mediump vec2 textureOut;",
        "uniform sampler2D textureY;",
        "uniform sampler2D textureU;",
        "uniform sampler2D textureV;",
        "void main(void)",
        "{",
        "  vec3 yuv;",
        "  vec3 rgb;",
        "  yuv.x = texture2D(textureY, textureOut).r - 0.0625;",
        "  yuv.y = texture2D(textureU, textureOut).r - 0.5;",
        "  yuv.z = texture2D(textureV, textureOut).r - 0.5;",
        "  rgb = mat3(1.0, 1.0, 1.0, 0.0, -0.39465, 2.03211, 1.13983, -0.58060, 0.0) * yuv;",
        "  gl_FragColor = vec4(rgb, 1.0);",
        "}",
    });
}

} // namespace

YuvWidget::YuvWidget(QWidget* parent)
    : QGLWidget(parent, nullptr, Qt::WindowFlags())
    , vertexSource(vertexText())
    , fragmentSource(fragmentText())
    , program(this)
    , file(this)
    , timer(this)
    , rawFrame(std::make_unique<RawFrame>())
    , textureCoordinates(coordinatesOf(wholeFrame))
{
    connect(&timer, &QTimer::timeout, this, &YuvWidget::read);
}

YuvWidget::~YuvWidget()
{
    if (!isValid())
        return;
    makeCurrent();
    doneCurrent();
}

void YuvWidget::setViewRect(const QRectF& normalized)
{
    Q_ASSERT(QThread::currentThread() == thread());
    textureCoordinates = coordinatesOf(normalized.isEmpty() ? wholeFrame : normalized);
    update();
}

void YuvWidget::setYuyv(bool enable)
{
    Q_ASSERT(QThread::currentThread() == thread());
    yuyv = enable;
}

void YuvWidget::clear()
{
    Q_ASSERT(QThread::currentThread() == thread());
    forgetFrame();
    update();
}

void YuvWidget::setFrameSize(int width, int height)
{
    Q_ASSERT(QThread::currentThread() == thread());
    frameWidth = width;
    frameHeight = height;
}

void YuvWidget::updateTextures(quint8* planeY, quint8* planeU, quint8* planeV, int bytesY, int bytesU, int bytesV)
{
    Q_ASSERT(QThread::currentThread() == thread());
    dataY = planeY;
    dataU = planeU;
    dataV = planeV;
    linesizeY = bytesY;
    linesizeU = bytesU;
    linesizeV = bytesV;
    update();
}

void YuvWidget::updateFrame(int width, int height, quint8* planeY, quint8* planeU, quint8* planeV, int bytesY,
                            int bytesU, int bytesV)
{
    setFrameSize(width, height);
    updateTextures(planeY, planeU, planeV, bytesY, bytesU, bytesV);
}

void YuvWidget::read()
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

void YuvWidget::play(QString fileName, int frameRate)
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
    const qint64 pixels = qint64(frameWidth) * frameHeight;
    dataY = rawFrame->at(0);
    dataU = rawFrame->at(pixels);
    dataV = rawFrame->at(pixels + (pixels >> 2));
    timer.start(1000 / frameRate);
}

void YuvWidget::stop()
{
    Q_ASSERT(QThread::currentThread() == thread());
    timer.stop();
    file.close();
    forgetFrame();
    update();
    Q_EMIT playFinsh();
}

void YuvWidget::initializeGL()
{
    initializeOpenGLFunctions();
    glDisable(GL_DEPTH_TEST);
    // Line sizes count bytes; OpenGL would otherwise round them up to a multiple of four.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glVertexAttribPointer(positionAttribute, 2, GL_FLOAT, GL_FALSE, 0, positions.data());
    glVertexAttribPointer(textureAttribute, 2, GL_FLOAT, GL_FALSE, 0, textureCoordinates.data());
    glEnableVertexAttribArray(positionAttribute);
    glEnableVertexAttribArray(textureAttribute);
    addShaders();
    for (GLuint& texture : textures)
        createTexture(texture);
    GlPicture::clear(*this, palette());
}

void YuvWidget::addShaders()
{
    program.addShaderFromSourceCode(QOpenGLShader::Vertex, vertexSource);
    program.addShaderFromSourceCode(QOpenGLShader::Fragment, fragmentSource);
    program.bindAttributeLocation("vertexIn", positionAttribute);
    program.bindAttributeLocation("textureIn", textureAttribute);
    // A shader that does not compile is missing from the program, which would fill the widget with white.
    canDraw = program.link() && program.shaders().size() == 2;
    program.bind();
    samplers = {program.uniformLocation("textureY"), program.uniformLocation("textureU"),
                program.uniformLocation("textureV")};
}

void YuvWidget::createTexture(GLuint& texture)
{
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, glClamp);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, glClamp);
}

void YuvWidget::resizeGL(int w, int h)
{
    glViewport(0, 0, w, h);
    QGLWidget::resizeGL(w, h);
}

void YuvWidget::paintGL()
{
    if (!canDraw || !hasPicture()) {
        GlPicture::clear(*this, palette());
        return;
    }
    uploadPlane(0, frameWidth, frameHeight, linesizeY, dataY);
    uploadPlane(1, frameWidth >> 1, chromaHeight(), linesizeU, dataU);
    uploadPlane(2, frameWidth >> 1, chromaHeight(), linesizeV, dataV);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, vertexCount);
}

void YuvWidget::uploadPlane(int plane, int width, int height, int linesize, const quint8* pixels)
{
    const auto index = size_t(plane);
    glActiveTexture(GL_TEXTURE0 + GLenum(plane));
    glBindTexture(GL_TEXTURE_2D, textures[index]);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, linesize);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RED, width, height, 0, GL_RED, GL_UNSIGNED_BYTE, pixels);
    glUniform1i(samplers[index], plane);
}

int YuvWidget::chromaHeight() const { return yuyv ? frameHeight : frameHeight >> 1; }

bool YuvWidget::hasPicture() const
{
    return dataY && frameWidth > 0 && frameHeight > 0 && rawFrame->covers(dataY, frameWidth, frameHeight, linesizeY)
        && rawFrame->covers(dataU, frameWidth >> 1, chromaHeight(), linesizeU)
        && rawFrame->covers(dataV, frameWidth >> 1, chromaHeight(), linesizeV);
}

void YuvWidget::forgetFrame()
{
    frameWidth = 0;
    frameHeight = 0;
    dataY = dataU = dataV = nullptr;
    linesizeY = linesizeU = linesizeV = 0;
    textureCoordinates = coordinatesOf(wholeFrame);
}
