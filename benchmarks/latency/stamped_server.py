#!/usr/bin/env python3
"""A live RTSP camera on the loopback whose pictures carry the time at which they were taken.

The mount /live is 704x576 at 25 pictures a second in H.264 with a key frame every two seconds, and G.711; /picture is
the same without sound. Both run all the time, as a camera does: whoever joins gets what is sent from then on. Every
picture carries its number and its time in a row of blocks (see stamp.h, which reads them) above a scene that moves.

The first line written is "port N". With each client that begins to play a line "play MICROSECONDS KEY" follows, of the
monotonic clock, with the number of the first key frame that the client is sent. That key frame is made for it:

    offset N    read from the standard input: the key frame is the Nth picture after the client has begun to play, 0 to
                49; without it the key frames keep their own time

The end of the standard input ends the program.
"""
import sys
import threading
import time

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
gi.require_version("GstVideo", "1.0")
from gi.repository import GLib, Gst, GstRtspServer, GstVideo  # noqa: E402

WIDTH, HEIGHT, RATE, GROUP = 704, 576, 25, 50
BLOCK, STAMP_TOP = 16, 64
NUMBER_BITS, TIME_BITS, TIME_UNIT_US = 16, 26, 100
# The first picture for a client is taken this long after it was told that it plays.
JOIN_US = 5000

PICTURES = "appsrc name=pictures is-live=true format=time do-timestamp=true max-buffers=50 max-bytes=0 leaky-type=downstream"
H264 = (f"{PICTURES} caps=video/x-raw,format=I420,width={WIDTH},height={HEIGHT},framerate={RATE}/1 "
        "! x264enc name=encoder tune=zerolatency speed-preset=ultrafast threads=1 sliced-threads=false bitrate=2000 "
        "key-int-max=100000 ! video/x-h264,profile=baseline "
        "! rtph264pay name=pay0 pt=96 config-interval=-1 aggregate-mode=zero-latency")
SOUND = ("appsrc name=sound is-live=true format=time do-timestamp=true caps=audio/x-mulaw,rate=8000,channels=1 "
         "! rtppcmupay name=pay1 pt=0")
SOUND_OF_A_PICTURE = bytes([0xFF, 0xE0]) * (8000 // RATE // 2)


class Scene:
    """A textured wall that moves up by four rows a picture, under the stamp."""

    def __init__(self):
        state = 1
        rows = []
        for y in range(HEIGHT):
            row = bytearray(WIDTH)
            for x in range(0, WIDTH, 4):
                state = (state * 1103515245 + 12345) & 0x7FFFFFFF
                wall = 60 + 100 * ((x // 88 + y // 72) % 2)
                row[x:x + 4] = bytes([wall + x * 40 // WIDTH + (state >> 16) % 12]) * 4
            rows.append(bytes(row))
        self.wall = b"".join(rows) * 2
        self.chroma = bytes([110]) * (WIDTH * HEIGHT // 4) + bytes([140]) * (WIDTH * HEIGHT // 4)

    def paint(self, number, microseconds):
        begin = number * 4 % HEIGHT * WIDTH
        luma = self.wall[begin:begin + WIDTH * HEIGHT]
        above, below = STAMP_TOP * WIDTH, (STAMP_TOP + 2 * BLOCK) * WIDTH
        stamp = self.blocks(number, microseconds, 0) * BLOCK + self.blocks(number, microseconds, 1) * BLOCK
        return luma[:above] + stamp + luma[below:] + self.chroma

    @staticmethod
    def blocks(number, microseconds, inverted):
        code = (number % (1 << NUMBER_BITS)) << TIME_BITS | microseconds // TIME_UNIT_US % (1 << TIME_BITS)
        bits = [1, 0] + [code >> bit & 1 for bit in reversed(range(NUMBER_BITS + TIME_BITS))]
        return b"".join(bytes([235 if bit != inverted else 16]) * BLOCK for bit in bits)


class Camera(threading.Thread):
    """Takes pictures in real time for every stream that runs."""

    def __init__(self):
        super().__init__(daemon=True)
        self.lock = threading.Lock()
        self.streams = []
        self.scene = Scene()
        self.number = 0
        self.next_key = 0
        self.due = GLib.get_monotonic_time()

    def add(self, media):
        bin_ = media.get_element()
        stream = (bin_.get_by_name_recurse_up("pictures"), bin_.get_by_name_recurse_up("encoder").get_static_pad("src"),
                  bin_.get_by_name_recurse_up("sound"))
        with self.lock:
            self.streams.append(stream)
            self.next_key = self.number
        media.connect("unprepared", lambda _media: self.remove(stream))

    def remove(self, stream):
        with self.lock:
            self.streams.remove(stream)

    def join(self, offset):
        """The number of the key frame that is to come first for a client that begins to play now."""
        with self.lock:
            if offset is not None:
                self.due = GLib.get_monotonic_time() + JOIN_US
                self.next_key = self.number + offset
            return self.next_key

    def run(self):
        while True:
            with self.lock:
                due = self.due
            wait = due - GLib.get_monotonic_time()
            if wait > 0:
                time.sleep(min(wait, 1000) / 1e6)
            else:
                self.take()

    def take(self):
        with self.lock:
            now = GLib.get_monotonic_time()
            is_key = self.number == self.next_key
            if is_key:
                self.next_key += GROUP
            picture = self.scene.paint(self.number, now)
            for source, encoder, sound in self.streams:
                if is_key:
                    encoder.send_event(GstVideo.video_event_new_upstream_force_key_unit(Gst.CLOCK_TIME_NONE, True, 0))
                source.emit("push-buffer", Gst.Buffer.new_wrapped(picture))
                if sound is not None:
                    sound.emit("push-buffer", Gst.Buffer.new_wrapped(SOUND_OF_A_PICTURE))
            self.number += 1
            # What was missed while the program stood still is not taken later.
            self.due = max(self.due + 1000000 // RATE, now)


class Server:
    def __init__(self):
        self.camera = Camera()
        self.offset = None
        self.is_kept = False
        self.server = GstRtspServer.RTSPServer()
        self.server.set_address("127.0.0.1")
        self.server.set_service("0")
        for path, launch in (("/live", f"( {H264} {SOUND} )"), ("/picture", f"( {H264} )")):
            factory = GstRtspServer.RTSPMediaFactory()
            factory.set_launch(launch)
            factory.set_shared(True)
            factory.set_latency(0)
            factory.connect("media-configure", lambda _factory, media: self.camera.add(media))
            self.server.get_mount_points().add_factory(path, factory)
        self.server.connect("client-connected", self.follow)

    def follow(self, _server, client):
        if self.is_kept:
            client.connect("play-request", self.report)  # after the answer

    def report(self, _client, _context):
        key = self.camera.join(self.offset)
        print(f"play {GLib.get_monotonic_time()} {key}", flush=True)

    def run(self):
        loop = GLib.MainLoop()
        if not self.server.attach(None):
            sys.exit("no port")
        self.camera.start()
        channel = GLib.IOChannel.unix_new(sys.stdin.fileno())
        GLib.io_add_watch(channel, GLib.PRIORITY_DEFAULT, GLib.IOCondition.IN | GLib.IOCondition.HUP,
                          self.read_command, loop)
        GLib.timeout_add_seconds(2, self.expire_sessions)
        keepers = [self.keep(path) for path in ("live", "picture")]
        GLib.timeout_add(50, self.announce_when_kept, keepers)
        loop.run()

    def keep(self, path):
        """A client of the server's own, so that a stream runs while nobody else looks."""
        keeper = Gst.parse_launch(f"rtspsrc location=rtsp://127.0.0.1:{self.server.get_bound_port()}/{path} "
                                  "protocols=tcp latency=0 ! fakesink name=end sync=false")
        keeper.set_state(Gst.State.PLAYING)
        return keeper

    def announce_when_kept(self, keepers):
        if any(keeper.get_by_name("end").get_property("last-sample") is None for keeper in keepers):
            return True
        self.is_kept = True
        print(f"port {self.server.get_bound_port()}", flush=True)
        return False

    def expire_sessions(self):
        self.server.get_session_pool().cleanup()
        return True

    def read_command(self, _channel, _condition, loop):
        words = sys.stdin.readline().split()
        if words[:1] == ["offset"]:
            self.offset = int(words[1])
            return True
        loop.quit()
        return False


Gst.init(None)
Server().run()
