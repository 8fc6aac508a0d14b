#pragma once

#include "support/pythonserver.h"

/// stamped_server.py in a process of its own.
class StampedServer
{
public:
    /// False when the server does not come up.
    bool start();

    /// Picture and sound, or the picture alone.
    QString liveUrl() const;
    QString pictureUrl() const;

    /// Whoever begins to play from now on meets a key frame @p pictures after that.
    void setKeyOffset(int pictures);

    /// The key frame made for a client that has begun to play since the last call; -1 when none has.
    int takeKeyNumber();

    qint64 processId() const;

private:
    PythonServer server;
};
