#pragma once

#include "devnet/xnettypes.h"

#include <QCoreApplication>
#include <QString>

/// What came of a download.
struct DownloadReport
{
    Q_DECLARE_TR_FUNCTIONS(DownloadReport)

public:
    enum class Outcome {
        Complete,
        Cancelled,
        NothingRecorded,
        NothingPlayable, ///< what came had no picture to begin with
        Refused, ///< code says why
        Silent, ///< the device sent nothing any more
        Broken, ///< reading failed with code
        NotDescribed, ///< the device did not say what its frames are
        NoFolder,
        DiskFull,
        NotWritten
    };

    Outcome outcome = Outcome::Complete;
    XRetError code = XRet::Ok; ///< what the device answered
    QString folder; ///< where files go
    int files = 0; ///< that were written
    qint64 length = 0; ///< of what was fetched, milliseconds
    qint64 period = 0; ///< that was asked for, milliseconds

    bool isFailure() const { return outcome != Outcome::Complete && outcome != Outcome::Cancelled; }

    /// For people.
    QString text() const;

    /// "1 h 2 min", "3 min 5 s", "5 s".
    static QString lengthText(qint64 milliseconds);

private:
    QString reason() const;
    QString refusal() const;
    QString amount() const;
};
