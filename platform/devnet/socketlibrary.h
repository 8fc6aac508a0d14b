#pragma once

/// The system's sockets, which Windows wants to be started in a process before anything of them is used.
class SocketLibrary
{
public:
    /// Starts them when the first one asks, until the process ends. Any thread.
    static void start();
};
