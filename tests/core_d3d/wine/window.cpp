#include "window.h"

Window::Window(int x, int y, int width, int height)
{
    WNDCLASSW type{};
    type.lpfnWndProc = DefWindowProcW;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"window";
    RegisterClassW(&type); // again is harmless
    window = CreateWindowExW(WS_EX_TOPMOST, type.lpszClassName, L"", WS_POPUP, x, y, width, height, nullptr, nullptr,
                             type.hInstance, nullptr);
    // An active window is left to a window manager; without one Wine waits two seconds for it at the window's end.
    ShowWindow(window, SW_SHOWNA);
    processMessages();
}

Window::~Window()
{
    DestroyWindow(window);
    processMessages();
}

void Window::resize(int width, int height)
{
    SetWindowPos(window, nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    processMessages();
}

void Window::minimise()
{
    ShowWindow(window, SW_MINIMIZE);
    processMessages();
}

void Window::restore()
{
    ShowWindow(window, SW_RESTORE);
    processMessages();
}

void Window::processMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}
