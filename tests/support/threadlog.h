#pragma once

#include "core_videobase/abstractvideothread.h"

#include <QByteArray>
#include <QObject>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

/// Writes down everything that a video thread sends, in the order in which it is sent, on the thread that sends it.
///
/// Lines: "start 0", "finish", "image 7", "i420 320x240 7", "nv12 320x240 7", "surface 320x240 new", "texture 320x240
/// 3"
/// ("new" when the codec changed), "size 320x240", "codec changed", "decoder destroyed", "format 8000 1 16", "sound
/// 640", "exceed max", "other error", "state 1 name.mp4" (without the folder), where 7 is the number in the picture of
/// testpicture.h. Whoever overrides hooks adds lines of its own by note().
class ThreadLog : public QObject
{
    Q_OBJECT

public:
    explicit ThreadLog(AbstractVideoThread* thread);

    /// Any thread.
    void note(const QString& line);

    QStringList lines() const;

    /// Lines that begin with one of @p beginnings, or with none of them.
    QStringList only(const QStringList& beginnings) const;
    QStringList without(const QStringList& beginnings) const;

    /// How many lines begin with @p beginning.
    int count(const QString& beginning) const;
    void clear();

    /// The numbers of the pictures, in whatever form they came.
    QVector<int> numbers() const;

    /// All sound, one behind the other.
    QByteArray sound() const;

    /// Planes that had changed when the next ones were delivered, or when they were taken back.
    int damagedPlanes() const;

    /// Called on the sending thread after each line. Before play().
    std::function<void(const QString& line)> onLine;

private:
    void seePicture(const QString& kind, int width, int height, int number);
    void keepPlanes(const std::vector<const quint8*>& planes, const std::vector<int>& sizes);
    void checkPlanes();

    // Nothing that Qt shares between copies: ThreadSanitizer can't see when a copy has gone.
    mutable std::mutex mutex; // guards the next three
    std::vector<QString> notes;
    std::vector<int> seenNumbers;
    std::vector<char> heard;
    std::vector<std::pair<const quint8*, int>> kept; // of the last picture; the sending thread's
    quint16 keptSum = 0;
    std::atomic<int> damaged{0};
};
