#pragma once

#include "core_videobase/abstractvideodlthread.h"
#include "devnet/xnetdevice.h"

/// Downloads a recording that is kept on a device of the first family.
///
/// Files are `<savePath>/<today>/vod/<start>.mp4` while they are written and `<start>_<end>_<channel>.mp4` when they
/// are complete. A file begins with a key frame, and ends at the key frame with which the next one begins: when the
/// save interval is over, or when the device says that codec or picture size have changed. Frames before the first key
/// frame are dropped.
///
/// The names are the date on which the period begins and the times of day of the pictures: the device's time stamps are
/// local time, and are not converted. A file that runs over midnight is named with a start of 000000.
///
/// The device hands frames over as fast as the disk takes them. A file that can't be opened, or not be written to its
/// end (a full disk), ends the download: sig_downloadError(), then sig_downloadFinsh(false).
class VANTOR_EXPORT XRTAVodDLThread : public AbstractVideoDLThread
{
    Q_OBJECT

public:
    explicit XRTAVodDLThread(QObject* parent = nullptr);
    ~XRTAVodDLThread() override;

    /// The device, and its channel, which is also the number that tells the device's downloads apart. False for null,
    /// and then what was bound before stays. Not while a download runs.
    bool bindDevice(const QSharedPointer<XNetDevice>& device, unsigned channel);

protected:
    void makeSaveSubDir() override;
    bool beforeDownload() override;
    void afterDownload() override;
    int readFrame(XFrameHeader* frame, int timeout) override;
    int handleSaveMP4(XFrameHeader* frame) override;

private:
    void followVideo(const XFrameHeader& frame);
    bool followKeyFrame(const XFrameHeader& frame);
    bool isFileComplete();
    bool openFile();
    bool closeFile();
    bool isWanted(const XFrameHeader& frame) const;
    bool waitForRecorder() const;
    bool isCodecChanged();
    bool fetchSdp(VodSdp& fresh) const;
    void saveSdpToLocal();
    QString ptsToString(qint64 pts) const;
    QString openFileName() const;
    bool renameFile() const;

    QSharedPointer<XNetDevice> device;
    quint32 channel = 0;

    // The download's thread.
    VodSdp sdp;              // what the open file is
    bool isFileOpen = false; // also one whose recorder has ended by itself
};
