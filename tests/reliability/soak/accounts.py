#!/usr/bin/env python3
"""Accounts for every second of every recording of a soak run, and for what the process held meanwhile.

    accounts.py [--follow] [--keep] FOLDER

Each finished file is read with ffprobe and decoded with ffmpeg, and removed when it was found right, unless --keep is
given. --follow goes on until the run is over. The tables say what was seen; docs/reliability.md says what is judged.
Exit status 1 when something is wrong.
"""
import argparse
import bisect
import glob
import json
import os
import re
import statistics
import subprocess
import sys
import time
from collections import Counter, defaultdict

GROUP_MS = 1000  # every source sends a key frame a second
FRINGE_MS = 500  # between a switch and the video thread's look at it, on a busy computer
RETURN_MS = 10000  # a source that is back, or a widget that was started, is recorded by then
CLOCK_MS = 1000  # the moment at which an RTSP recording was opened is known that well
NUMBERS = 1 << 12  # of the pictures of the RTSP server
NUMBER_BITS = 12
STARVED_MS = 1000  # a computer that gives a thread no processor for that long does not keep a live source going
SETTLED_S = 300
LEAST_SAMPLES = 30
FLOORS = {"threads": 2, "handles": 6, "pss_kb": 4096}


def is_rtsp(stream):
    return stream.startswith("rtsp")


def rows_of_json(path):
    rows = []
    if os.path.exists(path):
        with open(path, encoding="utf-8") as lines:
            for line in lines:
                if line.endswith("\n"):
                    rows.append(json.loads(line))
    return rows


# --- Files


def picture_number(row):
    """The number that the middle row of a picture shows; see testpicture.h."""
    number = 0
    for bit in range(NUMBER_BITS):
        middle = (row_edge(len(row), bit + 1) + row_edge(len(row), bit + 2)) // 2
        number = number << 1 | (row[middle] > 128)
    return number


def row_edge(length, part):
    return length * part // (NUMBER_BITS + 2)


def check_file(path, with_numbers):
    """What a recording holds: the times of its pictures in ms, their numbers, and what is wrong with it."""
    probe = subprocess.run(
        ["ffprobe", "-v", "error", "-show_entries", "packet=codec_type,pts_time,duration_time,flags", "-of", "csv=p=0",
         path], capture_output=True, text=True, check=False)
    times, keys, sounds = [], [], []
    for line in probe.stdout.splitlines():
        fields = line.split(",")
        if fields[0] == "video":
            times.append(round(float(fields[1]) * 1000))
            keys.append("K" in fields[-1])
        elif fields[0] == "audio":
            sounds.append(round(float(fields[1]) * 1000))
    command = ["ffmpeg", "-v", "error", "-nostdin", "-i", path, "-map", "0:a?", "-f", "null", "-"]
    if with_numbers:
        command += ["-map", "0:v", "-vf", "crop=iw:2:0:ih/2,format=gray", "-fps_mode", "passthrough", "-f", "rawvideo",
                    "pipe:1"]
    else:
        # Times as the file has them: behind an interruption those that are rounded to the mean rate fall together.
        command += ["-map", "0:v", "-enc_time_base", "-1", "-f", "null", "-"]
    decoding = subprocess.run(command, capture_output=True, check=False)
    numbers = []
    if with_numbers:
        row = 320
        numbers = [picture_number(decoding.stdout[i:i + row]) for i in range(0, len(decoding.stdout), 2 * row)]
    errors = (probe.stderr + decoding.stderr.decode(errors="replace")).strip()
    if decoding.returncode != 0 and not errors:
        errors = f"ffmpeg ended with {decoding.returncode}"
    if times != sorted(set(times)):
        errors += " times of pictures do not rise"
    if with_numbers and len(numbers) != len(times):
        errors += f" {len(times)} pictures, {len(numbers)} decoded"
    return {"path": path, "times": times, "numbers": numbers, "sounds": len(sounds), "bytes": os.path.getsize(path),
            "starts_with_key": bool(keys and keys[0]), "errors": errors}


class Files:
    """The recordings of the run, each checked once, also by an earlier call."""

    def __init__(self, folder, keep):
        self.folder = folder
        self.keep = keep
        self.results = rows_of_json(folder + "/checks.jsonl")
        self.seen = {result["path"] for result in self.results} if keep else set()

    def check_new(self):
        """Whether there were any."""
        found = sorted(glob.glob(self.folder + "/*/*/*/live/*_*_*.mp4"))
        new = [path for path in found if path not in self.seen]
        with open(self.folder + "/checks.jsonl", "a", encoding="utf-8") as checks:
            for path in new:
                result = check_file(path, is_rtsp(path[len(self.folder) + 1:]))
                self.results.append(result)
                checks.write(json.dumps(result) + "\n")
                if self.keep or result["errors"]:
                    self.seen.add(path)
                else:
                    os.remove(path)
        return bool(new)

    def unfinished(self):
        return [path for path in glob.glob(self.folder + "/*/*/*/live/*.mp4") if "_" not in os.path.basename(path)]


# --- Intervals, lists of [begin, end] in ms


def merged(intervals):
    result = []
    for begin, end in sorted(intervals):
        if result and begin <= result[-1][1]:
            result[-1][1] = max(result[-1][1], end)
        else:
            result.append([begin, end])
    return result


def without(intervals, taken):
    result = []
    for begin, end in merged(intervals):
        for low, high in merged(taken):
            if high <= begin or low >= end:
                continue
            if low > begin:
                result.append([begin, low])
            begin = max(begin, high)
        if begin < end:
            result.append([begin, end])
    return result


# --- The accounts


class Accounts:
    def __init__(self, folder, results):
        self.folder = folder
        self.journal = rows_of_json(folder + "/journal.jsonl")
        self.status = rows_of_json(folder + "/status.jsonl")
        self.problems = []
        self.begin = next(row for row in self.journal if row["event"] == "begin")
        self.end = next((row for row in self.journal if row["event"] == "end"), None)
        self.last = self.journal[-1]["t"]
        self.picture_ms = 1000 / self.begin["rate"]
        self.results = defaultdict(list)
        for result in results:
            stream, kind = result["path"][len(folder) + 1:].split("/")[:2]
            self.results[stream, 0 if kind == "manual" else 1].append(result)
        self.opened = {}
        for row in self.journal:
            if row["event"] == "file" and row["state"] == 1:
                self.opened.setdefault(row["name"][:-len(".mp4")], row["t"])
        self.returns, self.openings = [], []
        self.starved = self.starved_times()
        self.totals = Counter()

    def starved_times(self):
        """When the GUI thread or the X server was ready to run for a second and got no processor, and what follows."""
        times = []
        for row in self.journal:
            if row["event"] == "gap" and max(row["runnable"], row["server_runnable"]) >= STARVED_MS:
                times.append([row["end"] - row["ms"] - RETURN_MS, row["end"] + RETURN_MS])
        return merged(times)

    def problem(self, text):
        self.problems.append(text)

    def switched(self, event, stream, on, **match):
        """The intervals between the journal's switching on and off."""
        intervals, since = [], None
        for row in self.journal:
            if row["event"] not in event or row.get("stream") != stream:
                continue
            if any(row.get(key) != value for key, value in match.items()):
                continue
            if on(row) and since is None:
                since = row["t"]
            elif not on(row) and since is not None:
                intervals.append([since, row["t"]])
                since = None
        if since is not None:
            intervals.append([since, self.last])
        return intervals

    def streams(self):
        return sorted({row["stream"] for row in self.journal if row["event"] == "want"})

    def outages(self, stream):
        down = self.switched(("down", "up"), stream, lambda row: row["event"] == "down") + self.silences(stream)
        stalls = [[row["t"], row["t"] + row["ms"]] for row in self.journal
                  if row["event"] == "stall" and row["stream"] == stream]
        return merged(down + stalls)

    def delivered(self, stream):
        """[time stamp, moment] of what the device handed over; the last line may not be whole."""
        with open(f"{self.folder}/{stream}/delivered.txt", encoding="ascii") as lines:
            return [[int(field) for field in line.split()] for line in lines if line.endswith("\n")]

    def silences(self, stream):
        """When the device had nothing to hand over, asked for or not."""
        if is_rtsp(stream):
            return []
        stamps = [self.begin["t"]] + [stamp for stamp, _ in self.delivered(stream)] + [self.last]
        gaps = [[before, after] for before, after in zip(stamps, stamps[1:]) if after - before > GROUP_MS]
        self.totals["silence ms"] += sum(end - begin for begin, end in gaps)
        return gaps

    def account(self):
        for stream in self.streams():
            outages = self.outages(stream)
            for kind in (0, 1):
                wanted = self.switched(("want",), stream, lambda row: row["on"], type=kind)
                self.account_recorder(stream, kind, wanted, outages)

    def account_recorder(self, stream, kind, wanted, outages):
        name = f"{stream}/{'manual' if kind == 0 else 'auto'}"
        results = sorted(self.results[stream, kind], key=lambda result: result["path"])
        for result in results:
            self.totals["files"] += 1
            self.totals["bytes"] += result["bytes"]
            self.totals["pictures"] += len(result["times"])
            self.totals["sound packets"] += result["sounds"]
            if result["errors"]:
                self.problem(f"{result['path']}: {result['errors'][:300]}")
        for path in results:
            if not path["times"]:
                self.problem(f"{path['path']}: no pictures")
        results = [result for result in results if result["times"]]
        pieces = self.rtsp_pieces(results) if is_rtsp(stream) else self.device_pieces(results)
        if not is_rtsp(stream):  # of those the numbers of the pictures tell
            self.check_overlaps(name, pieces)
        self.check_gaps(name, wanted, [piece[:2] for piece in pieces], outages)
        if is_rtsp(stream):
            self.check_numbers(name, results, wanted, outages)
        else:
            self.check_delivered(name, stream, results, wanted)
        self.totals["wanted ms"] += sum(end - begin for begin, end in wanted)

    def pieces(self, times, offset, path):
        """A file as [begin, end, path], in parts where it has gaps itself."""
        result = []
        for moment in times:
            at = moment + offset
            if result and at - result[-1][1] <= GROUP_MS - self.picture_ms:
                result[-1][1] = at + self.picture_ms
            else:
                result.append([at, at + self.picture_ms, path])
        return result

    def device_pieces(self, results):
        """Their pictures keep the times of the clock."""
        return [piece for result in results for piece in self.pieces(result["times"], 0, result["path"])]

    def rtsp_pieces(self, results):
        pieces = []
        for result in results:
            begin = self.opened_at(result["path"])
            pieces += self.pieces(result["times"], begin - result["times"][0], result["path"])
        return pieces

    def opened_at(self, path):
        stem = re.sub(r"_\d{8}T\d{6}_\d+\.mp4$", "", path)
        if stem in self.opened:
            return self.opened[stem]
        self.totals["openings not reported"] += 1
        return time.mktime(time.strptime(os.path.basename(stem), "%Y%m%dT%H%M%S")) * 1000 + 500

    def check_overlaps(self, name, pieces):
        """No file begins before the last picture of the one before. How long that is shown is only known while the
        source goes on: one that is started again at once sends its first picture sooner."""
        last_end, last_path = 0, ""
        for begin, end, path in sorted(pieces):
            if begin <= last_end - self.picture_ms:
                self.problem(f"{name}: {os.path.basename(path)} begins {last_end - begin:.0f} ms before "
                             f"{os.path.basename(last_path)} ends")
            if end > last_end:
                last_end, last_path = end, path

    def check_gaps(self, name, wanted, covered, outages):
        """What is not covered is short, or there was no source, or it was only just opened."""
        starts = [(begin, self.openings) for begin, _ in wanted] + [(end, self.returns) for _, end in outages]
        for begin, end in without(wanted, covered):
            self.totals["uncovered ms"] += end - begin
            if end - begin <= GROUP_MS + FRINGE_MS:
                continue
            opening = [(start, values) for start, values in starts if begin <= start < end <= start + RETURN_MS]
            if opening:
                start, values = max(opening, key=lambda item: item[0])
                values.append(end - start)
            windows = [[start, start + RETURN_MS] for start, _ in starts if begin - CLOCK_MS <= start <= end]
            for low, high in without([[begin, end]], outages + windows):
                if high - low > GROUP_MS + FRINGE_MS and not without([[low, high]], self.starved):
                    self.totals["starved ms"] += high - low
                elif high - low > GROUP_MS + FRINGE_MS:
                    where = (low - self.begin["t"]) / 1000
                    self.problem(f"{name}: {(high - low) / 1000:.1f} s are missing from second {where:.1f} on")

    def check_numbers(self, name, results, wanted, outages):
        """Within an unbroken interval the pictures of the server follow each other, from file to file."""
        before = None
        for result in results:
            numbers = result["numbers"]
            begin = self.opened_at(result["path"])
            interval = [i for i, (low, high) in enumerate(wanted) if low <= begin <= high + CLOCK_MS]
            for i in range(1, min(len(numbers), len(result["times"]))):
                lost = (numbers[i] - numbers[i - 1] - 1) % NUMBERS
                if lost and not self.in_outage(begin + result["times"][i] - result["times"][0], outages):
                    self.lose(name, result["path"], lost, begin + result["times"][i] - result["times"][0])
            if before and interval and interval == before[1]:
                gap = begin - before[2]
                hit = self.in_outage(begin, outages) or self.in_outage(before[2], outages)
                lost = (numbers[0] - before[0] - 1) % NUMBERS
                if lost and not hit and gap <= GROUP_MS + FRINGE_MS:
                    self.lose(name, result["path"], lost, begin)
            end = begin + result["times"][-1] - result["times"][0] + self.picture_ms
            before = (numbers[-1], interval, end) if numbers else None

    @staticmethod
    def in_outage(moment, outages):
        """Whether pictures may be missing there."""
        return any(low - CLOCK_MS <= moment <= high + RETURN_MS for low, high in outages)

    def lose(self, name, path, count, moment):
        if self.in_outage(moment, self.starved):
            self.totals["pictures dropped without a processor"] += count
            return
        self.totals["lost pictures"] += count
        self.problem(f"{name}: {count} pictures are missing in or before {os.path.basename(path)}")

    def check_delivered(self, name, stream, results, wanted):
        """What the device handed over is in the files, each picture once."""
        recorded = Counter(moment for result in results for moment in result["times"])
        twice = [moment for moment, count in recorded.items() if count > 1]
        if twice:
            self.problem(f"{name}: {len(twice)} pictures were recorded twice, the first at {twice[0]}")
        delivered = set()
        inner = [[begin + FRINGE_MS, end - FRINGE_MS] for begin, end in wanted if end - begin > 2 * FRINGE_MS]
        begins = [begin for begin, _ in inner]
        missing = []
        for stamp, moment in self.delivered(stream):
            delivered.add(stamp)
            at = bisect.bisect_right(begins, moment) - 1
            if at >= 0 and moment <= inner[at][1] and stamp not in recorded:
                missing.append((moment, stamp))
        self.totals["device pictures compared"] += len(delivered)
        dropped = [stamp for moment, stamp in missing if self.in_outage(moment, self.starved)]
        self.totals["pictures dropped without a processor"] += len(dropped)
        missing = [(moment, stamp) for moment, stamp in missing if not self.in_outage(moment, self.starved)]
        if missing:
            self.totals["lost pictures"] += len(missing)
            where = (missing[0][0] - self.begin["t"]) / 1000
            self.problem(f"{name}: {len(missing)} pictures that the device handed over are in no file, the first from "
                         f"second {where:.1f}")
        unknown = [moment for moment in recorded if moment not in delivered]
        if unknown:
            self.problem(f"{name}: {len(unknown)} recorded pictures were never handed over, the first {unknown[0]}")

    # --- The process

    def account_process(self):
        rows = [row for row in self.status if row["t"] - self.status[0]["t"] >= SETTLED_S * 1000][:-1]
        table = []
        for field in ("threads", "handles", "pss_kb", "heap_kb"):
            if len(rows) < LEAST_SAMPLES:
                break
            table.append((field, *self.trend(rows, field)))
        for field, _low, _mean, _high, growth, limit in table:
            if field in FLOORS and growth > limit:
                self.problem(f"{field} grow by {growth:.1f} over the run, more than {limit:.1f}")
        return table

    @staticmethod
    def trend(rows, field):
        """Lowest, mean, highest, growth of the fitted line over the run, and what that may be."""
        times = [(row["t"] - rows[0]["t"]) / 1000 for row in rows]
        values = [row[field] for row in rows]
        mean_time, mean = statistics.fmean(times), statistics.fmean(values)
        spread = sum((moment - mean_time) ** 2 for moment in times)
        slope = sum((moment - mean_time) * (value - mean) for moment, value in zip(times, values)) / spread
        rest = [value - mean - slope * (moment - mean_time) for moment, value in zip(times, values)]
        limit = max(FLOORS.get(field, 0), statistics.pstdev(rest))
        return min(values), mean, max(values), slope * (times[-1] - times[0]), limit

    def account_end(self):
        if not self.end:
            self.problem("the run did not come to its end")
            return
        if not self.end["ended"]:
            self.problem("not all streams ended")
        if not self.end["clean"]:
            self.problem(f"threads {self.end['threads']}, handles {self.end['handles']} before and after")

    def account_messages(self):
        counts = Counter()
        with open(self.folder + "/messages.log", encoding="utf-8", errors="replace") as lines:
            for line in lines:
                fields = line.rstrip("\n").split(" ", 2)
                if len(fields) == 3 and fields[1] in "WC":
                    counts[re.sub(r"\d+", "N", re.sub(r"\S*/\S*", "PATH", fields[2]))] += 1
                if re.search("QObject::(connect|disconnect|startTimer|killTimer)|invokeMethod|QThread: Destroyed", line):
                    self.problem(f"message: {line.strip()}")
        return counts

    def account_snapshots(self):
        names = glob.glob(self.folder + "/*/snap/*/live/*.jpg")
        for name in names:
            with open(name, "rb") as file:
                data = file.read()
            if not data.startswith(b"\xff\xd8") or not data.endswith(b"\xff\xd9"):
                self.problem(f"{name}: not a whole JPEG")
        return len(names)

    def gaps(self):
        return [row for row in self.journal if row["event"] == "gap"]


# --- Tables


def spread(values):
    if not values:
        return "none"
    values = sorted(values)
    return (f"{len(values)}: {statistics.median(values) / 1000:.1f} s in the middle, {values[-1] / 1000:.1f} s at most")


SYNCHRONIZING = re.compile(r"^(__|pthread_|xcb_|_X|X[A-Z]|.*\.so|soak\+|QWaitCondition|QMutex|poll|clock_|raise)")


def cause(gap):
    """What the event loop had called, as far as the stack tells."""
    if gap["ms"] - gap["runnable"] < 50:
        return "no processor was free"
    if gap["ms"] - gap["runnable"] - gap["server_runnable"] < 50:
        return "no processor was free for the X server"
    if gap["page_reads"]:
        return "a page of a program or file was read from the disk: " + called(gap)
    if gap["ms"] - gap["shortage"] < 50:
        return "waited while all processors were busy: " + called(gap)
    return called(gap)


def called(gap):
    """The innermost of the library's, else of the window system's functions."""
    if not gap["stack"]:
        return "not seen"
    plain = [name.split("(")[0] for name in gap["stack"]]
    own = [name for name in plain if re.search(r"Widget|Thread|Player|Vantor|Device|Sound", name)
           and not name.startswith("QWidget") and not SYNCHRONIZING.match(name)]
    window = [name for name in plain if re.search(r"Xcb|xcb|GLX|swrast|QOpenGL", name)]
    parts = [gap["during"]] if gap["during"] else []
    parts += own[:1]
    parts += window[-1:] if not own else []
    return ", ".join(parts) or plain[min(3, len(plain) - 1)]


def print_tables(accounts, process, messages, snapshots):
    begin, totals = accounts.begin, accounts.totals
    print(f"## Soak: {begin['streams']} streams, seed {begin['seed']}, "
          f"{(accounts.last - begin['t']) / 60000:.1f} minutes\n")
    acts = Counter(row["what"] for row in accounts.journal if row["event"] == "act")
    downs = Counter(row["why"] for row in accounts.journal if row["event"] == "down")
    print("| | |\n|---|---|")
    print(f"| what happened | {', '.join(f'{count} {what}' for what, count in acts.most_common())} |")
    print(f"| sources lost | {', '.join(f'{count} {why}' for why, count in downs.most_common()) or 'none'} |")
    print(f"| recording asked for | {totals['wanted ms'] / 3600000:.2f} h |")
    print(f"| files | {totals['files']}, {totals['bytes'] / 1e6:.0f} MB, {totals['pictures']} pictures, "
          f"{totals['sound packets']} packets of sound |")
    print(f"| device pictures compared one by one | {totals['device pictures compared']} |")
    print(f"| devices had no picture for | {totals['silence ms'] / 1000:.0f} s |")
    print(f"| lost pictures | {totals['lost pictures']} |")
    if totals["starved ms"] or totals["pictures dropped without a processor"]:
        print(f"| not judged, as the computer gave no processor for a second or more | "
              f"{totals['starved ms'] / 1000:.0f} s of recordings, "
              f"{totals['pictures dropped without a processor']} pictures |")
    print(f"| recorded again after a source was back | {spread(accounts.returns)} |")
    print(f"| recorded after the start of a widget | {spread(accounts.openings)} |")
    print(f"| snapshots | {snapshots} |")
    if accounts.status:
        print(f"| pictures shown | {accounts.status[-1]['pictures']} |")
        print(f"| CPU time | {accounts.status[-1]['cpu_s']:.0f} s |")
    if accounts.end:
        print(f"| threads before and after | {accounts.end['threads'][0]} and {accounts.end['threads'][1]} |")
        print(f"| handles before and after | {accounts.end['handles'][0]} and {accounts.end['handles'][1]} |")
    print()
    if process:
        print("| after the first 5 minutes | lowest | mean | highest | growth | may be |\n|---|---|---|---|---|---|")
        for field, *figures in process:
            print(f"| {field} | " + " | ".join(f"{figure:.0f}" for figure in figures) + " |")
        print()
    print_gaps(accounts)
    if messages:
        print("| messages | warnings and worse |\n|---|---|")
        for text, count in messages.most_common():
            print(f"| {count} | {text[:140]} |")
        print()


def print_gaps(accounts):
    gaps = accounts.gaps()
    longest = max([row["longest_gap_ms"] for row in accounts.status] or [0])
    print(f"GUI thread: longest gap {longest:.0f} ms, {len(gaps)} above 50 ms\n")
    if not gaps:
        return
    causes = defaultdict(list)
    for gap in gaps:
        causes[cause(gap)].append(gap)
    print("| gaps | longest ms | running | runnable | waiting | processors busy | during |\n|---|---|---|---|---|---|---|")
    for name, list_of in sorted(causes.items(), key=lambda item: -len(item[1])):
        worst = max(list_of, key=lambda gap: gap["ms"])
        print(f"| {len(list_of)} | {worst['ms']:.0f} | {worst['running']:.0f} | {worst['runnable']:.0f} | "
              f"{worst['waiting']:.0f} | {worst['shortage']:.0f} | {name} |")
    print()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--follow", action="store_true")
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("folder")
    options = parser.parse_args()
    folder = os.path.abspath(options.folder)
    files = Files(folder, options.keep)
    parent = os.getppid()
    while True:
        is_over = not options.follow or os.getppid() != parent or any(
            row["event"] == "closed" for row in rows_of_json(folder + "/journal.jsonl")[-1:])
        if not files.check_new() and is_over:
            break
        if not is_over:
            time.sleep(2)

    accounts = Accounts(folder, files.results)
    for path in files.unfinished():
        accounts.problem(f"{path} was not finished")
    accounts.account()
    accounts.account_end()
    print_tables(accounts, accounts.account_process(), accounts.account_messages(), accounts.account_snapshots())
    for problem in accounts.problems:
        print(f"WRONG: {problem}")
    if not accounts.problems:
        print("Nothing is wrong.")
    sys.exit(1 if accounts.problems else 0)


if __name__ == "__main__":
    main()
