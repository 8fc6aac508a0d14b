#pragma once

#include "core_video/ffmpegvideothread.h"

#include <QImage>
#include <QObject>
#include <QSize>
#include <QStringList>
#include <QVector>

/// An FFmpegVideoThread with everything that it sends a display written down. One display is counted in.
///
/// Pictures are looked at while the thread waits, as a widget does. GUI thread only.
class PlayerProbe : public QObject
{
    Q_OBJECT

public:
    explicit PlayerProbe(const QString& url, VideoMode mode = VideoMode_Image);

    /// Ends the thread and waits for it.
    ~PlayerProbe() override;

    /// Ends the thread, waits for it and gives the time that it took in milliseconds.
    qint64 stopAndMeasure();

    /// Whether the numbers of the pictures so far only rise.
    bool areNumbersRising() const;

    FFmpegVideoThread thread;

    QStringList events; ///< "start" and "finish", in order
    int sizeChanges = 0;
    int pictures = 0;
    int badPictures = 0; ///< with a wrong colour or an unreadable number
    QVector<int> numbers; ///< of all pictures
    QSize lastSize;
    int audioRate = 0; ///< of the last format, 0 for none
    int audioChannels = 0;
    qint64 audioBytes = 0;

private:
    void see(const QSize& size, int number, bool hasColors);
    void seeImage(const QImage& image);
    void seePlanes(int width, int height, const quint8* y, const quint8* u, const quint8* v, quint32 lineY,
                   quint32 lineU, quint32 lineV);
};
