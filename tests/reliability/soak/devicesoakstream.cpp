#include "devicesoakstream.h"

#include "core_live/livevideowidget.h"
#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "core_videobase/abstractvideothread.h"
#include "devnet/mediadevice.h"
#include "support/guigapwatch.h"

#include <QDir>
#include <QTimer>

#include <algorithm>

namespace {
constexpr AbstractVideoThread::RecordType recordTypes[]
    = {AbstractVideoThread::MANUAL_RECORD, AbstractVideoThread::AUTO_RECORD};
constexpr int errorsThatEndAThread = 4;
constexpr int restartMs = 8000; // what the library waits before it starts such a thread again, and more

QSharedPointer<XNetDevice> makeDevice(const QString& name, XTransportProtocol protocol)
{
    MediaDeviceConfig config;
    config.alias = name;
    config.serialNumber = name;
    config.protocol = protocol;
    config.channels = {{name, {"test:320x240@10", "test:160x120@5"}}};
    return QSharedPointer<MediaDevice>::create(config);
}

QString folderFor(const Journal& journal, const QString& name)
{
    QDir().mkpath(journal.folder() + '/' + name);
    return journal.folder() + '/' + name;
}
} // namespace

DeviceSoakStream::DeviceSoakStream(const QString& name, XTransportProtocol family, Journal& theJournal, QWidget* window,
                           const QRect& place)
    : SoakStream(name, theJournal, window, place)
    , protocol(family)
    , device(QSharedPointer<SoakDevice>::create(makeDevice(name, family),
                                                folderFor(theJournal, name) + "/delivered.txt"))
{
}

DeviceSoakStream::~DeviceSoakStream()
{
    device->endFaults();
    dropWidget();
}

LiveVideoWidget* DeviceSoakStream::live() const { return static_cast<LiveVideoWidget*>(widget.get()); }

void DeviceSoakStream::begin()
{
    isBusy = false;
    makeWidget();
    record(Manual, true);
    record(Auto, true);
}

void DeviceSoakStream::makeWidget()
{
    const GuiGapWatch::Doing doing("make a device widget");
    auto made = std::make_unique<LiveVideoWidget>(protocol);
    made->init(device, 0, -1);
    adopt(std::move(made));
    live()->start();
    followThreads();
    shownStream = 0;
    live()->playStart(shownStream);
}

/// Of the set that the widget uses now.
void DeviceSoakStream::followThreads()
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    if (!set)
        return;
    const auto threads = set->getChannelThreads();
    for (const auto& thread : threads) {
        if (followed.contains(thread.toWeakRef()))
            continue;
        followed << thread.toWeakRef();
        count(thread.data());
        connect(thread.data(), &AbstractVideoThread::recorderStateChanged, this,
                [this](const RecorderState& state, const QString& file) { noteFile(state, file); },
                Qt::DirectConnection);
    }
    followed.erase(std::remove_if(followed.begin(), followed.end(), [](const auto& thread) { return thread.isNull(); }),
                   followed.end());
}

AbstractVideoThread* DeviceSoakStream::mainThread() const
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    return set ? set->getChannelThreads().value(0).data() : nullptr;
}

void DeviceSoakStream::record(Recording type, bool on)
{
    AbstractVideoThread* thread = mainThread();
    if (!thread)
        return;
    want(type, on);
    if (type == Manual && shownStream == 0 && widget) {
        if (on)
            widget->recordStart(folderOf(type));
        else
            widget->recordStop();
        return;
    }
    thread->setSaveInterval(recordTypes[type], saveInterval());
    thread->setSavePath(recordTypes[type], folderOf(type));
    if (on)
        thread->recordStart(recordTypes[type]);
    else
        thread->recordStop(recordTypes[type]);
}

void DeviceSoakStream::end()
{
    const GuiGapWatch::Doing doing("end a device stream");
    device->comeBack();
    record(Manual, false);
    record(Auto, false);
    dropWidget();
}

bool DeviceSoakStream::isOver() const
{
    for (const auto& thread : followed) {
        if (!thread.isNull())
            return false;
    }
    return true;
}

void DeviceSoakStream::later(int milliseconds, std::function<void()> step)
{
    isBusy = true;
    QTimer::singleShot(milliseconds, this, [this, step = std::move(step)] {
        isBusy = false;
        step();
    });
}

void DeviceSoakStream::act(QRandomGenerator& random)
{
    if (isBusy || !widget)
        return;
    const int choice = random.bounded(18);
    switch (choice) {
    case 6: restartInOtherMode(); break;
    case 7: rebuild(random.bounded(2) * 1500); break;
    case 8:
    case 9: switchStream(); break;
    case 10:
    case 11: toggleRecording(); break;
    case 12: rest(random.bounded(3) * 1000); break;
    case 13: loseSource(1000 + random.bounded(4000)); break;
    case 14: stallSource(200 + random.bounded(1800)); break;
    case 15:
        if (random.bounded(3) == 0)
            failReads();
        break;
    default: actOnWidget(choice % 6, random);
    }
}

void DeviceSoakStream::restartInOtherMode()
{
    noteAction("other mode");
    const GuiGapWatch::Doing doing("restart a device widget");
    mode = mode == VideoMode_Opengl ? VideoMode_Image : VideoMode_Opengl;
    live()->stop();
    live()->setVideoMode(mode);
    live()->start();
    followThreads();
    live()->playStart(shownStream);
}

void DeviceSoakStream::rebuild(int pauseMs)
{
    noteAction("rebuild");
    dropWidget();
    later(pauseMs, [this] { makeWidget(); });
}

void DeviceSoakStream::switchStream()
{
    noteAction("switch stream");
    const GuiGapWatch::Doing doing("switch stream");
    shownStream = 1 - shownStream;
    live()->replay(shownStream);
}

void DeviceSoakStream::toggleRecording()
{
    noteAction("toggle recording");
    const GuiGapWatch::Doing doing("toggle recording");
    record(Manual, !isWanted(Manual));
}

/// Nobody wants anything of the device for a while: its set is torn down.
void DeviceSoakStream::rest(int pauseMs)
{
    noteAction("rest");
    end();
    later(pauseMs, [this] { begin(); });
}

void DeviceSoakStream::loseSource(int milliseconds)
{
    noteAction("lose source");
    const GuiGapWatch::Doing doing("lose a device");
    noteSource(false, "away");
    device->goAway();
    later(milliseconds, [this] {
        device->comeBack();
        noteSource(true, "away");
    });
}

/// Shorter than what the device keeps for a slow reader.
void DeviceSoakStream::stallSource(int milliseconds)
{
    noteAction("stall");
    journal.write("stall", {{"stream", name()}, {"ms", milliseconds}});
    device->add(Fault::block(milliseconds));
}

/// So many that the thread gives up, and is started again by its widget.
void DeviceSoakStream::failReads()
{
    noteAction("read errors");
    noteSource(false, "read errors");
    constexpr XRetError someError = 99;
    device->add(Fault::errors(someError, 2 * errorsThatEndAThread));
    later(restartMs, [this] { noteSource(true, "read errors"); });
}
