#pragma once

#include "core_ffmpeg/ffmpegptr.h"
#include "core_videosave/savemp4ffmpeg.h"

#include <QByteArray>
#include <QString>

#include <vector>

/// What recorders are fed with in the tests.
namespace Material {

/// The video packets of a file, as FFmpeg reads them.
struct Packets
{
    std::vector<AvPacketPtr> packets;
    AVRational timeBase{0, 1};
    QByteArray extradata;
    int width = 0;
    int height = 0;
};

/// Reads at most @p most video packets; none when the file can't be read.
Packets read(const QString& path, int most = 1000);

/// A frame as a device hands it out: header and payload in one buffer that ends with them.
class Frame
{
public:
    Frame(quint32 type, quint64 timestamp, const QByteArray& payload);
    XFrameHeader* header() { return reinterpret_cast<XFrameHeader*>(words.data()); }

private:
    std::vector<quint64> words;
};

/// Frame of the video packet @p packet; not-key frames get types 1, 2, 3 by turns.
Frame frameOf(const AVPacket* packet, quint64 timestamp, int number);

/// The packet's payload.
QByteArray bytesOf(const AVPacket* packet);

/// Annex B without its parameter sets (H.264).
QByteArray withoutParameterSets(const QByteArray& annexB);

/// The parameter sets alone (H.264).
QByteArray parameterSets(const QByteArray& annexB);

/// The units of H.265, of whose sequence parameter set the first @p bytes alone are left.
QByteArray withCutSequenceSet(QByteArray annexB, int bytes);

/// A tone in 16-bit samples, A-law or µ-law ("s16le", "alaw", "mulaw"), mono.
QByteArray tone(const QString& format, int sampleRate, int milliseconds, int hertz);

XVideoEncPara video(int codec = 1);
XVideoEncPara noVideo();
XAudioEncPara sound(int codec = 33, int sampleRate = 8000);
XAudioEncPara noSound();

} // namespace Material
