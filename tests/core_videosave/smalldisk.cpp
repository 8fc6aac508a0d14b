#include "smalldisk.h"

#include <QFile>
#include <QTemporaryDir>

#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>

namespace {
void limitFiles(rlim_t bytes)
{
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = qMin(bytes, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
}
} // namespace

SmallDisk::SmallDisk(const QString& path)
    : folder(path)
{
    const QByteArray options = "size=" + QByteArray::number(bytes);
    mounted = ::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, options.constData()) == 0;
}

SmallDisk::~SmallDisk()
{
    if (mounted)
        ::umount2(QFile::encodeName(folder).constData(), MNT_DETACH);
}

bool SmallDisk::isPossible()
{
    const QTemporaryDir folder;
    return SmallDisk(folder.path()).isMounted();
}

FileSizeLimit::FileSizeLimit(unsigned long bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    limitFiles(bytes);
}

FileSizeLimit::~FileSizeLimit()
{
    limitFiles(RLIM_INFINITY);
    std::signal(SIGXFSZ, SIG_DFL);
}
