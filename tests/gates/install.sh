#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The installed library serves an application, through CMake's package and through pkg-config.
# Usage: install.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source_dir=$1
build_dir=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export LC_ALL=C

# Configured anew, so that the files hold the prefix that they are installed to.
cmake -S "$source_dir" -B "$scratch/build" -DCMAKE_INSTALL_PREFIX="$scratch/usr" -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
mkdir -p "$scratch/build" && cp -a "$build_dir"/libVekTrgApi.so* "$scratch/build/"
cmake -DCMAKE_INSTALL_PREFIX="$scratch/usr" -P "$scratch/build/src/cmake_install.cmake" >/dev/null

example=$source_dir/examples/demosaic.c
cmake -S "$source_dir/tests/gates/consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/usr" \
    -DEXAMPLE="$example" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer" | grep -qx 'second pixel: B 50 G 10 R 10'

export PKG_CONFIG_PATH=$scratch/usr/lib/pkgconfig
read -ra flags < <(pkg-config --cflags --libs VekTrgApi)
cc -std=c99 "$example" "${flags[@]}" -o "$scratch/plain"
LD_LIBRARY_PATH=$scratch/usr/lib "$scratch/plain" | grep -qx 'second pixel: B 50 G 10 R 10'
[ "$(pkg-config --modversion VekTrgApi)" = 2.0.0 ]
echo "installed, found and used"
