#pragma once

#include "core_videobase/abstractvideowidget.h"

#include <QDateTime>
#include <QList>

/// A display widget that owns one video thread at a time.
///
/// A subclass says in createVideoThread() what thread that is. start() creates, connects and starts it; stop(), closing
/// the widget or the end of the thread lead to receivePlayFinsh(), which disconnects and releases it. A released thread
/// is asked to stop and not waited for: it stays in oldThreads, its late errors and positions still reach the widget's
/// signals, and the next start() deletes it when it has ended.
///
/// The destructor ends the bound thread and all released ones and deletes them. It waits for them and meanwhile serves
/// their calls to other objects; only where it runs inside a slot that one of them may be waiting for (a host that
/// deletes the widget in sig_receivePlayStart()), or where a subclass has left them to themselves, they end and are
/// deleted later.
class VANTOR_EXPORT StandardVideoWidget : public AbstractVideoWidget
{
    Q_OBJECT

public:
    explicit StandardVideoWidget(QWidget* parent = nullptr);
    ~StandardVideoWidget() override;

    /// True when the widget is started, also when it was before. False when there is no thread to be had.
    virtual bool start();
    virtual void stop();
    virtual void pause();
    virtual void resume();

    /// Dropped silently while no thread runs, and by threads that can't.
    virtual void seekFile(QDateTime time);
    virtual void setSpeed(int speed);

Q_SIGNALS:
    /// Current position of a file source in milliseconds.
    void receivePosition(qint64 position);

protected:
    /// Creates the thread, with this widget as its parent, sets it up and binds it to videoThread. False on failure.
    virtual bool createVideoThread() = 0;

    /// Unbinds the thread, asks it to stop and moves it to oldThreads; retireVideoThread() does all of it.
    virtual void releaseVideoThread() = 0;

    void retireVideoThread();

    void connectBaseSignalSlots();
    void connectStreamSignalSlots();
    void disconnectBaseSignalSlots();
    void disconnectStreamSignalSlots();

    /// Deletes the released threads that have ended.
    void removeStoppedVideoThreads();

    /// Ends and deletes the bound thread and all released ones; nothing of them reaches this widget any more. The
    /// destructor does so; a subclass whose thread uses members of the subclass calls it first in its own.
    void endVideoThreads();

    /// As endVideoThreads(), but waits for none: they end on their own and are deleted then, at the latest when the
    /// application object goes. For destructors of widgets whose threads may take their time and use nothing of them.
    void leaveVideoThreads();

    void receivePlayStart(int time) override;
    void receivePlayFinsh(QObject* finishedThread) override;
    void closeEvent(QCloseEvent* event) override;

    /// Released threads that may still be running.
    QList<AbstractVideoThread*> oldThreads;

private:
    QList<AbstractVideoThread*> takeVideoThreads();

    std::atomic<int> startedFlag{0};
    QMetaObject::Connection recorderConnection;
};
