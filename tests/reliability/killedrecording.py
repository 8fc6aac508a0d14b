import glob
import os
import time

from mp4file import COUNT, Mp4File
from watcher import Watcher

START_SECONDS = 60
OPENING_SECONDS = 2.0  # in which a recording is killed that is not to have begun
LONGEST_SECONDS = 4.0

# What was handed to the recorder that long before the kill is on the disk.
WRITE_SECONDS = 0.3


class KilledRecording:
    """One recording of a live stream whose process is killed at a random moment, and what is left of it."""

    def __init__(self, program, folder, address, is_device, random):
        self.folder = folder
        self.is_early = random.random() < 0.1
        self.seconds = random.uniform(0, OPENING_SECONDS if self.is_early else LONGEST_SECONDS)
        self.arguments = [*(["--device"] if is_device else []), "--open-sleep", "300", address]
        self.program = program
        self.problems = []
        self.lost = self.told = self.kept = 0
        self.is_played = self.was_cut = False

    def run(self, group):
        """Records and kills, then looks at what is left; group is the number of pictures from key to key."""
        os.makedirs(self.folder)
        watcher = Watcher(self.program, self.arguments)
        watcher.command("record " + self.folder)
        watcher.command("play")
        if not self.is_early and not watcher.wait_for(watcher.pictures, START_SECONDS):
            self.problems.append("no picture came")
        time.sleep(self.seconds)
        killed_at = time.monotonic()
        watcher.kill()
        self._judge(watcher.pictures(), killed_at, group)
        return self

    def _judge(self, pictures, killed_at, group):
        numbers = [p["number"] for p in pictures]
        old = [p["number"] for p in pictures if p["t"] < killed_at - WRITE_SECONDS]
        self.told = len(numbers)
        files = [Mp4File(name) for name in glob.glob(self.folder + "/**/*.mp4", recursive=True)]
        left = self._read(files[0]) if files and files[0].size else []
        self.kept = len(left)
        if len(files) > 1:
            self.problems.append(f"{len(files)} files")
        if -1 in left:
            self.problems.append("a picture without its number")
        if left and numbers:
            self.lost = sum(1 for n in numbers if 0 < (n - left[-1]) % COUNT < COUNT // 2)
            missing = [n for n in numbers if n not in left and (left[-1] - n) % COUNT < COUNT // 2]
            if missing:
                self.problems.append(f"{len(missing)} pictures missing in the middle: {missing[:5]}")
        else:
            self.lost = self.told
        # The key picture that ends a group brings it to the disk.
        keys = [i for i, n in enumerate(old) if n % group == 0]
        unsaved = [n for n in old[:keys[-1]] if n not in left] if keys else []
        if unsaved:
            self.problems.append(f"{len(unsaved)} pictures of complete groups are lost: {unsaved[:5]}")

    def _read(self, file):
        if file.complete_bytes() == 0:
            return []
        streams = file.streams()  # as the kill left it
        if len(streams) != 2:
            self.problems.append(f"ffprobe finds {streams}")
        self.was_cut = file.cut_to_complete()
        complaints = file.complaints()
        if complaints:
            self.problems.append("ffmpeg says: " + complaints.splitlines()[0])
        self.is_played = not complaints and len(streams) == 2
        return file.numbers()
