#include "fuzz/fuzzing.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

extern "C" {
#include <libavutil/mem.h>
}

namespace {
/// FFmpeg's reader of MP4 makes as many entries as the head of a fragment claims, two gigabytes of them at most. That is
/// known, and would end every search for something else.
constexpr std::size_t mostBytesAtOnce = 512U << 20U;

/// What the library says about damaged input is no finding, and writing it would take most of the time.
void sayNothing(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtFatalMsg)
        require(false, qPrintable(text));
}

QString memoryFolder() { return QDir("/dev/shm").exists() ? QString("/dev/shm") : QDir::tempPath(); }
} // namespace

void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "not as it must be: %s\n", what);
    std::abort();
}

QString fuzzFolder()
{
    static const QTemporaryDir folder(memoryFolder() + "/vantor-fuzz-XXXXXX");
    return folder.path();
}

FuzzInput::FuzzInput(const std::uint8_t* data, std::size_t size)
    : next(data)
    , end(data + size)
{
}

std::uint8_t FuzzInput::byte() { return isEmpty() ? 0 : *next++; }

std::uint16_t FuzzInput::word()
{
    const unsigned low = byte();
    return std::uint16_t(low | unsigned(byte()) << 8);
}

std::uint32_t FuzzInput::number()
{
    const std::uint32_t low = word();
    return low | std::uint32_t(word()) << 16;
}

QByteArray FuzzInput::bytes(std::size_t count)
{
    const auto length = std::min(count, std::size_t(end - next));
    const QByteArray taken(reinterpret_cast<const char*>(next), int(length));
    next += length;
    return taken;
}

QByteArray FuzzInput::rest() { return bytes(std::size_t(end - next)); }

QString FuzzInput::line()
{
    const std::uint8_t* feed = std::find(next, end, '\n');
    const QString text = QString::fromUtf8(bytes(std::size_t(feed - next)));
    byte();
    return text;
}

bool FuzzInput::isEmpty() const { return next == end; }

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static int count = 1;
    static char name[] = "fuzz";
    static char* arguments[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!qEnvironmentVariableIsSet("FUZZ_MESSAGES"))
        qInstallMessageHandler(sayNothing);
    av_max_alloc(mostBytesAtOnce);
    // Never destroyed: at the end of the process the library's own globals may be gone already.
    static const auto* application = new QApplication(count, arguments);
    Q_UNUSED(application)
    return 0;
}
