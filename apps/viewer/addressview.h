#pragma once

#include "cellview.h"
#include "core_video/urlvideowidget.h"
#include "opendisplay.h"

#include <QTimer>

/// Shows addresses: network streams, files and capture devices.
class AddressView : public CellView
{
    Q_OBJECT

public:
    /// @p number, that of the cell, stands in the names of snapshots and recordings and names the recordings' folder.
    AddressView(int number, QWidget* cell);
    ~AddressView() override;

    AbstractVideoWidget* display() const override { return widget; }
    bool start(const Source& source) override;
    void stop() override;
    bool isTryingAgain() const override;

    bool isSeekable() const override { return widget->isSeekable(); }
    qint64 duration() const override { return widget->getDuration(); }
    qint64 position() const override { return widget->getPosition(); }
    void setPosition(qint64 milliseconds) override { widget->setPosition(milliseconds); }
    void setSpeed(double factor) override { widget->setSpeed(factor); }
    void pause() override { widget->pause(); }
    void resume() override { widget->resume(); }

    void snap(const QString& folder) override { widget->snap(folder, true); }
    void setAutoRecord(const QString& folder) override;
    void recordStart(const QString& folder) override { widget->recordStart(ownFolder(folder)); }
    void recordStop() override { widget->recordStop(); }
    bool isRecording() const override;
    void setSaveInterval(int seconds) override { widget->setSaveInterval(seconds); }

private:
    QString ownFolder(const QString& folder) const;
    void playStarted();
    void playFinished();

    OpenDisplay<UrlVideoWidget>* const widget; ///< child of the cell; deleted with the view
    const QString cameraFormat; ///< capture format of sources that name none
    bool isFile = false; ///< the source that is playing has an end
    QTimer noAnswerTimer;
};
