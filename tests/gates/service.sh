#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The unit of systemd is confined, and no line of it is unknown; the udev rule has the program's place. What the machine
# has no program for is left out.
# Usage: service.sh SOURCE_DIR
set -euo pipefail
source_dir=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/source"
cat >"$scratch/source/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(service NONE)
set(CMAKE_INSTALL_FULL_BINDIR /usr/bin)
set(VEKCAM_UDEV_DIR lib/udev)
set(VEKCAM_SYSTEMD_DIR lib/systemd)
add_subdirectory($source_dir/service service)
END
cmake -S "$scratch/source" -B "$scratch/build" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
DESTDIR=$scratch/root cmake --install "$scratch/build" >/dev/null
unit=$scratch/root/usr/lib/systemd/system/vekcam-record@.service
rule=$scratch/root/usr/lib/udev/rules.d/70-vekcam.rules
grep -q '^ExecStart=/usr/bin/vekcam record --device /dev/%I --output /var/lib/vekcam/%i/{time}.vrec ' "$unit"
grep -q '^PROGRAM!="/usr/bin/vekcam info --device $devnode"' "$rule"
if grep '@[A-Z_]*@' "$unit" "$rule"; then
    echo "something was not filled in" >&2
    exit 1
fi
if command -v systemd-analyze >/dev/null; then
    exposure=$(systemd-analyze security --offline=true "$unit" | sed -n 's/.*Overall exposure level for .*: \([0-9.]*\) .*/\1/p')
    awk -v exposure="$exposure" 'BEGIN { exit !(exposure != "" && exposure <= 1.0) }' || {
        echo "exposure level: $exposure" >&2
        exit 1
    }
    # The program and its manual page need not be there.
    unknown=$(systemd-analyze verify "$unit" 2>&1 | grep -v "vekcam is not executable\|Command 'man " || true)
    [ -z "$unknown" ] || { echo "$unknown" >&2; exit 1; }
    echo "exposure level $exposure"
else
    echo "no systemd-analyze here: the unit's exposure is not looked at"
fi
