#!/usr/bin/env python3
"""A player made of GStreamer: one pipeline that shows each address in a window of its own.

    gst_player.py glimagesink|ximagesink WIDTHxHEIGHT URL@WINDOW...
"""
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstVideo", "1.0")
from gi.repository import GLib, Gst, GstVideo  # noqa: E402,F401


def branch(sink, width, height, number, url):
    # OpenGL scales on its own; what X shows has to have the window's size.
    scaled = f"videoconvertscale ! video/x-raw,width={width},height={height},pixel-aspect-ratio=1/1 !" \
        if sink == "ximagesink" else ""
    return (f"rtspsrc location={url} protocols=tcp latency=200 name=source{number} "
            f"source{number}. ! application/x-rtp,media=video ! decodebin ! queue max-size-buffers=2 ! {scaled} "
            f"{sink} name=sink{number} "
            f"source{number}. ! application/x-rtp,media=audio ! decodebin ! queue ! fakesink sync=true ")


def main():
    sink = sys.argv[1]
    width, height = sys.argv[2].split("x")
    shown = [argument.rsplit("@", 1) for argument in sys.argv[3:]]
    Gst.init(None)
    pipeline = Gst.parse_launch(" ".join(branch(sink, width, height, i, url) for i, (url, _) in enumerate(shown)))
    for number, (_, window) in enumerate(shown):
        pipeline.get_by_name(f"sink{number}").set_window_handle(int(window))
    pipeline.set_state(Gst.State.PLAYING)
    loop = GLib.MainLoop()
    bus = pipeline.get_bus()
    bus.add_signal_watch()
    bus.connect("message::error", lambda _bus, message: (print(message.parse_error(), file=sys.stderr), loop.quit()))
    loop.run()


main()
