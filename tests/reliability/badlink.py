#!/usr/bin/python3
"""A network of two hosts, and the bad line between them.

    badlink.py NAMESPACE ADDRESS NAMESPACE ADDRESS [--seed N]

Makes a TAP device in each of two network namespaces, gives them the addresses (with their prefix length), and carries
packets between them until its input ends. It needs root and nothing of the kernel but TAP devices. The line is perfect
until a command from the standard input says otherwise, one a line, for both directions:

    line KEY=VALUE...   a new line: loss=PERCENT, burst=PACKETS (mean number of packets lost in a row, with loss),
                        jitter=MS (a delay that changes all the time, in order), late=PERCENT (packets that others overtake)
    down, up            whether anything gets through
"""
import argparse
import ctypes
import fcntl
import heapq
import os
import random
import select
import struct
import subprocess
import sys
import time

CLONE_NEWNET = 0x40000000
TUNSETIFF = 0x400454CA
IFF_TAP_NO_PI = 0x0002 | 0x1000
DEVICE = "line0"
JITTER_SECONDS = 0.25  # for which a delay stays the same
LATE_SECONDS = (0.01, 0.06)


class Direction:
    """One way through the line: decides what becomes of a packet."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.set({})

    def set(self, values):
        self.loss = float(values.get("loss", 0)) / 100
        self.burst = float(values.get("burst", 1))
        self.jitter = float(values.get("jitter", 0)) / 1000
        self.late = float(values.get("late", 0)) / 100
        self.is_losing = False
        self.delay, self.delay_until = 0.0, 0.0

    def loses(self):
        # Of two states: the chance to leave the losing one gives bursts their length, that to enter it the loss its share.
        if self.is_losing:
            self.is_losing = self.random.random() >= 1 / self.burst
        elif self.loss:
            self.is_losing = self.random.random() < self.loss / (self.burst * (1 - self.loss))
        return self.is_losing

    def due(self, now, last):
        """When a packet of now arrives, behind the last one unless it is late."""
        if self.jitter and now >= self.delay_until:
            self.delay, self.delay_until = self.random.uniform(0, self.jitter), now + JITTER_SECONDS
        if self.random.random() < self.late:
            return now + self.random.uniform(*LATE_SECONDS)
        return max(now + self.delay, last) if self.jitter else now + self.delay


class Line:
    """Carries packets between two TAP devices."""

    def __init__(self, taps, seed):
        self.taps = taps
        self.ways = [Direction(seed), Direction(seed + 1)]
        self.last = [0.0, 0.0]
        self.is_up = True
        self.waiting = []
        self.count = 0

    def take(self, way, packet):
        if not self.is_up or self.ways[way].loses():
            return
        now = time.monotonic()
        due = self.ways[way].due(now, self.last[way])
        self.last[way] = max(due, self.last[way])
        self.count += 1
        heapq.heappush(self.waiting, (due, self.count, way, packet))

    def deliver(self):
        """Passes on what is due and returns the seconds until the next packet is, None for never."""
        while self.waiting and self.waiting[0][0] <= time.monotonic():
            _, _, way, packet = heapq.heappop(self.waiting)
            try:
                os.write(self.taps[1 - way], packet)
            except OSError:
                pass  # a device whose host is not ready loses packets as well
        return max(0.0, self.waiting[0][0] - time.monotonic()) if self.waiting else None

    def command(self, line):
        words = line.split()
        if words[0] == "line":
            for way in self.ways:
                way.set(dict(word.split("=") for word in words[1:]))
        elif words[0] in ("up", "down"):
            self.is_up = words[0] == "up"
            if not self.is_up:
                self.waiting.clear()

    def run(self):
        while True:
            ready, _, _ = select.select([*self.taps, 0], [], [], self.deliver())
            for way, tap in enumerate(self.taps):
                if tap in ready:
                    self.take(way, os.read(tap, 65536))
            if 0 in ready:
                line = sys.stdin.readline()
                if not line:
                    return
                self.command(line)
                print("done", flush=True)


def enter(namespace):
    libc = ctypes.CDLL(None, use_errno=True)
    with open(f"/var/run/netns/{namespace}", "rb") as file:
        if libc.setns(file.fileno(), CLONE_NEWNET) != 0:
            sys.exit(f"can't enter the namespace {namespace}: {os.strerror(ctypes.get_errno())}")


def make_tap(namespace, address):
    enter(namespace)
    tap = os.open("/dev/net/tun", os.O_RDWR)
    fcntl.ioctl(tap, TUNSETIFF, struct.pack("16sH22x", DEVICE.encode(), IFF_TAP_NO_PI))
    for command in (f"address add {address} dev {DEVICE}", f"link set {DEVICE} up", "link set lo up"):
        subprocess.run(["ip", *command.split()], check=True)
    return tap


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("hosts", nargs=4)
    parser.add_argument("--seed", type=int, default=0)
    options = parser.parse_args()
    hosts = options.hosts
    line = Line([make_tap(hosts[0], hosts[1]), make_tap(hosts[2], hosts[3])], options.seed)
    print("done", flush=True)
    line.run()


if __name__ == "__main__":
    main()
