#pragma once

#include "soakstream.h"

class UrlVideoWidget;

/// An RTSP stream. Its recordings end with its widget, and with every stop.
class UrlSoakStream : public SoakStream
{
    Q_OBJECT

public:
    UrlSoakStream(const QString& name, const QString& url, Journal& journal, QWidget* window, const QRect& place);
    ~UrlSoakStream() override;

    void begin() override;
    void end() override;
    void act(QRandomGenerator& random) override;
    bool isOver() const override;

    /// Of the server, by whoever ends and starts it.
    void sourceChanged(bool isUp, const QString& why);

private:
    void start();
    void restartInOtherMode();
    void rebuild(int pauseMs);
    void toggleRecording(Recording type);
    UrlVideoWidget* view() const;

    const QString url;
    bool isBusy = false;
};
