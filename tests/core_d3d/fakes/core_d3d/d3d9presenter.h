#pragma once

#include "fakes/presenterlog.h"

struct IDirect3DSurface9;

/// In the real one's place: writes down what it is told.
class D3D9Presenter
{
public:
    ~D3D9Presenter() { PresenterLog::add("deleted"); }
    void setWindow(HWND window) { PresenterLog::add("window " + PresenterLog::text(window)); }
    void windowResized() { PresenterLog::add("resized"); }
    void setViewRect(const ViewRect& pixels) { PresenterLog::add("view " + PresenterLog::text(pixels)); }
    void redraw() { PresenterLog::add("redraw"); }
    void clear() { PresenterLog::add("clear"); }

    void updateFrame(int width, int height, IDirect3DSurface9* surface)
    {
        PresenterLog::add(QString("frame %1x%2 %3").arg(width).arg(height).arg(PresenterLog::text(surface)));
    }
};
