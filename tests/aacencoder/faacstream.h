#pragma once

#include <QByteArray>
#include <QVector>

/// FAAC driven directly, with the settings that the library must use, to compare the library's output with.
class FaacStream
{
public:
    FaacStream(unsigned sampleRate, unsigned channels);
    ~FaacStream();
    FaacStream(const FaacStream&) = delete;
    FaacStream& operator=(const FaacStream&) = delete;

    /// Samples in one frame, all channels together.
    int frameSamples() const { return int(inputSamples); }

    /// What FAAC gives out when it gets @p count samples from @p first on; often nothing at first.
    QByteArray encode(const QVector<qint16>& samples, int first, int count);

    /// The whole frames in @p samples, one after the other. The last one is left out where no sample follows it.
    QByteArray encodeFrames(const QVector<qint16>& samples);

private:
    unsigned long inputSamples = 0;
    unsigned long maxOutputBytes = 0;
    void* handle; // after the sizes, which FAAC fills in as it makes the handle
};

/// The frames of an ADTS stream, cut by the lengths in their headers; empty where a header is not sound.
QVector<QByteArray> adtsFrames(const QByteArray& stream);
