#pragma once

#include <windows.h>

/// A window without a frame.
class Window
{
public:
    Window(int x, int y, int width, int height);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    HWND handle() const { return window; }

    void resize(int width, int height);
    void minimise();
    void restore();

    /// Handles the messages that are waiting.
    static void processMessages();

private:
    HWND window;
};
