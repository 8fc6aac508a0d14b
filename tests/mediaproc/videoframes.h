#pragma once

#include "mediaproc/mediaproc.h"

#include <QByteArray>
#include <QSize>
#include <QStringList>
#include <QVector>

/// Encoded video as devices hand it out, and what FFmpeg's own program makes of it.
namespace VideoFrames {

constexpr int h264 = 1;
constexpr int h265 = 2;

/// A moving picture of FFmpeg's, @p count frames of it, encoded by its program with @p options, among them the
/// encoder's parameters (-x264-params or -x265-params, and "aud=1" must be among those). Empty when that failed.
QByteArray encode(int codec, const QSize& size, int count, const QStringList& options);

/// As encode(), of the pictures that tests recognise.
QByteArray encodeTestPictures(int codec, const QSize& size, int count, const QStringList& options);

/// Short-hand for encoder options: no B frames, a key frame every ten.
QStringList plain(int codec);

/// With two B frames between others.
QStringList withBFrames(int codec);

/// The frames of encoded video, cut at its access unit delimiters.
QVector<QByteArray> split(int codec, const QByteArray& video);

/// The stream decoded by FFmpeg's program, one picture after the other without padding.
QByteArray decodedByFFmpeg(int codec, const QByteArray& video, const QString& pixelFormat);

/// The pixels of an I420 picture without padding.
QByteArray planes(const _tag_yuv_frame_s& picture);

/// The same of NV12, whose record has no third plane.
QByteArray planesNv12(const _tag_yuv_frame_s& picture);

/// The pixels of an RGB picture without padding.
QByteArray pixels(const _tag_rgb_frame_s& picture);

/// Bytes of a picture with 4:2:0.
int bytesOf(const QSize& size);

/// Whether nothing was put out.
bool isEmpty(const _tag_yuv_frame_s& picture);

} // namespace VideoFrames
