import random
import time

from badnetwork import BadNetwork
from mp4file import COUNT
from rtsppeer import RtspPeer
from watcher import Watcher

PORT = 8554
OPEN_SECONDS = 30
STEADY_PICTURES = 50
WAIT_SECONDS = 90
STOP_MS = 3000
ADDRESS_TEST_MS = 500  # what a failed attempt to open takes before its pause
STOPS = 20
RATE = 25
BUFFER_SECONDS = 3  # of pictures that may have been on their way


def is_next(last, picture):
    """Whether the number of a picture can follow that of the last one; damage may leave a readable one that can't."""
    step = (picture["number"] - last["number"]) % COUNT
    return 0 < step <= (picture["t"] - last["t"] + BUFFER_SECONDS) * RATE


class TimeOuts:
    """The settings of a video thread that decide how soon it notices and tries again, in milliseconds."""

    def __init__(self, name, read, connect, pause):
        self.name = name
        self.read, self.connect, self.pause = read, connect, pause

    def options(self):
        return ["--read-timeout", str(self.read), "--connect-timeout", str(self.connect), "--open-sleep", str(self.pause)]

    def limit(self, seconds):
        """The fixed pause after a failed attempt comes on top where it is longer than a moment."""
        return seconds if self.pause <= 500 else seconds + (ADDRESS_TEST_MS + self.pause) / 1000


VIEWER = TimeOuts("the viewer's", 3000, 3000, 3000)
QUICK = TimeOuts("short", 1000, 1000, 300)


class NetworkCase:
    """A live stream over a line that is disturbed in one way, and what its viewer sees of it.

    A subclass disturbs; it returns the time from which pictures must be there again.
    """

    def __init__(self, name, transport, timeouts=QUICK):
        self.name, self.transport, self.timeouts = name, transport, timeouts
        self.problems = []
        self.recovery = self.longest_gap = None
        self.good = self.damaged = self.grey = self.opens = self.bad_after_open = 0
        self.stop_ms = 0

    def disturb(self):
        raise NotImplementedError

    def run(self, program, seed, limit):
        self.random = random.Random(seed)
        self.stop_limit = STOP_MS * max(1, limit / 2)
        self.network = BadNetwork(seed)
        self.server = RtspPeer(self.network.server_address, PORT, self.network.server, ["--separate"])
        self.watcher = Watcher(program, ["--transport", self.transport, *self.timeouts.options(),
                                         self.server.url("noisy")], self.network.client)
        try:
            self._measure(self.timeouts.limit(limit))
        finally:
            self.watcher.kill()
            self.server.kill()
            self.network.remove()
        return self

    def play(self):
        since = time.monotonic()
        self.watcher.command("play")
        return self.watcher.wait_for(lambda: self.watcher.pictures(since), OPEN_SECONDS)

    def stop(self):
        """Ends the thread, which is to be quick and to leave nothing behind."""
        stopped = self.watcher.ask("stop", "stopped") or {"ms": 30000, "threads": 0, "handles": 0}
        self.stop_ms = max(self.stop_ms, stopped["ms"])
        if stopped["ms"] >= self.stop_limit:
            self.problems.append(f"stop took {stopped['ms']} ms")
        return stopped

    def _measure(self, limit):
        if not self.play():
            self.problems.append("no picture on the good line")
            return
        before = self.stop()
        begin = time.monotonic()
        self.play()
        self.watcher.wait_for(lambda: len(self.watcher.pictures(begin)) >= STEADY_PICTURES, OPEN_SECONDS)
        disturbed = time.monotonic()
        again = self.disturb()
        self._judge_recovery(again, limit)
        self._judge_pictures(begin, disturbed)
        after = self.stop()
        for key in ("threads", "handles"):
            if after[key] > before[key]:
                self.problems.append(f"{after[key]} {key} after the stop, {before[key]} before")
        if not self.watcher.end():
            self.problems.append("the program did not end as it should")

    def _judge_recovery(self, again, limit):
        shown = self.watcher.wait_for(lambda: self.watcher.pictures(again, "good"), WAIT_SECONDS)
        if not shown:
            self.problems.append("no picture came back")
            return
        self.recovery = shown[0]["t"] - again
        if self.recovery > limit:
            self.problems.append(f"the picture came back after {self.recovery:.1f} s")
        # It is to stay: a second of good pictures.
        since = shown[0]["t"]
        if not self.watcher.wait_for(lambda: len(self.watcher.pictures(since, "good")) > 25, OPEN_SECONDS):
            self.problems.append("the picture did not stay")

    def _judge_pictures(self, begin, disturbed):
        times = [begin] + [p["t"] for p in self.watcher.pictures(begin)]
        self.longest_gap = max((b - a for a, b in zip(times, times[1:]) if b > disturbed), default=0)
        is_fresh, last = False, None
        for event in list(self.watcher.events):
            if event["t"] < begin:
                continue
            if event["event"] == "start":
                self.opens += event["t"] > disturbed
                is_fresh, last = True, None
            elif event["event"] == "picture":
                state = "damaged" if last and not is_next(last, event) else event["state"]
                last = event if state == "good" else last
                setattr(self, state, getattr(self, state) + 1)
                is_fresh = is_fresh and state != "good"
                self.bad_after_open += is_fresh
        if self.bad_after_open:
            self.problems.append(f"{self.bad_after_open} bad pictures between an opening and the first good picture")


class BadLine(NetworkCase):
    """Packets get lost, late or out of order for a while."""

    def __init__(self, name, line, seconds, transport):
        super().__init__(name, transport)
        self.line, self.seconds = line, seconds

    def disturb(self):
        self.network.command("line " + self.line)
        time.sleep(self.seconds)
        self.network.command("line")
        return time.monotonic()


class Outage(NetworkCase):
    """Nothing gets through for a while."""

    def __init__(self, seconds, transport, timeouts=QUICK):
        super().__init__(f"line down for {seconds} s", transport, timeouts)
        self.seconds = seconds

    def disturb(self):
        self.network.command("down")
        time.sleep(self.seconds)
        self.network.command("up")
        return time.monotonic()


class VanishedPeer(NetworkCase):
    """The server goes as by a power cut, without a word, and comes back as a new one."""

    def __init__(self, seconds, transport, timeouts=QUICK):
        super().__init__(f"server vanishes, a new one after {seconds} s", transport, timeouts)
        self.seconds = seconds

    def disturb(self):
        self.network.command("down")
        self.server.kill()
        time.sleep(self.seconds)
        self.server.start()
        self.network.command("up")
        return time.monotonic()


class Stops(NetworkCase):
    """The thread is stopped and started at random moments while the line goes down and up and loses packets."""

    def __init__(self, transport):
        super().__init__(f"{STOPS} stops at random moments", transport)

    def disturb(self):
        for _ in range(STOPS):
            self.network.command(self.random.choice(["down", "up", "line loss=10", "line"]))
            time.sleep(self.random.uniform(0, 2))
            self.stop()
            self.watcher.command("play")
        self.network.command("line")
        self.network.command("up")
        return time.monotonic()
