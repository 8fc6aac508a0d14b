#pragma once

#include "core_videobase/vantorexport.h"

#include <QString>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

class AbstractVideoThread;
class Clock;
struct AVCodecContext;
struct AVFrame;
struct AVPacket;
struct AVStream;

/// Operations that the FFmpeg threads share. All are static and may be called from any thread.
class VANTOR_EXPORT FFmpegHelper
{
public:
    /// What kind of address checkSource() is given; other values pass unchecked.
    enum SourceType {
        Source_File = 0,
        Source_Device = 1,
        Source_Network = 3,
        Source_Unknown = 255
    };

    /// Initialises FFmpeg's network layer and silences FFmpeg's own log, once in the process.
    static void initLib();

    /// Whether @p url can be opened at all. The reason of a failure goes to the debug line of @p thread (may be null).
    /// A network address is tested for at most @p timeout milliseconds.
    static bool checkSource(AbstractVideoThread* thread, int type, const QString& url, int timeout);

    /// Whether a TCP connection to host and port of @p url (port 554 when it has none) succeeds within @p timeout
    /// milliseconds; a time-out below 1 says true without a test. Runs a local event loop.
    static bool checkUrl(const QString& url, int timeout);

    /// @p url with user and password percent-encoded, for rtsp addresses and addresses without a scheme; an address of
    /// another scheme, or the name of an existing file, is returned as it is.
    static QString encodeUrl(const QString& url);

    /// FFmpeg's text for an error code.
    static QString getError(int code);

    /// The surface format of a hardware decoder, AV_PIX_FMT_NONE for types that are not supported.
    static AVPixelFormat hwPixelFormatOf(AVHWDeviceType type);

    /// The surface format of the last hardware set-up; one value for the whole process.
    static AVPixelFormat hwPixelFormat();
    static void setHwPixelFormat(AVPixelFormat format);

    /// The get_format callback of hardware decoder contexts: hwPixelFormat().
    static AVPixelFormat getFormat(AVCodecContext* context, const AVPixelFormat* formats);

    /// Picture size of a stream in pixels.
    static void getResolution(const AVStream* stream, int& width, int& height);

    /// Sends one packet and takes at most one frame. 0 when @p frame holds a picture or sound, else FFmpeg's error
    /// code; errors other than "again" and end of file also go to the debug line of @p thread (may be null).
    static int decode(AbstractVideoThread* thread, AVCodecContext* context, const AVPacket* packet, AVFrame* frame,
                      bool isVideo);

    /// Waits until a decode time is due: @p dts in @p timeBase plus @p startTime (microseconds of @p clock). Waits of a
    /// second or more are not waited for.
    static void delay(Clock& clock, qint64 startTime, qint64 dts, AVRational timeBase);

    /// Free a frame or a packet with all it refers to; null is allowed.
    static void freeFrame(AVFrame* frame);
    static void freePacket(AVPacket* packet);

    /// The name of FFmpeg's constant for the common formats, the decimal number for others.
    static QString getPixFormatName(int format);

    /// The FFmpeg release whose interface the library is written for.
    static QString getVersion();

    /// Have FFmpeg write the devices of an input format ("dshow", "v4l2"), or the options of one device, to its log,
    /// which initLib() silences: a caller that wants them installs a log callback of FFmpeg's.
    static void listDevices(const QString& format);
    static void listOptions(const QString& format, const QString& device);

    /// Copies a planar YUV 4:2:0 picture turned clockwise by 90, 180 or 270 degrees; another angle copies nothing.
    /// @p dst must have room for the turned picture; line sizes are respected.
    static void rotateFrame(int angle, const AVFrame* src, AVFrame* dst);
};
