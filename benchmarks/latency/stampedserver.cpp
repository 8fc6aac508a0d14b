#include "stampedserver.h"

bool StampedServer::start() { return server.start(STAMPED_SERVER_SCRIPT); }

QString StampedServer::liveUrl() const { return server.url("live"); }

QString StampedServer::pictureUrl() const { return server.url("picture"); }

void StampedServer::setKeyOffset(int pictures) { server.write(QString("offset %1").arg(pictures)); }

int StampedServer::takeKeyNumber()
{
    int number = -1;
    for (QStringList words = server.takeWords(); !words.isEmpty(); words = server.takeWords()) {
        if (words.at(0) == "play")
            number = words.value(2).toInt();
    }
    return number;
}

qint64 StampedServer::processId() const { return server.processId(); }
