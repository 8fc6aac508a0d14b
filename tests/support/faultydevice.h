#pragma once

#include "core_videobase/clock.h"
#include "devnet/xnetdevice.h"

#include <QSharedPointer>
#include <QString>
#include <QVector>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

/// What goes wrong with the reads of a FaultyDevice for a while.
struct Fault
{
    QString name; ///< for the rows of a test
    int count = 1; ///< reads that it lasts; a frame for those that change one
    XRetError result = XRet::Ok; ///< other than Ok: what the read ends with, without asking the device
    int blockMs = 0; ///< real time that the read stays inside first, whatever its time-out
    std::function<void(XFrameHeader*)> change; ///< what is done to a frame that the device handed out
    int connection = -1; ///< status that the device shows from then on, -1 for its own; takes no read when set

    static Fault none(int frames); ///< frames that pass as they are
    static Fault timeouts(int reads = 1); ///< after their time-out, by the clock
    static Fault errors(XRetError result, int reads = 1); ///< 14, 17 and whatever else
    static Fault block(int milliseconds); ///< stays in the read, then brings a frame
    static Fault disconnect(int status = XChannelStatus_Disconnected);
    static Fault reconnect();

    static Fault length(quint32 bytes, int frames = 1); ///< the header says that many, the payload stays
    static Fault frameType(quint32 type, int frames = 1);
    static Fault codecId(quint32 codecId, int frames = 1);
    static Fault size(quint32 width, quint32 height, int frames = 1);
    static Fault soundFormat(quint32 sampleRate, quint32 bitWidth, quint32 channels, int frames = 1);
    static Fault timestamp(quint64 milliseconds, int frames = 1);
    static Fault garbagePayload(quint32 seed, int frames = 1); ///< payload of noise, the header stays
    static Fault garbageHeader(quint32 seed, int frames = 1); ///< every field noise

    /// Every way in which a single frame can be wrong, for data-driven tests; of @p frames each.
    static QVector<Fault> badFrames(int frames = 1);
};

/// Stands before any device and makes what goes through it go wrong, as told. All operations may be called from any
/// thread. Faults of one device are shared by its streams.
class FaultyDevice : public XNetDevice
{
public:
    explicit FaultyDevice(const QSharedPointer<XNetDevice>& device);

    /// Adds what happens next to reads, behind what was added before; reads behind all faults pass.
    void add(const Fault& fault);
    void add(const QVector<Fault>& faults);

    /// The next enableMediaTransmit(true) calls end with these, without asking the device.
    void refuseEnable(XRetError result, int count = 1);

    /// The status that is shown from now on, -1 for the device's own.
    void setConnection(int status);

    /// Reads don't begin and those that wait in a block go on: threads can end.
    void endFaults();

    /// Whether every fault has been used up.
    bool isDone() const;

    /// What Fault::timeouts() pass their time on; null for the real one.
    void setClock(Clock* clock);

    XChannelStatus getConnectStatus() override;
    XChannelStatus getStreamStatus(int channel, int stream) override;
    QString getAlias() override;
    QString serialNumber() override;
    XTransportProtocol getStreamProtocol() override;
    int getChannelCount() override;
    int getStreamCount() override;
    int getStreamCountPerChannel() override;
    QStringList getRtspUrls() override;
    XRetError enableMediaTransmit(int channel, int stream, bool enable) override;
    XRetError requestVideoIFrame(int channel, int stream) override;
    XRetError readFrame(int channel, int stream, XFrameHeader* frame, int timeout) override;
    XRetError getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;
    XRetError setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio) override;
    XRetError vodStart(unsigned id, const VodStartPara& para) override;
    XRetError vodStop(unsigned id) override;
    XRetError vodPause(unsigned id) override;
    XRetError vodResume(unsigned id) override;
    XRetError vodSeek(unsigned id, const QDateTime& time) override;
    XRetError vodSetSpeed(unsigned id, int speed) override;
    XRetError vodReadFrame(unsigned id, XFrameHeader* frame, int timeout) override;
    XRetError vodDownloadStart(unsigned id, const VodDownloadPara& para) override;
    XRetError vodDownloadStop(unsigned id) override;
    XRetError vodGetDownloadSdp(unsigned id, VodSdp& sdp) override;
    XRetError vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout) override;
    XRetError startTalk(int channel) override;
    XRetError stopTalk(int channel) override;
    XRetError sendTalkData(const char* data, int length, int channel) override;

private:
    using Read = std::function<XRetError(XFrameHeader* frame, int timeout)>;

    XRetError readThrough(const Read& read, XFrameHeader* frame, int timeout);
    Fault takeFault(bool forFrame);
    void applyConnections();
    void passBlock(int milliseconds);
    XRetError failRead(XRetError result, int timeout);

    const QSharedPointer<XNetDevice> device;
    mutable std::mutex mutex; // guards all of the following
    std::condition_variable ended;
    std::deque<Fault> faults;
    std::deque<XRetError> enableResults;
    int connection = -1;
    bool isEnded = false;
    Clock* clock = nullptr;
};
