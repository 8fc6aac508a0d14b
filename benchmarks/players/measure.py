#!/usr/bin/env python3
"""CPU time and memory of the library beside players. README.md in benchmarks/ says what is compared; `benchmarks/run
players` builds what it needs and starts it."""
import argparse
import os
import platform
import re
import signal
import subprocess
import sys
import time

import clips
import peers
import process
from screen import Screen
from table import Spread, markdown

HERE = os.path.dirname(os.path.abspath(__file__))
SERVER = os.path.join(HERE, "..", "..", "tests", "support", "rtsp_server.py")
START_SECONDS = 5  # of players: until the picture is there and every thread is made
MEMORY_LOOKS = 3  # until every picture moves
RATE = clips.RATE


def note(text):
    print(text, file=sys.stderr, flush=True)


class Server:
    """An RTSP server on the loopback, in a process of its own."""

    def __init__(self, file):
        self.process = subprocess.Popen([sys.executable, SERVER, "--file", file], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        self.file = file
        self.url = f"rtsp://127.0.0.1:{self.process.stdout.readline().split()[1]}/file"

    def __enter__(self):
        return self

    def source_for(self, system):
        return self.url if system.opens_rtsp else self.file

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait()


class Player:
    """A system while it shows streams."""

    def __init__(self, screen, system, urls, rectangles):
        self.screen = screen
        self.windows = [] if system.places_itself else [screen.add_window(*rectangle) for rectangle in rectangles]
        environment = {**os.environ, **system.environment()}
        silent = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        self.processes = [subprocess.Popen(command, env=environment, start_new_session=True, **silent)
                          for command in system.commands(urls, rectangles, self.windows)]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for running in self.processes:
            if running.poll() is None:
                os.killpg(running.pid, signal.SIGKILL)
            running.wait()
        self.screen.remove_windows(self.windows)

    def pids(self):
        return [pid for running in self.processes for pid in process.tree(running.pid)]

    def is_running(self):
        return all(running.poll() is None for running in self.processes)


def grid(count, width, height):
    """Where pictures lie that are shown side by side, three in a row."""
    return [(i % 3 * width, i // 3 * height, width, height) for i in range(count)]


def turns(systems, round_number):
    """The order of a round: everybody is the first once."""
    shift = round_number % len(systems)
    return systems[shift:] + systems[:shift]


def split_by_presence(systems):
    there = [system for system in systems if system.is_there()]
    return there, [[system.name, "missing"] for system in systems if not system.is_there()]


class Shown:
    """The figures of one system that shows streams."""

    def __init__(self):
        self.cpu, self.server, self.pictures, self.part = Spread(), Spread(), Spread(), Spread()
        self.failures = 0


def measure_shown(screen, system, url, rectangles, seconds):
    """CPU seconds of the system and of the X server for each second of video shown, and pictures a second; None when
    the system has not shown anything."""
    with Player(screen, system, [url] * len(rectangles), rectangles) as player:
        time.sleep(START_SECONDS + 0.4 * len(rectangles))
        pids = player.pids()
        if not player.is_running():
            return None
        cpu, server = process.cpu_seconds(pids), process.cpu_seconds([screen.server.pid])
        counts, passed = screen.count_pictures(rectangles, seconds)
        if not player.is_running():
            return None
        cpu, server = process.cpu_seconds(pids) - cpu, process.cpu_seconds([screen.server.pid]) - server
    video_seconds = sum(counts) / len(counts) / RATE
    if video_seconds < 1:
        return None
    return cpu / video_seconds, server / video_seconds, sum(counts) / passed


def compare_shown(options, title, clip, rectangles, systems):
    """The systems take turns; the first is the library."""
    file = clips.path(options.clips, clip)
    there, missing = split_by_presence(systems)
    figures = {system.name: Shown() for system in there}
    screen = options.screen
    with Server(file) as server:
        for round_number in range(options.rounds):
            of_round = {}
            for system in turns(there, round_number):
                result = measure_shown(screen, system, server.source_for(system), rectangles, options.seconds)
                note(f"{title}, round {round_number + 1}, {system.name}: {result}")
                if result is None:
                    figures[system.name].failures += 1
                    continue
                of_round[system.name] = result[0] + result[1]
                shown = figures[system.name]
                for spread, value in zip((shown.cpu, shown.server, shown.pictures), result):
                    spread.add(value)
            ours = of_round.get(there[0].name)
            for name, total in of_round.items():
                if ours:
                    figures[name].part.add(ours / total)
    rows = []
    for system in there:
        shown = figures[system.name]
        total = Spread()
        for cpu, server_part in zip(shown.cpu.values, shown.server.values):
            total.add(cpu + server_part)
        rows.append([system.name, total.text(3), shown.server.text(3), shown.pictures.text(1), shown.part.text(2),
                     str(shown.failures)])
    rows += [row + ["-"] * 4 for row in missing]
    head = ["system", "CPU s per second shown, X server included", "of it X server", "pictures a second",
            "libvantor / it", "failed rounds"]
    return f"## {title}\n\n{markdown(head, rows)}"


def decode_row(options):
    text = "## Decoding a file, one thread, nothing shown\n\n"
    systems = peers.decoders(options.bench_player)
    rows = []
    for clip in clips.CLIPS:
        file = clips.path(options.clips, clip)
        count = clips.pictures(file)
        there = [entry for entry in systems if peers.shutil.which(entry[1])]
        figures = {entry[0]: (Spread(), Spread()) for entry in there}
        failures = dict.fromkeys(figures, 0)
        for round_number in range(options.decode_rounds):
            of_round = {}
            # Two of them are to be told apart to a few per cent; the others are there for orientation.
            in_round = there if round_number < options.rounds else there[:2]
            for name, _, arguments in turns(in_round, round_number):
                before = process.cpu_seconds_of_ended()
                done = subprocess.run(arguments(file), stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
                cpu = process.cpu_seconds_of_ended() - before
                if done.returncode != 0:
                    failures[name] += 1
                    continue
                decoded = int(done.stdout) if name == "libvantor" else count
                of_round[name] = cpu / decoded * 1000
                figures[name][0].add(of_round[name])
            note(f"decoding {clip}, round {round_number + 1}: {of_round}")
            for name, value in of_round.items():
                if "libvantor" in of_round:
                    figures[name][1].add(of_round["libvantor"] / value)
        for name, _, _ in systems:
            if name in figures:
                rows.append([clip, name, figures[name][0].text(3), figures[name][1].text(3), str(failures[name])])
            else:
                rows.append([clip, name, "missing", "-", "-"])
    return text + markdown(["clip", "system", "CPU s per 1000 pictures", "libvantor / it", "failed rounds"], rows)


def opengl_row(options):
    systems = [peers.Library(options.bench_player, "opengl"), peers.Mpv("gpu"), peers.Vlc("gl"),
               peers.GStreamer("glimagesink")]
    return compare_shown(options, "One 1080p stream in 960x540, OpenGL", "1920x1080 H.264", grid(1, 960, 540), systems)


def painter_row(options):
    systems = [peers.Library(options.bench_player, "image"), peers.Vlc("xcb_x11"), peers.Mpv("x11"),
               peers.GStreamer("ximagesink"), peers.Ffplay()]
    return compare_shown(options, "One 1080p stream in 960x540, without OpenGL", "1920x1080 H.264", grid(1, 960, 540),
                         systems)


def nine_row(options):
    systems = [peers.Library(options.bench_player, "image"), peers.Library(options.bench_player, "opengl"),
               peers.GStreamer("ximagesink"), peers.Vlc("xcb_x11"), peers.Mpv("x11"), peers.Ffplay(), peers.Mpv("gpu")]
    return compare_shown(options, "Nine 704x576 streams in 320x240 each", "704x576 H.264", grid(9, 320, 240), systems)


def memory_of(screen, system, url, count):
    rectangles = grid(count, 320, 240)
    with Player(screen, system, [url] * count, rectangles) as player:
        time.sleep(START_SECONDS + 0.4 * count)
        for _ in range(MEMORY_LOOKS):
            counts, _ = screen.count_pictures(rectangles, 3)
            if player.is_running() and min(counts) >= RATE:
                return process.proportional_bytes(player.pids()) / 2**20
        return None


def memory_row(options):
    systems = [peers.Library(options.bench_player, "image"), peers.Library(options.bench_player, "opengl"),
               peers.GStreamer("ximagesink"), peers.Vlc("xcb_x11"), peers.Mpv("x11"), peers.Ffplay()]
    there, missing = split_by_presence(systems)
    figures = {system.name: (Spread(), Spread()) for system in there}
    failures = dict.fromkeys(figures, 0)
    many = 9
    with Server(clips.path(options.clips, "704x576 H.264")) as server:
        for round_number in range(options.memory_rounds):
            for system in turns(there, round_number):
                one = memory_of(options.screen, system, server.source_for(system), 1)
                nine = memory_of(options.screen, system, server.source_for(system), many)
                note(f"memory, round {round_number + 1}, {system.name}: {one} {nine}")
                if one is None or nine is None:
                    failures[system.name] += 1
                    continue
                figures[system.name][0].add(one)
                figures[system.name][1].add((nine - one) / (many - 1))
    rows = [[system.name, figures[system.name][0].text(1), figures[system.name][1].text(1), str(failures[system.name])]
            for system in there]
    rows += [row + ["-"] * 2 for row in missing]
    head = ["system", "first stream, MiB", "each further one, MiB", "failed rounds"]
    return f"## Memory, 704x576 streams in 320x240 each\n\n{markdown(head, rows)}"


def recording_row(options):
    """bench_recording compares on its own; its lines become the table."""
    program = os.path.join(os.path.dirname(options.bench_player), "bench_recording")
    done = subprocess.run([program, str(options.seconds * 2), str(options.rounds + 2)], capture_output=True, text=True,
                          check=False)
    spread = r"([\d.]+)(?: % of a core)? (\([\d.]+ to [\d.]+\))"
    lines = re.findall(rf"^(\S.*?) +{spread}, ratio {spread}$", done.stdout, re.MULTILINE)
    rows = [[name, f"{part} {parts}", f"{ratio} {ratios}"] for name, part, parts, ratio, ratios in lines]
    if done.returncode != 0 or not rows:
        rows = [["bench_recording", f"failed with {done.returncode}", ""]]
    return f"## Recording one live stream\n\n{markdown(['system', '% of a core', 'ratio'], rows)}"


ROWS = {"decode": decode_row, "opengl": opengl_row, "painter": painter_row, "nine": nine_row, "memory": memory_row,
        "recording": recording_row}


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as information:
        models = re.findall(r"^model name\s*: (.*)$", information.read(), re.MULTILINE)
    kernel = platform.release()
    load = " ".join(f"{part:.1f}" for part in os.getloadavg())
    when = time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime())
    processor = models[0] if models else platform.machine()
    return [f"- {when}, load before it {load}", f"- {os.cpu_count()} x {processor}, Linux {kernel}"]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("rows", nargs="*", help="of: " + ", ".join(ROWS) + "; all unless given")
    parser.add_argument("--bench-player", required=True)
    parser.add_argument("--clips", required=True, help="folder in which the clips are kept")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--decode-rounds", type=int, default=15)
    parser.add_argument("--memory-rounds", type=int, default=5)
    parser.add_argument("--seconds", type=int, default=10, help="measured of every player and round")
    options = parser.parse_args()
    unknown = [row for row in options.rows if row not in ROWS]
    if unknown:
        parser.error("there is no row " + ", ".join(unknown))
    print("# CPU time and memory beside players\n")
    print("\n".join(machine() + peers.versions()) + "\n", flush=True)
    for clip in clips.CLIPS:
        note(f"{clip}: {clips.bit_rate(clips.path(options.clips, clip)) / 1e6:.2f} Mbit/s")
    options.screen = Screen()
    try:
        for name in options.rows or ROWS:
            print(ROWS[name](options), flush=True)
    finally:
        options.screen.close()


if __name__ == "__main__":
    main()
