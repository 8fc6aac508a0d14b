#pragma once

#include "core_ffmpeg/ffmpeghelper.h"

#include <QString>

/// What a text that somebody entered as an address stands for, and how FFmpeg is to open it.
struct UrlAddress
{
    FFmpegHelper::SourceType type = FFmpegHelper::Source_Unknown;
    QString url;           ///< what FFmpeg is given
    QString inputFormat;   ///< name of FFmpeg's input format, empty to have it guessed
    QString size;          ///< picture size asked of a capture device, "WIDTHxHEIGHT"
    int frameRate = 0;     ///< frame rate asked of a capture device, 0 for its own
    bool isPaced = false;  ///< the source is not live: its packets are played at the pace of their time stamps
    bool isTested = false; ///< host and port are tested before the address is opened

    /// Takes @p text apart:
    /// - name|size|rate is a capture device, opened with @p captureFormat;
    /// - an existing file, a file: address or anything that looks like a path is a file;
    /// - anything else with a scheme, and user:password@host, is a network address.
    static UrlAddress parse(const QString& text, const QString& captureFormat);

    /// FFmpeg's input format for cameras on this platform.
    static QString platformCaptureFormat();
};
