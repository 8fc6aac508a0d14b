#pragma once

#include "devnet/devnetexport.h"
#include "devnet/xnettypes.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

/// What a MediaDevice is made of, filled in code or read from JSON. A plain value without threads.
struct MediaDeviceConfig
{
    struct Channel
    {
        QString name; ///< shown in the built-in test picture; empty for "CHANNEL n"
        QStringList sources; ///< one per stream, the main stream first; an empty one is a stream that is refused

        bool operator==(const Channel& other) const { return name == other.name && sources == other.sources; }
    };

    QString alias; ///< name to show
    QString serialNumber;
    XTransportProtocol protocol = XTransportProtocol_Rta;
    QVector<Channel> channels;
    int maxStreams = 0; ///< streams, playbacks and downloads that may be open at once; 0 for any number
    QString archive;    ///< folder of the recordings to play back and download; empty for none
    QString talkFolder; ///< where what is said to the device is kept; empty for a device that can't be talked to

    /// Whether there is a channel; false for what a failed fromJson() returns.
    bool isValid() const { return !channels.isEmpty(); }

    bool operator==(const MediaDeviceConfig& other) const
    {
        return alias == other.alias && serialNumber == other.serialNumber && protocol == other.protocol
            && channels == other.channels && maxStreams == other.maxStreams
            && archive == other.archive && talkFolder == other.talkFolder;
    }

    /// Reads a JSON object; docs/devices.md lists its keys. Nothing is overlooked: an unknown key, a value of a wrong
    /// type and a source that can't be one are errors. Then the result is not valid, and @p error, unless it is null,
    /// says what is wrong and where. Without an error @p error is empty.
    DEVNET_EXPORT static MediaDeviceConfig fromJson(const QByteArray& json, QString* error = nullptr);

    /// As fromJson(), from a file; names of media files and folders in it are relative to its folder. An error begins
    /// with the name of the file.
    DEVNET_EXPORT static MediaDeviceConfig fromJsonFile(const QString& fileName, QString* error = nullptr);

    /// A device that needs nothing: every channel has a main and a sub stream of the built-in test picture, each
    /// channel in colours and with a tone of its own. A number below 1 counts as 1.
    DEVNET_EXPORT static MediaDeviceConfig builtIn(int channels = 4);
};
