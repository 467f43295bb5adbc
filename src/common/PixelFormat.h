// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgApi.h"

namespace vek {

/// Samples of a blue-green-red pixel, bytes or words; 0 for every other format.
constexpr unsigned colorSamples(unsigned long pixelFormat) {
    switch (pixelFormat) {
    case VEK_DESTINATION_BGR24:
    case VEK_DESTINATION_BGR48:
        return 3;
    case VEK_DESTINATION_BGRX32:
    case VEK_DESTINATION_BGRX64:
        return 4;
    default:
        return 0;
    }
}

/// Samples of a grey or blue-green-red pixel of bytes; 0 for every other format.
constexpr unsigned byteSamples(unsigned long pixelFormat) {
    switch (pixelFormat) {
    case VEK_DESTINATION_MONO8:
        return 1;
    case VEK_DESTINATION_BGR24:
        return 3;
    case VEK_DESTINATION_BGRX32:
        return 4;
    default:
        return 0;
    }
}

/// Whether a format is one of the grey ones of words.
constexpr bool isGrayOfWords(unsigned long pixelFormat) {
    return pixelFormat == VEK_DESTINATION_WORDS || pixelFormat == VEK_DESTINATION_MONO10 ||
           pixelFormat == VEK_DESTINATION_MONO12 || pixelFormat == VEK_DESTINATION_MONO16;
}

/// Whether a format is one of the two grey ones of words that tell their depth to all functions.
constexpr bool isMono10Or12(unsigned long pixelFormat) {
    return pixelFormat == VEK_DESTINATION_MONO10 || pixelFormat == VEK_DESTINATION_MONO12;
}

/// Whether a format has samples of words; of bytes otherwise.
constexpr bool isOfWords(unsigned long pixelFormat) {
    return isGrayOfWords(pixelFormat) || pixelFormat == VEK_DESTINATION_BGR48 || pixelFormat == VEK_DESTINATION_BGRX64;
}

/// Samples of a blue-green-red pixel of words, or of bytes; 0 for every other format.
constexpr unsigned colorSamplesOf(unsigned long pixelFormat, bool words) {
    return isOfWords(pixelFormat) == words ? colorSamples(pixelFormat) : 0;
}

/// Whether a format is grey, of words or, without them, of bytes.
constexpr bool isGrayOf(unsigned long pixelFormat, bool words) {
    return words ? isGrayOfWords(pixelFormat) : pixelFormat == VEK_DESTINATION_MONO8;
}

/// Whether a format is grey.
constexpr bool isGray(unsigned long pixelFormat) {
    return isGrayOf(pixelFormat, false) || isGrayOf(pixelFormat, true);
}

} // namespace vek
