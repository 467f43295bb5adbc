#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs programs of the system on the emulated camera and holds what they got against what was sent.

Usage: programs.py VEKCAM CHECK. Exit code 77: a program is not installed.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import zlib

SKIPPED = 77
# What ends every run: nothing here takes longer.
PATIENCE = 100


class Camera:
    """One run after the other in a temporary folder, which is there as long as the object."""

    def __init__(self, vekcam):
        self.vekcam = vekcam
        self.place = tempfile.TemporaryDirectory(prefix="vekcam-emulator-")
        self.folder = pathlib.Path(self.place.name)

    def run(self, options, program, environment=None):
        """The finished process; sent: lines of the log; report: of all frames."""
        log, report = self.folder / "log.json", self.folder / "report.json"
        done = subprocess.run(
            [self.vekcam, "emulate", "--log", log, "--report", report, *options, "--", *map(str, program)],
            capture_output=True, text=True, errors="replace", timeout=PATIENCE, env={**os.environ, **(environment or {})})
        self.sent = [json.loads(line) for line in log.read_text().splitlines()[:-1]] if log.exists() else []
        self.report = json.loads(report.read_text()) if report.exists() else {}
        return done


def need(*programs):
    for program in programs:
        if shutil.which(program) is None:
            print(f"{program} is not installed")
            sys.exit(SKIPPED)


def same(what, got, wanted):
    if got != wanted:
        sys.exit(f"{what}: {got!r}, not {wanted!r}")


def frames_match(camera, path, count, offset=0):
    """A file of frames against those that were sent: every byte, by its CRC-32."""
    arrived = [frame for frame in camera.sent if frame["fate"] == "whole"][offset:]
    data = path.read_bytes()
    size = arrived[0]["bytes"]
    same("bytes", len(data), count * size)
    for i in range(count):
        crc = f"{zlib.crc32(data[i * size:(i + 1) * size]):08x}"
        same(f"frame {i}", crc, arrived[i]["crc32"])


def refusals(camera):
    folder = camera.folder

    def refused(program, code, words, *arguments):
        done = camera.run([], [program, *arguments])
        same(f"exit code of {program}", done.returncode, code)
        if words not in done.stderr:
            sys.exit(f"{program}: {done.stderr!r} without {words!r}")

    refused("no-such-program-anywhere", 127, "no such program")
    refused(folder / "none", 127, "no such program")
    refused("/", 126, "a folder")
    plain = folder / "plain"
    plain.write_text("#!/bin/sh\nexit 0\n")
    if os.getuid() != 0:
        refused(plain, 126, "may not be run")
    plain.chmod(0o755)
    same("a script", camera.run([], [plain]).returncode, 0)
    script = folder / "script"
    script.write_text("#!/no/such/interpreter\n")
    script.chmod(0o755)
    refused(script, 127, "no such interpreter")
    # Another machine's program: the ELF header of this one's, with another number in it.
    header = bytearray(pathlib.Path(sys.executable).resolve().read_bytes()[:4096])
    header[18:20] = (0xF3, 0x00)  # EM_RISCV
    other = folder / "other"
    other.write_bytes(header)
    other.chmod(0o755)
    refused(other, 126, "another processor")
    if shutil.which("cc"):
        source = folder / "static.c"
        source.write_text("int main(void) { return 0; }\n")
        static = folder / "static"
        if subprocess.run(["cc", "-static", "-o", static, source], capture_output=True).returncode == 0:
            refused(static, 126, "statically")
            script.write_text(f"#!{static}\n")
            refused(script, 126, "statically")
            script.write_text(f"#!/usr/bin/env {static}\n")
            refused(script, 126, "statically")
    if os.getuid() == 0:
        rights = folder / "rights"
        shutil.copy(shutil.which("true"), rights)
        os.chown(rights, 1234, 1234)
        rights.chmod(0o4755)
        refused(rights, 126, "setuid")
    same("bad arguments", subprocess.run([camera.vekcam, "emulate"], capture_output=True).returncode, 2)
    for node in ["/dev/video64", "/dev/video", "video0", "/dev/video01", "/dev/video0+"]:
        same(node, camera.run(["--node", node], ["true"]).returncode, 2)


def exits(camera):
    same("exit code", camera.run([], ["sh", "-c", "exit 7"]).returncode, 7)
    same("signal", camera.run([], ["sh", "-c", "kill -9 $$"]).returncode, 128 + 9)
    same("signals by default", camera.run([], ["sh", "-c", "trap - PIPE; kill -PIPE $$"]).returncode, 128 + 13)
    # A signal to the tool reaches the program.
    running = subprocess.Popen([camera.vekcam, "emulate", "--", "sh", "-c", "trap 'kill $!; exit 9' TERM; sleep 60 & echo; wait"],
                               stdout=subprocess.PIPE)
    running.stdout.readline()
    running.terminate()
    same("forwarded", running.wait(PATIENCE), 9)
    environment = {"TMPDIR": str(camera.folder)}
    camera.run([], ["true"], environment)
    same("folders left", [name for name in os.listdir(camera.folder) if name.startswith("vekcam-emulate-")], [])
    # Several cameras at once, each its own; a node elsewhere.
    done = camera.run(["--node", "/dev/video7", "--name", "outer"],
                      [camera.vekcam, "emulate", "--node", "/dev/video7", "--name", "inner", "--", "sh", "-c",
                       "cat /sys/class/video4linux/video7/name; ls /dev/video*"])
    same("inner camera", done.stdout, "inner\n/dev/video7\n")


def compliance(camera):
    need("v4l2-compliance")
    for options in [[], ["--multi-planar"]]:
        for arguments in [[], ["-s"]]:
            done = camera.run(["--pace", "reader", "--size", "640x480", *options], ["v4l2-compliance", *arguments])
            last = done.stdout.strip().splitlines()[-1]
            if not last.endswith("Failed: 0, Warnings: 0") or done.returncode != 0:
                sys.exit("\n".join(line for line in done.stdout.splitlines() if "fail" in line or "warn" in line) + last)


def controls(camera):
    need("v4l2-ctl")
    done = camera.run(["--name", "Probe camera"], ["v4l2-ctl", "--list-devices"])
    same("list of devices", done.stdout, "Probe camera (platform:vekcam-sim):\n\t/dev/video0\n\n")
    done = camera.run([], ["v4l2-ctl", "--all"])
    same("--all", done.returncode, 0)
    done = camera.run([], ["sh", "-c", "v4l2-ctl -c gain=12 && v4l2-ctl -l && v4l2-ctl -C gain"])
    if "gain 0x00980913 (int)" not in done.stdout or not done.stdout.endswith("gain: 12\n"):
        sys.exit(done.stdout)


def streamed(camera, options):
    need("v4l2-ctl")
    path = camera.folder / "frames.raw"
    for pace in [["--pace", "reader"], ["--fps", "100"]]:
        done = camera.run(["--size", "320x240", *pace, *options],
                          ["v4l2-ctl", "--stream-mmap", "--stream-count=20", f"--stream-to={path}"])
        same("v4l2-ctl", done.returncode, 0)
        frames_match(camera, path, 20)


def stream(camera):
    streamed(camera, [])
    streamed(camera, ["--format", "raw10p"])


def stream_multi_planar(camera):
    streamed(camera, ["--multi-planar"])


def pulled(camera, mode):
    need("gst-launch-1.0")
    path = camera.folder / "frames.raw"
    for name, caps in [("ycrcb422", "video/x-raw,format=YUY2"), ("mono8", "video/x-raw,format=GRAY8"),
                       ("bgr8", "video/x-raw,format=BGR"), ("raw8", "video/x-bayer,format=rggb")]:
        done = camera.run(["--size", "320x240", "--pace", "reader", "--format", name],
                          ["gst-launch-1.0", "-q", "v4l2src", "num-buffers=10", f"io-mode={mode}", "!", caps, "!",
                           "filesink", f"location={path}"])
        if "not-negotiated" in done.stderr or "WARNING" in done.stderr and "no element" in done.stderr:
            print(done.stderr)
            sys.exit(SKIPPED)
        same(f"gst-launch-1.0 {name}", done.returncode, 0)
        frames_match(camera, path, 10)


def gstreamer(camera):
    pulled(camera, "mmap")


def gstreamer_dmabuf(camera):
    pulled(camera, "dmabuf")


def faults(camera):
    need("v4l2-ctl")
    script = camera.folder / "faults.txt"
    script.write_text("# one of each\nframe 2 lose 2\nframe 5 flag\nframe 7 short 100\nframe 9 stall 50\n")
    done = camera.run(["--size", "64x64", "--format", "raw8", "--pace", "reader", "--faults", script],
                      ["v4l2-ctl", "--stream-mmap", "--stream-count=20", "--stream-to=/dev/null"])
    same("v4l2-ctl", done.returncode, 0)
    counts = {name: camera.report[name] for name in ["flagged", "short", "lost"]}
    same("what was sent", counts, {"flagged": 1, "short": 1, "lost": 2})
    fates = [frame["fate"] for frame in camera.sent[:9]]
    same("fates", fates, ["whole", "whole", "lost", "lost", "whole", "flagged", "whole", "short", "whole"])
    stalled = camera.sent[9]["time"] - camera.sent[8]["time"]
    if stalled < 50e6:
        sys.exit(f"stalled for {stalled} ns")
    script.write_text("request 1 EIO\n")
    done = camera.run(["--faults", script], ["v4l2-ctl", "--all"])
    if done.returncode == 0:
        sys.exit("a failed VIDIOC_QUERYCAP went unseen")
    script.write_text("frame x lose\n")
    done = camera.run(["--faults", script], ["true"])
    same("a bad script", (done.returncode, "line 1" in done.stderr), (1, True))


def main():
    checks = [refusals, exits, compliance, controls, stream, stream_multi_planar, gstreamer, gstreamer_dmabuf, faults]
    {check.__name__: check for check in checks}[sys.argv[2]](Camera(sys.argv[1]))


if __name__ == "__main__":
    main()
