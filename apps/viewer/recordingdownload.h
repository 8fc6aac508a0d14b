#pragma once

#include "core_vod/xrtavoddlthread.h"
#include "downloadreport.h"
#include "downloadwatch.h"

#include <QDir>
#include <QHash>

/// One download, which knows why it ended and which files it has written.
///
/// It is started once. QThread::finished() is sent whatever comes of it, and report() is final from then on.
class RecordingDownload : public XRTAVodDLThread
{
    Q_OBJECT

public:
    RecordingDownload(const QSharedPointer<XNetDevice>& device, int channel, const QDateTime& start,
                      const QDateTime& end, QObject* parent = nullptr);
    ~RecordingDownload() override;

    /// Ends it without waiting; what is being written is completed.
    void cancel();

    /// Bytes that the device has sent. Any thread.
    qint64 receivedBytes() const { return bytes; }

    /// Not before the end.
    const DownloadReport& report() const { return ending; }

Q_SIGNALS:
    /// A file has its final name; @p milliseconds is how long it plays.
    void fileWritten(const QString& file, qint64 milliseconds);

protected:
    bool beforeDownload() override;
    void afterDownload() override;
    int readFrame(XFrameHeader* frame, int timeout) override;
    int handleSaveMP4(XFrameHeader* frame) override;

private:
    using FileTimes = QHash<QString, QDateTime>;

    void follow(const XFrameHeader& frame);
    FileTimes finishedFiles() const;
    void announceFiles(qint64 length);
    void conclude();
    DownloadReport::Outcome whyNotWritten();

    const QSharedPointer<DownloadWatch> watch;
    const QString finishedName; // pattern of the files of this channel
    std::atomic<qint64> bytes{0};

    // The download's thread.
    FileTimes known; // files that were there, or are announced
    bool isWriteError = false;
    int lastRead = 0; // of readFrame()
    int frames = 0;
    qint64 lastStamp = -1; // of a picture
    qint64 fileLength = 0;
    DownloadReport ending;
};
