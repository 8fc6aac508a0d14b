#pragma once

#include "journal.h"

#include "core_videobase/abstractvideowidget.h"

#include <QObject>
#include <QRandomGenerator>

#include <array>
#include <atomic>
#include <memory>

class AbstractVideoThread;

/// One live stream of the run: its widget, which comes and goes, and its two recordings.
///
/// A subclass knows the kind of source. GUI thread. Recordings go to `<folder>/<name>/manual` and `/auto`, snapshots to
/// `/snap`; the journal gets "want" when a recording is switched on or off, "down" and "up" when the source goes and
/// comes, and "file" for the recorder's own reports.
class SoakStream : public QObject
{
    Q_OBJECT

public:
    enum Recording { Manual = 0, Auto = 1 };

    SoakStream(const QString& name, Journal& journal, QWidget* window, const QRect& place);
    ~SoakStream() override;

    QString name() const;

    /// Makes the widget, shows the stream and records it twice.
    virtual void begin() = 0;

    /// Ends the recordings and deletes the widget. begin() may follow.
    virtual void end() = 0;

    /// Does something that a user, a schedule or the source may do.
    virtual void act(QRandomGenerator& random) = 0;

    /// Whether all of its files have been finished since end().
    virtual bool isOver() const = 0;

    /// Pictures that its threads have handed to displays so far.
    quint64 pictures() const;

    /// Length of a recording file.
    static void setSaveInterval(int seconds);

protected:
    /// Makes the widget lie and look as this stream's does; takes it over.
    void adopt(std::unique_ptr<AbstractVideoWidget> made);
    void dropWidget();

    /// What can be done with any widget: hiding, moving, sound, a snapshot. @p choice 0 to 5.
    void actOnWidget(int choice, QRandomGenerator& random);

    void want(Recording type, bool on);
    bool isWanted(Recording type) const;
    void noteSource(bool isUp, const QString& why);
    void noteAction(const char* what);
    void noteFile(int state, const QString& file);
    QString folderOf(Recording type) const;

    /// Counts the pictures of a thread from now on.
    void count(AbstractVideoThread* thread);

    static int saveInterval();

    Journal& journal;
    std::unique_ptr<AbstractVideoWidget> widget;
    VideoMode mode = VideoMode_Opengl;

private:
    const QString title;
    QWidget* const hostWindow; // null for a window of its own
    const QRect area;
    std::array<bool, 2> wanted{};
    std::shared_ptr<std::atomic<quint64>> shown;
};
