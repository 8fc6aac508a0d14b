#include "faacstream.h"

#include <faac.h>

namespace {
constexpr int adtsHeaderBytes = 7;
} // namespace

FaacStream::FaacStream(unsigned sampleRate, unsigned channels)
    : handle(faacEncOpen(sampleRate, channels, &inputSamples, &maxOutputBytes))
{
    faacEncConfiguration* configuration = faacEncGetCurrentConfiguration(handle);
    configuration->mpegVersion = 1;
    configuration->aacObjectType = 2;
    configuration->useTns = 0;
    configuration->outputFormat = 1;
    configuration->inputFormat = 1;
    if (!faacEncSetConfiguration(handle, configuration))
        qFatal("FAAC refuses its configuration");
}

FaacStream::~FaacStream() { faacEncClose(handle); }

QByteArray FaacStream::encode(const QVector<qint16>& samples, int first, int count)
{
    QVector<qint16> frame = samples.mid(first, count);
    QByteArray output(int(maxOutputBytes), Qt::Uninitialized);
    const int bytes = faacEncEncode(handle, reinterpret_cast<int32_t*>(frame.data()), unsigned(frame.size()),
                                    reinterpret_cast<unsigned char*>(output.data()), unsigned(output.size()));
    return output.left(qMax(0, bytes));
}

QByteArray FaacStream::encodeFrames(const QVector<qint16>& samples)
{
    QByteArray stream;
    for (int first = 0; first + frameSamples() < samples.size(); first += frameSamples())
        stream += encode(samples, first, frameSamples());
    return stream;
}

QVector<QByteArray> adtsFrames(const QByteArray& stream)
{
    QVector<QByteArray> frames;
    for (int at = 0; at < stream.size();) {
        if (stream.size() - at < adtsHeaderBytes || uchar(stream[at]) != 0xFF || (uchar(stream[at + 1]) & 0xF6) != 0xF0)
            return {};
        const int length = (uchar(stream[at + 3]) & 3) << 11 | uchar(stream[at + 4]) << 3 | uchar(stream[at + 5]) >> 5;
        if (length < adtsHeaderBytes || at + length > stream.size())
            return {};
        frames.append(stream.mid(at, length));
        at += length;
    }
    return frames;
}
