#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The installed tool: it runs from where it is put, has its manual pages, which roff takes without a word, and its
# completion, which shells offer; and the emulated camera finds what it preloads. What the machine has no program for is
# said and left out.
# Usage: install_tool.sh BUILD_DIR WRITER ARGUMENT...
# WRITER ARGUMENT...: the program that writes pages and completion, and all that the build gave it behind the folder.
set -euo pipefail
build_dir=$1
shift
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export LC_ALL=C.UTF-8
unset DESTDIR LD_LIBRARY_PATH MANPATH
prefix="$scratch/some place"
cmake --install "$build_dir" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$prefix"
vekcam=$prefix/bin/vekcam
man=$prefix/share/man

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}
# has PROGRAM: it is there; or else that is said.
has() {
    command -v "$1" >/dev/null && return
    echo "no $1 here: left out"
    return 1
}

grep -q '^row kernels: ' <<<"$("$vekcam" --version)"

# Pages and completion are the same every time, and name no folder of the build.
writer=$1
shift
zsh_folder=$(dirname "$(find "$prefix" -name _vekcam)")
"$writer" "$scratch/again" "$@"
diff -r "$scratch/again/man1" "$man/man1"
diff -r "$scratch/again/man3" "$man/man3"
cmp "$scratch/again/completion/vekcam" "$prefix/share/bash-completion/completions/vekcam"
cmp "$scratch/again/completion/_vekcam" "$zsh_folder/_vekcam"
cmp "$scratch/again/completion/vekcam.fish" "$prefix/share/fish/vendor_completions.d/vekcam.fish"
if grep -rF "$build_dir" "$scratch/again"; then
    fail "a page names the folder of the build"
fi

# Pages that only lead to others are checked by following them.
mapfile -t pages < <(grep -rL '^\.so ' "$man" | sort)
((${#pages[@]} > 80)) || fail "${#pages[@]} pages"
if has groff; then
    for page in "${pages[@]}"; do
        complaints=$(groff -ww -man -z -Tutf8 -rLL=78n "$page" 2>&1)
        [ -z "$complaints" ] || fail "$page: $complaints"
    done
fi
if has mandoc; then
    # Sources without a release have no date.
    complaints=$(mandoc -T lint -W warning "${pages[@]}" | grep -v 'using it verbatim: TH ' || true)
    [ -z "$complaints" ] || fail "$complaints"
fi
if has man; then
    # An image of Debian without documentation has something else in its place.
    if man --version 2>/dev/null | grep -q '^man '; then
        # A manual beside a folder of PATH is found, another one by MANPATH.
        [ "$(PATH="$prefix/bin:$PATH" man -w vekcam)" = "$man/man1/vekcam.1" ] || fail "man -w vekcam"
        export MANPATH=$man MANWIDTH=80
        grep -q '^ *vekcam-convert(1)$' <<<"$(man vekcam)" || fail "man vekcam"
        grep -q -- '--colour-array, --color-array NAME' <<<"$(man vekcam convert)" || fail "man vekcam convert"
        grep -q 'VekCam_GetALCMode(VekCam_Handle handle' <<<"$(man VekCam_GetALCMode)" || fail "man VekCam_GetALCMode"
        unset MANPATH
    fi
fi

# offers WANTED WORD...: what bash's completion makes of a command line, whose last word is being written.
source "$prefix/share/bash-completion/completions/vekcam"
compopt() { :; } # there is no line that bash would complete
offers() {
    local wanted=$1
    shift
    COMP_WORDS=(vekcam "$@")
    COMP_CWORD=$#
    _vekcam
    [ "$(printf '%s\n' "${COMPREPLY[@]}" | sort -u)" = "$(printf '%s\n' $wanted | sort -u)" ] ||
        fail "vekcam $*: ${COMPREPLY[*]}; not $wanted"
}
cd "$scratch"
mkdir folder
touch file.raw
offers 'convert capture controls calibrate' c
offers 'black dark flat noise delay colour color' calibrate ''
offers '--help --version' --
offers '--mirror' convert --mi
offers '--light' calibrate flat --lig
offers '' calibrate dark --lig
offers 'raw12 raw12p raw12-csi2' convert in.raw --format raw12
offers 'raw12 raw12p raw12-csi2' convert in.raw --format = raw12
offers 'bilinear bilinear-fcr' convert -m bil
offers 'auto grey: profile' convert --wb ''
offers 'rggb' convert in.raw -a r
offers 'line-2m line-2m-mono' demo --sim line
offers '--width' demo --sim --wi
offers 'WBGainR= WBGainGr= WBGainGb= WBGainB=' settings save out.txt --set WBG
offers 'wait drop-oldest drop-newest copy' capture --policy ''
offers '' convert --threads ''
offers 'file.raw folder' convert f
offers 'folder' record -o fo
offers 'cmake' emulate -- cmak
offers 'file.raw' emulate -- cmake file
# All that is offered for an option is taken by it.
for format in $(COMP_WORDS=(vekcam convert -f '') COMP_CWORD=3 && _vekcam && echo "${COMPREPLY[*]}"); do
    "$vekcam" profile new --format "$format" -o - >/dev/null
done
if has zsh; then
    zsh -n "$zsh_folder/_vekcam"
    zsh -fc 'fpath=("$1" $fpath); autoload -U compinit; compinit -D; [[ $_comps[vekcam] == _vekcam ]]' - \
        "$zsh_folder" || fail "zsh does not find its completion"
fi
if has fish; then
    export HOME=$scratch/folder
    fish --no-execute "$prefix/share/fish/vendor_completions.d/vekcam.fish"
    # fish_offers WANTED LINE: the same, without the descriptions.
    fish_offers() {
        local got
        got=$(fish -c 'source "$argv[1]"; complete -C "$argv[2]"' \
            "$prefix/share/fish/vendor_completions.d/vekcam.fish" "$2" | cut -f1 | sort | tr '\n' ' ')
        [ "$got" = "$1 " ] || fail "fish: $2: $got; not $1"
    }
    fish_offers 'calibrate capture controls convert' 'vekcam c'
    fish_offers 'black color colour dark delay flat noise' 'vekcam calibrate '
    fish_offers 'raw12 raw12-csi2 raw12p' 'vekcam convert in.raw --format raw12'
    fish_offers '--light' 'vekcam calibrate flat --lig'
    fish_offers 'line-2m line-2m-mono' 'vekcam demo --sim line'
    fish_offers 'file.raw folder/' 'vekcam convert -o f'
fi

# The preloaded half of the emulated camera lies beside the program.
"$vekcam" emulate --fps 100 -- "$vekcam" capture -d /dev/video0 -n 2 --timeout 20 >"$scratch/account"
grep -q '2' "$scratch/account"
echo "installed, moved, run; pages and completion read"
