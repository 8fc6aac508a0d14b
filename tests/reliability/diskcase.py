import glob
import re
import time

from mp4file import COUNT, Mp4File
from watcher import Watcher

START_SECONDS = 60
RECOVER_SECONDS = 60
STEADY_SECONDS = 4
AT_THE_END = 2  # pictures that were shown when the recording was told to end
CUT_OFF = 30  # pictures of incomplete fragments, which can perhaps be read all the same
LOSS = re.compile(r"^lost (\d+) pictures and (\d+) packets of sound in ([\d.]+) s, from .+ to .+: (.+) \[.+\]$")


class DiskCase:
    """A live stream that is shown and recorded while its disk fails for some seconds and is well again."""

    def __init__(self, disk_class, thread, address):
        self.disk_class, self.thread, self.address = disk_class, thread, address
        self.problems = []
        self.rate_before = self.rate_during = self.gap = 0.0
        self.missing = self.told = self.seconds = self.files = self.damaged = 0
        self.headless = 0  # in a file, but before its first key picture
        self.end = 0.0
        self.reasons = []

    def run(self, program, folder, options):
        self.disk = self.disk_class(folder)
        device = ["--device"] if self.thread == "XRTALiveThread" else []
        self.watcher = Watcher(program, [*device, "--open-sleep", "300", self.address])
        try:
            self._measure(options.seconds)
            self._judge(options)
        finally:
            self.watcher.kill()
            self.disk.remove()
        return self

    def _measure(self, seconds):
        watcher = self.watcher
        watcher.command(f"record {self.disk.path}/recordings")
        watcher.command("play")
        if not watcher.wait_for(lambda: len(watcher.pictures()) > 50, START_SECONDS):
            raise RuntimeError("no picture came")
        begin = time.monotonic()
        time.sleep(STEADY_SECONDS)
        failed = time.monotonic()
        self.disk.fail()
        time.sleep(seconds)
        well = time.monotonic()
        self.disk.recover()
        # The report comes when nothing was lost for two seconds, or at the end.
        watcher.wait_for(lambda: self._losses(well), RECOVER_SECONDS)
        time.sleep(STEADY_SECONDS)
        end = time.monotonic()
        self.end = end
        watcher.command("norecord")
        if not watcher.wait_for(lambda: watcher.log("stop record", end), RECOVER_SECONDS):
            self.problems.append("the recording did not end")
        self.rate_before = self._rate(begin, failed)
        self.rate_during = self._rate(failed, end)
        shown = [p["t"] for p in watcher.pictures(begin) if p["t"] < end]
        self.gap = max(b - a for a, b in zip(shown, shown[1:]))
        watcher.ask("stop", "stopped")

    def _rate(self, begin, end):
        return len([p for p in self.watcher.pictures(begin) if p["t"] < end]) / (end - begin)

    def _losses(self, since=0.0):
        return [match for match in (LOSS.match(e["text"]) for e in self.watcher.log("lost ", since)) if match]

    def _judge(self, options):
        if self.rate_during < options.least_rate * self.rate_before or self.gap > options.longest_gap:
            self.problems.append(f"the picture suffered: {self.rate_during:.1f} a second, {self.gap:.1f} s without")
        losses = self._losses()
        self.told = sum(int(match[1]) for match in losses)
        self.seconds = sum(float(match[3]) for match in losses)
        self.reasons = sorted({match[4] for match in losses})
        shown = [p["number"] for p in self.watcher.pictures() if p["t"] < self.end]
        recorded = self._recorded()
        self.missing = len([n for n in shown if n not in recorded]) - self.headless
        if self.missing and not losses:
            self.problems.append(f"{self.missing} pictures are missing and nobody says so")
        if not self.missing - AT_THE_END <= self.told <= self.missing + CUT_OFF:
            self.problems.append(f"{self.missing} pictures are missing, {self.told} are said to be")
        if shown and shown[-1 - 50] not in recorded:
            self.problems.append("the recording did not go on")

    def _recorded(self):
        numbers = set()
        for name in sorted(glob.glob(self.disk.path + "/**/*.mp4", recursive=True)):
            file = Mp4File(name)
            if file.complete_bytes() == 0:
                continue
            self.files += 1
            if not file.streams():
                self.problems.append(f"{name} can't be read")
            file.cut_to_complete()
            left = file.numbers()
            self.headless += file.packets() - len(left)
            self.damaged += left.count(-1)
            numbers.update(number % COUNT for number in left)
        return numbers
