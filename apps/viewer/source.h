#pragma once

#include <QList>
#include <QMetaType>
#include <QString>

/// Something to show in a cell: an address, also one of a device's channel (see DeviceChannel), and how it is opened.
struct Source
{
    QString name; ///< shown in the picture; empty for one made from the address
    QString url; ///< as UrlVideoWidget::setUrl() takes it, or of a channel; empty for nothing to show
    QString transport{"tcp"}; ///< of network streams, "tcp" or "udp"
    QString captureFormat; ///< FFmpeg's input format for capture addresses; empty for the platform's cameras

    /// The name, or what the address calls itself: a file name, a host, a device, a channel.
    QString title() const;

    /// The address as it may be shown to people: without its password.
    QString shownUrl() const;

    bool isEmpty() const { return url.isEmpty(); }
};

bool operator==(const Source& one, const Source& other);
inline bool operator!=(const Source& one, const Source& other) { return !(one == other); }

Q_DECLARE_METATYPE(Source)
