#pragma once

#include "core_videobase/vantorexport.h"

#include <QFile>
#include <QGLWidget>
#include <QOpenGLBuffer>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>
#include <QRectF>
#include <QTimer>

#include <array>
#include <memory>

class RawFrame;

/// Draws two-plane NV12 pictures (luma, then interleaved chroma) over its whole area.
///
/// A frame is handed over as plane pointers and line sizes. Nothing is copied: the next paint uploads straight from the
/// caller's planes, which therefore stay valid and unchanged until then, or until clear() took them away. Without a
/// frame (a null pointer or no size) the widget shows the QPalette::Window colour of its palette.
///
/// Called from the GUI thread only. Nothing is reported: where the shaders do not compile the widget keeps its
/// background colour, and a file that can't be opened leaves the picture as it is.
class VANTOR_EXPORT Nv12Widget : public QGLWidget, protected QOpenGLFunctions
{
    Q_OBJECT

public:
    explicit Nv12Widget(QWidget* parent = nullptr);
    ~Nv12Widget() override;

    /// The part of the frame to show, in 0..1 of its width and height from the upper left corner; it fills the widget.
    /// Kept from frame to frame until clear() or stop(). An empty rectangle stands for the whole frame.
    void setViewRect(const QRectF& normalized);

Q_SIGNALS:
    /// Raw file playback ended or was stopped. Emitted on the GUI thread.
    void playFinsh();

public Q_SLOTS:
    /// Forgets the frame and its pointers.
    void clear();

    /// Frame size in pixels for the next play().
    void setFrameSize(int width, int height);

    /// Shows new planes of the same size. The line sizes are bytes from row to row, 0 for packed rows; the chroma plane
    /// has half the width and height, rounded down, in pairs of bytes. The planes stay the caller's.
    void updateTextures(quint8* dataY, quint8* dataUV, int linesizeY, int linesizeUV);

    /// updateTextures() with a size in pixels.
    void updateFrame(int width, int height, quint8* dataY, quint8* dataUV, int linesizeY, int linesizeUV);

    /// Shows the next frame of the raw file, or ends playback after the last one. The playback timer calls it.
    void read();

    /// Plays a file of headerless NV12 frames of the size of setFrameSize(), @p frameRate frames a second (at least 1).
    /// Ends what was playing without a signal; a file that can't be opened is ignored.
    void play(QString fileName, int frameRate);

    /// Ends raw file playback, forgets the frame and emits playFinsh(), playing or not.
    void stop();

protected:
    void initializeGL() override;
    void resizeGL(int w, int h) override;
    void paintGL() override;

private:
    void bindGeometry();
    void uploadPlane(GLenum unit, GLuint texture, GLenum format, int width, int height, int rowLength,
                     const quint8* pixels);
    GLenum primitive() const;
    bool hasPicture() const;
    void forgetFrame();

    int frameWidth = 0;
    int frameHeight = 0;
    quint8* dataY = nullptr; // the planes belong to the caller or to rawFrame
    quint8* dataUV = nullptr;
    int linesizeY = 0;
    int linesizeUV = 0;
    QString vertexSource;
    QString fragmentSource;
    QOpenGLBuffer vertexBuffer;
    QOpenGLShaderProgram program;
    bool canDraw = false; // program has both its shaders
    std::array<GLuint, 2> textures{}; // Y, UV
    QFile file;
    QTimer timer;
    const std::unique_ptr<RawFrame> rawFrame;
    QRectF viewRect{0, 0, 1, 1};
    bool viewRectChanged = false; // vertexBuffer still holds the texture coordinates of an earlier one
};
