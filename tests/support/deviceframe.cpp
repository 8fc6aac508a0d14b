#include "support/deviceframe.h"

#include "support/clips.h"

#include <QFile>

#include <algorithm>
#include <cstring>

namespace {

constexpr int startCodeBytes = 3;
constexpr int soundRate = 8000;
constexpr int soundBits = 16;
constexpr int h264Id = 0;
constexpr int h265Id = 1;

QByteArray contents(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("DeviceStream: %s can't be read", qPrintable(path));
    return file.readAll();
}

int nalType(quint32 codecId, char head)
{
    const auto byte = static_cast<quint8>(head);
    return codecId == h265Id ? (byte >> 1) & 0x3f : byte & 0x1f;
}

bool isDelimiter(quint32 codecId, int type) { return type == (codecId == h265Id ? 35 : 9); }

bool isKeyPicture(quint32 codecId, int type) { return codecId == h265Id ? type >= 16 && type <= 21 : type == 5; }

/// Where the bytes behind each start code begin; the size of the stream as the last one.
QVector<int> nalPositions(const QByteArray& stream)
{
    QVector<int> positions;
    const QByteArray startCode("\0\0\1", startCodeBytes);
    for (int at = stream.indexOf(startCode); at >= 0; at = stream.indexOf(startCode, at + startCodeBytes))
        positions << at + startCodeBytes;
    return positions << stream.size();
}

/// The unit from @p begin up to the start code of the next one, which may have a zero byte more.
QByteArray nalAt(const QByteArray& stream, int begin, int next)
{
    if (next == stream.size())
        return stream.mid(begin);
    int end = next - startCodeBytes;
    while (end > begin && stream.at(end - 1) == 0)
        --end;
    return stream.mid(begin, end - begin);
}

/// Cuts an Annex B stream in which a delimiter stands before every picture. Devices send none, so it is left out.
DeviceFrames cut(const QByteArray& stream, quint32 codecId, const QSize& size)
{
    DeviceFrames frames;
    const QVector<int> positions = nalPositions(stream);
    for (int i = 0; i + 1 < positions.size(); ++i) {
        const QByteArray nal = nalAt(stream, positions.at(i), positions.at(i + 1));
        const int type = nalType(codecId, nal.at(0));
        if (isDelimiter(codecId, type)) {
            DeviceFrame frame;
            frame.type = 1;
            frame.codecId = codecId;
            frame.width = static_cast<quint32>(size.width());
            frame.height = static_cast<quint32>(size.height());
            frame.timestamp = static_cast<quint64>(frames.size()) * DeviceStream::pictureMs;
            frames << frame;
            continue;
        }
        DeviceFrame& frame = frames.last();
        frame.payload += QByteArray("\0\0\0\1", 4) + nal;
        if (isKeyPicture(codecId, type))
            frame.type = XFrameHeader::VideoKeyFrame;
    }
    if (frames.size() != DeviceStream::frameCount)
        qFatal("DeviceStream: %d frames instead of %d", frames.size(), DeviceStream::frameCount);
    return frames;
}

QString soundClip(quint32 codecId)
{
    switch (codecId) {
    case DeviceStream::aLaw:
        return Clips::deviceALaw();
    case DeviceStream::muLaw:
        return Clips::deviceMuLaw();
    default:
        return Clips::devicePcm();
    }
}

} // namespace

void DeviceFrame::writeTo(XFrameHeader* frame) const
{
    const auto length = std::min(static_cast<quint32>(payload.size()), XFrameHeader::largestPayload);
    frame->frameType = type;
    frame->length = length;
    frame->codecId = codecId;
    frame->width = width;
    frame->height = height;
    frame->param1 = param1;
    frame->param2 = param2;
    frame->timestamp = timestamp;
    std::memcpy(reinterpret_cast<char*>(frame) + offsetof(XFrameHeader, data), payload.constData(), length);
}

DeviceFrames DeviceStream::h264()
{
    static const DeviceFrames frames = cut(contents(Clips::deviceH264()), h264Id, Clips::size);
    return frames;
}

DeviceFrames DeviceStream::h264OtherSize()
{
    static const DeviceFrames frames = cut(contents(Clips::deviceH264OtherSize()), h264Id, Clips::otherSize);
    return frames;
}

DeviceFrames DeviceStream::h265()
{
    static const DeviceFrames frames = cut(contents(Clips::deviceH265()), h265Id, Clips::size);
    return frames;
}

DeviceFrames DeviceStream::h265OtherSize()
{
    static const DeviceFrames frames = cut(contents(Clips::deviceH265OtherSize()), h265Id, Clips::otherSize);
    return frames;
}

DeviceFrames DeviceStream::sound(quint32 codecId)
{
    const QByteArray samples = contents(soundClip(codecId));
    const int bytes = soundRate * pictureMs / 1000 * (codecId == pcm ? 2 : 1);
    DeviceFrames frames;
    for (int at = 0; at + bytes <= samples.size() && frames.size() < frameCount; at += bytes) {
        DeviceFrame frame;
        frame.type = XFrameHeader::AudioFrame;
        frame.codecId = codecId;
        frame.width = soundRate;
        frame.height = soundBits;
        frame.param1 = 1;
        frame.timestamp = static_cast<quint64>(frames.size()) * pictureMs;
        frame.payload = samples.mid(at, bytes);
        frames << frame;
    }
    return frames;
}

DeviceFrames DeviceStream::mixed(const DeviceFrames& pictures, const DeviceFrames& sound)
{
    DeviceFrames frames = pictures + sound;
    std::stable_sort(frames.begin(), frames.end(),
                     [](const DeviceFrame& a, const DeviceFrame& b) { return a.timestamp < b.timestamp; });
    return frames;
}

DeviceFrames DeviceStream::shifted(DeviceFrames frames, quint64 later)
{
    for (DeviceFrame& frame : frames)
        frame.timestamp += later;
    return frames;
}

DeviceFrames DeviceStream::joined(const DeviceFrames& first, const DeviceFrames& second)
{
    if (first.isEmpty() || second.isEmpty())
        return first + second;
    const quint64 begin = first.last().timestamp + pictureMs;
    return first + shifted(second, begin - second.first().timestamp);
}

quint64 DeviceStream::duration(const DeviceFrames& frames)
{
    return frames.isEmpty() ? 0 : frames.last().timestamp + pictureMs - frames.first().timestamp;
}
