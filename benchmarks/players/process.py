"""What processes take: CPU time of user and system together, and memory."""
import os
import resource
import time


def tree(pid):
    """The process and everything that it has started and that still runs."""
    children = {}
    for name in os.listdir("/proc"):
        if not name.isdigit():
            continue
        try:
            with open(f"/proc/{name}/stat", encoding="utf-8", errors="replace") as stat:
                parent = int(stat.read().rsplit(")", 1)[1].split()[1])
        except (FileNotFoundError, ProcessLookupError):
            continue
        children.setdefault(parent, []).append(int(name))
    found, waiting = [], [pid]
    while waiting:
        found.append(waiting.pop())
        waiting += children.get(found[-1], [])
    return found


def cpu_seconds(pids):
    """Of all threads of the processes so far. The clock of another process counts in nanoseconds."""
    return sum(time.clock_gettime((~pid << 3) | 2) for pid in pids)


def cpu_seconds_of_ended():
    """Of all processes that this one has started and that have ended."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def proportional_bytes(pids):
    """Memory, in which what several processes share is divided by their number."""
    total = 0
    for pid in pids:
        with open(f"/proc/{pid}/smaps_rollup", encoding="utf-8") as rollup:
            total += sum(int(line.split()[1]) * 1024 for line in rollup if line.startswith("Pss:"))
    return total
