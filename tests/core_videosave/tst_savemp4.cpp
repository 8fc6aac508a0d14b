#include "core_videosave/savemp4.h"

#include "material.h"
#include "support/clips.h"
#include "support/deviceframe.h"
#include "support/messageguard.h"
#include "support/moviefile.h"

#include <QMetaMethod>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstring>
#include <memory>

namespace {
constexpr quint32 magic = 0x12345678;
constexpr int waitMs = 200;

/// Opens and writes without the thread, so that a test knows what lies in the ring.
struct UnthreadedSaver : SaveMp4
{
    ~UnthreadedSaver() override { SaveMp4::close(); }

    bool begin(const QString& name)
    {
        setFileName(name);
        return init();
    }
};

/// A frame in a buffer as devices hand it over.
class Buffer
{
public:
    explicit Buffer(const DeviceFrame& content)
    {
        content.writeTo(frame());
        frame()->reserved0 = magic;
    }

    XFrameHeader* frame() { return reinterpret_cast<XFrameHeader*>(bytes.get()); }

private:
    const std::unique_ptr<unsigned char[]> bytes{new unsigned char[XFrameHeader::bufferSize]()};
};

XVideoEncPara videoPara(int codec = 1)
{
    XVideoEncPara para;
    para.codec = codec;
    para.width = Clips::size.width();
    para.height = Clips::size.height();
    para.param3 = 1;
    return para;
}

XAudioEncPara audioPara(int codec)
{
    XAudioEncPara para;
    para.codec = codec;
    para.sampleRate = 8000;
    para.bitWidth = 16;
    para.channels = 1;
    return para;
}

XAudioEncPara noSound()
{
    XAudioEncPara para;
    para.channels = 0;
    return para;
}

DeviceFrame frameOf(quint32 type, int bytes)
{
    DeviceFrame frame;
    frame.type = type;
    frame.payload = QByteArray(bytes, 'x');
    return frame;
}

/// Hands frames over one by one, each when the one before it was written: the ring is not drained at the end.
void record(UnthreadedSaver& saver, const DeviceFrames& frames)
{
    for (const DeviceFrame& frame : frames) {
        saver.writeData(Buffer(frame).frame());
        saver.save();
    }
}

/// The line that tells a loss, without the times.
QString lossOf(int pictures, int sounds, const QString& reason)
{
    return QString("^lost %1 pictures and %2 packets of sound in .+: %3 \\[").arg(pictures).arg(sounds).arg(reason);
}
} // namespace

class TestSaveMp4 : public QObject
{
    Q_OBJECT

private:
    QString path(const QString& name) const { return folder->filePath(name); }

    /// Allows the message, and asks for it once.
    void expect(QtMsgType type, const QString& text)
    {
        guard->allow('^' + QRegularExpression::escape(text) + '$');
        expected.append({type, text});
    }

    QVector<QPair<QtMsgType, QString>> expected;
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<QTemporaryDir> folder;

private Q_SLOTS:
    void init()
    {
        guard.reset(new MessageGuard);
        folder.reset(new QTemporaryDir);
        QVERIFY(folder->isValid());
    }
    void cleanup()
    {
        VERIFY_NO_UNEXPECTED_MESSAGES(*guard);
        for (const auto& message : qAsConst(expected))
            QVERIFY2(guard->count(message.first, message.second) == 1, qPrintable(message.second));
        expected.clear();
    }

    void slotsOfTheClass_areInOrder()
    {
        const QMetaObject& meta = SaveMp4::staticMetaObject;
        QStringList names;
        for (int index = meta.methodOffset(); index < meta.methodCount(); ++index)
            names << meta.method(index).methodSignature();
        QCOMPARE(names, QStringList({"setPara(XVideoEncPara,XAudioEncPara,int)", "writeData(XFrameHeader*)", "init()",
                                     "save()", "close()"}));
    }

    void recording_plays_data()
    {
        QTest::addColumn<int>("video");
        QTest::addColumn<int>("sound");
        for (const int video : {1, 2}) {
            for (const int sound : {0, 33, 34, 35})
                QTest::addRow("%s with %d", video == 1 ? "H.264" : "H.265", sound) << video << sound;
        }
    }

    void recording_plays()
    {
        QFETCH(int, video);
        QFETCH(int, sound);
        const DeviceFrames pictures = video == 1 ? DeviceStream::h264() : DeviceStream::h265();
        UnthreadedSaver saver;
        saver.setPara(videoPara(video), sound ? audioPara(sound) : noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        record(saver, sound ? DeviceStream::mixed(pictures, DeviceStream::sound(static_cast<quint32>(sound - 30)))
                            : pictures);
        saver.close();

        const MovieFile movie(path("movie.mp4"));
        QVERIFY(movie.decodes());
        QCOMPARE(movie.videoCodec(), QString(video == 1 ? "h264" : "hevc"));
        QCOMPARE(movie.pictureCount(), DeviceStream::frameCount);
        QVERIFY(movie.startsWithKeyFrame());
        QVERIFY(qAbs(movie.videoDuration() - 5.0) < 0.05);
        QCOMPARE(movie.audioStreams(), sound ? 1 : 0);
        if (sound) {
            QCOMPARE(movie.audioCodec(), QString("aac"));
            QVERIFY2(qAbs(movie.audioDuration() - 5.0) < 0.3, qPrintable(QString::number(movie.audioDuration())));
        }
        QVERIFY(movie.plays());
    }

    void recording_ofItsOwnThread_plays()
    {
        SaveMp4 saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        saver.open(path("new folder/电影 1.mp4"));
        QVERIFY(saver.getIsRunning());
        for (const DeviceFrame& frame : DeviceStream::h264())
            saver.writeData(Buffer(frame).frame());
        // Passes that wait say so, and the first one of them comes behind the last frame.
        QTRY_VERIFY_WITH_TIMEOUT(guard->contains("WaitForSingleObject save data Semaphore dw=258"), 10000);
        saver.stop();
        QVERIFY(!saver.getIsRunning());
        const MovieFile movie(path("new folder/电影 1.mp4"));
        QVERIFY(movie.decodes());
        QCOMPARE(movie.pictureCount(), DeviceStream::frameCount);
    }

    void recording_playsUpToItsLastFragment_whenItIsNeverClosed()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        record(saver, DeviceStream::h264());
        QVERIFY(QFile::copy(path("movie.mp4"), path("crashed.mp4")));
        const MovieFile movie(path("crashed.mp4"));
        QVERIFY(movie.decodes());
        QVERIFY2(movie.pictureCount() >= DeviceStream::frameCount - DeviceStream::keyDistance,
                 qPrintable(QString::number(movie.pictureCount())));
    }

    void stop_losesWhatIsQueued()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        const DeviceFrames frames = DeviceStream::h264();
        record(saver, frames.mid(0, 30));
        for (const DeviceFrame& frame : frames.mid(30))
            saver.writeData(Buffer(frame).frame());
        const QString loss = lossOf(frames.size() - 30, 0, "the recording ended before they were written");
        guard->allow(loss);
        saver.close();
        QVERIFY(guard->contains(loss));
        QCOMPARE(MovieFile(path("movie.mp4")).pictureCount(), 30);
    }

    void writeData_tellsHowMuchIsLost_whenTheBufferIsFull()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        guard->allow("^save buf is full$");
        for (int n = 0; n < 15 + 3; ++n)
            saver.writeData(Buffer(frameOf(0, 1048576)).frame());
        for (int n = 0; n < 2; ++n)
            saver.writeData(Buffer(frameOf(4, 1048576)).frame());
        const QString loss = lossOf(15 + 3, 2, "the buffer was full"); // no pass has written anything either
        guard->allow(loss);
        saver.close();
        QVERIFY(guard->contains(loss));
    }

    void writeData_isRefused_whileNoFileIsOpen()
    {
        SaveMp4 saver;
        expect(QtWarningMsg, "file buf handle == null!!!");
        saver.writeData(Buffer(frameOf(0, 100)).frame());
        saver.writeData(nullptr);
    }

    void save_saysWhatIsMissing_whileNoFileIsOpen()
    {
        SaveMp4 saver;
        guard->allow("^data buf handle = .*, mp4 file handle = .*$");
        saver.save();
        QVERIFY(guard->contains("^data buf handle = .*, mp4 file handle = .*$"));
    }

    void open_fails_whenTheFileCantBeMade()
    {
        SaveMp4 saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(QFile(path("file")).open(QIODevice::WriteOnly));
        const QString name = path("file/movie.mp4");
        expect(QtCriticalMsg, "create mp4 file failed : " + name);
        saver.open(name);
        QVERIFY(!saver.getIsRunning());
    }

    void open_fails_withoutStreams()
    {
        SaveMp4 saver;
        saver.setPara(videoPara(3), noSound(), waitMs);
        expect(QtCriticalMsg, "create mp4 file failed : " + path("movie.mp4"));
        saver.open(path("movie.mp4"));
        QVERIFY(!saver.getIsRunning());
    }

    void writeData_refusesAFrame_thatDoesNotFitTheFreeSpace()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        // 16 frames of a MiB with their heads are more than the 16 MiB of the ring.
        for (int n = 0; n < 15; ++n)
            saver.writeData(Buffer(frameOf(7, 1048576)).frame());
        expect(QtWarningMsg, "save buf is full");
        saver.writeData(Buffer(frameOf(7, 1048576)).frame());
        // Nothing of the refused one lies in the ring: what follows is read as it was written.
        saver.writeData(Buffer(frameOf(7, 16)).frame());
        for (int n = 0; n < 16; ++n)
            saver.save();
        saver.save();
        QVERIFY(guard->contains("WaitForSingleObject save data Semaphore dw=258"));
    }

    void writeData_refusesAFrame_whoseLengthLies()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        Buffer buffer(frameOf(0, 16));
        for (const quint32 length : {XFrameHeader::largestPayload + 1, 0x7fffffffU, 0xffffffffU}) {
            buffer.frame()->length = length;
            expect(QtWarningMsg, QString("a frame of %1 bytes does not fit its buffer").arg(length));
            saver.writeData(buffer.frame());
        }
    }

    void save_waits_whenNothingIsQueued()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), 20);
        QVERIFY(saver.begin(path("movie.mp4")));
        saver.save();
        QVERIFY(guard->contains("WaitForSingleObject save data Semaphore dw=258"));
    }

    /// Not even once more what the time before has left in the work buffer.
    void save_writesNothing_whenNothingIsQueued()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), 20);
        QVERIFY(saver.begin(path("movie.mp4")));
        const DeviceFrames frames = DeviceStream::h264();
        saver.save();
        record(saver, frames.mid(0, 30));
        saver.save();
        saver.save();
        record(saver, frames.mid(30));
        saver.close();
        QCOMPARE(guard->count(QtInfoMsg, "WaitForSingleObject save data Semaphore dw=258"), 3);
        QCOMPARE(MovieFile(path("movie.mp4")).pictureHashes(), MovieFile(Clips::deviceH264()).pictureHashes());
    }

    void otherFrames_areTakenOutSilently()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        for (const quint32 type : {5U, 7U, 0xffffffffU})
            record(saver, {frameOf(type, 21)});
        record(saver, DeviceStream::h264());
        saver.close();
        const MovieFile movie(path("movie.mp4"));
        QVERIFY(movie.decodes());
        QCOMPARE(movie.pictureCount(), DeviceStream::frameCount);
    }

    void soundWithoutASoundStream_isRefusedByTheLibrary()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        expect(QtWarningMsg, "write audio to mp4 file failed: ret = -1");
        guard->allow(lossOf(0, 1, "the file could not be written"));
        record(saver, {frameOf(4, 160)});
    }

    void pictureWithoutAVideoStream_isRefusedByTheLibrary()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(0), audioPara(33), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        expect(QtWarningMsg, "write video to mp4 file failed: ret = -1");
        guard->allow(lossOf(1, 0, "the file could not be written"));
        record(saver, {frameOf(0, 160)});
    }

    void recording_waitsForPictures_whoseParameterSetsAreWhole()
    {
        DeviceFrames pictures = DeviceStream::h265();
        const auto isKey = [](const DeviceFrame& frame) { return frame.type == 0; };
        const auto second = std::find_if(pictures.cbegin() + 1, pictures.cend(), isKey);
        const auto whole = int(pictures.cend() - second);
        QVERIFY(whole > 0);
        pictures.first().payload = Material::withCutSequenceSet(pictures.first().payload, 20);
        UnthreadedSaver saver;
        saver.setPara(videoPara(2), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        expect(QtWarningMsg, "write video to mp4 file failed: ret = -1");
        guard->allow(lossOf(1, 0, "the file could not be written"));
        record(saver, pictures);
        saver.close();
        const MovieFile movie(path("movie.mp4"));
        QCOMPARE(movie.pictureCount(), whole);
        QVERIFY(movie.decodes());
    }

    void save_saysSo_whenTheHeadIsNotAHead()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        Buffer buffer(frameOf(0, 0));
        buffer.frame()->reserved0 = 17;
        saver.writeData(buffer.frame());
        expect(QtCriticalMsg, "frame header is corrupted 17");
        saver.save();
        record(saver, DeviceStream::h264()); // what follows is whole
        saver.close();
        QCOMPARE(MovieFile(path("movie.mp4")).pictureCount(), DeviceStream::frameCount);
    }

    void save_readsOn_behindWhatIsDamaged()
    {
        UnthreadedSaver saver;
        saver.setPara(videoPara(), noSound(), waitMs);
        QVERIFY(saver.begin(path("movie.mp4")));
        // A frame without the magic word, whose payload looks like the head of a frame that is longer than all there
        // is.
        XFrameHeader inner{};
        inner.reserved0 = magic;
        inner.length = 100000;
        DeviceFrame outer = frameOf(0, 0);
        outer.payload = QByteArray(reinterpret_cast<const char*>(&inner), sizeof inner) + QByteArray(64, '\0');
        Buffer buffer(outer);
        buffer.frame()->reserved0 = 1;
        for (int n = 0; n < 3; ++n)
            saver.writeData(buffer.frame());

        expect(QtCriticalMsg, "frame header is corrupted 1");
        saver.save();
        expect(QtCriticalMsg, "frame data is corrupted"); // the payload, which was not skipped
        saver.save();
        expect(QtCriticalMsg, "stream buf is corrupted ret = 0"); // all the rest was taken for its payload
        saver.save();
        record(saver, DeviceStream::h264());
        saver.close();
        QCOMPARE(MovieFile(path("movie.mp4")).pictureCount(), DeviceStream::frameCount);
    }
};

QTEST_GUILESS_MAIN(TestSaveMp4)

#include "tst_savemp4.moc"
