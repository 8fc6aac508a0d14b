#pragma once

#include "fakes/presenterlog.h"

struct ID3D11Texture2D;

/// In the real one's place: writes down what it is told.
class D3D11Presenter
{
public:
    ~D3D11Presenter() { PresenterLog::add("deleted"); }
    void setWindow(HWND window) { PresenterLog::add("window " + PresenterLog::text(window)); }
    void setViewRect(const ViewRect& pixels) { PresenterLog::add("view " + PresenterLog::text(pixels)); }
    void redraw() { PresenterLog::add("redraw"); }
    void clear() { PresenterLog::add("clear"); }

    void updateFrame(int width, int height, ID3D11Texture2D* texture, int index, bool rebuild)
    {
        PresenterLog::add(QString("frame %1x%2 %3[%4]%5")
                              .arg(width)
                              .arg(height)
                              .arg(PresenterLog::text(texture))
                              .arg(index)
                              .arg(rebuild ? " rebuild" : ""));
    }
};
