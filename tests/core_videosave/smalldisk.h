#pragma once

#include <QString>

/// A folder on which only half a megabyte can be written: a file system of its own in memory. Needs the rights to
/// mount.
class SmallDisk
{
public:
    static constexpr int bytes = 512 * 1024;

    explicit SmallDisk(const QString& path);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return mounted; }

    /// Whether this process may mount.
    static bool isPossible();

private:
    const QString folder;
    bool mounted = false;
};

/// While it lives, no file of this process grows beyond a limit: the write fails.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(unsigned long bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
};
