#pragma once

#include <QByteArray>
#include <QStringList>

/// What one run of a command gave.
struct CommandResult
{
    bool ok = false; ///< it started, ended in time and returned 0
    QByteArray output; ///< its standard output
    QByteArray messages; ///< its standard error
};

/// Runs @p program with @p input, at most some MB, on its standard input and waits for its end.
CommandResult runCommand(const QString& program, const QStringList& arguments, const QByteArray& input = QByteArray());

/// Runs ffmpeg from standard input to standard output: @p inputOptions, -i, then @p outputOptions. Only warnings and
/// worse are in the messages.
CommandResult runFFmpeg(const QStringList& inputOptions, const QStringList& outputOptions, const QByteArray& input);
