#include "core_opengl/rawframe.h"

#include <functional>
#include <new>

namespace {
// No OpenGL texture is larger.
constexpr int maximumSide = 32768;

bool isPossible(int width, int height)
{
    return width > 0 && height > 0 && width <= maximumSide && height <= maximumSide;
}

qint64 bytesPerFrame(int width, int height) { return (qint64(width) * height * 3) >> 1; }
} // namespace

void RawFrame::allocate(int width, int height)
{
    bytes.reset();
    capacity = 0;
    frameSize = 0;
    if (!isPossible(width, height))
        return;
    // Chroma planes of full height reach beyond the 4:2:0 frame: two bytes a pixel hold either layout.
    const qint64 size = qint64(width) * height * 2;
    bytes.reset(new (std::nothrow) quint8[size_t(size)]());
    if (!bytes)
        return;
    capacity = size;
    frameSize = bytesPerFrame(width, height);
}

quint8* RawFrame::at(qint64 offset) const { return offset >= 0 && offset < capacity ? bytes.get() + offset : nullptr; }

qint64 RawFrame::read(QFile& file, int width, int height)
{
    if (!isPossible(width, height) || !bytes)
        return 0;
    return file.read(reinterpret_cast<char*>(bytes.get()), qMin(bytesPerFrame(width, height), frameSize));
}

bool RawFrame::covers(const quint8* plane, int rowBytes, int rows, int linesize) const
{
    const std::less<const quint8*> before;
    if (!bytes || before(plane, bytes.get()) || !before(plane, bytes.get() + capacity))
        return true;
    const qint64 step = linesize == 0 ? rowBytes : linesize;
    const qint64 available = capacity - (plane - bytes.get());
    return step >= 0 && (rows <= 0 || step * (rows - 1) + rowBytes <= available);
}
