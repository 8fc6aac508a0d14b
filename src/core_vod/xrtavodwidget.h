#pragma once

#include "core_videobase/standardvideowidget.h"
#include "devnet/xnetdevice.h"

#include <QSharedPointer>

#include <memory>
#include <mutex>

/// Shows a recording that a device of the first family plays back.
///
/// init(), setVodStartPara(), start(); then pause(), resume(), seekFile() and setSpeed() at will. Whatever ends the
/// playback leads to sig_receivePlayFinsh(); start() begins another one, on the device as soon as the one before has
/// ended there. GUI thread only.
class VANTOR_EXPORT XRTAVodWidget : public StandardVideoWidget
{
    Q_OBJECT

public:
    explicit XRTAVodWidget(QWidget* parent = nullptr);
    ~XRTAVodWidget() override;

    /// False for a null device or a channel below 0; what was set before stays then. Counts for the next start().
    bool init(QSharedPointer<XNetDevice> device, int channel);

    /// What to play; counts for the next start().
    void setVodStartPara(VodStartPara para);

    /// Whether the device has stopped sending for the read time-out; true while nothing plays.
    bool isReadStreamTimeout() const;

    /// JPEG as `<path>/<date>/vod/<time of the picture>_<channel>.jpg`.
    void snap(QString path, bool preview) override;

protected:
    bool createVideoThread() override;
    void releaseVideoThread() override;

private:
    int channel = 0;
    QSharedPointer<XNetDevice> device;
    VodStartPara startPara;
    const std::shared_ptr<std::mutex> turn; // of the threads of this widget
};
