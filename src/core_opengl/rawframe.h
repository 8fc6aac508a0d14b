#pragma once

#include <QFile>
#include <QtGlobal>

#include <memory>

/// The frame that a renderer reads a headerless 4:2:0 file into, and the guard of what a paint may read of it.
///
/// The renderer's size, line sizes and layout can change between the allocation and a paint; covers() tells whether a
/// plane as it would be painted now still lies inside the buffer.
class RawFrame
{
public:
    /// Replaces the buffer by a zeroed one for a frame of that size; an impossible size gives an empty one.
    void allocate(int width, int height);

    /// The byte at @p offset, null when it is outside the buffer.
    quint8* at(qint64 offset) const;

    /// Reads one frame of that size, never more than was allocated. Returns the number of bytes, 0 at the end of the
    /// file, -1 on errors.
    qint64 read(QFile& file, int width, int height);

    /// Whether that many rows at @p plane, @p linesize bytes apart (0: packed), are in the buffer. True for a plane
    /// that begins outside of it, which is somebody else's.
    bool covers(const quint8* plane, int rowBytes, int rows, int linesize) const;

private:
    std::unique_ptr<quint8[]> bytes;
    qint64 capacity = 0;
    qint64 frameSize = 0;
};
