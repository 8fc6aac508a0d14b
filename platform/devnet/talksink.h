#pragma once

#include "devnet/xnettypes.h"

#include <QFile>
#include <QString>

#include <mutex>

/// What a MediaDevice hears: each talk becomes a WAV file of its own. One talker at a time. Thread-safe.
class TalkSink
{
public:
    /// Files are made in @p folder, which is made when it is needed; without one there is nobody to talk to.
    explicit TalkSink(const QString& folder);

    /// Ends a talk.
    ~TalkSink();
    TalkSink(const TalkSink&) = delete;
    TalkSink& operator=(const TalkSink&) = delete;

    /// NotSupported without a folder, Busy while somebody talks, CannotWrite where no file can be made.
    XRetError start();

    /// Nothing when nobody talks.
    XRetError stop();

    /// @p data is G.711 mu-law, 8000 Hz, one channel. NotSupported when nobody talks.
    XRetError write(const char* data, int length);

    static constexpr XRetError CannotWrite = 3;

private:
    bool makeFile();
    bool writeHeader();

    const QString folder;
    std::mutex mutex;
    QFile file; ///< guarded by mutex; open while somebody talks
};
