// How far sound and picture of one stream are apart, on the screen and at the loudspeaker. README.md in benchmarks/
// says how that is seen.
//
//     bench_soundsync [minutes, 10]
//
// Exit status 1 when they are more than 200 ms apart in the last minute, 2 when there was nothing to measure.

#include "beepwatch.h"
#include "core_live/livevideowidget.h"
#include "core_video/urlvideowidget.h"
#include "devnet/mediadevice.h"
#include "flashwatch.h"
#include "support/rtspserver.h"
#include "support/soundserver.h"
#include "support/spread.h"
#include "syncclip.h"
#include "vantor.h"

#include <QApplication>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace {
constexpr int minuteMs = 60000;
constexpr int startMs = 10000; // before the first minute begins
constexpr double mostApartMs = 200;
constexpr int leastPart = 90; // per cent of the flashes that have to be seen and heard

constexpr QRect place(100, 100, 320, 240);

/// Null when the stream can't be played.
std::unique_ptr<QWidget> playAddress(const QString& url)
{
    auto widget = std::make_unique<UrlVideoWidget>();
    widget->setGeometry(place);
    widget->show();
    widget->setUrl(url);
    if (!widget->start())
        return nullptr;
    return widget;
}

std::unique_ptr<QWidget> playDevice(const QString& file)
{
    MediaDeviceConfig config;
    config.channels = {{"gate", {file}}};
    auto widget = std::make_unique<LiveVideoWidget>(XTransportProtocol_Rta);
    widget->setVideoMode(VideoMode_Opengl);
    widget->setGeometry(place);
    widget->show();
    if (!widget->init(QSharedPointer<MediaDevice>::create(config), 0, 1) || !widget->start())
        return nullptr;
    widget->playStart(0);
    return widget;
}

/// The sound's delay behind the picture for each flash from one moment to another.
Spread apart(const QVector<double>& flashes, const QVector<double>& beeps, double from, double to)
{
    Spread spread;
    for (double flash : flashes) {
        if (flash < from || flash >= to)
            continue;
        const auto nearest = std::min_element(beeps.begin(), beeps.end(), [flash](double one, double other) {
            return std::abs(one - flash) < std::abs(other - flash);
        });
        if (nearest != beeps.end() && std::abs(*nearest - flash) < SyncClip::periodMs / 2.0)
            spread.add(*nearest - flash);
    }
    return spread;
}

/// Watches and prints; the exit status.
int measure(const char* what, const QWidget* widget, SoundServer& server, int minutes)
{
    if (!widget || !server.startRecording())
        return 2;
    QElapsedTimer clock;
    clock.start();
    FlashWatch flashes(widget, clock);
    BeepWatch beeps(server, clock);

    std::printf("%s: sound behind picture in ms, median of a minute (lowest to highest), flashes\n", what);
    int status = 2;
    for (int minute = 0; minute < minutes; ++minute) {
        const double from = startMs + double(minute) * minuteMs;
        QTimer::singleShot(int(from + minuteMs + SyncClip::periodMs - clock.elapsed()), qApp, &QCoreApplication::quit);
        QApplication::exec();
        const Spread spread = apart(flashes.begins(), beeps.begins(), from, from + minuteMs);
        if (spread.count() * 100 < minuteMs / SyncClip::periodMs * leastPart) {
            std::printf("minute %2d: %d flashes were both seen and heard\n", minute + 1, spread.count());
            return 2;
        }
        std::printf("minute %2d: %6.1f  (%.1f to %.1f), %d\n", minute + 1, spread.median(), spread.lowest(),
                    spread.highest(), spread.count());
        std::fflush(stdout);
        status = std::max(-spread.lowest(), spread.highest()) > mostApartMs ? 1 : 0;
    }
    return status;
}
} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const int minutes = argc > 1 ? application.arguments().at(1).toInt() : 10;
    const QTemporaryDir folder;
    const QString clip = folder.filePath("clip.mkv");
    SoundServer sound;
    RtspServer rtsp;
    rtsp.setFile(clip);
    if (minutes < 1 || !SyncClip::make(clip, (minutes + 1) * 60) || !sound.start() || !rtsp.start() || !Vantor::init())
        return 2;

    int status = measure("RTSP", playAddress(rtsp.url("file")).get(), sound, minutes);
    if (status == 0)
        status = measure("device", playDevice(clip).get(), sound, minutes);
    Vantor::release();
    return status;
}
