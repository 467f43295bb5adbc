#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The emulated camera under the large programs, and for long: ./dev interop.

Usage: programs.py VEKCAM PROBE [CHECK...]. PROBE: the program of tests/emulator/. Each check prints a line.
"""
import json
import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "emulator"))
import programs  # noqa: E402

OPENCV = """
import cv2, sys, zlib
camera = cv2.VideoCapture("/dev/video0", cv2.CAP_V4L2)
assert camera.isOpened()
camera.set(cv2.CAP_PROP_FOURCC, cv2.VideoWriter.fourcc(*sys.argv[1]))
camera.set(cv2.CAP_PROP_CONVERT_RGB, 0)
for i in range(10):
    ok, frame = camera.read()
    assert ok
    print(f"{zlib.crc32(frame.tobytes()):08x}")
"""


def resident(pid):
    """Kilobytes of memory that a process has."""
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmRSS:"):
            return int(line.split()[1])
    return 0


class Run(programs.Camera):
    def __init__(self, vekcam, probe):
        super().__init__(vekcam)
        self.probe = probe

    def taken(self, options, count, buffers, reading):
        """What the probe says, and the report."""
        done = self.run(options, [self.probe, "take", count, buffers, reading])
        programs.same("probe", (done.returncode, done.stderr), (0, ""))
        return json.loads(done.stdout)


def ffmpeg(run):
    programs.need("ffmpeg")
    path = run.folder / "frames.raw"
    for name, pixels in [("ycrcb422", "yuyv422"), ("bgr8", "bgr24"), ("mono8", "gray")]:
        done = run.run(["--size", "320x240", "--pace", "reader", "--format", name],
                       ["ffmpeg", "-loglevel", "error", "-y", "-f", "v4l2", "-input_format", pixels, "-i", "/dev/video0",
                        "-frames:v", "10", "-fps_mode", "passthrough", "-f", "rawvideo", path])
        programs.same(f"ffmpeg {name}", done.returncode, 0)
        programs.frames_match(run, path, 10)
    return "ycrcb422, bgr8, mono8: every byte as sent"


def opencv(run):
    python = "/usr/bin/python3"
    if subprocess.run([python, "-c", "import cv2"], capture_output=True).returncode != 0:
        return "python3-opencv is not installed"
    for name, code in [("ycrcb422", "YUYV"), ("mono8", "GREY"), ("bgr8", "BGR3")]:
        done = run.run(["--size", "320x240", "--pace", "reader", "--format", name], [python, "-c", OPENCV, code])
        programs.same(f"OpenCV {name}", done.returncode, 0)
        whole = [frame["crc32"] for frame in run.sent]
        got = done.stdout.split()
        first = whole.index(got[0]) if got[0] in whole else sys.exit(f"OpenCV {name}: other bytes")
        programs.same(f"OpenCV {name}", got, whole[first:first + 10])
    return "YUYV, GREY, BGR3: every byte as sent"


def compliance(run):
    for i in range(50):
        programs.compliance(run)
    return "50 times with and without -s, both interfaces: no failure, no warning"


def fast(run):
    """5 megapixels at 500 frames a second, read to the last byte."""
    options = ["--size", "2592x1944", "--format", "raw8", "--fps", "500", "--ring", "2"]
    said = run.taken(options, 1500, 16, 1)
    report = run.report
    rate = said["frames"] / said["seconds"]
    text = (f"1500 frames of 2592 x 1944 at {rate:.0f} a second, lost {said['lost']}; cores: emulator "
            f"{report['emulatorCpuSeconds'] / report['seconds']:.2f}, program "
            f"{report['programCpuSeconds'] / report['seconds']:.2f}")
    return text if said["lost"] == 0 else sys.exit(text)


def many(run):
    """A million small frames: none lost, no memory and no descriptor more."""
    report = run.folder / "report.json"
    running = subprocess.Popen(
        [run.vekcam, "emulate", "--pace", "reader", "--size", "64x64", "--format", "raw8", "--report", report, "--",
         run.probe, "take", "1000000", "4", "1"], stdout=subprocess.PIPE, text=True)
    time.sleep(5)
    early = resident(running.pid)
    late = early
    while running.poll() is None:
        late = resident(running.pid) or late
        time.sleep(1)
    said = json.loads(running.stdout.read())
    counts = json.loads(report.read_text())
    text = (f"{said['frames']} frames in {said['seconds']:.0f} s, lost {said['lost']}, the server's memory {early} kB, "
            f"then {late} kB; CPU a frame: emulator {1e6 * counts['emulatorCpuSeconds'] / said['frames']:.0f} us, "
            f"program {1e6 * counts['programCpuSeconds'] / said['frames']:.0f} us")
    good = running.returncode == 0 and said["lost"] == 0 and counts["whole"] == counts["sent"] and late < early + 2000
    return text if good else sys.exit(text)


def unplugged(run):
    script = run.folder / "faults.txt"
    script.write_text("".join(f"frame {3 * i} unplug 1\n" for i in range(1000)))
    begin = time.monotonic()
    done = run.run(["--pace", "reader", "--size", "64x64", "--format", "raw8", "--faults", script],
                   [run.probe, "unplugged", 1000])
    programs.same("probe", (done.returncode, done.stdout), (0, ""))
    return f"1000 times in {time.monotonic() - begin:.1f} s, no descriptor more"


CHECKS = [ffmpeg, opencv, compliance, unplugged, fast, many]


def main():
    wanted = sys.argv[3:] or [check.__name__ for check in CHECKS]
    failed = 0
    for check in CHECKS:
        if check.__name__ in wanted:
            try:
                print(f"{check.__name__}: {check(Run(sys.argv[1], sys.argv[2]))}", flush=True)
            except SystemExit as problem:
                failed += 1
                print(f"{check.__name__}: FAILED: {problem}", flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
