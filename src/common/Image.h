// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <type_traits>

namespace vek {

/// Row y of an image that starts at base and whose rows stand pitch bytes apart.
template <class T>
T* rowAt(T* base, std::size_t y, std::size_t pitch) {
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + y * pitch);
}

/// The next multiple of 4, the row length that derived destination pitches are rounded up to.
constexpr unsigned long roundUpTo4(unsigned long bytes) {
    return (bytes + 3) & ~3UL;
}

/// Rows of an image in somebody else's memory, of which some may be missing: rows count from the top of the image, and
/// data is the first one that is there.
template <class T>
struct SRows {
    unsigned long pitch = 0; ///< bytes from row to row
    T* data = nullptr;
    unsigned long top = 0; ///< row that data is

    T* Row(unsigned long y) const { return rowAt(data, y - top, pitch); }
    operator SRows<const T>() const requires(!std::is_const_v<T>) { return {pitch, data, top}; }
};

/// The same with the image's size.
template <class T>
struct SImage {
    unsigned long width = 0;  ///< pixels
    unsigned long height = 0; ///< rows of the whole image
    unsigned long pitch = 0;
    T* data = nullptr;
    unsigned long top = 0;

    T* Row(unsigned long y) const { return rowAt(data, y - top, pitch); }
    operator SRows<T>() const { return {pitch, data, top}; }
    operator SRows<const T>() const requires(!std::is_const_v<T>) { return {pitch, data, top}; }
    operator SImage<const T>() const requires(!std::is_const_v<T>) { return {width, height, pitch, data, top}; }
    bool HasPixels() const { return width != 0 && height != 0; }
    /// Whether there are pixels, but no memory for them.
    bool IsMissing() const { return data == nullptr && HasPixels(); }
};

/// pitch, or, where that is 0, the bytes of a row's samples rounded up to a multiple of 4.
template <class T>
constexpr unsigned long pitchOr(unsigned long pitch, unsigned long samples) {
    return pitch != 0 ? pitch : roundUpTo4(samples * sizeof(T));
}

} // namespace vek
