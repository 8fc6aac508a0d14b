#include "core_ffmpeg/capturedevices.h"

#include <QLibrary>
#include <QMutex>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace {

/// The library that belongs to the headers, by the name that the system's loader knows it by.
void setName(QLibrary* library)
{
#ifdef Q_OS_WIN
    library->setFileName(QString("avdevice-%1").arg(LIBAVDEVICE_VERSION_MAJOR));
#else
    library->setFileNameAndVersion("avdevice", LIBAVDEVICE_VERSION_MAJOR);
#endif
}

} // namespace

bool CaptureDevices::registerAll()
{
    static QMutex mutex;
    static bool isDone = false;
    const QMutexLocker lock(&mutex);
    if (isDone)
        return true;
    QLibrary library;
    setName(&library);
    // Stays loaded when the object goes: FFmpeg keeps what was registered.
    const auto registerFormats
        = reinterpret_cast<decltype(&avdevice_register_all)>(library.resolve("avdevice_register_all"));
    if (registerFormats)
        registerFormats();
    isDone = registerFormats != nullptr;
    return isDone;
}
