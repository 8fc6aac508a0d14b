#pragma once

#include "cellview.h"
#include "core_live/livevideowidget.h"
#include "devicechannel.h"
#include "opendisplay.h"

#include <QTimer>

class Devices;

/// Shows a channel of a device, one stream of it at a time; no other is opened.
///
/// The thread of a stream belongs to all who show it, and so do the recordings, which are switched on at the thread:
/// they end when the last cell leaves the stream.
class ChannelView : public CellView
{
    Q_OBJECT

public:
    /// For devices of that protocol.
    ChannelView(XTransportProtocol protocol, const Devices& devices, QWidget* cell);
    ~ChannelView() override;

    AbstractVideoWidget* display() const override { return widget; }
    bool start(const Source& source) override;
    void stop() override;
    bool isTryingAgain() const override { return true; }

    bool canTalk() const override { return true; }
    int streamCount() const override;
    int stream() const override { return shown.stream; }

    bool isShared() const override;
    void snap(const QString& folder) override { widget->snap(ownFolder(folder), true); }
    void setAutoRecord(const QString& folder) override;
    void recordStart(const QString& folder) override;
    void recordStop() override { widget->recordStop(); }
    bool isRecording() const override;
    void setSaveInterval(int seconds) override;

protected:
    /// The stream that fits the display may be another one after a change of its size.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    int fittingStream() const;
    void changeStream();
    void follow(AbstractVideoThread* thread);
    void leave(AbstractVideoThread* thread);
    QString ownFolder(const QString& folder) const;
    void askForKeyFrame();
    void check();
    CellState seenState() const;

    const Devices& devices;
    OpenDisplay<LiveVideoWidget>* const widget; ///< child of the cell; deleted with the view
    DeviceChannel shown; ///< with the stream that is shown
    bool isStreamChosen = false; ///< by the user, not by the size of the display
    bool isOpen = false; ///< the device sends
    bool wasPlaying = false; ///< since the start
    CellState lastState = CellState::Stopped;
    QTimer checkTimer;
    QTimer resizeTimer;
    QString autoRecordFolder;
    int saveInterval = -1; // seconds
};
