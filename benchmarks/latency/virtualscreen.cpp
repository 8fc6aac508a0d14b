#include "virtualscreen.h"

#include <QtEndian>

namespace {
constexpr int startMs = 20000;
constexpr int stopMs = 5000;
constexpr int bytesPerPixel = 4;

// Places in the header of the memory's file, in numbers of 32 bits (the format of xwd).
constexpr int headerSizeField = 0;
constexpr int bytesPerLineField = 12;
constexpr int colorsField = 19;
constexpr int bytesPerColor = 12;
} // namespace

VirtualScreen::~VirtualScreen()
{
    process.terminate();
    process.waitForFinished(stopMs);
}

bool VirtualScreen::start()
{
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start("Xvfb",
                  {"-displayfd", "1", "-screen", "0", "704x576x24", "-fbdir", folder.path(), "+extension", "GLX",
                   "-nolisten", "tcp", "-noreset"});
    while (!process.canReadLine() && process.waitForReadyRead(startMs)) { }
    display = ':' + QString::fromUtf8(process.readLine()).trimmed();
    return display.size() > 1 && mapMemory();
}

bool VirtualScreen::mapMemory()
{
    memory.setFileName(folder.filePath("Xvfb_screen0"));
    if (!memory.open(QIODevice::ReadOnly))
        return false;
    const uchar* begin = memory.map(0, memory.size());
    if (!begin)
        return false;
    const auto field = [begin](int index) { return int(qFromBigEndian<quint32>(begin + qptrdiff(index) * 4)); };
    bytesPerLine = field(bytesPerLineField);
    pixels = begin + field(headerSizeField) + qptrdiff(field(colorsField)) * bytesPerColor;
    return true;
}

QProcessEnvironment VirtualScreen::environment() const
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.insert("DISPLAY", display);
    variables.insert("QT_QPA_PLATFORM", "xcb");
    variables.insert("LIBGL_ALWAYS_SOFTWARE", "1");
    variables.insert("SDL_RENDER_DRIVER", "software");
    variables.insert("SDL_AUDIODRIVER", "dummy");
    variables.insert("PULSE_SERVER", folder.filePath("none"));
    return variables;
}

int VirtualScreen::brightness(int x, int y) const
{
    constexpr int green = 1;
    const auto* point
        = static_cast<const volatile uchar*>(pixels) + qptrdiff(y) * bytesPerLine + qptrdiff(x) * bytesPerPixel;
    return point[green];
}
