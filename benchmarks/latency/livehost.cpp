#include "livehost.h"

#include "core_video/urlvideowidget.h"
#include "vantor.h"

#include <QApplication>
#include <QSocketNotifier>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void obey(UrlVideoWidget& widget)
{
    char line[16] = {};
    if (!std::fgets(line, sizeof line, stdin))
        QApplication::quit();
    else if (std::strcmp(line, "start\n") == 0)
        widget.start();
    else
        widget.stop();
}

} // namespace

bool LiveHost::isAsked(int argc, char** argv) { return argc >= 5 && std::strcmp(argv[1], "--host") == 0; }

int LiveHost::run(int argc, char** argv)
{
    qputenv("QT_LOGGING_RULES", qgetenv("VANTOR_HOST_LOG").isEmpty() ? "*=false" : "");
    const bool hasPainter = std::atoi(argv[3]) == VideoMode_Image;
    if (hasPainter)
        qputenv("QT_XCB_GL_INTEGRATION", "none"); // Qt would load OpenGL with the first window
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (!Vantor::init())
        return 2;
    int result = 0;
    {
        UrlVideoWidget widget;
        widget.setWindowFlag(Qt::FramelessWindowHint);
        widget.setGeometry(0, 0, 704, 576);
        widget.setUrl(arguments.at(2));
        widget.setVideoMode(VideoMode(arguments.at(3).toInt()));
        widget.setTransport(arguments.at(4));
        QSocketNotifier input(fileno(stdin), QSocketNotifier::Read);
        if (arguments.contains("--wait")) {
            std::setvbuf(stdin, nullptr, _IONBF, 0);
            QObject::connect(&input, &QSocketNotifier::activated, &widget, [&widget] { obey(widget); });
        } else {
            input.setEnabled(false);
            widget.start(); // connects while the window is made
        }
        widget.show();
        result = QApplication::exec();
    }
    Vantor::release();
    return result;
}
