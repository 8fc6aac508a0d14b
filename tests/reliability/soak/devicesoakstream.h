#pragma once

#include "soakdevice.h"
#include "soakstream.h"

#include <QSharedPointer>
#include <QVector>

#include <functional>

class LiveVideoWidget;

/// A stream of a device of one of the two families. Its recordings outlive its widgets.
class DeviceSoakStream : public SoakStream
{
    Q_OBJECT

public:
    /// @p protocol 4 or 1.
    DeviceSoakStream(const QString& name, XTransportProtocol protocol, Journal& journal, QWidget* window,
                 const QRect& place);
    ~DeviceSoakStream() override;

    void begin() override;
    void end() override;
    void act(QRandomGenerator& random) override;
    bool isOver() const override;

private:
    void makeWidget();
    void followThreads();
    void restartInOtherMode();
    void rebuild(int pauseMs);
    void switchStream();
    void toggleRecording();
    void rest(int pauseMs);
    void loseSource(int milliseconds);
    void stallSource(int milliseconds);
    void failReads();
    void record(Recording type, bool on);
    AbstractVideoThread* mainThread() const;
    LiveVideoWidget* live() const;
    void later(int milliseconds, std::function<void()> step);

    const XTransportProtocol protocol;
    const QSharedPointer<SoakDevice> device;
    QVector<QWeakPointer<AbstractVideoThread>> followed;
    int shownStream = 0;
    bool isBusy = false; // a step that takes its time goes on
};
