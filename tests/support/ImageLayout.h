// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vek::test {

/// Bytes from the start of an image to the end of its last row; 0 for an image of no pixels.
inline std::size_t imageExtent(unsigned long width, unsigned long height, std::size_t pitch, std::size_t rowBytes) {
    return width == 0 || height == 0 ? 0 : (height - 1) * pitch + rowBytes;
}

/// The pitch of rows that are derived: a multiple of 4 bytes.
inline unsigned long derivedPitch(unsigned long rowBytes) {
    return (rowBytes + 3) / 4 * 4;
}

/// A sample of an image whose rows may begin at any byte.
template <class T>
T sampleAt(const void* image, unsigned long pitch, unsigned long y, unsigned long x) {
    T value;
    std::memcpy(&value, static_cast<const std::uint8_t*>(image) + y * pitch + x * sizeof(T), sizeof value);
    return value;
}
template <class T>
void setSampleAt(void* image, unsigned long pitch, unsigned long y, unsigned long x, T value) {
    std::memcpy(static_cast<std::uint8_t*>(image) + y * pitch + x * sizeof(T), &value, sizeof value);
}

/// An image that a stage works on in place.
struct SInPlaceImage {
    unsigned long width = 0;  ///< pixels
    unsigned long height = 0; ///< rows
    unsigned samples = 1;     ///< per pixel; a fourth one is never touched
    unsigned long pitch = 0;  ///< bytes; 0: derived
};

inline unsigned long inPlacePitch(const SInPlaceImage& image, std::size_t sampleBytes) {
    return image.pitch != 0 ? image.pitch : derivedPitch(image.samples * image.width * sampleBytes);
}

/// Bytes from the first sample to the end of the last one that a stage may touch: the red sample of the last pixel
/// where pixels have a fourth one.
inline std::size_t inPlaceBytes(const SInPlaceImage& image, std::size_t sampleBytes) {
    const unsigned long samples = image.width * image.samples - (image.samples == 4 ? 1 : 0);
    return imageExtent(image.width, image.height, inPlacePitch(image, sampleBytes), samples * sampleBytes);
}

/// Pitches of one kind, in turn: derived, without padding, with a few samples and with many samples behind a row.
inline SInPlaceImage withPitch(SInPlaceImage image, unsigned kind, std::size_t sampleBytes) {
    const unsigned long row = image.width * image.samples * sampleBytes;
    constexpr unsigned long kPadding[] = {0, 0, 3, 40};
    image.pitch = kind % 4 == 0 ? 0 : row + kPadding[kind % 4] * sampleBytes;
    return image;
}

} // namespace vek::test
