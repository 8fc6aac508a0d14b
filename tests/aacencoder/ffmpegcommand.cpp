#include "ffmpegcommand.h"

#include <QProcess>

namespace {
constexpr int limitMs = 100000;
} // namespace

CommandResult runCommand(const QString& program, const QStringList& arguments, const QByteArray& input)
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool finished = process.waitForFinished(limitMs);
    CommandResult result;
    result.ok = finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    result.output = process.readAllStandardOutput();
    result.messages = process.readAllStandardError();
    return result;
}

CommandResult runFFmpeg(const QStringList& inputOptions, const QStringList& outputOptions, const QByteArray& input)
{
    const QStringList quiet{"-hide_banner", "-nostdin", "-v", "warning"};
    return runCommand(
        "ffmpeg", quiet + inputOptions + QStringList{"-i", "pipe:0"} + outputOptions + QStringList{"pipe:1"}, input);
}
