#pragma once

#include <QString>

/// Names of the folders that the viewer writes to, and finds its recordings in again.
namespace FolderName {

/// In full and without detours; an empty name stays empty.
QString absolute(const QString& folder);

/// Of a device or a channel, with "_" for what file systems don't take.
QString ofTitle(QString title);

} // namespace FolderName
