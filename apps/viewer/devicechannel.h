#pragma once

#include <QString>

/// A channel of a device, or a whole device, and how both are written as an address: "device:NAME/CHANNEL/STREAM".
///
/// CHANNEL counts from 1, STREAM is "main", "sub", or a number from 3 on. An address without a stream leaves the choice
/// to the cell, one without a channel means the whole device. "/" and "%" in NAME are written as %2F and %25.
struct DeviceChannel
{
    static constexpr int any = -1;

    QString device; ///< as Devices names it; empty for what is no such address
    int channel = any; ///< from 0; any: all of them
    int stream = any; ///< from 0; any: the one that fits the cell

    bool isValid() const { return !device.isEmpty(); }
    bool isWholeDevice() const { return isValid() && channel == any; }

    static bool isAddress(const QString& text);

    /// An invalid channel where @p text is not the address of one.
    static DeviceChannel parse(const QString& text);
    QString address() const;

    /// "main", "sub", "3"...
    static QString streamName(int stream);
};
