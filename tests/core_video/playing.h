#pragma once

#include "core_video/ffmpegvideothread.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QImage>
#include <QObject>
#include <QStringList>
#include <QVector>

#include <functional>

/// What a display gets from a thread, and whether it stays readable for as long as a renderer may read it.
///
/// Lives in the GUI thread and is connected as displays are. It keeps the planes of the last frame and reads all of
/// them again when the next frame comes, and whenever the test asks.
class Display : public QObject
{
    Q_OBJECT

public:
    struct Frame
    {
        int width = 0;
        int height = 0;
        QVector<quint8*> planes;
        QVector<int> lines; ///< bytes from row to row, one a plane
        int number = -1;    ///< what the picture shows
        qint64 time = 0;    ///< milliseconds since the display was made
    };

    explicit Display(FFmpegVideoThread* thread);

    /// Reads the planes of the last frame again; whether they are as they were.
    bool isLastFrameIntact() const;

    /// The last frame as a person would see it.
    QImage lastPicture() const;

    /// The numbers of the pictures so far.
    QVector<int> numbers() const;

    /// Called when a frame or an image came, before it is counted.
    std::function<void()> onPicture;

    QVector<Frame> frames;
    QVector<QImage> images;
    QStringList events; ///< "start", "finish", "size", "format 44100 2 16" in order
    int soundBytes = 0;
    int surfaces = 0;          ///< pictures of the other kinds
    int damagedFrames = 0;     ///< frames that had changed when the next one came
    bool wasReopening = false; ///< what the thread said when it finished last

private:
    void showFrame(int width, int height, quint8* dataY, quint8* dataU, quint8* dataV, quint32 lineY, quint32 lineU,
                   quint32 lineV);
    QByteArray lastPixels() const;

    FFmpegVideoThread* const thread;
    QByteArray pixels;
    QElapsedTimer timer;
};

/// Starts the thread and serves it until it has ended and everything it sent has arrived; false after a minute.
bool playUntilEnd(FFmpegVideoThread* thread);

/// A thread with a local source and a display; ends the thread with itself.
template <typename Thread = FFmpegVideoThread>
class PlayerOf
{
public:
    /// Shows planes unless told otherwise.
    explicit PlayerOf(const QString& url, VideoMode mode = VideoMode_Opengl)
        : display(&thread)
    {
        thread.setVideoUrl(url);
        thread.setVideoMode(mode);
        thread.setAddressTest(false);
        thread.setConnectTimeout(5000); // the machine may be busy
        thread.setOpenSleepTime(100);
        thread.previewRef() = 1;
    }

    ~PlayerOf() { thread.stopAndWait(); }

    bool playToEnd() { return playUntilEnd(&thread); }

    Thread thread;
    Display display;
};

using Player = PlayerOf<>;
