// Fetches a period of a recorder's archive into MP4 files.
//
//     download FOLDER CHANNEL FROM TO TARGET        FROM and TO are local time, 2026-03-05T09:10:00
#include <core_vod/xrtavoddlthread.h>
#include <devnet/mediadevice.h>

#include <QCoreApplication>
#include <QtDebug>

namespace {

/// A device that has an archive and nothing live.
QSharedPointer<XNetDevice> makeDevice(const QString& folder, int channel)
{
    MediaDeviceConfig config;
    config.archive = folder;
    for (int i = 0; i <= channel; ++i)
        config.channels.append({QString(), {QString()}});
    return QSharedPointer<XNetDevice>(new MediaDevice(config));
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QDateTime from = QDateTime::fromString(arguments.value(3), Qt::ISODate);
    const QDateTime to = QDateTime::fromString(arguments.value(4), Qt::ISODate);
    if (arguments.size() != 6 || !from.isValid() || !to.isValid())
        qFatal("usage: download FOLDER CHANNEL FROM TO TARGET");

    const int channel = arguments.at(2).toInt();
    XRTAVodDLThread download;
    download.bindDevice(makeDevice(arguments.at(1), channel), static_cast<unsigned>(channel));
    download.setDateTime(from, to);
    download.setSaveAudio(true);
    download.setSavePath(arguments.at(5));

    // All signals come from the download's thread; the context object brings them here.
    QObject::connect(&download, &XRTAVodDLThread::sig_downloadPts, &application, [](const qint64& pts) {
        // The device's time stamps are local time, counted as if it were UTC.
        qInfo().noquote() << "at" << QDateTime::fromMSecsSinceEpoch(pts, Qt::UTC).toString("yyyy-MM-dd HH:mm:ss");
    });
    QObject::connect(&download, &XRTAVodDLThread::sig_downloadErrConnExceedMax, &application,
                     [] { qWarning("the device has no connection to spare"); });
    QObject::connect(&download, &XRTAVodDLThread::sig_downloadError, &application,
                     [] { qWarning("the device refused, or the files can't be written"); });
    int result = 1; // also where there is nothing to be had: then the thread ends without sig_downloadFinsh()
    QObject::connect(&download, &XRTAVodDLThread::sig_downloadFinsh, &application,
                     [&result](bool ok) { result = ok ? 0 : 1; });
    QObject::connect(&download, &QThread::finished, &application, [&result] { QCoreApplication::exit(result); });
    download.startDL();
    return QCoreApplication::exec();
}
