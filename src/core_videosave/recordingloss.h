#pragma once

#include <QString>

#include <mutex>

/// What a recorder has lost, from the first lost picture until writing works again, told in one line then.
///
/// A picture is handed to the muxer first, and is on the disk when its fragment is: what was handed when a file fails
/// is lost. Losses with less than two seconds between them are one. Any thread.
class RecordingLoss
{
public:
    /// Milliseconds since 1970 in UTC, 0 for never. A QDateTime in local time asks the system for its time zone, which
    /// is too much for every packet.
    using Time = qint64;

    /// A file begins, in which nothing is yet.
    void beginFile();

    /// A picture, else a packet of sound, that was dropped before it came to the muxer.
    void lose(bool isPicture, const QString& reason);

    /// One that the muxer has got; it came at @p arrival, which may be a while ago.
    void hand(bool isPicture, Time arrival);

    /// All that was handed is on the disk. Returns the line for a loss that is over, else nothing.
    QString keep();

    /// The file can't be written any more: what was handed and not kept is lost.
    void fail(const QString& reason);

    /// The file is not there any more, with everything that was written to it.
    void failWithFile(const QString& reason);

    /// Whether a file failed, or could not be opened, and nothing could be written since.
    bool isFailing() const;

    /// As lose(), for what comes while there is no file after one has failed.
    void loseWithoutFile(bool isPicture);

    /// No more comes. Returns the line for what was lost and not yet told, else nothing.
    QString end();

private:
    struct Amount
    {
        int pictures = 0;
        int sounds = 0;
        Time since = 0; ///< of the first one

        void add(bool isPicture, Time now);
        void take(Amount& other);
    };

    void loseAll(Amount& amount, const QString& reason);
    QString takeLine();

    mutable std::mutex mutex; // guards all below
    Amount handed;
    Amount kept; // in the open file
    Amount lost;
    Time lastLoss = 0;
    Time endOfLoss = 0; // 0 while it goes on
    QString why;
    bool failing = false;
};
