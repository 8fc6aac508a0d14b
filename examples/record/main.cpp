// Records an address without showing it, sound included.
//
//     record ADDRESS FILE SECONDS
#include <core_video/ffmpegvideothread.h>

#include <QCoreApplication>
#include <QTimer>
#include <QtDebug>

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 4)
        qFatal("usage: record ADDRESS FILE SECONDS");

    const auto type = AbstractVideoThread::MANUAL_RECORD;
    FFmpegVideoThread thread;
    thread.setVideoUrl(arguments.at(1));
    thread.setSaveAudio(type, true);
    thread.setFileName(type, arguments.at(2));
    thread.recordStart(type); // the file begins with the next key frame

    bool isRecorded = false;
    QTimer end;
    end.setSingleShot(true);
    QObject::connect(&end, &QTimer::timeout, &application, &QCoreApplication::quit);
    // Emitted by the video thread; the context object brings it here.
    QObject::connect(&thread, &AbstractVideoThread::recorderStateChanged, &application,
                     [&](const RecorderState& state, const QString& file) {
                         qInfo().noquote() << file << (state == RecorderRecording ? "is open" : "is closed");
                         if (state == RecorderRecording && !isRecorded)
                             end.start(arguments.at(3).toInt() * 1000);
                         isRecorded = isRecorded || state == RecorderRecording;
                     });
    // A source that is not there is tried again and again; here a minute is enough.
    QTimer::singleShot(60000, &application, [&] { isRecorded ? void() : QCoreApplication::exit(1); });

    thread.play();
    const int result = QCoreApplication::exec();
    thread.stopAndWait(); // completes the file
    return result;
}
