#include "urlsoakstream.h"

#include "core_video/urlvideowidget.h"
#include "core_videobase/abstractvideothread.h"
#include "support/guigapwatch.h"

#include <QTimer>

UrlSoakStream::UrlSoakStream(const QString& name, const QString& address, Journal& theJournal, QWidget* window,
                     const QRect& place)
    : SoakStream(name, theJournal, window, place)
    , url(address)
{
}

UrlSoakStream::~UrlSoakStream() { dropWidget(); }

UrlVideoWidget* UrlSoakStream::view() const { return static_cast<UrlVideoWidget*>(widget.get()); }

void UrlSoakStream::begin()
{
    isBusy = false;
    {
        const GuiGapWatch::Doing doing("make an address widget");
        auto made = std::make_unique<UrlVideoWidget>();
        made->setUrl(url);
        connect(made.get(), &UrlVideoWidget::recorderStateChanged, this,
                [this](const RecorderState& state, const QString& file) { noteFile(state, file); });
        adopt(std::move(made));
    }
    start();
}

void UrlSoakStream::start()
{
    const GuiGapWatch::Doing doing("start an address widget");
    want(Auto, true);
    want(Manual, true);
    view()->setAutoRecord(folderOf(Auto));
    view()->start();
    view()->recordStart(folderOf(Manual));
    const auto threads = view()->findChildren<AbstractVideoThread*>();
    for (AbstractVideoThread* thread : threads) {
        if (!thread->property("counted").toBool())
            count(thread);
        thread->setProperty("counted", true);
    }
}

void UrlSoakStream::end()
{
    want(Manual, false);
    want(Auto, false);
    dropWidget();
}

bool UrlSoakStream::isOver() const { return !widget; }

void UrlSoakStream::sourceChanged(bool isUp, const QString& why) { noteSource(isUp, why); }

void UrlSoakStream::act(QRandomGenerator& random)
{
    if (isBusy || !widget)
        return;
    const int choice = random.bounded(16);
    switch (choice) {
    case 6: restartInOtherMode(); break;
    case 7: rebuild(random.bounded(3) * 1000); break;
    case 8: toggleRecording(Manual); break;
    case 9: toggleRecording(Auto); break;
    default: actOnWidget(choice % 6, random);
    }
}

void UrlSoakStream::restartInOtherMode()
{
    noteAction("other mode");
    mode = mode == VideoMode_Opengl ? VideoMode_Image : VideoMode_Opengl;
    {
        const GuiGapWatch::Doing doing("stop an address widget");
        want(Manual, false);
        want(Auto, false);
        view()->stop();
        view()->setVideoMode(mode);
    }
    start();
}

void UrlSoakStream::rebuild(int pauseMs)
{
    noteAction("rebuild");
    end();
    isBusy = true;
    QTimer::singleShot(pauseMs, this, [this] { begin(); });
}

void UrlSoakStream::toggleRecording(Recording type)
{
    noteAction("toggle recording");
    const GuiGapWatch::Doing doing("toggle recording");
    const bool on = !isWanted(type);
    want(type, on);
    if (type == Auto)
        view()->setAutoRecord(on ? folderOf(Auto) : QString());
    else if (on)
        view()->recordStart(folderOf(Manual));
    else
        view()->recordStop();
}
