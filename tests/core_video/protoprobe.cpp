#include "protoprobe.h"

#include "support/waiting.h"

#include <QFile>

#include <algorithm>

namespace {
constexpr int playMs = 60000;
} // namespace

ProtoProbe::ProtoProbe(VideoMode mode)
{
    prepare();
    setVideoMode(mode);
}

ProtoProbe::ProtoProbe(const QDateTime& start)
    : time(start)
{
    prepare();
    setVideoMode(VideoMode_Opengl);
}

void ProtoProbe::prepare()
{
    setClock(&time);
    script.setClock(&time);
    setReadTimeout(3000);
    previewRef() = 1;
}

ProtoProbe::~ProtoProbe()
{
    script.end();
    stopAndWait();
}

bool ProtoProbe::playScript()
{
    addStop();
    script.end();
    play();
    return Waiting::until([this] { return isFinished(); }, playMs) && wait();
}

void ProtoProbe::addStop()
{
    script.addAction([this] { stop(); });
}

void ProtoProbe::addWait(std::function<bool()> condition)
{
    script.addAction([condition] {
        while (!condition())
            msleep(1);
    });
}

void ProtoProbe::setFolder(const QString& path) { folder = path; }

void ProtoProbe::snapFinsh()
{
    ++snapsFinished;
    PvProtoVideoThread::snapFinsh();
}

bool ProtoProbe::openVideo()
{
    log.note("open");
    return PvProtoVideoThread::openVideo();
}

void ProtoProbe::closeVideo()
{
    log.note("close");
    PvProtoVideoThread::closeVideo();
}

void ProtoProbe::initOption()
{
    log.note("init option");
    if (makesCodec)
        PvProtoVideoThread::initOption();
}

bool ProtoProbe::initInput()
{
    log.note("init input");
    return inputStarts && PvProtoVideoThread::initInput();
}

void ProtoProbe::initOther()
{
    log.note("init other");
    PvProtoVideoThread::initOther();
}

bool ProtoProbe::checkConnect()
{
    log.note("check connect");
    return connects && PvProtoVideoThread::checkConnect();
}

int ProtoProbe::readFrame(XFrameHeader* frame, int timeout)
{
    if (reads++ == 0) {
        const auto* bytes = reinterpret_cast<const char*>(frame);
        wasHeaderZero = std::all_of(bytes, bytes + sizeof(XFrameHeader), [](char byte) { return byte == 0; });
    }
    readTimeouts << timeout;
    if (readPauseMs > 0)
        msleep(static_cast<unsigned long>(readPauseMs));
    const XRetError result = script.read(frame, timeout);
    return result == XRet::Timeout ? -2 : result;
}

void ProtoProbe::handlePreviewClose()
{
    log.note("preview close");
    PvProtoVideoThread::handlePreviewClose();
}

void ProtoProbe::beforeSaveMP4(XFrameHeader* frame)
{
    log.note(QString("save %1").arg(frame->frameType));
    PvProtoVideoThread::beforeSaveMP4(frame);
}

int ProtoProbe::getLatestRecordCodec(XVideoEncPara& video, XAudioEncPara& audio)
{
    if (latestCodecResult != 0)
        return latestCodecResult;
    video = latestVideo;
    audio = latestAudio;
    return 0;
}

void ProtoProbe::setMP4FileName(RecordType type)
{
    log.note(QString("name %1").arg(int(type)));
    PvProtoVideoThread::setMP4FileName(type);
    if (!folder.isEmpty())
        setFileName(type, QString("%1/%2-%3.mp4").arg(folder).arg(int(type)).arg(++fileNumbers[type]));
}

void ProtoProbe::renameMP4File(RecordType type)
{
    log.note(QString("rename %1").arg(int(type)));
    PvProtoVideoThread::renameMP4File(type);
    const QString name = getFileName(type);
    const QString done = QString(name).replace(".mp4", "-done.mp4");
    if (!folder.isEmpty() && QFile::rename(name, done))
        setFileName(type, done);
}
