import json
import subprocess
import threading
import time


class Watcher:
    """A watcherprocess and everything that it has told so far, see streamwatcher.h."""

    def __init__(self, program, arguments, prefix=(), environment=None):
        """prefix is a command that starts the program somewhere else, in a network namespace say."""
        self.events = []
        self.changed = threading.Condition()
        self.process = subprocess.Popen([*prefix, program, *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, env=environment, text=True)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            if line.endswith("}\n"):  # one that a kill cut in two says nothing
                with self.changed:
                    self.events.append(json.loads(line))
                    self.changed.notify_all()
        with self.changed:
            self.changed.notify_all()

    def command(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def of(self, event, since=0.0):
        """The events of one name from a time on, in order."""
        with self.changed:
            return [e for e in self.events if e["event"] == event and e["t"] >= since]

    def pictures(self, since=0.0, state=None):
        return [e for e in self.of("picture", since) if state in (None, e["state"])]

    def log(self, text, since=0.0):
        """The messages that contain a text."""
        return [e for e in self.of("log", since) if text in e["text"]]

    def wait_for(self, condition, seconds):
        """What the condition gives as soon as it is true, or at the end of the time."""
        end = time.monotonic() + seconds
        while True:
            result = condition()
            left = end - time.monotonic()
            if result or left <= 0 or not self.reader.is_alive():
                return result
            with self.changed:
                self.changed.wait(min(left, 0.05))

    def ask(self, line, answer, seconds=30):
        """Sends a command and returns the event that answers it, None when it does not come."""
        since = time.monotonic()
        self.command(line)
        answers = self.wait_for(lambda: self.of(answer, since), seconds)
        return answers[0] if answers else None

    def kill(self):
        """As a crash; returns when everything that was told has been read."""
        self.process.kill()
        self.process.wait()
        self.reader.join()

    def end(self, seconds=20):
        """Whether it ended in an orderly way."""
        self.process.stdin.close()
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.kill()
            return False
        self.reader.join()
        return self.process.returncode == 0
