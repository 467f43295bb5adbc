#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Recording beside fio: frames of one size to the same file system, with direct I/O, the same block size and as many
writes under way, by turns.

Usage: recording.py RECORDING_SPEED [--folder DIR] [--width W] [--height H] [--megabytes N] [--depth N] [--rounds N]
RECORDING_SPEED: build/release/tests/client/recording_speed. All files that it writes into DIR are removed again.
"""
import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import tempfile


def fio(folder, block, total, depth, engine):
    """Bytes a second of fio, with the processor time that it took, seconds."""
    shape = (["--ioengine=io_uring", f"--iodepth={depth}", f"--size={total}"] if engine == "io_uring" else
             ["--ioengine=psync", "--thread", f"--numjobs={depth}", f"--size={total // depth // block * block}",
              f"--offset_increment={total // depth // block * block}"])
    command = ["fio", "--name=frames", f"--directory={folder}", "--filename=frames", "--rw=write", f"--bs={block}",
               "--direct=1", "--fallocate=posix", "--end_fsync=0", "--group_reporting", "--output-format=json", *shape]
    before = os.times()
    written = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    after = os.times()
    os.remove(folder / "frames")
    return written["jobs"][0]["write"]["bw_bytes"], cpu(before, after)


def recorded(program, folder, arguments, frames):
    path = folder / "run.vrec"
    before = os.times()
    line = subprocess.run([program, path, str(arguments.width), str(arguments.height), str(frames),
                           str(arguments.depth), "16"], check=True, capture_output=True, text=True).stdout
    after = os.times()
    shutil.rmtree(path)
    size, seconds, way = line.split()
    if way != "direct":
        raise SystemExit("the file system has no direct I/O")
    return int(size) / float(seconds), cpu(before, after)


def cpu(before, after):
    return after.children_user + after.children_system - before.children_user - before.children_system


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--folder", type=pathlib.Path, default=pathlib.Path("/var/tmp"))
    parser.add_argument("--width", type=int, default=2592)
    parser.add_argument("--height", type=int, default=1944)
    parser.add_argument("--megabytes", type=int, default=1000)
    parser.add_argument("--depth", type=int, default=4)
    parser.add_argument("--rounds", type=int, default=5)
    arguments = parser.parse_args()
    block = (arguments.width * arguments.height + 4095) // 4096 * 4096
    frames = max(arguments.megabytes * 1000000 // block, 1)
    print(f"{frames} frames, blocks of {block} bytes, {arguments.depth} under way, load {os.getloadavg()[0]:.1f}")
    figures = {"fio psync": [], "fio io_uring": [], "recording": []}
    with tempfile.TemporaryDirectory(dir=arguments.folder) as name:
        folder = pathlib.Path(name)
        for number in range(arguments.rounds):
            figures["fio psync"].append(fio(folder, block, frames * block, arguments.depth, "psync"))
            figures["recording"].append(recorded(arguments.program, folder, arguments, frames))
            figures["fio io_uring"].append(fio(folder, block, frames * block, arguments.depth, "io_uring"))
            print(f"round {number + 1}: " + ", ".join(f"{kind} {values[-1][0] / 1e6:.0f} MB/s"
                                                      for kind, values in figures.items()))
    medians = {kind: statistics.median(rate for rate, _ in values) for kind, values in figures.items()}
    for kind, values in figures.items():
        seconds = statistics.median(spent for _, spent in values)
        print(f"{kind:13} median {medians[kind] / 1e6:.0f} MB/s, best {max(values)[0] / 1e6:.0f} MB/s, "
              f"{seconds:.2f} s of processor time")
    for kind in ("fio psync", "fio io_uring"):
        print(f"recording reaches {medians['recording'] / medians[kind]:.2f} of {kind} (medians), "
              f"{max(figures['recording'])[0] / max(figures[kind])[0]:.2f} (best)")


if __name__ == "__main__":
    main()
