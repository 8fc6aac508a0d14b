#pragma once

#include <QString>
#include <QStringList>

#include <functional>

/// CPU time, of user and system together, of all threads of a process. In seconds.
namespace CpuTime {

/// What @p work takes in this process.
double of(const std::function<void()>& work);

/// What a program takes from its start to its end, -1 when it failed.
double ofProgram(const QString& program, const QStringList& arguments);

/// What the running process @p id has taken so far, -1 when there is none.
double ofProcess(qint64 id);

} // namespace CpuTime
