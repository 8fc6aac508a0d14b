#pragma once

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

/// An X server of its own whose screen has the size of the stamped pictures and is read straight from its memory, so
/// that looking at the screen costs the players nothing.
class VirtualScreen
{
public:
    ~VirtualScreen();

    /// False when Xvfb does not come up.
    bool start();

    /// For programs that are to show something here, with software OpenGL and without loudspeakers.
    QProcessEnvironment environment() const;

    /// Of the green light at a point, 0 to 255. Any thread.
    int brightness(int x, int y) const;

private:
    bool mapMemory();

    QTemporaryDir folder;
    QProcess process;
    QFile memory;
    const uchar* pixels = nullptr;
    int bytesPerLine = 0;
    QString display;
};
