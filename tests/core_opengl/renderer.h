#pragma once

#include "core_opengl/nv12widget.h"
#include "core_opengl/yuvwidget.h"
#include "picture.h"

#include <vector>

/// Either renderer behind one face, with the memory of the frame that it shows. The planes have exactly the bytes that
/// the frame needs, so that AddressSanitizer notices any access beyond.
class Renderer
{
public:
    virtual ~Renderer() = default;

    virtual QGLWidget& widget() = 0;
    virtual void updateFrame(const Picture& picture, int padding = 0) = 0;
    virtual void updateTextures(const Picture& picture) = 0;
    /// A frame of that size without planes.
    virtual void updateFrameWithoutPlanes(int width, int height) = 0;
    virtual void setViewRect(const QRectF& view) = 0;
    virtual void setFrameSize(int width, int height) = 0;
    virtual void clear() = 0;
    virtual void read() = 0;
    virtual void play(const QString& fileName, int frameRate) = 0;
    virtual void stop() = 0;
    /// The picture as a frame of a raw file.
    virtual QByteArray rawFrame(const Picture& picture) const = 0;

protected:
    using Plane = std::vector<quint8>;

    static Plane planeOf(const QByteArray& bytes, int rowBytes, int padding)
    {
        const QByteArray padded = Picture::padded(bytes, rowBytes, padding);
        return Plane(padded.cbegin(), padded.cend() - padding);
    }
};

template <typename Widget>
class RendererOf : public Renderer
{
public:
    QGLWidget& widget() override { return renderer; }
    void setViewRect(const QRectF& view) override { renderer.setViewRect(view); }
    void setFrameSize(int width, int height) override { renderer.setFrameSize(width, height); }
    void clear() override { renderer.clear(); }
    void read() override { renderer.read(); }
    void play(const QString& fileName, int frameRate) override { renderer.play(fileName, frameRate); }
    void stop() override { renderer.stop(); }

    Widget renderer;
};

class YuvRenderer : public RendererOf<YuvWidget>
{
public:
    void updateFrame(const Picture& picture, int padding = 0) override
    {
        store(picture, padding);
        renderer.updateFrame(picture.width, picture.height, y.data(), u.data(), v.data(),
                             padding ? picture.width + padding : 0, padding ? picture.chromaWidth + padding : 0,
                             padding ? picture.chromaWidth + padding : 0);
    }
    void updateTextures(const Picture& picture) override
    {
        store(picture, 0);
        renderer.updateTextures(y.data(), u.data(), v.data(), picture.width, picture.chromaWidth, picture.chromaWidth);
    }
    void updateFrameWithoutPlanes(int width, int height) override
    {
        renderer.updateFrame(width, height, nullptr, u.data(), v.data(), 0, 0, 0);
    }
    QByteArray rawFrame(const Picture& picture) const override { return picture.y + picture.u + picture.v; }

private:
    void store(const Picture& picture, int padding)
    {
        y = planeOf(picture.y, picture.width, padding);
        u = planeOf(picture.u, picture.chromaWidth, padding);
        v = planeOf(picture.v, picture.chromaWidth, padding);
    }

    Plane y;
    Plane u;
    Plane v;
};

class Nv12Renderer : public RendererOf<Nv12Widget>
{
public:
    void updateFrame(const Picture& picture, int padding = 0) override
    {
        store(picture, padding);
        renderer.updateFrame(picture.width, picture.height, y.data(), uv.data(), padding ? picture.width + padding : 0,
                             padding ? 2 * picture.chromaWidth + 2 * padding : 0);
    }
    void updateTextures(const Picture& picture) override
    {
        store(picture, 0);
        renderer.updateTextures(y.data(), uv.data(), picture.width, 2 * picture.chromaWidth);
    }
    void updateFrameWithoutPlanes(int width, int height) override
    {
        renderer.updateFrame(width, height, nullptr, uv.data(), 0, 0);
    }
    QByteArray rawFrame(const Picture& picture) const override { return picture.y + picture.interleavedChroma(); }

private:
    void store(const Picture& picture, int padding)
    {
        y = planeOf(picture.y, picture.width, padding);
        uv = planeOf(picture.interleavedChroma(), 2 * picture.chromaWidth, 2 * padding);
    }

    Plane y;
    Plane uv;
};
