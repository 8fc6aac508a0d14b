import itertools
import os
import subprocess

SCRIPT = os.path.join(os.path.dirname(os.path.realpath(__file__)), "badlink.py")


class BadNetwork:
    """Two hosts of their own, namespaces of this machine, with a line between them that fails on command."""

    numbers = itertools.count()
    client_address, server_address = "10.77.0.1", "10.77.0.2"

    def __init__(self, seed):
        name = f"vantor{os.getpid()}-{next(self.numbers)}"
        self.names = [name + "c", name + "s"]
        for namespace in self.names:
            subprocess.run(["ip", "netns", "add", namespace], check=True)
        self.line = subprocess.Popen(
            [SCRIPT, self.names[0], self.client_address + "/24", self.names[1], self.server_address + "/24",
             "--seed", str(seed)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self._await_answer()

    @property
    def client(self):
        """The words before a command that runs it on the client's host."""
        return ["ip", "netns", "exec", self.names[0]]

    @property
    def server(self):
        return ["ip", "netns", "exec", self.names[1]]

    def command(self, line):
        """One of badlink.py; returns when it is so."""
        self.line.stdin.write(line + "\n")
        self.line.stdin.flush()
        self._await_answer()

    def _await_answer(self):
        if self.line.stdout.readline() != "done\n":
            raise RuntimeError("the line between the hosts is gone; it needs root and /dev/net/tun")

    def remove(self):
        self.line.stdin.close()
        self.line.wait()
        for namespace in self.names:
            subprocess.run(["ip", "netns", "delete", namespace], check=False)
