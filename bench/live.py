#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Taking and developing frames of the emulated camera, 5 megapixels each: what is lost at 500 frames a second, how much
of the machine the development of a stream reaches, and how long a frame takes from the driver to its picture, beside
GStreamer's and ffmpeg's own ways where they are installed.

Usage: live.py VEKCAM [CHECK...]. VEKCAM: build/release/vekcam; CHECK: taking, developing, latency; all without one.
"""
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

WIDTH, HEIGHT = 2592, 1944
SIZE = f"{WIDTH}x{HEIGHT}"


def emulated(vekcam, options, program, environment=None, **more):
    """The finished process, and what the camera says of it."""
    with tempfile.TemporaryDirectory() as folder:
        report = pathlib.Path(folder) / "report.json"
        done = subprocess.run([vekcam, "emulate", "--size", SIZE, "--report", report, *options, "--", *map(str, program)],
                              capture_output=True, env={**os.environ, **(environment or {})}, **more)
        if done.returncode != 0:
            sys.exit(f"{' '.join(map(str, program))}: exit code {done.returncode}\n{done.stderr.decode()}")
        return done, json.loads(report.read_text())


def captured(vekcam, options, arguments):
    """Lines of JSON, the account at their end, and what the camera says."""
    done, report = emulated(vekcam, options, [vekcam, "capture", "--device", "/dev/video0", "--json", *arguments])
    lines = [json.loads(line) for line in done.stdout.splitlines()]
    return lines[:-1], lines[-1]["account"], report


def cores(report):
    seconds = report["seconds"]
    return report["emulatorCpuSeconds"] / seconds, report["programCpuSeconds"] / seconds


def taking(vekcam):
    """Frames of bytes that nobody looks into: nothing may be lost."""
    done, report = emulated(vekcam, ["--format", "raw8", "--fps", "500", "--ring", "2"],
                            [vekcam, "capture", "--device", "/dev/video0", "-n", "1500", "--queue", "24"])
    emulator, program = cores(report)
    print(f"taking, 500 frames/s asked for: {done.stdout.decode().strip()}; camera: {report['sent']} sent, "
          f"{report['noBuffer']} found no buffer; cores: camera {emulator:.2f}, capture {program:.2f}")


def developing(vekcam):
    """Frames of 12 bits, developed and discarded, as fast as they go; beside the chain with a core of its own."""
    threads = os.cpu_count()
    lines, _, _ = captured(vekcam, ["--format", "raw12", "--fps", "20", "--ring", "4"],
                           ["-n", "100", "--discard", "--threads", "1"])
    chain = statistics.median(line["latency"] for line in lines[10:])
    print(f"developing, one thread, 20 frames a second: {1e3 * chain:.1f} ms a frame")
    lines, _, report = captured(vekcam, ["--format", "raw12", "--pace", "reader", "--ring", "4"],
                                ["-n", "2000", "--discard", "--threads", str(threads)])
    # The camera makes its ring of frames in front of the first one.
    settled = [line["timestamp"] for line in lines[100:]]
    rate = (len(settled) - 1) / (settled[-1] - settled[0])
    emulator, program = cores(report)
    left = threads - emulator
    print(f"developing a stream, {threads} threads: {rate:.0f} frames/s; cores: camera {emulator:.2f}, capture "
          f"{program:.2f}; of what the camera leaves of the cores, {rate * chain / left:.2f} is the chain")


def spread(seconds):
    ordered = sorted(seconds)
    return (f"median {1e3 * statistics.median(ordered):.1f} ms, 99.9 % {1e3 * ordered[min(len(ordered) - 1, int(0.999 * len(ordered)))]:.1f} ms"
            f" of {len(ordered)} frames")


def latency(vekcam):
    """From the moment that a frame is taken from the driver to its picture, 20 frames a second of bytes."""
    options = ["--format", "raw8", "--fps", "20", "--ring", "4"]
    count = 300
    for threads in (1, os.cpu_count()):
        lines, _, _ = captured(vekcam, options, ["-n", str(count), "--discard", "--threads", str(threads)])
        print(f"latency, capture, {threads} threads: {spread([line['latency'] for line in lines[10:]])}")
    if subprocess.run(["sh", "-c", "gst-inspect-1.0 bayer2rgb"], capture_output=True).returncode == 0:
        done, _ = emulated(vekcam, options,
                           ["gst-launch-1.0", "v4l2src", "device=/dev/video0", f"num-buffers={count}", "!",
                            f"video/x-bayer,format=rggb,width={WIDTH},height={HEIGHT}", "!", "bayer2rgb", "!",
                            "fakesink", "sync=false"],
                           {"GST_TRACERS": "latency(flags=pipeline)", "GST_DEBUG": "GST_TRACER:7",
                            "GST_DEBUG_NO_COLOR": "1"})
        times = [int(value) / 1e9 for value in re.findall(r"latency, .*?time=\(guint64\)(\d+)", done.stderr.decode())]
        print(f"latency, GStreamer's bayer2rgb: {spread(times[10:])}")
    if shutil.which("ffmpeg"):
        picture = WIDTH * HEIGHT * 3
        with tempfile.TemporaryDirectory() as folder:
            log = pathlib.Path(folder) / "log.json"
            running = subprocess.Popen([vekcam, "emulate", "--size", SIZE, *options, "--log", log, "--", "ffmpeg",
                                        "-loglevel", "error", "-f", "v4l2", "-input_format", "bayer_rggb8", "-i",
                                        "/dev/video0", "-frames:v", str(count), "-fps_mode", "passthrough", "-pix_fmt",
                                        "rgb24", "-f", "rawvideo", "pipe:1"], stdout=subprocess.PIPE)
            arrived = []
            while len(running.stdout.read(picture)) == picture:
                arrived.append(time.clock_gettime(time.CLOCK_MONOTONIC))
            running.wait()
            sent = [json.loads(line) for line in log.read_text().splitlines()[:-1]]
            times = [at - frame["time"] / 1e9 for at, frame in zip(arrived, (f for f in sent if f["fate"] == "whole"))]
            print(f"latency, ffmpeg, from the frame's end into a pipe: {spread(times[10:])}")


CHECKS = [taking, developing, latency]


def main():
    for check in CHECKS:
        if not sys.argv[2:] or check.__name__ in sys.argv[2:]:
            check(sys.argv[1])


if __name__ == "__main__":
    main()
