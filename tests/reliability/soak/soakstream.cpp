#include "soakstream.h"

#include "core_videobase/abstractvideothread.h"
#include "support/guigapwatch.h"

namespace {
int intervalSeconds = 60;
} // namespace

SoakStream::SoakStream(const QString& name, Journal& theJournal, QWidget* window, const QRect& place)
    : journal(theJournal)
    , title(name)
    , hostWindow(window)
    , area(place)
    , shown(std::make_shared<std::atomic<quint64>>(0))
{
}

SoakStream::~SoakStream() = default;

QString SoakStream::name() const { return title; }

quint64 SoakStream::pictures() const { return *shown; }

void SoakStream::setSaveInterval(int seconds) { intervalSeconds = seconds; }

int SoakStream::saveInterval() { return intervalSeconds; }

void SoakStream::adopt(std::unique_ptr<AbstractVideoWidget> made)
{
    widget = std::move(made);
    widget->setVideoMode(mode);
    widget->setSaveInterval(intervalSeconds);
    VideoPara para = widget->getVideoPara();
    para.connectTimeout = 3000;
    para.readTimeout = 3000;
    widget->setVideoPara(para);
    if (hostWindow)
        widget->setParent(hostWindow);
    widget->setWindowTitle(title);
    widget->setGeometry(area);
    widget->show();
}

void SoakStream::dropWidget()
{
    const GuiGapWatch::Doing doing("delete a widget");
    widget.reset();
}

void SoakStream::actOnWidget(int choice, QRandomGenerator& random)
{
    switch (choice) {
    case 0: {
        noteAction("hide or show");
        const GuiGapWatch::Doing doing("hide or show");
        widget->setVisible(!widget->isVisible());
        break;
    }
    case 1: {
        noteAction("move");
        const GuiGapWatch::Doing doing("move");
        widget->move(area.topLeft() + QPoint(random.bounded(-20, 20), random.bounded(-20, 20)));
        break;
    }
    case 2: {
        noteAction("resize");
        const GuiGapWatch::Doing doing("resize");
        widget->resize(area.width() + random.bounded(-60, 40), area.height() + random.bounded(-60, 40));
        break;
    }
    case 3: {
        noteAction("snap");
        const GuiGapWatch::Doing doing("snap");
        widget->snap(journal.folder() + '/' + title + "/snap", false);
        break;
    }
    case 4: {
        noteAction("sound");
        const GuiGapWatch::Doing doing("sound");
        widget->setMuted(random.bounded(4) == 0);
        widget->setVolume(random.bounded(100));
        break;
    }
    default: {
        noteAction("overlay");
        const GuiGapWatch::Doing doing("overlay");
        OsdInfo osd;
        osd.name = "soak";
        osd.text = QString::number(random.bounded(10000));
        widget->setOsd(osd);
        break;
    }
    }
}

void SoakStream::want(Recording type, bool on)
{
    if (wanted[type] == on)
        return;
    wanted[type] = on;
    journal.write("want", {{"stream", title}, {"type", int(type)}, {"on", on}});
}

bool SoakStream::isWanted(Recording type) const { return wanted[type]; }

void SoakStream::noteSource(bool isUp, const QString& why)
{
    journal.write(isUp ? "up" : "down", {{"stream", title}, {"why", why}});
}

void SoakStream::noteAction(const char* what)
{
    journal.write("act", {{"stream", title}, {"what", QLatin1String(what)}});
}

void SoakStream::noteFile(int state, const QString& file)
{
    journal.write("file", {{"stream", title}, {"state", state}, {"name", file}});
}

QString SoakStream::folderOf(Recording type) const
{
    return journal.folder() + '/' + title + (type == Manual ? "/manual" : "/auto");
}

void SoakStream::count(AbstractVideoThread* thread)
{
    using Thread = AbstractVideoThread;
    const auto counter = shown;
    connect(thread, &Thread::receiveImage, thread, [counter] { ++*counter; }, Qt::DirectConnection);
    connect(thread, qOverload<int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32>(&Thread::receiveFrame),
            thread, [counter] { ++*counter; }, Qt::DirectConnection);
}
