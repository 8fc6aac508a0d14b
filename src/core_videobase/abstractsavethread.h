#pragma once

#include "core_videobase/vantorexport.h"

#include <QFile>
#include <QMutex>
#include <QString>
#include <QThread>

#include <atomic>

/// Base of every recorder: a thread that owns one output file.
///
/// A producer calls open(), hands its data to the subclass and calls stop(), which ends the thread and joins it; then
/// open() may be called again. The recorder thread calls save() until it is told to stop, and close() at the end.
///
/// open(), pause() and stop() are the producer's: one thread at a time may call them. init() runs in open(), on the
/// producer's thread, before the recorder thread starts.
class VANTOR_EXPORT AbstractSaveThread : public QThread
{
    Q_OBJECT

public:
    explicit AbstractSaveThread(QObject* parent = nullptr);

    /// Ends the recording. A subclass whose save() or close() is its own calls stop() in its destructor.
    ~AbstractSaveThread() override;

    /// Name of the file that is written, or was written last.
    QString fileName() const;

    /// Whether a recording is open. Any thread.
    bool getIsRunning() const;

    /// Whether the recording is paused. Any thread.
    bool getIsPause() const;

    /// A label that is put before debug lines.
    void setFlagText(const QString& text);

public Q_SLOTS:
    /// Prepares the output; false when it can't be had, and then no thread is started.
    virtual bool init();

    /// Recorder thread: one pass of the writing loop.
    virtual void save();

    /// Recorder thread: finishes the output.
    virtual void close();

    /// Starts recording into @p fileName. Nothing while a recording is open.
    virtual void open(const QString& fileName);

    /// Pauses or goes on; nothing while no recording is open.
    virtual void pause();

    /// Ends the recording and waits for the thread without a limit.
    virtual void stop();

protected:
    void run() override;

    void debug(const QString& text) const;

    /// Deletes @p path when it is an empty file.
    void removeEmptyFile(const QString& path) const;

    void setFileName(const QString& name);

    mutable QMutex mutex;
    std::atomic<bool> stopped{false};
    std::atomic<bool> running{false};
    std::atomic<bool> paused{false};
    QString flagText;
    QFile file; ///< for subclasses that write plain files
    int saveType = 0;

    int videoWidth = 640;
    int videoHeight = 480;
    int frameRate = 25;
    int sampleRate = 8000;
    int channelCount = 1;
    int profile = 1;

private:
    QString outputName; // guarded by mutex
};
