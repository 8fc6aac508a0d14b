#include "support/fakedevice.h"

#include <QDateTime>

#include <algorithm>

namespace {

using Lock = std::lock_guard<std::mutex>;

/// Operations that ask for the state or for frames.
const QStringList questions{"getConnectStatus", "getStreamStatus", "readFrame", "vodReadFrame", "vodReadDLFrame"};

QString operationOf(const QString& line) { return line.section(' ', 0, 0); }

QString textOf(const QDateTime& time) { return time.isNull() ? QString("-") : time.toString("yyyyMMddTHHmmss"); }

QString textOf(const XVideoEncPara& video)
{
    return QString("video %1 %2x%3 %4 %5 %6")
        .arg(video.codec)
        .arg(video.width)
        .arg(video.height)
        .arg(video.param1)
        .arg(video.param3)
        .arg(video.param2);
}

QString textOf(const XAudioEncPara& audio)
{
    return QString("audio %1 %2 %3 %4").arg(audio.codec).arg(audio.sampleRate).arg(audio.bitWidth).arg(audio.channels);
}

QString numbers(int first, int second) { return QString("%1 %2").arg(first).arg(second); }

} // namespace

FakeDevice::FakeDevice(XTransportProtocol transport, int channelCount, int streamsPerChannel)
    : protocol(transport)
    , channels(channelCount)
    , streams(streamsPerChannel)
{
}

// --- What it answers

void FakeDevice::Answers::add(const QVector<int>& answers)
{
    next.insert(next.end(), answers.cbegin(), answers.cend());
}

int FakeDevice::Answers::take()
{
    if (next.empty())
        return steady;
    const int answer = next.front();
    next.pop_front();
    return answer;
}

void FakeDevice::setConnectStatus(int status)
{
    const Lock lock(mutex);
    connectStatus.steady = status;
}

void FakeDevice::queueConnectStatus(const QVector<int>& statuses)
{
    const Lock lock(mutex);
    connectStatus.add(statuses);
}

void FakeDevice::setStreamStatus(int status)
{
    const Lock lock(mutex);
    streamStatus.steady = status;
}

void FakeDevice::queueStreamStatus(const QVector<int>& statuses)
{
    const Lock lock(mutex);
    streamStatus.add(statuses);
}

void FakeDevice::setResult(const QString& operation, XRetError result)
{
    const Lock lock(mutex);
    results[operation].steady = result;
}

void FakeDevice::queueResults(const QString& operation, const QVector<XRetError>& next)
{
    const Lock lock(mutex);
    results[operation].add(next);
}

void FakeDevice::setCodecs(int channel, int stream, const XVideoEncPara& video, const XAudioEncPara& audio)
{
    const Lock lock(mutex);
    codecs[{channel, stream}] = {video, audio};
}

void FakeDevice::setKeepsCodecs(bool keeps)
{
    const Lock lock(mutex);
    keepsCodecs = keeps;
}

XVideoEncPara FakeDevice::video(int channel, int stream) const
{
    const Lock lock(mutex);
    return codecsOf(channel, stream).video;
}

XAudioEncPara FakeDevice::audio(int channel, int stream) const
{
    const Lock lock(mutex);
    return codecsOf(channel, stream).audio;
}

FakeDevice::Codecs FakeDevice::codecsOf(int channel, int stream) const
{
    const auto found = codecs.find({channel, stream});
    if (found != codecs.end())
        return found->second;
    return {{1, 320, 240, 0, 1, 0}, {33, 8000, 16, 1}};
}

void FakeDevice::setProtocol(XTransportProtocol transport)
{
    const Lock lock(mutex);
    protocol = transport;
}

void FakeDevice::setCounts(int channelCount, int streamsPerChannel)
{
    const Lock lock(mutex);
    channels = channelCount;
    streams = streamsPerChannel;
}

void FakeDevice::setRtspUrls(const QStringList& urls)
{
    const Lock lock(mutex);
    rtspUrls = urls;
}

void FakeDevice::setNames(const QString& name, const QString& number)
{
    const Lock lock(mutex);
    alias = name;
    serial = number;
}

void FakeDevice::setDownloadSdp(const VodSdp& sdp)
{
    const Lock lock(mutex);
    downloadSdp = sdp;
}

FrameScript& FakeDevice::script(int channel, int stream) { return scriptOf({"live", {channel, stream}}); }

FrameScript& FakeDevice::playback(unsigned id) { return scriptOf({"playback", {int(id), 0}}); }

FrameScript& FakeDevice::download(unsigned id) { return scriptOf({"download", {int(id), 0}}); }

FrameScript& FakeDevice::scriptOf(const ScriptKey& key)
{
    const Lock lock(mutex);
    FrameScript& script = scripts[key];
    if (readsEnded)
        script.end(endResult);
    return script;
}

void FakeDevice::endReads(XRetError result)
{
    const Lock lock(mutex);
    readsEnded = true;
    endResult = result;
    for (auto& script : scripts)
        script.second.end(result);
}

void FakeDevice::setOnCall(std::function<void(const QString&)> hook)
{
    const Lock lock(mutex);
    onCall = std::move(hook);
}

// --- What it was asked

QStringList FakeDevice::calls(const QStringList& without) const
{
    const Lock lock(mutex);
    QStringList result;
    for (const QString& line : lines) {
        if (!without.contains(operationOf(line)))
            result << line;
    }
    return result;
}

QStringList FakeDevice::orders() const { return calls(questions); }

int FakeDevice::count(const QString& line) const
{
    const Lock lock(mutex);
    return static_cast<int>(std::count(lines.cbegin(), lines.cend(), line));
}

int FakeDevice::countOf(const QString& operation) const
{
    const Lock lock(mutex);
    int count = 0;
    for (const QString& line : lines)
        count += operationOf(line) == operation ? 1 : 0;
    return count;
}

void FakeDevice::forgetCalls()
{
    const Lock lock(mutex);
    lines.clear();
}

QByteArray FakeDevice::talkData() const
{
    const Lock lock(mutex);
    return QByteArray(talked.data(), static_cast<int>(talked.size()));
}

void FakeDevice::note(const QString& line)
{
    std::function<void(const QString&)> hook;
    {
        const Lock lock(mutex);
        lines.push_back(line);
        hook = onCall;
    }
    if (hook)
        hook(line);
}

XRetError FakeDevice::answer(const QString& operation, const QString& arguments)
{
    note(arguments.isEmpty() ? operation : operation + ' ' + arguments);
    const Lock lock(mutex);
    const auto found = results.find(operation);
    return found == results.end() ? XRet::Ok : found->second.take();
}

// --- The device

XChannelStatus FakeDevice::getConnectStatus()
{
    note("getConnectStatus");
    const Lock lock(mutex);
    return static_cast<XChannelStatus>(connectStatus.take());
}

XChannelStatus FakeDevice::getStreamStatus(int channel, int stream)
{
    note("getStreamStatus " + numbers(channel, stream));
    const Lock lock(mutex);
    return static_cast<XChannelStatus>(streamStatus.take());
}

QString FakeDevice::getAlias()
{
    note("getAlias");
    const Lock lock(mutex);
    return alias;
}

QString FakeDevice::serialNumber()
{
    note("serialNumber");
    const Lock lock(mutex);
    return serial;
}

XTransportProtocol FakeDevice::getStreamProtocol()
{
    note("getStreamProtocol");
    const Lock lock(mutex);
    return protocol;
}

int FakeDevice::getChannelCount()
{
    note("getChannelCount");
    const Lock lock(mutex);
    return channels;
}

int FakeDevice::getStreamCount()
{
    note("getStreamCount");
    const Lock lock(mutex);
    return channels * streams;
}

int FakeDevice::getStreamCountPerChannel()
{
    note("getStreamCountPerChannel");
    const Lock lock(mutex);
    return streams;
}

QStringList FakeDevice::getRtspUrls()
{
    note("getRtspUrls");
    const Lock lock(mutex);
    return rtspUrls;
}

XRetError FakeDevice::enableMediaTransmit(int channel, int stream, bool enable)
{
    return answer("enableMediaTransmit", numbers(channel, stream) + (enable ? " true" : " false"));
}

XRetError FakeDevice::requestVideoIFrame(int channel, int stream)
{
    return answer("requestVideoIFrame", numbers(channel, stream));
}

XRetError FakeDevice::readFrame(int channel, int stream, XFrameHeader* frame, int timeout)
{
    note(QString("readFrame %1 %2 %3").arg(channel).arg(stream).arg(timeout));
    return script(channel, stream).read(frame, timeout);
}

XRetError FakeDevice::getCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio)
{
    const XRetError result = answer("getCodecInfo", numbers(channel, stream));
    if (result != XRet::Ok)
        return result;
    const Lock lock(mutex);
    const Codecs known = codecsOf(channel, stream);
    video = known.video;
    audio = known.audio;
    return XRet::Ok;
}

XRetError FakeDevice::setCodecInfo(int channel, int stream, XVideoEncPara& video, XAudioEncPara& audio)
{
    const XRetError result
        = answer("setCodecInfo", QString("%1 %2 %3").arg(numbers(channel, stream), textOf(video), textOf(audio)));
    const Lock lock(mutex);
    if (result == XRet::Ok && !keepsCodecs)
        codecs[{channel, stream}] = {video, audio};
    return result;
}

XRetError FakeDevice::vodStart(unsigned id, const VodStartPara& para)
{
    return answer("vodStart",
                  QString("%1 %2 %3 %4")
                      .arg(QString::number(id), textOf(para.startTime), textOf(para.endTime), textOf(para.playTime)));
}

XRetError FakeDevice::vodStop(unsigned id) { return answer("vodStop", QString::number(id)); }

XRetError FakeDevice::vodPause(unsigned id) { return answer("vodPause", QString::number(id)); }

XRetError FakeDevice::vodResume(unsigned id) { return answer("vodResume", QString::number(id)); }

XRetError FakeDevice::vodSeek(unsigned id, const QDateTime& time)
{
    return answer("vodSeek", QString("%1 %2").arg(QString::number(id), textOf(time)));
}

XRetError FakeDevice::vodSetSpeed(unsigned id, int speed)
{
    return answer("vodSetSpeed", QString("%1 %2").arg(QString::number(id), QString::number(speed)));
}

XRetError FakeDevice::vodReadFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    note(QString("vodReadFrame %1 %2").arg(id).arg(timeout));
    return playback(id).read(frame, timeout);
}

XRetError FakeDevice::vodDownloadStart(unsigned id, const VodDownloadPara& para)
{
    return answer("vodDownloadStart",
                  QString("%1 %2 %3").arg(QString::number(id), textOf(para.startTime), textOf(para.endTime)));
}

XRetError FakeDevice::vodDownloadStop(unsigned id) { return answer("vodDownloadStop", QString::number(id)); }

XRetError FakeDevice::vodGetDownloadSdp(unsigned id, VodSdp& sdp)
{
    const XRetError result = answer("vodGetDownloadSdp", QString::number(id));
    const Lock lock(mutex);
    if (result == XRet::Ok)
        sdp = downloadSdp;
    return result;
}

XRetError FakeDevice::vodReadDLFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    note(QString("vodReadDLFrame %1 %2").arg(id).arg(timeout));
    return download(id).read(frame, timeout);
}

XRetError FakeDevice::startTalk(int channel) { return answer("startTalk", QString::number(channel)); }

XRetError FakeDevice::stopTalk(int channel) { return answer("stopTalk", QString::number(channel)); }

XRetError FakeDevice::sendTalkData(const char* data, int length, int channel)
{
    const XRetError result = answer("sendTalkData", numbers(length, channel));
    const Lock lock(mutex);
    if (result == XRet::Ok)
        talked.insert(talked.end(), data, data + length);
    return result;
}
