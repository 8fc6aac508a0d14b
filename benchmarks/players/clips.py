"""The clips that are played, made by the ffmpeg command once and kept."""
import os
import subprocess

RATE = 25
SECONDS = 40

# Name: width, height, encoder, bit rate
CLIPS = {
    "704x576 H.264": (704, 576, "libx264", 1_000_000),
    "1920x1080 H.264": (1920, 1080, "libx264", 4_000_000),
    "1920x1080 H.265": (1920, 1080, "libx265", 2_000_000),
}


def path(folder, name):
    """The clip's file, which is made when it is not there."""
    width, height, encoder, bits = CLIPS[name]
    file = os.path.join(folder, f"{name.replace(' ', '_')}_{SECONDS}s.mkv")
    if os.path.exists(file):
        return file
    os.makedirs(folder, exist_ok=True)
    # Everything moves, all the time, with some noise of a camera: still parts would cost nobody anything.
    picture = (f"testsrc2=size={width}x{height}:rate={RATE},noise=alls=6:allf=t,"
               "rotate=a=0.02*sin(2*PI*t/3):bilinear=0,format=yuv420p")
    rate = f"vbv-maxrate={bits // 1000}:vbv-bufsize={bits // 1000}"
    own = ["-x265-params", f"{rate}:keyint=50:min-keyint=50:bframes=0:log-level=error"] if encoder == "libx265" else \
          ["-maxrate", str(bits), "-bufsize", str(bits), "-x264-params", "keyint=50:min-keyint=50:scenecut=0"]
    unfinished = file + ".new.mkv"
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-nostdin",
                    "-f", "lavfi", "-i", picture, "-f", "lavfi", "-i", "sine=frequency=440:sample_rate=8000",
                    "-t", str(SECONDS), "-c:v", encoder, "-preset", "veryfast", "-b:v", str(bits), "-bf", "0", *own,
                    "-c:a", "pcm_alaw", unfinished], check=True)
    os.rename(unfinished, file)
    return file


def pictures(file):
    """How many pictures a clip has."""
    found = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v", "-count_packets",
                            "-show_entries", "stream=nb_read_packets", "-of", "csv=p=0", file],
                           check=True, capture_output=True, text=True)
    return int(found.stdout.strip().strip(","))


def bit_rate(file):
    return os.path.getsize(file) * 8 / SECONDS
