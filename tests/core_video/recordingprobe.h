#pragma once

#include "core_video/ffmpegvideothread.h"

#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

/// An FFmpegVideoThread that writes down what its recorders do and lets a test act between two packets.
class RecordingProbe final : public FFmpegVideoThread
{
    Q_OBJECT

public:
    /// Recordings go into @p folder as <type>-<number>.mp4, numbered from 1, and are renamed to
    /// <type>-<number>-done.mp4; with an empty folder the names stay the test's business.
    explicit RecordingProbe(const QString& url, const QString& folder = QString());

    /// Ends the thread and waits for it.
    ~RecordingProbe() override;

    /// Names of the files of @p type that were closed, in order. Any thread.
    QStringList closedFiles(RecordType type) const;

    /// What recorderStateChanged() said, as "1 name", without the folder, in order. Any thread.
    QStringList states() const;

    /// The numbers of the pictures that were decoded, where they are those of testpicture.h. Any thread.
    QVector<int> shownNumbers() const;

    /// Called on the video thread with the number of the packet, from 0, that is about to be handled. Before play().
    std::function<void(int packet)> atPacket;

    /// The records that the thread learns of at open, as those of a device. Before play().
    XVideoEncPara deviceVideo;
    XAudioEncPara deviceAudio;

    std::atomic<int> pictures{0};

protected:
    int getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio) override;
    void setMP4FileName(RecordType type) override;
    void renameMP4File(RecordType type) override;

private:
    const QString folder;
    int packets = -1; // video thread; the open counts as well
    int fileNumbers[RECORD_TYPE_MAX] = {}; // video thread
    mutable std::mutex notesMutex;
    std::vector<QString> closed[RECORD_TYPE_MAX]; // guarded by notesMutex
    std::vector<QString> stateNotes; // guarded by notesMutex
    std::vector<int> numbers; // guarded by notesMutex
};
