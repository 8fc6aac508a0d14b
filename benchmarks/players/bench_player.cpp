// The library as the system that benchmarks/players/measure compares with players.
//
//     bench_player decode FILE                              decodes as fast as it goes, prints how many pictures came
//     bench_player show image|opengl WIDTHxHEIGHT URL...    shows the addresses in rows of three until it is ended

#include "core_video/ffmpegvideothread.h"
#include "core_video/urlvideowidget.h"

#include <QApplication>

#include <cstdio>

namespace {
constexpr int widgetsInARow = 3;

int usage()
{
    std::fprintf(stderr, "usage: bench_player decode FILE | show image|opengl WIDTHxHEIGHT URL...\n");
    return 2;
}

int decode(int& argc, char** argv)
{
    QCoreApplication application(argc, argv);
    FFmpegVideoThread thread;
    thread.setAddressTest(false);
    thread.setVideoMode(VideoMode_Opengl);
    thread.setVideoUrl(application.arguments().at(2));
    ++thread.previewRef();

    int pictures = 0; // video thread, read when it has ended
    using Planes = void (AbstractVideoThread::*)(int, int, quint8*, quint8*, quint8*, quint32, quint32, quint32);
    QObject::connect(
        &thread, static_cast<Planes>(&AbstractVideoThread::receiveFrame), &thread, [&pictures] { ++pictures; },
        Qt::DirectConnection);
    QObject::connect(&thread, &QThread::finished, &application, &QCoreApplication::quit);
    thread.play();
    QCoreApplication::exec();
    thread.stopAndWait();
    std::printf("%d\n", pictures);
    return pictures > 0 ? 0 : 1;
}

int show(int& argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QStringList size = arguments.at(3).split('x');
    const int width = size.value(0).toInt();
    const int height = size.value(1).toInt();
    const QStringList urls = arguments.mid(4);
    if (width < 1 || height < 1)
        return usage();

    QWidget window;
    window.setWindowFlags(Qt::FramelessWindowHint);
    const int columns = qMin(urls.size(), widgetsInARow);
    const int rows = (urls.size() + widgetsInARow - 1) / widgetsInARow;
    window.setGeometry(0, 0, columns * width, rows * height);
    for (int i = 0; i < urls.size(); ++i) {
        auto* video = new UrlVideoWidget(&window);
        video->setGeometry(i % widgetsInARow * width, i / widgetsInARow * height, width, height);
        video->setScaleMode(ScaleMode_Fill);
        video->setVideoMode(arguments.at(2) == "image" ? VideoMode_Image : VideoMode_Opengl);
        video->setUrl(urls.at(i));
        if (!video->start())
            return 1;
    }
    window.show();
    return QApplication::exec();
}
} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_LOGGING_RULES", "*=false");
    const QString mode = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    if (mode == "decode" && argc == 3)
        return decode(argc, argv);
    if (mode == "show" && argc > 4)
        return show(argc, argv);
    return usage();
}
