#pragma once

#include <QSize>
#include <QString>

/// Media files made by the ffmpeg command when a test first asks for them, and kept in the build tree.
///
/// Every function returns the path of a file that must not be changed, or ends the program with a message when it
/// cannot be made. Programs that run at the same time may ask for the same clip. Pictures are those of testpicture.h,
/// numbered from 0, and sound is a tone of 440 Hz, unless said otherwise.
namespace Clips {

QString h264AacMp4(); ///< 320x240, 25 a second, 5 s, a key frame every 25; mono 44100 Hz; index at the end
QString h264AacMkv(); ///< the same packets in Matroska
QString h264Mp4(); ///< the same pictures without sound
QString h264BFramesMp4(); ///< the same with two B-frames between the others
QString h264BFramesMkv(); ///< the same packets in Matroska
QString h264PcmaMkv(); ///< the packets of h264Mp4() with G.711 A-law, 8000 Hz mono
QString h265Mp4(); ///< 320x240, 25 a second, 5 s; with B-frames
QString h265Mkv(); ///< the same packets in Matroska
QString h264Ts(); ///< the packets of h264AacMp4() in MPEG-TS
QString h264AnnexB(); ///< the pictures of h264AacMp4() as a raw stream
QString sizeChangeTs(); ///< 2 s of 320x240, then 2 s of 400x304, numbered from 0 again
QString codecChangeTs(); ///< 2 s of H.264, then 2 s of H.265, both 320x240
QString fps90Mp4(); ///< 90 a second, 1 s
QString soundOnlyM4a(); ///< AAC alone, 3 s
QString soundOnlyWav(); ///< G.711 A-law alone, 8000 Hz mono, 3 s
QString yuv422Mp4(); ///< H.264 with 4:2:2 chroma, 2 s
QString rotatedMp4(); ///< h264Mp4() marked to be shown turned by 90 degrees
QString oddSizeMkv(); ///< FFV1, 321x241, 2 s

/// Raw streams with a delimiter before every picture and parameter sets before every key frame; without B-frames.
QString deviceH264(); ///< 320x240, 25 a second, 5 s, a key frame every 25
QString deviceH264OtherSize(); ///< 400x304
QString deviceH265(); ///< 320x240
QString deviceH265OtherSize(); ///< 400x304

/// Raw samples, 8000 Hz mono, 5 s.
QString deviceALaw();
QString deviceMuLaw();
QString devicePcm(); ///< 16 bits, little endian

QString truncatedMp4(); ///< first two thirds of h264AacMp4(): its index is missing
QString truncatedFastStartMp4(); ///< index at the beginning, two thirds of the packets
QString truncatedTs(); ///< two thirds of h264Ts(), ends inside a packet
QString randomH264(); ///< 256 KiB of noise, named .h264
QString damagedH264(); ///< h264AnnexB() with bytes overwritten after the first key frame
QString textMp4(); ///< a text file, named .mp4
QString emptyMp4(); ///< no bytes

constexpr int frameRate = 25;
constexpr int frameCount = 125; ///< of the clips of 5 s
constexpr QSize size{320, 240};
constexpr QSize otherSize{400, 304};

} // namespace Clips
