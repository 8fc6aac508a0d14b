#include "core_live/videothrmux/sharedthreads.h"

#include "core_videobase/abstractvideothread.h"

#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <vector>

namespace {

struct Pending
{
    QMutex mutex;
    std::vector<AbstractVideoThread*> threads; // guarded by mutex
};

/// Never destroyed: sets may be torn down as late as by the destructors of static objects.
Pending& pending()
{
    static auto* const all = new Pending;
    return *all;
}

/// Also where the thread that it lived in has ended, and nobody else can.
bool mayBeDeletedHere(const AbstractVideoThread* thread)
{
    const QThread* home = thread->thread();
    return !home || home->isFinished() || home == QThread::currentThread();
}

void endAndDelete(AbstractVideoThread* thread)
{
    thread->stopAndWait();
    delete thread;
}

void dispose(AbstractVideoThread* thread)
{
    if (mayBeDeletedHere(thread)) {
        endAndDelete(thread);
        return;
    }
    const QMutexLocker lock(&pending().mutex); // until the call is posted: the other thread may delete it meanwhile
    pending().threads.push_back(thread);
    QMetaObject::invokeMethod(thread, &SharedThreads::deletePending, Qt::QueuedConnection);
}

std::vector<AbstractVideoThread*> takePendingHere()
{
    const QMutexLocker lock(&pending().mutex);
    std::vector<AbstractVideoThread*>& all = pending().threads;
    const auto isElsewhere = [](const AbstractVideoThread* thread) { return !mayBeDeletedHere(thread); };
    const auto firstHere = std::stable_partition(all.begin(), all.end(), isElsewhere);
    std::vector<AbstractVideoThread*> here(firstHere, all.end());
    all.erase(firstHere, all.end());
    return here;
}

} // namespace

QSharedPointer<AbstractVideoThread> SharedThreads::share(std::unique_ptr<AbstractVideoThread> thread)
{
    return QSharedPointer<AbstractVideoThread>(thread.release(), dispose);
}

void SharedThreads::deletePending()
{
    for (AbstractVideoThread* thread : takePendingHere())
        endAndDelete(thread);
}
