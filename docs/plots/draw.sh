#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Draws the plots and pictures of docs/ anew, from runs of build/release/vekcam on the simulated camera. ./dev plots
# builds it first and installs what the drawing needs.
# VEKCAM_DATA_DIR: a folder of real raw frames, of which pictures are made to look at; none of them are kept.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

say() { printf '\n== %s\n' "$*"; }

plots() {
    local runs=build/docs
    mkdir -p "$runs"
    # plot NAME TITLE ARGUMENT...: one run of the control and its picture.
    plot() {
        local name=$1 title=$2
        shift 2
        build/release/vekcam alc "$@" --csv "$runs/alc-$name.csv" >/dev/null
        # Debian's interpreter: the one that sees the package.
        /usr/bin/python3 docs/plots/alc.py "docs/images/alc-$name.svg" "$title" "$runs/alc-$name.csv"
        echo "docs/images/alc-$name.svg"
    }
    say "plots"
    local small=(--sim global-2m --width 320)
    plot from-dark "From dark: first the exposure, then the gain" \
        "${small[@]}" --start-exposure 3 --light 1.2 --frames 24
    plot from-bright "From bright: first the gain, then the exposure" \
        "${small[@]}" --start-exposure 0 --start-gain 150 --light 9 --frames 24
    plot light-steps "Following the light" \
        "${small[@]}" --start-exposure 300 --light-steps 0:6,15:6.3,30:1.2,45:24,60:6 --frames 75
    plot uneven-curve "A curve with two unlike directions" \
        --sim global-1m --width 320 --start-exposure 3000 --light 0.6 --frames 40
    plot between-settings "A target between two gain settings" \
        --sim line-2m --width 320 --height 240 --region 48,122,16,16 --target 200 --start-exposure 0 \
        --start-gain 8 --light 3.58 --frames 24
}

noise_plot() {
    say "photon transfer"
    build/release/vekcam calibrate noise --sim rolling-4m-mono --width 800 --height 600 --plot docs/images/noise.png >/dev/null
    echo docs/images/noise.png
}

stage_pictures() {
    local frame=build/docs/stages pictures=docs/images/pipeline
    mkdir -p "$pictures"
    # Noise would make the files several times as large.
    build/release/vekcam demo -o "$frame" -n 1 --raw --no-noise --width 288 --height 216 >/dev/null
    # picture NAME ARGUMENT...: the chart after the stages that the arguments name.
    picture() {
        local name=$1
        shift
        build/release/vekcam convert "$frame/frame1.raw" -W 288 -H 216 -f raw8 -a rggb --plain "$@" -o "$pictures/$name.png"
        echo "$pictures/$name.png"
    }
    say "pictures of the image stages"
    /usr/bin/python3 docs/plots/chain.py "$pictures/chain.svg"
    echo "$pictures/chain.svg"
    picture mosaic -m mono
    picture demosaic
    picture white-balance --wb auto
    local bright=(--wb auto --raw-gamma 2.2)
    picture raw-gamma "${bright[@]}"
    picture mirror "${bright[@]}" --mirror h
    picture rotation "${bright[@]}" --rotate cw
    picture matrix "${bright[@]}" --matrix 1.6,-0.4,-0.2,-0.3,1.6,-0.3,-0.1,-0.5,1.6
    picture hue "${bright[@]}" --hue 30
    picture saturation "${bright[@]}" --saturation 160
    picture suppression "${bright[@]}" --saturation 160 --suppress-low 110,400 --suppress-high 170,400
    picture luma-gamma --wb auto --gamma 2.2
    picture contrast "${bright[@]}" --brightness -24 --contrast 16
    picture sharpness "${bright[@]}" --sharpness 80
}

first_pictures() {
    local runs=build/docs/first pictures=docs/images/first-picture vekcam=build/release/vekcam
    local frame=(-W 320 -H 240 -f raw12 -a rggb)
    mkdir -p "$runs" "$pictures"
    say "the first picture"
    "$vekcam" demo -o "$runs" -n 1 --raw --width 320 --height 240 >/dev/null
    "$vekcam" calibrate colour "$runs/deep.raw" "${frame[@]}" --black 64 --reference docs/simulated-chart.json \
        --illuminant d65 -o "$runs/camera.json" >/dev/null
    # picture NAME ARGUMENT...: the chart as the arguments have it.
    picture() {
        local name=$1
        shift
        "$vekcam" convert "$runs/deep.raw" "$@" -o "$pictures/$name.png"
        echo "$pictures/$name.png"
    }
    local profile=(-p "$runs/camera.json")
    picture plain "${frame[@]}" --plain --bits-out 8
    picture guessed "${frame[@]}" --black 64
    picture right "${profile[@]}"
    picture haze "${profile[@]}" --black 0
    picture dark "${profile[@]}" --black 400
    picture green "${profile[@]}" --wb 1,1,1
    picture array "${profile[@]}" -a gbrg
    picture blotches "${frame[@]}" --wb auto --gamma 2.2
}

demosaic_pictures() {
    local runs=build/docs/demosaic pictures=docs/images/demosaic method
    local methods
    read -ra methods <<<"$(/usr/bin/python3 docs/plots/demosaic.py --methods)"
    mkdir -p "$runs/real" "$pictures"
    say "demosaic methods"
    build/release/vekcam demo -o "$runs" -n 1 --raw --no-noise --truth --width 480 --height 360 >/dev/null
    for method in "${methods[@]}"; do
        build/release/vekcam convert "$runs/frame1.raw" -W 480 -H 360 -f raw8 -a rggb --plain -m "$method" -o "$runs/$method.png"
    done
    # The sensor's black level is 64 of 4095.
    /usr/bin/python3 docs/plots/demosaic.py docs/demosaic.md "$pictures" "$runs" 4
    echo "$pictures"
    # A frame of a real camera, which is no part of the project, in the same way: to look at, not to keep.
    local real=${VEKCAM_DATA_DIR:-}/DSC_1339_768x512_rggb.raw
    if [ -n "${VEKCAM_DATA_DIR:-}" ] && [ -f "$real" ]; then
        for method in "${methods[@]}"; do
            build/release/vekcam convert "$real" -W 768 -H 512 -f raw14 -a rggb -m "$method" --display --black 600 \
                --white 15520 -o "$runs/real/$method.png"
        done
        /usr/bin/python3 docs/plots/demosaic.py --real "$runs/real.png" "$runs/real" 150,220,120,100
        echo "$runs/real.png"
    fi
}

correction_pictures() {
    local runs=build/docs/correction pictures=docs/images/correction
    local vekcam=build/release/vekcam small=(--width 288 --height 216) name
    mkdir -p "$runs" "$pictures"
    say "corrections"
    "$vekcam" calibrate dark "${small[@]}" --hot 200 -o "$runs/dark.png" --raw "$runs/capped.raw" >/dev/null
    "$vekcam" calibrate flat "${small[@]}" --no-noise -n 1 -o "$runs/flat-frame.png" --raw "$runs/flat.raw" >/dev/null
    "$vekcam" demo "${small[@]}" --hot 200 --no-noise -n 1 --raw -o "$runs/demo" >/dev/null
    mv "$runs/demo/frame1.raw" "$runs/chart.raw"
    # corrected FRAME PICTURE ARGUMENT...: a frame after the corrections that the arguments name.
    corrected() {
        local frame=$1 picture=$2
        shift 2
        "$vekcam" convert "$runs/$frame.raw" -W 288 -H 216 -f raw8 -a rggb --plain "$@" -o "$picture"
        echo "$picture"
    }
    local complex=(--noise complex --dark "$runs/dark.png") shading=(--shading "$runs/flat-frame.png")
    local look=(--wb auto --raw-gamma 2.2)
    corrected capped "$pictures/capped.png" -m mono
    corrected capped "$pictures/capped-easy.png" -m mono --noise easy
    corrected capped "$pictures/capped-complex.png" -m mono "${complex[@]}"
    corrected chart "$pictures/chart.png" "${look[@]}"
    corrected chart "$pictures/chart-easy.png" "${look[@]}" --noise easy
    corrected chart "$pictures/chart-complex.png" "${look[@]}" "${complex[@]}"
    corrected flat "$pictures/flat.png" --wb auto
    corrected flat "$pictures/flat-shading.png" --wb auto "${shading[@]}"
    corrected flat "$runs/flat-samples.png" -m mono
    corrected flat "$runs/flat-shading-samples.png" -m mono "${shading[@]}"
    /usr/bin/python3 docs/plots/correction.py docs/correction.md "$pictures/profile.svg" "$pictures/capped" "$runs/flat"
}

plots
noise_plot
first_pictures
stage_pictures
demosaic_pictures
correction_pictures
