import os
import subprocess

SCRIPT = os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "support", "rtsp_server.py")


class RtspPeer:
    """The RTSP server of the tests, tests/support/rtsp_server.py, in a process of its own."""

    def __init__(self, address="127.0.0.1", port=0, prefix=(), options=()):
        self.address = address
        self.port = port
        self.prefix = prefix
        self.options = options
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [*self.prefix, "/usr/bin/python3", SCRIPT, "--address", self.address, "--port", str(self.port),
             *self.options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        if not line.startswith("port "):
            raise RuntimeError("the RTSP server did not start")
        self.port = int(line.split()[1])

    def url(self, mount):
        return f"rtsp://{self.address}:{self.port}/{mount}"

    def kill(self):
        """As a crash; nobody is told."""
        self.process.kill()
        self.process.wait()

    def restart(self):
        self.kill()
        self.start()
