// Tells ThreadSanitizer what it can't see: Qt is not built with it, so the order that Qt's locks, queued calls and
// thread joins establish between two threads is invisible, and everything handed over through them looks like a race.
//
// The functions below stand in front of Qt's own of the same name for every caller outside Qt, mark that order, and
// call Qt's. They are compiled into test programs under ThreadSanitizer only, and hide nothing else: data that two
// threads touch without one of these means is still reported.

#if defined(__SANITIZE_THREAD__)

#include <QDeadlineTimer>
#include <QEvent>
#include <QMutex>
#include <QReadWriteLock>
#include <QThread>
#include <QWidget>

#include <dlfcn.h>
#include <pthread.h>

extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
}

namespace {

/// Stands for all queues of calls between threads.
char calls;

/// Stands for the ends of all threads.
char ends;

template <typename Function>
Function next(const char* symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

/// What was done before a call was posted comes before the slot; what the slot did comes before a blocking call
/// returns.
template <typename Receiver>
bool deliver(bool (*real)(Receiver*, QEvent*), Receiver* receiver, QEvent* event)
{
    const bool isCall = event->type() == QEvent::MetaCall;
    if (isCall)
        __tsan_acquire(&calls);
    const bool handled = real(receiver, event);
    if (isCall)
        __tsan_release(&calls);
    return handled;
}

} // namespace

bool QObject::event(QEvent* event)
{
    static const auto real = next<bool (*)(QObject*, QEvent*)>("_ZN7QObject5eventEP6QEvent");
    return deliver(real, this, event);
}

bool QWidget::event(QEvent* event)
{
    static const auto real = next<bool (*)(QWidget*, QEvent*)>("_ZN7QWidget5eventEP6QEvent");
    return deliver(real, this, event);
}

bool QThread::event(QEvent* event)
{
    static const auto real = next<bool (*)(QThread*, QEvent*)>("_ZN7QThread5eventEP6QEvent");
    return deliver(real, this, event);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* meta, int signal, void** arguments)
{
    static const auto real = next<void (*)(QObject*, const QMetaObject*, int, void**)>(
        "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    __tsan_release(&calls);
    real(sender, meta, signal, arguments);
    __tsan_acquire(&calls);
}

bool QMetaObject::invokeMethod(QObject* object, const char* member, Qt::ConnectionType type, QGenericReturnArgument ret,
                               QGenericArgument v0, QGenericArgument v1, QGenericArgument v2, QGenericArgument v3,
                               QGenericArgument v4, QGenericArgument v5, QGenericArgument v6, QGenericArgument v7,
                               QGenericArgument v8, QGenericArgument v9)
{
    using Function = bool (*)(QObject*, const char*, Qt::ConnectionType, QGenericReturnArgument, QGenericArgument,
                              QGenericArgument, QGenericArgument, QGenericArgument, QGenericArgument, QGenericArgument,
                              QGenericArgument, QGenericArgument, QGenericArgument, QGenericArgument);
    static const auto real = next<Function>("_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22"
                                            "QGenericReturnArgument16QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_");
    __tsan_release(&calls);
    const bool done = real(object, member, type, ret, v0, v1, v2, v3, v4, v5, v6, v7, v8, v9);
    __tsan_acquire(&calls);
    return done;
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* ret)
{
    static const auto real = next<bool (*)(QObject*, QtPrivate::QSlotObjectBase*, Qt::ConnectionType, void*)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    __tsan_release(&calls);
    const bool done = real(object, slot, type, ret);
    __tsan_acquire(&calls);
    return done;
}

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    real(this);
    __tsan_acquire(this);
}

void QMutex::unlock() noexcept
{
    static const auto real = next<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    __tsan_release(this);
    real(this);
}

void QReadWriteLock::lockForRead()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock11lockForReadEv");
    real(this);
    __tsan_acquire(this);
}

void QReadWriteLock::lockForWrite()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock12lockForWriteEv");
    real(this);
    __tsan_acquire(this);
}

void QReadWriteLock::unlock()
{
    static const auto real = next<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock6unlockEv");
    __tsan_release(this);
    real(this);
}

// A QThread wakes whoever waits for its end after everything else that it does.
extern "C" int pthread_cond_broadcast(pthread_cond_t* condition)
{
    static const auto real = next<int (*)(pthread_cond_t*)>("pthread_cond_broadcast");
    __tsan_release(&ends);
    return real(condition);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto real = next<bool (*)(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = real(this, deadline);
    if (ended)
        __tsan_acquire(&ends);
    return ended;
}

bool QThread::wait(unsigned long time)
{
    static const auto real = next<bool (*)(QThread*, unsigned long)>("_ZN7QThread4waitEm");
    const bool ended = real(this, time);
    if (ended)
        __tsan_acquire(&ends);
    return ended;
}

bool QThread::isRunning() const
{
    static const auto real = next<bool (*)(const QThread*)>("_ZNK7QThread9isRunningEv");
    const bool running = real(this);
    if (!running)
        __tsan_acquire(&ends);
    return running;
}

bool QThread::isFinished() const
{
    static const auto real = next<bool (*)(const QThread*)>("_ZNK7QThread10isFinishedEv");
    const bool finished = real(this);
    if (finished)
        __tsan_acquire(&ends);
    return finished;
}

#endif
