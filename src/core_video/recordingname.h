#pragma once

#include <QString>

class QDateTime;

/// Names of recordings: start.mp4 while a file is written, start_end_channel.mp4 when it is complete.
namespace RecordingName {

/// `<path>/<date>/live/<start>.mp4`, with a later second where there is such a file already. An empty
/// @p path is the current folder.
QString ofStart(const QString& path, const QDateTime& start);

/// Gives @p file its final name in the same folder, with a later end where there is such a file already. The name that
/// the file has in the end; a file that does not exist is reported in the log.
QString finish(const QString& file, const QDateTime& end, int channel);

} // namespace RecordingName
