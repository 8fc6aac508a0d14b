#pragma once

#include "cellstate.h"
#include "core_videobase/videotypes.h"
#include "source.h"
#include "vieweroptions.h"

#include <QMap>
#include <QWidget>

class AbstractVideoWidget;
class BannerWidget;
class CellRecorder;
class CellView;
class Devices;

/// One cell of the grid: shows a source, its name, a clock and how it is doing.
///
/// The on-screen items are put back whenever the source starts or ends, because the display forgets them then. GUI
/// thread only.
class VideoCell : public QWidget
{
    Q_OBJECT

public:
    /// @p number counts from 1; it stands before the name and in the names of snapshots.
    VideoCell(int number, const Devices& devices, const ViewerOptions& options, QWidget* parent = nullptr);
    ~VideoCell() override;

    int number() const { return cellNumber; }

    /// What shows the source at the moment.
    CellView* view() const { return shownView; }
    AbstractVideoWidget* display() const;

    /// What is new in them counts at once; what plays is started again where that is needed.
    void setOptions(const ViewerOptions& options);

    /// Ends what plays. The new source waits for play().
    void setSource(const Source& source);
    const Source& source() const { return shownSource; }

    /// Starts the source, from its beginning if it is playing. Nothing without a source.
    void play();
    void stop();

    /// Pauses a file, or lets it go on; a file that has ended plays again. Nothing on live sources.
    void togglePause();

    CellState state() const { return currentState; }
    bool isPlaying() const { return currentState == CellState::Playing || currentState == CellState::Paused; }

    /// Shows another stream of a channel, DeviceChannel::any for the one that fits the size of the cell. A recording of
    /// the user goes on with that one.
    void setStream(int stream);

    /// The next stream of the channel; after the last one comes the first.
    void switchStream();

    /// Number, name and state in one line.
    QString description() const;

    /// Marks the cell that keys and buttons work on.
    void setSelected(bool selected);

    /// Starts or stops recording for the user.
    void toggleRecording();

    /// Whether the user wants a recording; its file is open from the next key frame on, while there is a picture.
    bool isRecording() const;

    bool isMuted() const;
    void toggleMuted();

    /// 0 to 100, kept for every source that the cell shows.
    int volume() const;
    void setVolume(int percent);

    /// Whether levelChanged() is wanted.
    void setLevelWanted(bool wanted);

Q_SIGNALS:
    /// The state, or what is recorded.
    void stateChanged();
    void positionChanged(qint64 milliseconds);
    void durationChanged();

    /// Level of the sound that plays, 0 to 1.
    void levelChanged(double level);
    void recorderStateChanged(const RecorderState& state, const QString& file);
    void snapImage(const QImage& image, const QString& file);
    void selected();
    void enlargeWanted();
    void snapshotWanted();
    void menuWanted(const QPoint& globalPosition);

    /// An address or the name of a file was dropped here.
    void dropped(const QString& address);
    void message(const QString& text);

protected:
    /// What happens on the display.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    CellView* viewFor(const Source& source);
    void setUp(CellView* view);
    void applyOptions(CellView* view);
    void showView(CellView* view);
    void restart();
    void setState(CellState state);
    void showOsd();
    QString shortStateText() const;
    QString longStateText() const;
    void updateBanner();
    void pressButton(const QString& name);
    void switchSound(bool on);
    void startTalk();
    bool takeDrop(const QDropEvent* event);
    BannerWidget* banner() const;

    const int cellNumber;
    const Devices& devices;
    ViewerOptions options;

    /// Children by the protocol of the devices that they show, 0 for the one that shows addresses. They are kept,
    /// because what a view played before may still be ending.
    QMap<int, CellView*> views;
    CellView* shownView = nullptr; ///< one of them
    bool isSelected = false;
    CellRecorder* const recorder; ///< child
    Source shownSource;
    CellState currentState = CellState::Empty;
    int setVolumePercent = 100;
    bool isLevelWanted = false;
};
