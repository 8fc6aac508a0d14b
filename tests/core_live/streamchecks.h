#pragma once

#include "streamprobe.h"
#include "support/messageguard.h"
#include "support/moviefile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

/// What holds for the live threads of both device families in the same way. Each function is one test.
namespace StreamChecks {

using Camera = QSharedPointer<FakeDevice>;

/// Slow enough for recorders to keep up with frames that are read as fast as they go.
constexpr int recorderFollowsMs = 3;

inline Camera makeCamera(XTransportProtocol protocol) { return Camera(new FakeDevice(protocol, 4, 2)); }

inline void slowDown(const Camera& camera)
{
    camera->setOnCall([](const QString& line) {
        if (line.startsWith("readFrame"))
            QThread::msleep(recorderFollowsMs);
    });
}

inline QVector<int> range(int first, int count)
{
    QVector<int> numbers;
    for (int i = 0; i < count; ++i)
        numbers << first + i;
    return numbers;
}

inline QStringList filesBelow(const QString& folder)
{
    QStringList names = QDir(folder).entryList(QDir::Files);
    for (const QString& name : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QString& below : filesBelow(folder + '/' + name))
            names << name + '/' + below;
    }
    names.sort();
    return names;
}

inline void verifyHas(const QString& file, const QVector<int>& numbers)
{
    const MovieFile movie(file);
    QVERIFY2(QFile::exists(file), qPrintable(file));
    QVERIFY2(movie.decodes(), qPrintable(file));
    QCOMPARE(movie.pictureNumbers(), numbers);
    QVERIFY(movie.startsWithKeyFrame());
}

template <typename Live>
void readFrame_mapsTheResults(MessageGuard& guard, const Camera& camera)
{
    StreamProbe<Live> probe(camera, 3, 1);
    std::vector<char> buffer(XFrameHeader::bufferSize);
    auto* frame = reinterpret_cast<XFrameHeader*>(buffer.data());
    FrameScript& script = camera->script(3, 1);
    script.add(DeviceStream::h264().first());
    script.addResult(8);
    script.addResult(17);
    script.addResult(-1);
    guard.allow("^ret = ");
    QCOMPARE(probe.readFrame(frame, 5), 0);
    QCOMPARE(frame->length, quint32(DeviceStream::h264().first().payload.size()));
    QCOMPARE(probe.readFrame(frame, 5), -2);
    QCOMPARE(probe.readFrame(frame, 5), -1);
    QCOMPARE(probe.readFrame(frame, 5), -1);
    QCOMPARE(guard.texts(QtCriticalMsg), QStringList({"ret = 17", "ret = -1"}));
    QCOMPARE(camera->calls(),
             QStringList({"readFrame 3 1 5", "readFrame 3 1 5", "readFrame 3 1 5", "readFrame 3 1 5"}));

    StreamProbe<Live> unbound;
    guard.allow("^dev pointer is null$");
    QCOMPARE(unbound.readFrame(frame, 5), -1);
    QCOMPARE(guard.texts(QtCriticalMsg).last(), QString("dev pointer is null"));
}

template <typename Live>
void getLatestRecordCodec_asksTheDevice(MessageGuard& guard, const Camera& camera)
{
    StreamProbe<Live> probe(camera, 2, 1);
    XVideoEncPara video;
    XAudioEncPara audio;
    camera->setCodecs(2, 1, {2, 640, 480, 3, 4, 5}, {34, 16000, 16, 2});
    QCOMPARE(probe.getLatestRecordCodec(video, audio), 0);
    QCOMPARE(video, (XVideoEncPara{2, 640, 480, 3, 4, 5}));
    QCOMPARE(video.param2, 5);
    QCOMPARE(audio, (XAudioEncPara{34, 16000, 16, 2}));
    guard.allow("^ret = ");
    camera->setResult("getCodecInfo", 9);
    QCOMPARE(probe.getLatestRecordCodec(video, audio), -1);
    StreamProbe<Live> unbound;
    guard.allow("^dev pointer is null$");
    QCOMPARE(unbound.getLatestRecordCodec(video, audio), -1);
    QCOMPARE(guard.texts(QtCriticalMsg), QStringList({"ret = 9", "dev pointer is null"}));
    QCOMPARE(camera->calls(), QStringList({"getCodecInfo 2 1", "getCodecInfo 2 1"}));
}

/// An undisplayed main stream frees its decoders and goes on recording; other streams keep theirs.
template <typename Live>
void handlePreviewClose_freesTheDecoders(const Camera& camera, int stream)
{
    const DeviceFrames frames = DeviceStream::mixed(DeviceStream::h264(), DeviceStream::sound());
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera, 0, stream);
    probe.setSavePath(AbstractVideoThread::AUTO_RECORD, folder.path());
    probe.recordStart(AbstractVideoThread::AUTO_RECORD);
    slowDown(camera);
    FrameScript& script = camera->script(0, stream);
    script.add(frames.mid(0, 20));
    script.addAction([&] { probe.previewRef() = 0; });
    script.add(frames.mid(20, 20));
    script.addAction([&] {
        QCOMPARE(probe.codec->isVideoDecoderNull(), stream == 0);
        QCOMPARE(probe.codec->isAudioDecoderNull(), stream == 0);
        probe.previewRef() = 1;
    });
    script.add(frames.mid(40, 20)); // up to picture 29; a key frame is 25
    QVERIFY(probe.playScript(*camera));
    QCOMPARE(probe.log.numbers(), range(0, 10) + range(25, 5));
    const QStringList lines = probe.log.only({"codec changed", "decoder destroyed", "format"});
    const QStringList made{"codec changed", "format 8000 1 16"};
    QCOMPARE(lines,
             stream == 0 ? made + QStringList{"decoder destroyed"} + made + QStringList{"decoder destroyed"}
                         : made + QStringList{"decoder destroyed"});
    const QStringList files = filesBelow(folder.path());
    QCOMPARE(files.size(), 1);
    verifyHas(folder.filePath(files.first()), range(0, 30));
}

template <typename Live>
void recording_isNamedByItsTimes(const Camera& camera)
{
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera, 2, 0, QDateTime(QDate(2024, 3, 5), QTime(9, 10, 11)));
    probe.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.filePath("rec"));
    probe.recordStart(AbstractVideoThread::MANUAL_RECORD);
    slowDown(camera);
    FrameScript& script = camera->script(2, 0);
    script.add(DeviceStream::h264().mid(0, 30));
    script.addAction([&] {
        QCOMPARE(filesBelow(folder.path()), QStringList("rec/2024-03-05/live/20240305T091011.mp4"));
        probe.time.advance(29 * 60 * qint64(1000000) + 49 * 1000000);
    });
    QVERIFY(probe.playScript(*camera));
    const QString name = "rec/2024-03-05/live/20240305T091011_20240305T094000_2.mp4";
    QCOMPARE(filesBelow(folder.path()), QStringList(name));
    QCOMPARE(probe.getFileName(AbstractVideoThread::MANUAL_RECORD), folder.filePath(name));
    verifyHas(folder.filePath(name), range(0, 30));
    QCOMPARE(probe.log.only({"state"}),
             QStringList({"state 1 20240305T091011.mp4", "state 0 20240305T091011_20240305T094000_2.mp4"}));
}

/// The night between: the end has another date, the folder is that of the start. Channel 0 shows as well.
template <typename Live>
void recording_staysInTheFolderOfItsStart(const Camera& camera)
{
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera, 0, 1, QDateTime(QDate(2024, 12, 31), QTime(23, 59, 59)));
    probe.setSavePath(AbstractVideoThread::AUTO_RECORD, folder.path());
    probe.recordStart(AbstractVideoThread::AUTO_RECORD);
    slowDown(camera);
    FrameScript& script = camera->script(0, 1);
    script.add(DeviceStream::h264().mid(0, 25));
    script.addAction([&] { probe.time.advance(2000000); });
    script.add(DeviceStream::h264().mid(25, 25));
    QVERIFY(probe.playScript(*camera));
    const QStringList names{"2024-12-31/live/20241231T235959_20250101T000001_0.mp4",
                            "2025-01-01/live/20250101T000001_20250101T000001_0.mp4"};
    QCOMPARE(filesBelow(folder.path()), names);
    verifyHas(folder.filePath(names.at(0)), range(0, 25));
    verifyHas(folder.filePath(names.at(1)), range(25, 25));
}

/// Two files that begin and end within the same second have names of their own.
template <typename Live>
void recording_neverReplacesAnother(const Camera& camera)
{
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera);
    probe.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
    probe.recordStart(AbstractVideoThread::MANUAL_RECORD);
    slowDown(camera);
    FrameScript& script = camera->script(0, 0);
    script.add(DeviceStream::h264().mid(0, 25));
    script.addAction([&] { probe.recordStop(AbstractVideoThread::MANUAL_RECORD); });
    script.add(DeviceStream::h264().mid(25, 1)); // the last of the first file
    script.addAction([&] { probe.recordStart(AbstractVideoThread::MANUAL_RECORD); });
    script.add(DeviceStream::h264().mid(50, 25));
    QVERIFY(probe.playScript(*camera));
    const QStringList files = filesBelow(folder.path());
    QCOMPARE(files.size(), 2);
    verifyHas(folder.filePath(files.at(0)), range(0, 26));
    verifyHas(folder.filePath(files.at(1)), range(50, 25));
}

template <typename Live>
void renameMP4File_onlyReports_whenThereIsNoFile(MessageGuard& guard, const Camera& camera)
{
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera);
    const QString name = folder.filePath("20240305T091011.mp4");
    probe.setFileName(AbstractVideoThread::AUTO_RECORD, name);
    guard.allow(" is not exists$");
    probe.renameMP4File(AbstractVideoThread::AUTO_RECORD);
    QCOMPARE(guard.texts(QtCriticalMsg), QStringList(name + " is not exists"));
    QCOMPARE(probe.getFileName(AbstractVideoThread::AUTO_RECORD), name);
    QVERIFY(filesBelow(folder.path()).isEmpty());
}

/// The codec changes, then the size, then both change back; each file plays and no picture is lost.
template <typename Live>
void recording_followsTheStream(const Camera& camera, bool deviceKnows)
{
    const QTemporaryDir folder;
    StreamProbe<Live> probe(camera, 1, 0);
    probe.setSavePath(AbstractVideoThread::MANUAL_RECORD, folder.path());
    probe.recordStart(AbstractVideoThread::MANUAL_RECORD);
    slowDown(camera);
    FrameScript& script = camera->script(1, 0);
    const auto part = [&](const DeviceFrames& stream, int first, qint32 codec) {
        script.addAction([=, &probe] {
            probe.time.advance(1000000);
            if (deviceKnows)
                camera->setCodecs(1, 0, {codec, qint32(stream.first().width), qint32(stream.first().height), 0, 1, 0},
                                  {33, 8000, 16, 1});
        });
        script.add(DeviceStream::mixed(stream.mid(first, 25), DeviceStream::sound().mid(first, 25)));
    };
    part(DeviceStream::h264(), 0, 1);
    part(DeviceStream::h265(), 25, 2);
    part(DeviceStream::h265OtherSize(), 50, 2);
    part(DeviceStream::h264(), 75, 1);
    QVERIFY(probe.playScript(*camera));
    QCOMPARE(probe.log.numbers(), range(0, 100));
    const QStringList codecs{"h264", "hevc", "hevc", "h264"};
    const QStringList sizes{"320x240", "320x240", "400x304", "320x240"};
    const QStringList files = filesBelow(folder.path());
    QCOMPARE(files.size(), 4);
    for (int i = 0; i < 4; ++i) {
        const QString file = folder.filePath(files.at(i));
        verifyHas(file, range(25 * i, 25));
        QCOMPARE(MovieFile(file).videoCodec(), codecs.at(i));
        QCOMPARE(MovieFile(file).size(), sizes.at(i));
        QCOMPARE(MovieFile(file).audioStreams(), 1);
    }
}

template <typename Live>
void metaObject_addsNothing(const char* name)
{
    const Live thread;
    QCOMPARE(thread.objectName(), QString(name));
    QCOMPARE(QByteArray(Live::staticMetaObject.className()), QByteArray(name));
    QCOMPARE(Live::staticMetaObject.methodCount(), AbstractVideoThread::staticMetaObject.methodCount());
}

} // namespace StreamChecks
