#include "shownstream.h"

#include "core_live/videothrmux/devlivethrsetmanager.h"
#include "support/screen.h"
#include "support/testpicture.h"
#include "support/waiting.h"

#include <QSignalSpy>
#include <QTest>

namespace {

constexpr int limitMs = 30000; // a source that is lost is tried again every second, and machines are busy
constexpr int allStreams = -1;
constexpr int openSleepMs = 200;
constexpr int connectMs = 5000; // an encoder has to start for the first client
constexpr int readMs = 1200;
constexpr int movingPictures = 5;

QSharedPointer<XNetDevice> makeDevice(XTransportProtocol protocol, const QStringList& sources)
{
    MediaDeviceConfig config;
    config.alias = "Camera";
    config.protocol = protocol;
    config.channels.append({QString(), sources});
    return QSharedPointer<MediaDevice>::create(config);
}

} // namespace

ShownStream::ShownStream(XTransportProtocol protocol, const QStringList& sources)
    : device(makeDevice(protocol, sources))
    , widget(protocol)
{
    VideoPara para;
    para.connectTimeout = connectMs;
    para.readTimeout = readMs;
    widget.setVideoPara(para);
}

bool ShownStream::start()
{
    widget.show();
    if (!QTest::qWaitForWindowExposed(&widget) || !widget.init(device, 0, allStreams) || !widget.start())
        return false;
    for (int stream = 0; stream < device->getStreamCountPerChannel(); ++stream) {
        thread(stream)->setOpenSleepTime(openSleepMs);
        QObject::connect(thread(stream).data(), &AbstractVideoThread::recorderStateChanged, &widget,
                         [this](const RecorderState& state, const QString& file) { followRecorder(state, file); });
    }
    widget.playStart(0);
    return true;
}

int ShownStream::pictureNumber() const { return TestPicture::number(Screen::grab(&widget)); }

bool ShownStream::isMoving() const
{
    int last = -1;
    int steps = 0;
    const auto goesUp = [&] {
        const int number = pictureNumber();
        if (number != last)
            steps = number > last && last >= 0 ? steps + 1 : 0;
        last = number;
        return steps >= movingPictures;
    };
    return Waiting::until(goesUp, limitMs);
}

bool ShownStream::waitForNumber(int number) const
{
    return Waiting::until([&] { return pictureNumber() >= number; }, limitMs);
}

bool ShownStream::record(const QString& folder)
{
    const int begun = openRecordings + recordings.size();
    widget.recordStart(folder);
    return Waiting::until([&] { return openRecordings + recordings.size() > begun; }, limitMs);
}

bool ShownStream::endRecording()
{
    widget.recordStop();
    return Waiting::until([&] { return openRecordings == 0; }, limitMs);
}

bool ShownStream::waitForRecordings(int count) const
{
    return Waiting::until([&] { return recordings.size() >= count; }, limitMs);
}

QString ShownStream::snap(const QString& folder)
{
    QSignalSpy spy(&widget, &AbstractVideoWidget::snapImage);
    widget.snap(folder, true);
    return spy.wait(limitMs) ? spy.first().at(1).toString() : QString();
}

QSharedPointer<AbstractVideoThread> ShownStream::thread(int stream) const
{
    const PtrDevLiveThrSet set = DevLiveThrSetManager::Instance()->getVideoThreadSet(device);
    return set ? set->getChannelThreads().value(stream) : nullptr;
}

void ShownStream::followRecorder(RecorderState state, const QString& file)
{
    if (state == RecorderRecording) {
        ++openRecordings;
    } else if (state == RecorderIdle) {
        --openRecordings;
        recordings.append(file);
    }
}
