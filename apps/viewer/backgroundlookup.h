#pragma once

#include <QObject>
#include <QThreadPool>

#include <functional>

/// Looks something up off the GUI thread, where the latest question alone counts.
///
/// The disk may take as long as it likes; the GUI thread never waits for it but in the destructor. GUI thread only.
class BackgroundLookup : public QObject
{
    Q_OBJECT

public:
    using Answer = std::function<void()>;

    explicit BackgroundLookup(QObject* parent = nullptr);

    /// Waits for what is being looked up; its answer is dropped.
    ~BackgroundLookup() override;

    /// Calls @p work on another thread, and what it returns on this one, unless something else is asked meanwhile or
    /// the question is dropped.
    void ask(const std::function<Answer()>& work);

    /// No answer is wanted any more.
    void drop();

    bool isAsking() const { return asking; }

private:
    void answer(int question, const Answer& told);

    QThreadPool pool;
    int latest = 0;
    bool asking = false;
};
