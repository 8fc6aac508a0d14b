#!/usr/bin/python3
"""A folder that is a disk with faults: commanddisk.py FOLDER MOUNTPOINT COMMAND-FILE

What is written below MOUNTPOINT goes to FOLDER, as the COMMAND-FILE says at that moment: "slow SECONDS" makes each write
take as long, "error NAME" fails everything that changes the disk with that error (EROFS, EIO). Runs until it is
unmounted.
"""
import errno
import os
import sys
import time

from fusepy import FUSE, FuseOSError, Operations


class CommandDisk(Operations):
    """Passes everything on, but for what the command says."""

    def __init__(self, folder, command_file):
        self.folder, self.command_file = folder, command_file

    def _real(self, path):
        return self.folder + path

    def _obey(self, is_write=False):
        with open(self.command_file, encoding="ascii") as file:
            words = file.read().split()
        if words[:1] == ["error"]:
            raise FuseOSError(getattr(errno, words[1]))
        if words[:1] == ["slow"] and is_write:
            time.sleep(float(words[1]))

    def getattr(self, path, fh=None):
        try:
            found = os.lstat(self._real(path))
        except FileNotFoundError as error:
            raise FuseOSError(errno.ENOENT) from error
        return {key: getattr(found, key) for key in
                ("st_mode", "st_nlink", "st_uid", "st_gid", "st_size", "st_atime", "st_mtime", "st_ctime")}

    def readdir(self, path, fh):
        return [".", "..", *os.listdir(self._real(path))]

    def mkdir(self, path, mode):
        self._obey()
        os.mkdir(self._real(path), mode)

    def create(self, path, mode, fi=None):
        self._obey()
        return os.open(self._real(path), os.O_RDWR | os.O_CREAT | os.O_TRUNC, mode)

    def open(self, path, flags):
        return os.open(self._real(path), flags)

    def read(self, path, size, offset, fh):
        return os.pread(fh, size, offset)

    def write(self, path, data, offset, fh):
        self._obey(is_write=True)
        return os.pwrite(fh, data, offset)

    def truncate(self, path, length, fh=None):
        self._obey()
        os.truncate(self._real(path), length)

    def unlink(self, path):
        self._obey()
        os.unlink(self._real(path))

    def rename(self, old, new):
        self._obey()
        os.rename(self._real(old), self._real(new))

    def release(self, path, fh):
        os.close(fh)


if __name__ == "__main__":
    FUSE(CommandDisk(sys.argv[1], sys.argv[3]), sys.argv[2], foreground=True, nothreads=False)
