// The main() of a fuzz target without libFuzzer: every file that it is given, alone or in a folder, is an input.

#include "fuzz/fuzzing.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cstdio>
#include <memory>

namespace {
QStringList filesIn(const QString& path)
{
    if (!QFileInfo(path).isDir())
        return {path};
    QStringList files;
    for (QDirIterator all(path, QDir::Files, QDirIterator::Subdirectories); all.hasNext();)
        files.append(all.next());
    files.sort();
    return files;
}

/// From memory of exactly the input's size, so that a sanitizer sees what is read behind it.
bool feed(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray content = file.readAll();
    const auto size = std::size_t(content.size());
    const std::unique_ptr<std::uint8_t[]> input(new std::uint8_t[size]);
    std::copy(content.begin(), content.end(), input.get());
    std::printf("%s\n", qPrintable(fileName));
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(input.get(), size);
    return true;
}
} // namespace

int main(int argc, char* argv[])
{
    LLVMFuzzerInitialize(&argc, &argv);
    int fed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const QString& file : filesIn(QFile::decodeName(argv[i])))
            fed += feed(file) ? 1 : 0;
    }
    std::printf("%d inputs\n", fed);
    return fed > 0 ? 0 : 1;
}
