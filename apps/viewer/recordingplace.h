#pragma once

#include "devnet/mediadevice.h"

#include <QSharedPointer>
#include <QString>

/// Where recordings can be played from: a channel of a device's archive, or what the viewer has recorded of one source.
struct RecordingPlace
{
    QString key; ///< tells places apart
    QString group; ///< heading, for people
    QString name; ///< below the heading, for people
    QString folder; ///< name of a folder of its own, below which its snapshots go
    QSharedPointer<MediaDevice> device; ///< null for no place
    int channel = 0; ///< from 0

    bool isValid() const { return device; }
    bool operator==(const RecordingPlace& other) const { return key == other.key && title() == other.title(); }
    QString title() const { return group.isEmpty() ? name : QString("%1 · %2").arg(group, name); }
};
