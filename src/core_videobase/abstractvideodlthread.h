#pragma once

#include "core_videobase/vantorexport.h"
#include "devnet/xframeheader.h"

#include <QDateTime>
#include <QSharedPointer>
#include <QString>
#include <QThread>

#include <atomic>

class SaveMp4FFmpeg;

/// Base of the threads that fetch a recording from where it is kept and write it into MP4 files.
///
/// The host sets what to fetch, connects the signals and calls startDL(). stopDL() ends the download, else it ends with
/// the recording, with an error, or when nothing comes any more; the thread can be started again then. startDL(),
/// stopDL() and the setters belong to one thread, the host's, and the setters are not called while a download runs.
///
/// run() is the download and calls the hooks in this order: initOption(), makeSaveSubDir(), beforeDownload(), then
/// readFrame() and handleSaveMP4() for every frame, and afterDownload(). All of them run on the download's thread,
/// which also emits all signals: sig_downloadStart() first and sig_downloadFinsh() last, or neither where
/// beforeDownload() found that there is nothing to be had.
class VANTOR_EXPORT AbstractVideoDLThread : public QThread
{
    Q_OBJECT

public:
    explicit AbstractVideoDLThread(QObject* parent = nullptr);

    /// Ends the download. A subclass whose hooks use its own members calls stopDL() in its destructor.
    ~AbstractVideoDLThread() override;

    /// Nothing while a download runs. It may be called in a queued slot of the signal that reported the end of the
    /// download before.
    void startDL();

    /// Ends the download and waits for it without a limit; the file that is being written is completed.
    void stopDL();

    /// Whether sound is written. Default false.
    void setSaveAudio(bool enable);

    /// Seconds per file; below 1 (the default) files are not cut by time.
    void setSaveInterval(int seconds);

    /// How long one read waits, in milliseconds. Default 300; eleven time-outs in a row end the download.
    void setReadTimeout(int milliseconds);

    /// Folder below which files are written.
    void setSavePath(const QString& path);

    /// The period to fetch, local time.
    void setDateTime(const QDateTime& start, const QDateTime& end);

Q_SIGNALS:
    void sig_downloadStart();
    /// The last signal of a download. @p ok when the recording was fetched to its end and written completely.
    void sig_downloadFinsh(bool ok);
    /// How far the download is, once for more than a second of the recording: milliseconds since 1970.
    void sig_downloadPts(const qint64& pts);
    /// The device refused the download for having too many connections.
    void sig_downloadErrConnExceedMax();
    /// The device refused the download, or its frames could not be written.
    void sig_downloadError();

protected:
    void run() override;

    /// Forgets where the download before this one has come to.
    virtual void initOption();

    /// Makes saveDir.
    virtual void makeSaveSubDir();

    /// False when there is nothing to be had.
    virtual bool beforeDownload();
    virtual void afterDownload();

    /// 0 for a frame, 1 at the end of the recording, 2 for a time-out, anything else for an error.
    virtual int readFrame(XFrameHeader* frame, int timeout) = 0;

    /// Writes a frame; not 0 when that can't be done.
    virtual int handleSaveMP4(XFrameHeader* frame) = 0;

    /// For beforeDownload(), before it emits why there will be no download: from then on the host may start another
    /// one.
    void announceEnd();

    /// For hooks: what was fetched is not on the disk. The download will not be reported as complete.
    void reportDamage();

    std::atomic<bool> stopped{true};
    int timeoutCount = 0; // in a row
    bool saveAudio = false;
    int saveInterval = -1; // seconds
    int readTimeout = 300; // milliseconds
    QString savePath;
    QString saveDir; // of this download
    QDateTime startTime;
    QDateTime endTime;
    qint64 fileStartPts = 0; // of the first frame of the file; milliseconds
    qint64 lastPts = 0;      // of the latest video frame
    qint64 reservedPts = 0;
    qint64 lastReportedPts = 0;
    const QSharedPointer<SaveMp4FFmpeg> saver;

private:
    bool fetch();

    bool isDamaged = false;             // download's thread
    std::atomic<bool> isEnding{false}; // the end was reported, the thread is only returning
};
