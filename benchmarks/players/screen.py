"""An X server of the benchmark's own, windows for players that don't place theirs, and what is seen on the screen."""
import ctypes
import os
import subprocess
import time

SIZE = (1280, 1024)
ALL_PLANES = ctypes.c_ulong(-1)
Z_PIXMAP = 2


class XImage(ctypes.Structure):
    """The beginning of Xlib's structure."""
    _fields_ = [("width", ctypes.c_int), ("height", ctypes.c_int), ("xoffset", ctypes.c_int), ("format", ctypes.c_int),
                ("data", ctypes.c_void_p), ("byte_order", ctypes.c_int), ("bitmap_unit", ctypes.c_int),
                ("bitmap_bit_order", ctypes.c_int), ("bitmap_pad", ctypes.c_int), ("depth", ctypes.c_int),
                ("bytes_per_line", ctypes.c_int)]


def load_xlib():
    xlib = ctypes.CDLL("libX11.so.6")
    xlib.XOpenDisplay.restype = ctypes.c_void_p
    xlib.XDefaultRootWindow.restype = ctypes.c_ulong
    xlib.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
    xlib.XGetImage.restype = ctypes.POINTER(XImage)
    xlib.XGetImage.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_int, ctypes.c_uint,
                               ctypes.c_uint, ctypes.c_ulong, ctypes.c_int]
    xlib.XDestroyImage.argtypes = [ctypes.c_void_p]
    xlib.XCreateSimpleWindow.restype = ctypes.c_ulong
    xlib.XCreateSimpleWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_int, ctypes.c_uint,
                                         ctypes.c_uint, ctypes.c_uint, ctypes.c_ulong, ctypes.c_ulong]
    for call in ("XMapWindow", "XDestroyWindow"):
        getattr(xlib, call).argtypes = [ctypes.c_void_p, ctypes.c_ulong]
    xlib.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
    xlib.XWarpPointer.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_ulong] + [ctypes.c_int] * 6
    return xlib


class Screen:
    def __init__(self):
        read, write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{SIZE[0]}x{SIZE[1]}x24", "+extension", "GLX",
             "-nolisten", "tcp", "-noreset"], pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as numbers:
            self.display = ":" + numbers.readline().strip()
        os.environ.update(DISPLAY=self.display, QT_QPA_PLATFORM="xcb", LIBGL_ALWAYS_SOFTWARE="1")
        self.xlib = load_xlib()
        self.connection = self.xlib.XOpenDisplay(self.display.encode())
        self.root = self.xlib.XDefaultRootWindow(self.connection)
        # Nobody hovers over anything.
        self.xlib.XWarpPointer(self.connection, 0, self.root, 0, 0, 0, 0, SIZE[0] - 1, SIZE[1] - 1)
        self.sync()

    def close(self):
        self.server.terminate()
        self.server.wait()

    def sync(self):
        self.xlib.XSync(self.connection, 0)

    def add_window(self, x, y, width, height):
        window = self.xlib.XCreateSimpleWindow(self.connection, self.root, x, y, width, height, 0, 0, 0)
        self.xlib.XMapWindow(self.connection, window)
        self.sync()
        return window

    def remove_windows(self, windows):
        for window in windows:
            self.xlib.XDestroyWindow(self.connection, window)
        self.sync()

    def column(self, x, y, height):
        """The pixels of a column, one pixel wide, as they are on the screen."""
        image = self.xlib.XGetImage(self.connection, self.root, x, y, 1, height, ALL_PLANES, Z_PIXMAP)
        content = image.contents
        pixels = ctypes.string_at(content.data, content.bytes_per_line * content.height)
        self.xlib.XDestroyImage(image)
        return pixels

    def count_pictures(self, rectangles, seconds, step=0.008):
        """How many different pictures each of the rectangles shows in the time, and how long that was.

        One column of each is looked at: in these clips everything moves.
        """
        columns = [(x + width // 3, y, height) for x, y, width, height in rectangles]
        before = [self.column(*column) for column in columns]
        counts = [0] * len(columns)
        begin = time.monotonic()
        while time.monotonic() - begin < seconds:
            time.sleep(step)
            for i, column in enumerate(columns):
                pixels = self.column(*column)
                if pixels != before[i]:
                    before[i] = pixels
                    counts[i] += 1
        return counts, time.monotonic() - begin
