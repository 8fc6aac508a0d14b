#pragma once

#include "devnet/mediadevice.h"
#include "liveprobe.h"

#include <QDate>
#include <QStringList>

/// A live widget on the screen that shows the first channel of a MediaDevice, and what somebody in front of it does.
///
/// Pictures are those of testpicture.h. The calls serve events while they wait, for some seconds at most.
class ShownStream
{
public:
    /// @p sources are those of the channel, the main stream first.
    ShownStream(XTransportProtocol protocol, const QStringList& sources);

    /// Opens all streams and shows the first one.
    bool start();

    /// What the screen shows at this moment; -1 for no picture.
    int pictureNumber() const;

    /// Whether the numbers on the screen go up, by several pictures.
    bool isMoving() const;

    /// Whether the screen comes to a picture of that number, or of a higher one.
    bool waitForNumber(int number) const;

    /// Waits until so many pictures more have been shown.
    bool waitForPictures(int count) const { return waitForNumber(pictureNumber() + count); }

    /// Begins a recording below @p folder; whether its file is open.
    bool record(const QString& folder);

    /// Ends the recording; whether its file, and every one before it, is finished.
    bool endRecording();

    /// Waits until so many recordings have been finished in all.
    bool waitForRecordings(int count) const;

    /// Writes a snapshot below @p folder; its name, empty when none came.
    QString snap(const QString& folder);

    QSharedPointer<AbstractVideoThread> thread(int stream) const;

    const QSharedPointer<XNetDevice> device;
    LiveProbe widget;
    QStringList recordings; ///< those that are finished, by their final names

private:
    void followRecorder(RecorderState state, const QString& file);

    int openRecordings = 0;
};
