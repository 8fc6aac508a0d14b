import os
import shutil
import subprocess
import time

COMMAND_DISK = os.path.join(os.path.dirname(os.path.realpath(__file__)), "commanddisk.py")
ROOM = 64 << 20


class FaultyDisk:
    """A disk, mounted below a folder, that fails in one way and is well again.

    A subclass says how. The disk is a file system in memory unless the subclass mounts another.
    """

    name = ""
    loses_all = False  # what lay on it is gone as well

    def __init__(self, folder):
        self.folder = folder
        self.path = os.path.join(folder, "disk")
        os.makedirs(self.path)
        self.mount()

    def mount(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={ROOM}", "tmpfs", self.path], check=True)

    def fail(self):
        raise NotImplementedError

    def recover(self):
        raise NotImplementedError

    def remove(self):
        subprocess.run(["umount", "-l", self.path], check=False, stderr=subprocess.DEVNULL)


class FullDisk(FaultyDisk):
    """Somebody else's file takes all there is."""

    name = "full"

    def fail(self):
        with open(self.path + "/other", "wb", buffering=0) as file:
            try:
                while file.write(bytes(1 << 16)):
                    pass
            except OSError:
                pass

    def recover(self):
        os.unlink(self.path + "/other")


class DeletedFolder(FaultyDisk):
    """The folder of the recordings is deleted with all that is in it, under the recorder's hands."""

    name = "folder deleted"
    loses_all = True

    def fail(self):
        for entry in os.listdir(self.path):
            shutil.rmtree(os.path.join(self.path, entry))

    def recover(self):
        pass


class RemovedDisk(FaultyDisk):
    """The disk is taken out, and the folder it was mounted at can't be written; later it is put in again, empty."""

    name = "taken out"
    loses_all = True

    def fail(self):
        subprocess.run(["umount", "-l", self.path], check=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "ro", "tmpfs", self.path], check=True)

    def recover(self):
        subprocess.run(["umount", "-l", self.path], check=True)
        self.mount()


class CommandedDisk(FaultyDisk):
    """A disk in a program of ours, commanddisk.py."""

    command = ""

    def mount(self):
        os.makedirs(self.folder + "/behind")
        self._set("")
        self.process = subprocess.Popen([COMMAND_DISK, self.folder + "/behind", self.path, self.folder + "/command"])
        for _ in range(600):
            if os.path.ismount(self.path):
                return
            time.sleep(0.05)
        raise RuntimeError("the disk was not mounted; it needs /dev/fuse and python3-fusepy")

    def _set(self, command):
        with open(self.folder + "/command.new", "w", encoding="ascii") as file:
            file.write(command)
        os.rename(self.folder + "/command.new", self.folder + "/command")

    def fail(self):
        self._set(self.command)

    def recover(self):
        self._set("")

    def remove(self):
        self.recover()
        super().remove()
        self.process.wait()


class ReadOnlyDisk(CommandedDisk):
    """As a disk becomes that has errors: what is open can't be written any more either."""

    name = "read-only"
    command = "error EROFS"


class BrokenDisk(CommandedDisk):
    """Nothing can be written for errors of the device."""

    name = "input/output errors"
    command = "error EIO"


class SlowDisk(CommandedDisk):
    """Each write takes its time."""

    name = "slow: 1.5 s for each write"
    command = "slow 1.5"
