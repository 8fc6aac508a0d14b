#pragma once

#include "recordinglist.h"
#include "recordingplace.h"

#include <QObject>

class BackgroundLookup;

/// Finds the recordings of a place without holding up the GUI thread. GUI thread only.
class RecordingFinder : public QObject
{
    Q_OBJECT

public:
    explicit RecordingFinder(QObject* parent = nullptr);

    /// found() follows, unless another place is asked for before that.
    void find(const RecordingPlace& place);

    /// Nothing is wanted any more.
    void drop();

    bool isLooking() const;

Q_SIGNALS:
    void found(const RecordingList& recordings);

private:
    BackgroundLookup* lookup; ///< child
};
