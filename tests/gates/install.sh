#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The installed library serves an application, through CMake's package and through pkg-config, under a prefix that is
# chosen when installing and from wherever the tree is moved to.
# Usage: install.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source_dir=$1
build_dir=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export LC_ALL=C
unset DESTDIR PKG_CONFIG_PATH PKG_CONFIG_LIBDIR PKG_CONFIG_SYSROOT_DIR LD_LIBRARY_PATH
example=$source_dir/examples/demosaic.c

# configured LIBDIR INCLUDEDIR: a build tree with these folders, and with the library that was built before.
configured() {
    cmake -S "$source_dir" -B "$scratch/build" -DCMAKE_INSTALL_PREFIX=/nowhere -DCMAKE_INSTALL_LIBDIR="$1" \
        -DCMAKE_INSTALL_INCLUDEDIR="$2" >/dev/null
    cp -a "$build_dir"/libVekTrgApi.so* "$scratch/build/"
}

# says WANTED COMMAND...: the command prints exactly that, blanks at the end apart.
says() {
    local wanted=$1 got
    shift
    got=$("$@" | sed 's/ *$//')
    [ "$got" = "$wanted" ] && return
    printf '%s\n  prints  %s\n  not     %s\n' "$*" "$got" "$wanted" >&2
    return 1
}

# folder VARIABLE: the folder of pkg-config's variable, which comes quoted, without the detours of a relative path.
folder() { eval "realpath -m $(pkg-config --variable="$1" VekTrgApi)"; }

# used PREFIX LIBDIR: applications find the library there, are built with it and run.
used() {
    local prefix=$1 libdir=$2
    rm -rf "$scratch/consumer"
    cmake -S "$source_dir/tests/gates/consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
        -DEXAMPLE="$example" >/dev/null
    cmake --build "$scratch/consumer" >/dev/null
    says 'second pixel: B 50 G 10 R 10' "$scratch/consumer/consumer"
    ldd "$scratch/consumer/consumer" | grep -F "=> $prefix/$libdir/libVekTrgApi.so.2 " >/dev/null

    export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
    says 2.0.0 pkg-config --modversion VekTrgApi
    says "$prefix" folder prefix
    says "$prefix/$libdir" folder libdir
    says "$prefix/include" folder includedir
    eval "cc -std=c99 '$example' $(pkg-config --cflags --libs VekTrgApi) -o '$scratch/plain'"
    says 'second pixel: B 50 G 10 R 10' env LD_LIBRARY_PATH="$prefix/$libdir" "$scratch/plain"
    rm "$scratch/plain"
}

# The library folder has two levels, as Debian's; neither prefix is known when configuring.
libdir=lib/x86_64-linux-gnu
configured $libdir include
cmake --install "$scratch/build" --prefix "$scratch/first" >/dev/null
if grep -r "nowhere" "$scratch/first"; then
    echo "installed files name the prefix of the configuration" >&2
    exit 1
fi
used "$scratch/first" $libdir
mkdir "$scratch/other place"
mv "$scratch/first" "$scratch/other place/moved"
used "$scratch/other place/moved" $libdir

# pc LINE...: VekTrgApi.pc has exactly these lines behind the description.
pc() { says "$(printf '%s\n' "$@")" grep -Ev '^(Name|Description|Version):|^$' "$scratch/build/src/VekTrgApi.pc"; }
flags=('Libs: -L${libdir} -lVekTrgApi' 'Cflags: -I${includedir}')
pc 'prefix=${pcfiledir}/../../..' "libdir=\${prefix}/$libdir" 'includedir=${prefix}/include' "${flags[@]}"
configured lib include/vek
pc 'prefix=${pcfiledir}/../..' 'libdir=${prefix}/lib' 'includedir=${prefix}/include/vek' "${flags[@]}"
configured lib /elsewhere/include
pc 'prefix=${pcfiledir}/../..' 'libdir=${prefix}/lib' 'includedir=/elsewhere/include' "${flags[@]}"
configured /elsewhere/lib include
pc 'prefix=/nowhere' 'libdir=/elsewhere/lib' 'includedir=${prefix}/include' "${flags[@]}"
echo "installed, found and used, moved, found and used"
