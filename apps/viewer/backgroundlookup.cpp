#include "backgroundlookup.h"

#include <QRunnable>

namespace {

constexpr int mostThreads = 2; // a disk that does not answer holds up no other question

class Task : public QRunnable
{
public:
    explicit Task(std::function<void()> work)
        : steps(std::move(work))
    {
    }

    void run() override { steps(); }

private:
    const std::function<void()> steps;
};

} // namespace

BackgroundLookup::BackgroundLookup(QObject* parent)
    : QObject(parent)
{
    pool.setMaxThreadCount(mostThreads);
}

BackgroundLookup::~BackgroundLookup()
{
    drop();
    pool.waitForDone();
}

void BackgroundLookup::ask(const std::function<Answer()>& work)
{
    drop();
    asking = true;
    pool.start(new Task([this, work, question = latest] {
        const Answer told = work();
        QMetaObject::invokeMethod(
            this, [this, question, told] { answer(question, told); }, Qt::QueuedConnection);
    }));
}

void BackgroundLookup::drop()
{
    pool.clear();
    ++latest;
    asking = false;
}

void BackgroundLookup::answer(int question, const Answer& told)
{
    if (question != latest)
        return;
    asking = false;
    told();
}
