#include "devicereader.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QProcess>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int readMs = 100;
constexpr int longestMs = 30000;
constexpr int sampleRate = 8000;

QStringList hashes(const QStringList& input, const QByteArray& stream)
{
    const QStringList arguments
        = input + QStringList{"-map", "0:v:0", "-fps_mode", "passthrough", "-f", "framemd5", "-"};
    QStringList result;
    const QStringList lines = QString::fromUtf8(DeviceReader::ffmpeg(arguments, stream)).split('\n');
    for (const QString& line : lines) {
        if (!line.isEmpty() && !line.startsWith('#'))
            result.append(line.section(',', -1).trimmed());
    }
    return result;
}

/// The kinds of the units at the begin of @p payload, up to the first that is none of @p sets.
QVector<int> leadingSets(const QByteArray& payload, bool h265, const QVector<int>& sets)
{
    QVector<int> kinds;
    const QByteArray code("\0\0\0\1", 4);
    for (int at = 0; at >= 0 && at + 4 < payload.size() && payload.mid(at, 4) == code;) {
        const int first = static_cast<quint8>(payload.at(at + 4));
        const int kind = h265 ? first >> 1 & 0x3f : first & 0x1f;
        if (!sets.contains(kind))
            break;
        kinds.append(kind);
        at = payload.indexOf(code, at + 4);
    }
    return kinds;
}

} // namespace

ReadFrames DeviceReader::read(XNetDevice& device, int channel, int stream, int milliseconds,
                              const std::function<bool(const ReadFrames&)>& enough)
{
    std::vector<char> buffer(XFrameHeader::bufferSize);
    auto* const header = reinterpret_cast<XFrameHeader*>(buffer.data());
    ReadFrames frames;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds && !(enough && enough(frames))) {
        if (device.readFrame(channel, stream, header, readMs) == XRet::Ok)
            frames.append({*header,
                           QByteArray(buffer.data() + offsetof(XFrameHeader, data), static_cast<int>(header->length)),
                           QDateTime::currentMSecsSinceEpoch()});
    }
    return frames;
}

ReadFrames DeviceReader::readVideo(XNetDevice& device, int channel, int stream, int count)
{
    return read(device, channel, stream, longestMs,
                [count](const ReadFrames& frames) { return video(frames).size() >= count; });
}

ReadFrames DeviceReader::video(const ReadFrames& frames)
{
    ReadFrames result;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(result),
                 [](const ReadFrame& frame) { return !frame.isAudio(); });
    return result;
}

ReadFrames DeviceReader::audio(const ReadFrames& frames)
{
    ReadFrames result;
    std::copy_if(frames.begin(), frames.end(), std::back_inserter(result),
                 [](const ReadFrame& frame) { return frame.isAudio(); });
    return result;
}

QByteArray DeviceReader::joined(const ReadFrames& frames)
{
    QByteArray all;
    for (const ReadFrame& frame : frames)
        all += frame.payload;
    return all;
}

QByteArray DeviceReader::ffmpeg(const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    process.start("ffmpeg", QStringList{"-hide_banner", "-v", "error"} + arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(longestMs) || process.exitCode() != 0)
        qCritical("ffmpeg failed");
    const QByteArray complaints = process.readAllStandardError();
    if (!complaints.isEmpty())
        qCritical("ffmpeg complains: %s", complaints.constData());
    return process.readAllStandardOutput();
}

QStringList DeviceReader::pictureHashes(const QByteArray& stream, const QString& format)
{
    return hashes({"-f", format, "-i", "-"}, stream);
}

QStringList DeviceReader::pictureHashes(const QString& fileName) { return hashes({"-i", fileName}, {}); }

QString DeviceReader::problemOf(const ReadFrame& frame)
{
    const XFrameHeader& header = frame.header;
    if (header.reserved0 != 0x12345678)
        return "magic number";
    if (header.reserved40 > 7 || (header.length + header.reserved40) % 8 != 0)
        return "padding";
    if (header.length == 0)
        return "no payload";
    if (frame.isAudio())
        return header.bitWidth == 16 ? QString() : "bit width";
    if (!frame.isKey())
        return header.frameType == 1 ? QString() : "frame type";
    const bool h265 = header.codecId == 1;
    const QVector<int> expected = h265 ? QVector<int>{32, 33, 34} : QVector<int>{7, 8};
    return leadingSets(frame.payload, h265, expected) == expected ? QString() : "parameter sets";
}

double DeviceReader::toneOf(const QByteArray& sound, const QString& format)
{
    const QByteArray pcm
        = ffmpeg({"-f", format, "-ar", QString::number(sampleRate), "-i", "-", "-f", "s16le", "-"}, sound);
    std::vector<qint16> samples(static_cast<std::size_t>(pcm.size()) / 2);
    std::memcpy(samples.data(), pcm.constData(), samples.size() * 2);
    // A crossing counts once the wave has gone well below zero, so that noise adds none.
    int rises = 0;
    bool low = false;
    for (const qint16 sample : samples) {
        if (sample < -500)
            low = true;
        else if (low && sample > 500) {
            low = false;
            ++rises;
        }
    }
    return samples.empty() ? 0 : static_cast<double>(rises) * sampleRate / static_cast<double>(samples.size());
}
