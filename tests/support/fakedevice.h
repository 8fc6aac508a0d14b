#pragma once

#include "devnet/xnetdevice.h"
#include "support/framescript.h"

#include <QByteArray>
#include <QStringList>
#include <QVector>

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

/// A device that answers what a test tells it and writes down what it is asked.
///
/// It is connected and every operation succeeds unless it is told otherwise. Streams hand out the frames of their
/// script(). All operations may be called from any thread.
///
///     FakeDevice device(XTransportProtocol_Rta);
///     device.script(0, 0).setClip(DeviceStream::h264());
class FakeDevice : public XNetDevice
{
public:
    explicit FakeDevice(XTransportProtocol protocol = XTransportProtocol_Rta, int channels = 1,
                        int streamsPerChannel = 2);

    /// @name What it answers
    /// @{

    /// The steady answer, and the answers of the next calls, which come first.
    void setConnectStatus(int status);
    void queueConnectStatus(const QVector<int>& statuses);

    /// As above for getStreamStatus(); of all streams.
    void setStreamStatus(int status);
    void queueStreamStatus(const QVector<int>& statuses);

    /// The same for the result of an operation named as in XNetDevice ("enableMediaTransmit", "getCodecInfo",
    /// "vodStart", ...). Reads are the script's business.
    void setResult(const QString& operation, XRetError result);
    void queueResults(const QString& operation, const QVector<XRetError>& results);

    /// What getCodecInfo() fills in; setCodecInfo() replaces it unless told not to. Before that: H.264 320x240, A-law.
    void setCodecs(int channel, int stream, const XVideoEncPara& video, const XAudioEncPara& audio);
    void setKeepsCodecs(bool keeps);
    XVideoEncPara video(int channel, int stream) const;
    XAudioEncPara audio(int channel, int stream) const;

    void setProtocol(XTransportProtocol protocol);
    void setCounts(int channels, int streamsPerChannel);
    void setRtspUrls(const QStringList& urls);
    void setNames(const QString& alias, const QString& serialNumber);
    void setDownloadSdp(const VodSdp& sdp);

    /// The frames of a stream, a playback, a download. The reference stays valid for the life of the device.
    FrameScript& script(int channel, int stream);
    FrameScript& playback(unsigned id);
    FrameScript& download(unsigned id);

    /// FrameScript::end() for all there are and all that will be: reads don't wait any more, so threads can end.
    void endReads(XRetError result = XRet::Timeout);

    /// Called after a call was written down and before it is answered, on the calling thread; may call anything.
    void setOnCall(std::function<void(const QString& line)> hook);
    /// @}

    /// @name What it was asked
    /// @{

    /// Every call in order: the operation and its arguments, "enableMediaTransmit 0 1 true", "readFrame 0 1 500",
    /// "getConnectStatus", "setCodecInfo 0 1 video 1 320x240 0 1 0 audio 33 8000 16 1" (param1, param3, param2).
    /// Those of the operations in @p without are left out.
    QStringList calls(const QStringList& without = {}) const;

    /// calls() without reads and status questions.
    QStringList orders() const;

    /// How often exactly this line was written down.
    int count(const QString& line) const;

    /// How many lines begin with this operation.
    int countOf(const QString& operation) const;

    void forgetCalls();

    /// What sendTalkData() was given, one behind the other.
    QByteArray talkData() const;
    /// @}

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
    struct Answers
    {
        int steady = 0;
        std::deque<int> next;

        void add(const QVector<int>& answers);
        int take();
    };
    struct Codecs
    {
        XVideoEncPara video;
        XAudioEncPara audio;
    };
    using ScriptKey = std::pair<QString, std::pair<int, int>>;

    void note(const QString& line);
    XRetError answer(const QString& operation, const QString& arguments);
    FrameScript& scriptOf(const ScriptKey& key);
    Codecs codecsOf(int channel, int stream) const;

    // What is added to is nothing that Qt shares between copies: ThreadSanitizer can't see when a copy has gone.
    mutable std::mutex mutex; // guards all of the following
    XTransportProtocol protocol;
    int channels;
    int streams;
    Answers connectStatus{XChannelStatus_Connected, {}};
    Answers streamStatus{XChannelStatus_Connected, {}};
    std::map<QString, Answers> results;
    std::map<std::pair<int, int>, Codecs> codecs;
    bool keepsCodecs = false;
    QStringList rtspUrls;
    QString alias{"camera"};
    QString serial{"SN0001"};
    VodSdp downloadSdp;
    std::map<ScriptKey, FrameScript> scripts;
    bool readsEnded = false;
    XRetError endResult = XRet::Timeout;
    std::function<void(const QString&)> onCall;
    std::vector<QString> lines;
    std::vector<char> talked;
};
