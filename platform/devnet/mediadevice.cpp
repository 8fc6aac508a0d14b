#include "devnet/mediadevice.h"

#include "devnet/mediaarchive.h"
#include "devnet/mediasource.h"
#include "devnet/mediastream.h"
#include "devnet/streamlimit.h"
#include "devnet/talksink.h"
#include "devnet/testsource.h"

#include <QLoggingCategory>

#include <algorithm>

extern "C" {
#include <libavutil/log.h>
}

namespace {
Q_LOGGING_CATEGORY(lcDevice, "vantor.devnet.device")

void silenceFFmpeg()
{
    static const bool done = [] {
        av_log_set_level(AV_LOG_QUIET);
        return true;
    }();
    Q_UNUSED(done)
}

MediaSourceAddress addressOf(const QString& entry, const QString& title)
{
    QString problem;
    const auto address = MediaSourceAddress::parse(entry, &problem);
    if (!address)
        qCWarning(lcDevice).noquote() << QString("%1 has no source: %2").arg(title, problem);
    return address.value_or(MediaSourceAddress());
}

std::unique_ptr<FrameSource> makeSource(const MediaSourceAddress& address, int channel, const QString& name)
{
    switch (address.kind) {
    case MediaSourceAddress::TestPicture:
        return std::make_unique<TestSource>(address.test, channel, name);
    case MediaSourceAddress::File:
    case MediaSourceAddress::Url:
        return std::make_unique<MediaSource>(address);
    case MediaSourceAddress::None:
        break;
    }
    return nullptr;
}

QString titleOf(const QString& device, int channel, int stream, const MediaSourceAddress& address)
{
    const QString place = QString("%1 channel %2 stream %3").arg(device).arg(channel).arg(stream).trimmed();
    return address.text.isEmpty() ? place : QString("%1 (%2)").arg(place, address.display());
}

int mostSources(const MediaDeviceConfig& config)
{
    int most = 0;
    for (const MediaDeviceConfig::Channel& channel : config.channels)
        most = std::max(most, channel.sources.size());
    return most;
}

} // namespace

MediaDevice::MediaDevice(const MediaDeviceConfig& config)
    : settings(config)
    , streamsPerChannel(mostSources(config))
    , limit(std::make_unique<StreamLimit>(config.maxStreams))
    , talk(std::make_unique<TalkSink>(config.talkFolder))
    , archive(std::make_unique<MediaArchive>(config.archive, *limit))
{
    silenceFFmpeg();
    for (int i = 0; i < settings.channels.size(); ++i) {
        for (int s = 0; s < streamsPerChannel; ++s)
            streams.push_back(makeStream(i, s));
    }
}

MediaDevice::~MediaDevice() = default;

std::unique_ptr<MediaStream> MediaDevice::makeStream(int channel, int index) const
{
    const MediaDeviceConfig::Channel& described = settings.channels.at(channel);
    const MediaSourceAddress address
        = addressOf(described.sources.value(index), titleOf(settings.alias, channel, index, {}));
    return std::make_unique<MediaStream>(titleOf(settings.alias, channel, index, address),
                                         makeSource(address, channel, described.name), *limit);
}

const MediaDeviceConfig& MediaDevice::config() const { return settings; }

XChannelStatus MediaDevice::getConnectStatus() { return XChannelStatus_Connected; }

XChannelStatus MediaDevice::getStreamStatus(int channel, int index)
{
    const MediaStream* const media = stream(channel, index);
    return media && media->isConnected() ? XChannelStatus_Connected : XChannelStatus_Disconnected;
}

QString MediaDevice::getAlias() { return settings.alias; }

QString MediaDevice::serialNumber() { return settings.serialNumber; }

XTransportProtocol MediaDevice::getStreamProtocol() { return settings.protocol; }

int MediaDevice::getChannelCount() { return settings.channels.size(); }

int MediaDevice::getStreamCount() { return static_cast<int>(streams.size()); }

int MediaDevice::getStreamCountPerChannel() { return streamsPerChannel; }

QStringList MediaDevice::getRtspUrls()
{
    QStringList urls;
    for (const MediaDeviceConfig::Channel& channel : settings.channels) {
        for (int s = 0; s < streamsPerChannel; ++s) {
            QString problem;
            const auto address = MediaSourceAddress::parse(channel.sources.value(s), &problem);
            urls.append(address && address->kind == MediaSourceAddress::Url ? address->text : QString());
        }
    }
    return urls;
}

XRetError MediaDevice::enableMediaTransmit(int channel, int index, bool enable)
{
    MediaStream* const media = stream(channel, index);
    if (!media)
        return XRet::BadParameter;
    if (enable)
        return media->start();
    media->stop();
    return XRet::Ok;
}

XRetError MediaDevice::requestVideoIFrame(int channel, int index)
{
    MediaStream* const media = stream(channel, index);
    return media ? media->requestKeyFrame() : XRet::BadParameter;
}

XRetError MediaDevice::readFrame(int channel, int index, XFrameHeader* frame, int timeout)
{
    MediaStream* const media = stream(channel, index);
    return media && frame ? media->read(frame, timeout) : XRet::BadParameter;
}

XRetError MediaDevice::getCodecInfo(int channel, int index, XVideoEncPara& video, XAudioEncPara& audio)
{
    const MediaStream* const media = stream(channel, index);
    if (!media)
        return XRet::BadParameter;
    const StreamFormat format = media->format();
    video = format.video;
    audio = format.audio;
    return XRet::Ok;
}

XRetError MediaDevice::setCodecInfo(int channel, int index, XVideoEncPara& video, XAudioEncPara& audio)
{
    MediaStream* const media = stream(channel, index);
    if (!media)
        return XRet::BadParameter;
    media->setFormat({video, audio});
    return XRet::Ok;
}

QVector<MediaRecording> MediaDevice::recordings(int channel, const QDateTime& from, const QDateTime& to) const
{
    QVector<MediaRecording> found;
    const QVector<ArchiveFile> files = archive->find(channel, from, to);
    for (const ArchiveFile& file : files)
        found.append({ArchiveTime::wall(file.start), ArchiveTime::wall(file.end)});
    return found;
}

XRetError MediaDevice::vodStart(unsigned id, const VodStartPara& para) { return archive->startPlayback(id, para); }

XRetError MediaDevice::vodStop(unsigned id) { return archive->stopPlayback(id); }

XRetError MediaDevice::vodPause(unsigned id)
{
    const auto playback = archive->playback(id);
    if (!playback)
        return XRet::BadParameter;
    playback->pause();
    return XRet::Ok;
}

XRetError MediaDevice::vodResume(unsigned id)
{
    const auto playback = archive->playback(id);
    if (!playback)
        return XRet::BadParameter;
    playback->resume();
    return XRet::Ok;
}

XRetError MediaDevice::vodSeek(unsigned id, const QDateTime& time)
{
    const auto playback = archive->playback(id);
    if (!playback || !time.isValid())
        return XRet::BadParameter;
    playback->seek(ArchiveTime::of(time));
    return XRet::Ok;
}

XRetError MediaDevice::vodSetSpeed(unsigned id, int speed)
{
    const auto playback = archive->playback(id);
    return playback ? playback->setSpeed(speed) : XRet::BadParameter;
}

XRetError MediaDevice::vodReadFrame(unsigned id, XFrameHeader* frame, int timeout)
{
    const auto playback = archive->playback(id);
    return playback && frame ? playback->read(frame, timeout) : XRet::BadParameter;
}

XRetError MediaDevice::vodDownloadStart(unsigned id, const VodDownloadPara& para)
{
    return archive->startDownload(id, para);
}

XRetError MediaDevice::vodDownloadStop(unsigned id) { return archive->stopDownload(id); }

XRetError MediaDevice::vodGetDownloadSdp(unsigned id, VodSdp& sdp)
{
    const auto download = archive->download(id);
    return download && download->describe(sdp) ? XRet::Ok : XRet::BadParameter;
}

XRetError MediaDevice::vodReadDLFrame(unsigned id, XFrameHeader* frame, int)
{
    const auto download = archive->download(id);
    return download && frame ? download->read(frame) : XRet::BadParameter;
}

MediaStream* MediaDevice::stream(int channel, int index) const
{
    if (channel < 0 || channel >= settings.channels.size() || index < 0 || index >= streamsPerChannel)
        return nullptr;
    return streams.at(static_cast<std::size_t>(channel * streamsPerChannel + index)).get();
}

XRetError MediaDevice::startTalk(int) { return talk->start(); }

XRetError MediaDevice::stopTalk(int) { return talk->stop(); }

XRetError MediaDevice::sendTalkData(const char* data, int length, int) { return talk->write(data, length); }
