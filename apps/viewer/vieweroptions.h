#pragma once

#include "core_videobase/widgetpara.h"
#include "devnet/mediadeviceconfig.h"
#include "source.h"

#include <QString>

/// What the command line asks for, and where it says nothing, what the user has set.
struct ViewerOptions
{
    QVector<MediaDeviceConfig> devices; ///< that can be shown
    QList<Source> sources; ///< 25 at most; none for the channels of the devices
    bool keepsSources = false; ///< what is shown at the end is shown again at the next start
    QStringList deviceFiles; ///< those of devices that come from files
    int cellCount = 4; ///< 1, 4, 9, 16 or 25
    bool showDevices = true; ///< the list of devices is seen at the beginning
    QString transport{"tcp"}; ///< of sources that are opened later on
    QString captureFormat; ///< of sources that are opened later on
    VideoMode mode = VideoMode_Opengl;
    ScaleMode scaleMode = ScaleMode_Aspect;
    QString hardware{"none"};
    int readTimeout = 3000; ///< in milliseconds; 0: a lost source is not opened again
    int connectTimeout = 3000; ///< in milliseconds
    QString snapshotFolder;
    QString recordingFolder; ///< of recordings that the user starts
    QString autoRecordFolder; ///< where everything that plays is recorded; empty for nowhere
    int recordInterval = -1; ///< length of one recording file in seconds; -1: unlimited
    QString screenshot; ///< picture file of the whole screen; empty for none
    int seconds = 0; ///< running time; 0 until the window is closed
    QString language; ///< "en" or "zh_CN"; empty for the system's
    QStringList complaints; ///< about the settings of the last start; for people
    bool debug = false;
};
