#include "material.h"

#include "ffmpegcommand.h"
#include "support/clips.h"

#include <QStringList>

#include <cstddef>
#include <cstring>

namespace {
constexpr int sequenceParameters = 7;
constexpr int pictureParameters = 8;

std::vector<QByteArray> unitsOf(const QByteArray& annexB)
{
    std::vector<QByteArray> units;
    int begin = annexB.indexOf(QByteArray("\0\0\1", 3));
    while (begin >= 0) {
        const int next = annexB.indexOf(QByteArray("\0\0\1", 3), begin + 3);
        units.push_back(annexB.mid(begin, next < 0 ? -1 : next - begin));
        begin = next;
    }
    return units;
}

QByteArray select(const QByteArray& annexB, bool parameters)
{
    QByteArray result;
    for (const QByteArray& unit : unitsOf(annexB)) {
        const int type = unit.at(3) & 0x1F;
        if ((type == sequenceParameters || type == pictureParameters) == parameters)
            result += unit;
    }
    return result;
}
} // namespace

Material::Packets Material::read(const QString& path, int most)
{
    Packets result;
    AVFormatContext* raw = nullptr;
    if (avformat_open_input(&raw, path.toUtf8().constData(), nullptr, nullptr) < 0)
        return result;
    const FormatInputPtr input(raw);
    const int index = avformat_find_stream_info(raw, nullptr) < 0
        ? -1
        : av_find_best_stream(raw, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0)
        return result;
    const AVCodecParameters* codec = raw->streams[index]->codecpar;
    result.timeBase = raw->streams[index]->time_base;
    result.extradata = QByteArray(reinterpret_cast<const char*>(codec->extradata), codec->extradata_size);
    result.width = codec->width;
    result.height = codec->height;
    AvPacketPtr packet = makePacket();
    while (static_cast<int>(result.packets.size()) < most && av_read_frame(raw, packet.get()) >= 0) {
        if (packet->stream_index == index)
            result.packets.emplace_back(av_packet_clone(packet.get()));
        av_packet_unref(packet.get());
    }
    return result;
}

Material::Frame::Frame(quint32 type, quint64 timestamp, const QByteArray& payload)
    : words((qMax(sizeof(XFrameHeader), offsetof(XFrameHeader, data) + size_t(payload.size())) + 7) / 8)
{
    header()->frameType = type;
    header()->length = static_cast<quint32>(payload.size());
    header()->timestamp = timestamp;
    std::memcpy(reinterpret_cast<char*>(words.data()) + offsetof(XFrameHeader, data), payload.constData(),
                size_t(payload.size()));
}

Material::Frame Material::frameOf(const AVPacket* packet, quint64 timestamp, int number)
{
    const quint32 type = packet->flags & AV_PKT_FLAG_KEY ? 0 : 1 + static_cast<quint32>(number) % 3;
    return Frame(type, timestamp, bytesOf(packet));
}

QByteArray Material::bytesOf(const AVPacket* packet)
{
    return QByteArray(reinterpret_cast<const char*>(packet->data), packet->size);
}

QByteArray Material::withoutParameterSets(const QByteArray& annexB) { return select(annexB, false); }

QByteArray Material::parameterSets(const QByteArray& annexB) { return select(annexB, true); }

QByteArray Material::withCutSequenceSet(QByteArray annexB, int bytes)
{
    const QByteArray startCode("\0\0\1", 3);
    const int set = annexB.indexOf(startCode + "\x42\x01") + startCode.size();
    const int next = annexB.indexOf(startCode, set);
    return annexB.remove(set + bytes, next - set - bytes);
}

QByteArray Material::tone(const QString& format, int sampleRate, int milliseconds, int hertz)
{
    const QString source
        = QString("sine=frequency=%1:sample_rate=%2:duration=%3").arg(hertz).arg(sampleRate).arg(milliseconds / 1000.0);
    const CommandResult result = runCommand(
        "ffmpeg", {"-v", "error", "-nostdin", "-f", "lavfi", "-i", source, "-af", "volume=4", "-f", format, "pipe:1"});
    return result.ok ? result.output : QByteArray();
}

XVideoEncPara Material::video(int codec)
{
    XVideoEncPara para;
    para.codec = codec;
    para.width = Clips::size.width();
    para.height = Clips::size.height();
    return para;
}

XVideoEncPara Material::noVideo() { return {}; }

XAudioEncPara Material::sound(int codec, int sampleRate)
{
    XAudioEncPara para;
    para.codec = codec;
    para.sampleRate = sampleRate;
    para.bitWidth = 16;
    return para;
}

XAudioEncPara Material::noSound() { return {}; }
