#pragma once

/// What this process holds, to notice growth.
struct ResourceCount
{
    int threads = 0;
    int handles = 0; ///< open files, sockets and the like

    static ResourceCount now();

    /// Waits until no QThread of that class runs any more, serving events meanwhile; whether it came to that. Widgets on
    /// the network don't wait for theirs, and what such a thread says belongs to the test that began it.
    static bool waitUntilNoneIsCalled(const char* className, int milliseconds = 10000);

    /// Waits until neither number is above that of @p before (plus @p slack), serving events meanwhile; whether it came
    /// to that. Threads and sockets of libraries end a little after the call that ended them.
    static bool waitUntilNotAbove(const ResourceCount& before, int slack = 0, int milliseconds = 5000);
};
