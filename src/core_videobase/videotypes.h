#pragma once

#include <QMetaType>

/// The decoding back-end that a thread was built for. Stored and returned only.
enum VideoCore {
    VideoCore_None = 0,
    VideoCore_FFmpeg = 1,
    VideoCore_Device = 2
};

/// How decoded pictures leave a video thread, and with what a widget draws them.
enum VideoMode {
    VideoMode_Hwnd = 0,   ///< no picture signal: others draw into the native window of the picture area
    VideoMode_Image = 1,  ///< as a QImage, painted by the widget itself
    VideoMode_Opengl = 2, ///< as planes, drawn by an OpenGL renderer
    VideoMode_D3d9 = 3,   ///< as a Direct3D 9 surface
    VideoMode_D3d11 = 4   ///< as a Direct3D 11 texture and its array index
};

/// Scaling quality of the picture converters.
enum DecodeType {
    DecodeType_Fast = 0, ///< fast bilinear
    DecodeType_Full = 1, ///< bicubic
    DecodeType_Even = 2  ///< bilinear
};

/// What a recorder reports about its file. Registered as the meta type "RecorderState" by every video thread.
enum RecorderState {
    RecorderIdle = 0,
    RecorderRecording = 1,
    RecorderPaused = 2,
    RecorderFailed = 3
};
Q_DECLARE_METATYPE(RecorderState)
