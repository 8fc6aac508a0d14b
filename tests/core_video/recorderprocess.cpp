// Records an address until it is killed, for tests of what is left on the disk then.
//
//     recorderprocess <address> <file>
//
// Files are played at the pace of their time stamps. Each picture that has been handed to the recorder is told by a
// line with its number, from 1, the first being the key frame with which the recording begins.

#include "recordingprobe.h"

#include <QCoreApplication>

#include <cstdio>

namespace {
/// One picture comes out of the decoder for each packet, before the packet goes to the recorder: at the next packet,
/// all pictures so far are the recorder's.
void reportEachPicture(RecordingProbe& probe)
{
    ++probe.previewRef();
    probe.atPacket = [&probe, before = -1, told = 0](int) mutable {
        if (before < 0 && !probe.hasOpenFile())
            return;
        if (before < 0)
            before = probe.pictures - 1;
        while (told < probe.pictures - before)
            std::printf("%d\n", ++told);
        std::fflush(stdout);
    };
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 3)
        return 2;
    RecordingProbe probe(arguments.at(1));
    probe.setPaced(!arguments.at(1).contains("://"));
    probe.setFileName(AbstractVideoThread::MANUAL_RECORD, arguments.at(2));
    probe.recordStart(AbstractVideoThread::MANUAL_RECORD);
    reportEachPicture(probe);
    QObject::connect(&probe, &QThread::finished, &application, &QCoreApplication::quit);
    probe.play();
    return QCoreApplication::exec();
}
