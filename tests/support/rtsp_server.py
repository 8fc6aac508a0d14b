#!/usr/bin/env python3
"""A live RTSP server, on the loopback unless told otherwise, made of GStreamer's, for tests to play from.

Every picture shows four colours and its own number (see testpicture.h). The first line written is "port N". Commands
are read from the standard input, one a line, and each is answered by one line:

    switch    the mount /switch goes on with the other one of its two sizes; answered "switched WIDTHxHEIGHT"
    quit      as the end of the input: every client is disconnected and the program ends
"""
import argparse
import functools
import random
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

RATE = 25
BITS = 12
SIZES = [(320, 240), (400, 304)]

VIDEO = "appsrc name=pictures is-live=true format=time leaky-type=downstream max-buffers=50 max-bytes=0"
H264 = f"{VIDEO} ! x264enc tune=zerolatency speed-preset=ultrafast threads=1 bitrate=600 key-int-max=10"
H264_PAY = f"{H264} ! video/x-h264,profile=baseline ! rtph264pay name=pay0 pt=96 config-interval=-1"
H265_PAY = (f"{VIDEO} ! x265enc tune=zerolatency speed-preset=ultrafast bitrate=600 key-int-max=10 "
            "option-string=pools=none:frame-threads=1:log-level=none "
            "! h265parse ! rtph265pay name=pay0 pt=96 config-interval=-1")
# The parameter sets are in the description alone and never among the packets.
H264_SDP_PAY = (f"{H264} option-string=repeat-headers=0 ! video/x-h264,stream-format=avc,alignment=au,profile=baseline "
                "! rtph264pay name=pay0 pt=96 config-interval=0")
# Four slices a picture, each in packets of its own. The payloader would put parameter sets before each of them.
H264_SLICES_PAY = H264_PAY.replace(" key-int-max=10", " key-int-max=10 option-string=slices=4").replace(
    "config-interval=-1", "config-interval=0 aggregate-mode=none mtu=200")
TONE = "audiotestsrc is-live=true freq=440 volume=0.5 samplesperbuffer={samples} ! audio/x-raw,rate={rate},channels={channels}"
PCMA = TONE.format(samples=320, rate=8000, channels=1) + " ! alawenc ! rtppcmapay name={pay} pt=8"
PCMU_1K = (TONE.format(samples=320, rate=8000, channels=1).replace("freq=440", "freq=1000")
           + " ! mulawenc ! rtppcmupay name=pay1 pt=0")
AAC = (TONE.format(samples=1024, rate=16000, channels=1)
       + " ! avenc_aac bitrate=32000 ! aacparse ! rtpmp4gpay name=pay1 pt=97")

MOUNTS = {
    "/h264": H264_PAY,
    "/h264_pcma": H264_PAY + " " + PCMA.format(pay="pay1"),
    "/h264_pcmu": H264_PAY + " " + PCMU_1K,
    "/h264_aac": H264_PAY + " " + AAC,
    "/h264_slices": H264_SLICES_PAY,
    "/h265": H265_PAY,
    "/h265_pcma": H265_PAY + " " + PCMA.format(pay="pay1"),
    "/audio": PCMA.format(pay="pay0"),
    "/secure": H264_PAY + " " + PCMA.format(pay="pay1"),
    "/sdp_only": H264_SDP_PAY,
    "/switch": H264_PAY,
    "/other_size": H264_PAY,
    "/noisy": H264_PAY.replace("bitrate=600", "bitrate=3000") + " " + PCMA.format(pay="pay1"),
}
# The server refuses a second client of a mount for good once all earlier ones have left it together.
COPIES = 8
for copy in range(1, COPIES + 1):
    MOUNTS[f"/copy{copy}"] = MOUNTS["/h264_pcma" if copy % 2 else "/h264_pcmu"]


def block_edge(length, part, parts):
    """Where a part of a picture begins; testpicture.cpp rounds in the same way."""
    return length * part // parts


def noisy(plane, seed):
    """The plane with noise that leaves its colours what they are, and is another with every seed."""
    dice = random.Random(seed)
    noise = dice.choices(range(-12, 13), k=1 << 14)
    return bytes(value + noise[i * 7 & 0x3fff] for i, value in enumerate(plane))


class Picture:
    """Paints the numbered pictures of one size as I420."""

    NOISES = 6

    RED, GREEN, BLUE, YELLOW = (81, 90, 240), (145, 54, 34), (41, 240, 110), (210, 16, 146)

    def __init__(self, width, height, is_noisy=False):
        self.size = (width, height)
        half = [bytes([self.RED[i]]) * (width // 2) + bytes([self.GREEN[i]]) * (width - width // 2) for i in range(3)]
        lower = [bytes([self.BLUE[i]]) * (width // 2) + bytes([self.YELLOW[i]]) * (width - width // 2) for i in range(3)]
        luma = half[0] * (height // 2) + lower[0] * (height - height // 2)
        self.band = (block_edge(height, 5, 12), block_edge(height, 7, 12))
        self.above, self.below = luma[:self.band[0] * width], luma[self.band[1] * width:]
        chroma = []
        for plane in (1, 2):
            top, bottom = half[plane][::2], lower[plane][::2]
            rows = [top] * (height // 4) + [bottom] * (height // 2 - height // 4)
            for row in range(self.band[0] // 2, (self.band[1] + 1) // 2):
                rows[row] = bytes([128]) * (width // 2)
            chroma.append(b"".join(rows))
        self.chroma = chroma[0] + chroma[1]
        self.parts = [(self.above, self.below)]
        if is_noisy:
            self.parts = [(noisy(self.above, seed), noisy(self.below, seed)) for seed in range(self.NOISES)]

    def paint(self, number):
        width = self.size[0]
        row = bytearray([16]) * width
        for bit in range(BITS):
            if number >> (BITS - 1 - bit) & 1:
                begin, end = block_edge(width, bit + 1, BITS + 2), block_edge(width, bit + 2, BITS + 2)
                row[begin:end] = bytes([235]) * (end - begin)
        above, below = self.parts[number % len(self.parts)]
        return above + bytes(row) * (self.band[1] - self.band[0]) + below + self.chroma


@functools.lru_cache
def picture_of(size, is_noisy):
    """Painting takes a while, which no client after the first should wait for."""
    return Picture(*size, is_noisy)


class Feed:
    """Pushes pictures into one appsrc in real time until its media is closed."""

    def __init__(self, source, size_index, rate, is_noisy):
        self.source = source
        self.is_noisy = is_noisy
        self.size_index = size_index
        self.rate = rate
        self.picture = None
        self.number = 0
        self.begin = GLib.get_monotonic_time()
        self.timer = GLib.timeout_add(10, self.push_due)

    def stop(self):
        if self.timer:
            GLib.source_remove(self.timer)
            self.timer = 0

    def push_due(self):
        while self.number * 1000000 // self.rate <= GLib.get_monotonic_time() - self.begin:
            self.push()
        return True

    def push(self):
        size = SIZES[self.size_index()]
        if self.picture is None or self.picture.size != size:
            self.picture = picture_of(size, self.is_noisy)
            self.source.set_property("caps", Gst.Caps.from_string(
                f"video/x-raw,format=I420,width={size[0]},height={size[1]},framerate={self.rate}/1"))
        buffer = Gst.Buffer.new_wrapped(self.picture.paint(self.number % (1 << BITS)))
        buffer.pts = self.number * Gst.SECOND // self.rate
        buffer.duration = Gst.SECOND // self.rate
        self.source.emit("push-buffer", buffer)
        self.number += 1


class Server:
    def __init__(self, arguments):
        self.switched = 0
        self.rate = arguments.rate
        self.is_separate = arguments.separate
        self.server = GstRtspServer.RTSPServer()
        self.server.set_address(arguments.address)
        self.server.set_service(str(arguments.port))
        self.add_auth(arguments.user, arguments.password)
        mounts = self.server.get_mount_points()
        for path, launch in MOUNTS.items():
            mounts.add_factory(path, self.live_factory(path, launch))
        mounts.add_factory("/chosen", self.live_factory("/chosen", MOUNTS["/" + arguments.chosen]))
        if arguments.file:
            mounts.add_factory("/file", self.file_factory(arguments.file))

    def add_auth(self, user, password):
        auth = GstRtspServer.RTSPAuth()
        for role in ("anonymous", "user"):
            token = GstRtspServer.RTSPToken()
            token.set_string(GstRtspServer.RTSP_TOKEN_MEDIA_FACTORY_ROLE, role)
            if role == "anonymous":
                auth.set_default_token(token)
            else:
                auth.add_basic(GstRtspServer.RTSPAuth.make_basic(user, password), token)
        self.server.set_auth(auth)

    def permit(self, factory, secure=False):
        permissions = GstRtspServer.RTSPPermissions()
        for role in ("anonymous", "user"):
            # Whoever may look but not construct is asked for a password; whoever may not even look is told that
            # there is nothing.
            permissions.add_permission_for_role(role, GstRtspServer.RTSP_PERM_MEDIA_FACTORY_ACCESS, True)
            permissions.add_permission_for_role(role, GstRtspServer.RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                                role == "user" or not secure)
        factory.set_permissions(permissions)
        factory.set_shared(not self.is_separate)
        return factory

    def live_factory(self, path, launch):
        factory = GstRtspServer.RTSPMediaFactory()
        factory.set_launch(f"( {launch} )")
        factory.set_latency(50)
        size_indexes = {"/switch": lambda: self.switched, "/other_size": lambda: 1}
        factory.connect("media-configure", self.configure, size_indexes.get(path, lambda: 0), path == "/noisy")
        return self.permit(factory, secure=path == "/secure")

    def file_factory(self, path):
        factory = GstRtspServer.RTSPMediaFactoryURI()
        factory.set_uri(GLib.filename_to_uri(path, None))
        return self.permit(factory)

    def configure(self, _factory, media, size_index, is_noisy):
        source = media.get_element().get_by_name_recurse_up("pictures")
        if source is not None:
            feed = Feed(source, size_index, self.rate, is_noisy)
            media.connect("unprepared", lambda _media: feed.stop())

    def switch(self):
        self.switched = 1 - self.switched
        width, height = SIZES[self.switched]
        print(f"switched {width}x{height}", flush=True)

    def run(self):
        loop = GLib.MainLoop()
        if not self.server.attach(None):
            sys.exit("the port is taken")
        channel = GLib.IOChannel.unix_new(sys.stdin.fileno())
        GLib.io_add_watch(channel, GLib.PRIORITY_DEFAULT, GLib.IOCondition.IN | GLib.IOCondition.HUP,
                          self.read_command, loop)
        GLib.timeout_add_seconds(2, self.expire_sessions)
        print(f"port {self.server.get_bound_port()}", flush=True)
        loop.run()
        self.server.client_filter(lambda _server, _client: GstRtspServer.RTSPFilterResult.REMOVE)

    def expire_sessions(self):
        self.server.get_session_pool().cleanup()
        return True

    def read_command(self, _channel, _condition, loop):
        command = sys.stdin.readline()
        if command.strip() == "switch":
            self.switch()
            return True
        loop.quit()
        return False


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--address", default="127.0.0.1")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--rate", type=int, default=RATE)
    parser.add_argument("--user", default="user")
    parser.add_argument("--password", default="password")
    parser.add_argument("--chosen", default="h264")
    parser.add_argument("--file")
    parser.add_argument("--separate", action="store_true",
                        help="a stream for each client, so that one that is gone holds up nobody")
    Gst.init(None)
    Server(parser.parse_args()).run()


if __name__ == "__main__":
    main()
