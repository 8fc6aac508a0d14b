"""The systems that are compared: how each is started, and the Debian packages that it comes from."""
import os
import shutil
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
NOBODY = 65534


def without_root(command):
    """VLC refuses to run as root."""
    if os.geteuid() != 0:
        return command
    return ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups", "env", "HOME=/tmp", *command]


def geometry_text(rectangle):
    x, y, width, height = rectangle
    return f"{width}x{height}+{x}+{y}"


class System:
    """A way to show streams. start() gets the addresses and where on the screen each is to be shown."""
    name = ""
    program = ""
    places_itself = True  # else it draws into windows that it is given
    opens_rtsp = True     # else it plays the file that the server sends

    def is_there(self):
        return shutil.which(self.program) is not None

    def commands(self, urls, rectangles, windows):
        """One command for each process."""
        raise NotImplementedError

    def environment(self):
        return {}


class Library(System):
    def __init__(self, program, mode):
        self.program = program
        self.mode = mode
        self.name = "libvantor, " + {"opengl": "OpenGL", "image": "painter"}[mode]

    def commands(self, urls, rectangles, windows):
        _, _, width, height = rectangles[0]
        return [[self.program, "show", self.mode, f"{width}x{height}", *urls]]


class Mpv(System):
    program = "mpv"

    def __init__(self, output):
        self.output = output
        self.name = f"mpv --vo={output}"

    def commands(self, urls, rectangles, windows):
        return [["mpv", "--no-config", "--no-terminal", f"--vo={self.output}", "--gpu-sw=yes", "--hwdec=no", "--ao=null",
                 "--no-osc", "--no-border", "--keepaspect=no", "--rtsp-transport=tcp",
                 f"--geometry={geometry_text(rectangle)}", url]
                for url, rectangle in zip(urls, rectangles)]


class Vlc(System):
    """Debian builds it without RTSP. Reading a file takes it less than a stream would."""
    program = "cvlc"
    places_itself = False
    opens_rtsp = False

    def __init__(self, output):
        self.output = output
        self.name = {"gl": "VLC OpenGL, from a file", "xcb_x11": "VLC x11, from a file"}[output]

    def commands(self, urls, rectangles, windows):
        return [without_root(["cvlc", "--quiet", "--no-osd", "--no-video-title-show", f"--vout={self.output}",
                              "--avcodec-hw=none", "--aout=adummy", f"--drawable-xid={window}", url])
                for url, window in zip(urls, windows)]


class GStreamer(System):
    program = "gst-launch-1.0"
    places_itself = False

    def __init__(self, sink):
        self.sink = sink
        self.name = f"GStreamer {sink}"

    def commands(self, urls, rectangles, windows):
        _, _, width, height = rectangles[0]
        shown = [f"{url}@{window}" for url, window in zip(urls, windows)]
        return [[sys.executable, os.path.join(HERE, "gst_player.py"), self.sink, f"{width}x{height}", *shown]]


class Ffplay(System):
    program = "ffplay"
    name = "ffplay"

    def commands(self, urls, rectangles, windows):
        return [["ffplay", "-v", "quiet", "-nostats", "-noborder", "-rtsp_transport", "tcp", "-left", str(rectangle[0]),
                 "-top", str(rectangle[1]), "-x", str(rectangle[2]), "-y", str(rectangle[3]), url]
                for url, rectangle in zip(urls, rectangles)]

    def environment(self):
        return {"SDL_AUDIODRIVER": "dummy", "SDL_RENDER_DRIVER": "software"}


def decoders(bench_player):
    """Name, program and arguments of what decodes a file as fast as it goes, with one thread for the pictures."""
    def gstreamer(file):
        codec = "h265" if "H.265" in file else "h264"
        return ["gst-launch-1.0", "-q", "filesrc", f"location={file}", "!", "matroskademux", "name=d",
                "d.video_0", "!", "queue", "!", f"{codec}parse", "!", f"avdec_{codec}", "max-threads=1", "!",
                "fakesink", "sync=false", "d.audio_0", "!", "queue", "!", "alawdec", "!", "fakesink", "sync=false"]
    return [
        ("libvantor", bench_player, lambda file: [bench_player, "decode", file]),
        ("ffmpeg -f null", "ffmpeg", lambda file: ["ffmpeg", "-v", "error", "-nostdin", "-threads", "1", "-i",
                                                   file, "-f", "null", "-"]),
        ("mpv --vo=null", "mpv", lambda file: ["mpv", "--no-config", "--no-terminal", "--vo=null", "--ao=null",
                                               "--ao-null-untimed=yes", "--untimed", "--hwdec=no",
                                               "--vd-lavc-threads=1", file]),
        ("GStreamer fakesink", "gst-launch-1.0", gstreamer),
    ]


VERSIONS = [
    ("ffmpeg, ffplay", "ffmpeg"),
    ("mpv", "mpv"),
    ("VLC", "vlc-bin"),
    ("GStreamer", "gstreamer1.0-tools"),
    ("Qt", "libqt5core5a"),
    ("Mesa", "libgl1-mesa-dri"),
    ("Xvfb", "xvfb"),
]


def versions():
    """Line by line what is installed of the packages that matter."""
    lines = []
    for name, package in VERSIONS:
        found = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], capture_output=True, text=True)
        lines.append(f"- {name}: {found.stdout if found.returncode == 0 and found.stdout else 'missing'}")
    return lines
