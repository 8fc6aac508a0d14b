#pragma once

#include <QSharedPointer>

#include <memory>

class AbstractVideoThread;

/// Video threads with several users, of which the last may let go of them anywhere. Any thread.
///
/// A thread object is deleted in the thread it lives in, after it has ended: at once when the last user is there, else
/// as soon as that thread's event loop comes to it or it calls deletePending().
namespace SharedThreads {

QSharedPointer<AbstractVideoThread> share(std::unique_ptr<AbstractVideoThread> thread);

/// Deletes those that live in the calling thread and that nobody uses any more.
void deletePending();

} // namespace SharedThreads
