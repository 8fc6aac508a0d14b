// A host that knows the library only from its installed headers.
#include <core_videobase/abstractvideothread.h>
#include <qttoolkit/quihelper.h>

#include <QApplication>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QUIHelper::checkPath(QString());

    AbstractVideoThread thread;
    thread.setVideoSize("1280*720");
    QTextStream(stdout) << thread.getVideoWidth() << 'x' << thread.getVideoHeight() << '\n';
    return thread.getVideoWidth() == 1280 && thread.getVideoHeight() == 720 ? 0 : 1;
}
