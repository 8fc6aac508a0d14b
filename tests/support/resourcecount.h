#pragma once

/// What this process holds, to notice growth.
struct ResourceCount
{
    int threads = 0;
    int handles = 0; ///< open files, sockets and the like

    static ResourceCount now();

    /// Waits until neither number is above that of @p before (plus @p slack), serving events meanwhile; whether it came
    /// to that. Threads and sockets of libraries end a little after the call that ended them.
    static bool waitUntilNotAbove(const ResourceCount& before, int slack = 0, int milliseconds = 5000);
};
