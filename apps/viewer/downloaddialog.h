#pragma once

#include "devnet/xnetdevice.h"

#include <QDateTime>
#include <QDialog>
#include <QSharedPointer>

/// Fetches what a device has recorded of a channel and writes it into MP4 files.
///
/// Modeless: a host calls show() and may forget the dialog, which deletes itself when it is closed. It may be deleted at
/// any moment, too.
class DownloadDialog : public QDialog
{
    Q_OBJECT

public:
    /// @p start and @p end are what the user is offered as the period, local time; @p channel counts from 0.
    DownloadDialog(const QSharedPointer<XNetDevice>& device, int channel, const QString& channelName,
                   const QDateTime& start, const QDateTime& end, QWidget* parent = nullptr);

private:
    const QSharedPointer<XNetDevice> device;
    const int channel;
};
