#include "downloadreport.h"

#include <QDir>

namespace {
constexpr qint64 tolerance
    = 2000; // milliseconds by which pictures may fall short of a period that is recorded throughout
}

QString DownloadReport::text() const
{
    QString all = reason();
    if (files > 0)
        all += ' '
            + (outcome == Outcome::Complete ? amount() : tr("What was written until then stays: %1").arg(amount()));
    if (outcome == Outcome::Complete && period - length > tolerance)
        all += ' ' + tr("Of the rest of the period, %1, there is no recording.").arg(lengthText(period - length));
    return all;
}

QString DownloadReport::reason() const
{
    switch (outcome) {
    case Outcome::Complete:
        return tr("Complete.");
    case Outcome::Cancelled:
        return tr("Cancelled.");
    case Outcome::NothingRecorded:
        return tr("Nothing was recorded in this period.");
    case Outcome::NothingPlayable:
        return tr("What the device sent has no picture to begin with, so nothing was written.");
    case Outcome::Refused:
        return refusal();
    case Outcome::Silent:
        return tr("The device does not send anything any more.");
    case Outcome::Broken:
        return tr("The device broke the download off (result %1).").arg(code);
    case Outcome::NotDescribed:
        return code == XRet::Ok
            ? tr("The device does not say how its pictures are encoded, so they can't be written.")
            : tr("The device does not describe its pictures (result %1), so they can't be written.").arg(code);
    case Outcome::NoFolder:
        return tr("The folder %1 can't be made or written to.").arg(QDir::toNativeSeparators(folder));
    case Outcome::DiskFull:
        return tr("The disk is full: there is no room left in %1.").arg(QDir::toNativeSeparators(folder));
    case Outcome::NotWritten:
        return tr("The file can't be written in %1.").arg(QDir::toNativeSeparators(folder));
    }
    return {};
}

QString DownloadReport::refusal() const
{
    switch (code) {
    case XRet::NotSupported:
        return tr("This device has no recordings to download.");
    case XRet::BadParameter:
        return tr("The device has no such channel, or can't make sense of the period.");
    case XRet::Timeout:
        return tr("The device does not answer.");
    case XRet::AlreadyEnabled:
        return tr("A download of this channel is running already.");
    case XRet::Busy:
        return tr("The device is busy. Try again later.");
    case XRet::TooManyConnections:
        return tr("The device has no connection to spare. Close other streams, playbacks or downloads of it.");
    default:
        return tr("The device refuses the download (result %1).").arg(code);
    }
}

QString DownloadReport::amount() const
{
    return files == 1 ? tr("%1 in one file.").arg(lengthText(length))
                      : tr("%1 in %2 files.").arg(lengthText(length)).arg(files);
}

QString DownloadReport::lengthText(qint64 milliseconds)
{
    const qint64 seconds = (milliseconds + 500) / 1000;
    if (seconds < 60)
        return tr("%1 s").arg(seconds);
    if (seconds < 60 * 60)
        return tr("%1 min %2 s").arg(seconds / 60).arg(seconds % 60);
    return tr("%1 h %2 min").arg(seconds / 3600).arg(seconds / 60 % 60);
}
