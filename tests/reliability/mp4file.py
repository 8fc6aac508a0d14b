import json
import os
import struct
import subprocess

BITS = 12
COUNT = 1 << BITS


class Mp4File:
    """What other programs read in a recording of the test picture (tests/support/testpicture.h)."""

    def __init__(self, path):
        self.path = path
        self.size = os.path.getsize(path) if os.path.exists(path) else 0

    def complete_bytes(self):
        """Where the last complete fragment ends; 0 when there is none."""
        end, position, boxes = 0, 0, []
        with open(self.path, "rb") as file:
            while True:
                file.seek(position)
                head = file.read(8)
                if len(head) < 8:
                    return end
                length, name = struct.unpack(">I4s", head)
                if length < 8 or position + length > self.size:
                    return end
                position += length
                boxes.append(name)
                if name != b"moof" and b"mdat" in boxes:
                    end = position

    def cut_to_complete(self):
        """Leaves out the fragment that a kill cut in two; whether there was one."""
        complete = self.complete_bytes()
        if complete == self.size:
            return False
        os.truncate(self.path, complete)
        self.size = complete
        return True

    def streams(self):
        """ffprobe's codec names; none when it refuses the file."""
        probe = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_name", "-of", "json",
                                self.path], capture_output=True, text=True, check=False)
        if probe.returncode != 0:
            return []
        return sorted(stream["codec_name"] for stream in json.loads(probe.stdout).get("streams", []))

    def packets(self):
        """How many pictures are stored, those that can't be decoded included."""
        probe = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets", "-show_entries",
                                "stream=nb_read_packets", "-of", "csv=p=0", self.path], capture_output=True, text=True,
                               check=False)
        return int(probe.stdout.strip().rstrip(",") or 0)

    def complaints(self):
        """What ffmpeg says while it decodes everything; empty for a file without fault."""
        played = subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-i", self.path, "-enc_time_base", "-1",
                                 "-f", "null", "-"], capture_output=True, text=True, check=False)
        return played.stderr.strip() or ("" if played.returncode == 0 else f"status {played.returncode}")

    def numbers(self, width=320, height=240):
        """The numbers of its pictures, -1 for what shows none."""
        process = subprocess.Popen(
            ["ffmpeg", "-v", "quiet", "-nostdin", "-i", self.path, "-map", "0:v:0", "-fps_mode", "passthrough",
             "-pix_fmt", "yuv420p", "-f", "rawvideo", "-"], stdout=subprocess.PIPE)
        result = []
        with process:
            while len(picture := process.stdout.read(width * height * 3 // 2)) == width * height * 3 // 2:
                result.append(self._number(picture[height // 2 * width:][:width]))
        return result

    @staticmethod
    def _number(row):
        value = 0
        for bit in range(BITS):
            luma = row[len(row) * (2 * bit + 3) // (2 * (BITS + 2))]
            if 90 < luma < 165:
                return -1
            value = value * 2 + (luma >= 165)
        return value
