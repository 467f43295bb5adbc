// SPDX-License-Identifier: Apache-2.0
// Shading correction rows.

namespace vek::rows::VEK_ISA {
namespace {

/// Entry x of a map row that starts at any address.
inline std::uint32_t entryAt(const void* entries, std::size_t x) {
    std::uint32_t entry;
    __builtin_memcpy(&entry, static_cast<const std::uint8_t*>(entries) + x * sizeof entry, sizeof entry);
    return entry;
}

template <class T>
inline T limited(std::uint32_t value, std::uint32_t maxValue) {
    return static_cast<T>(value < maxValue ? value : maxValue);
}

template <class T>
void shadingGain(T* row, const void* entries, std::size_t width, std::uint32_t offset, std::uint32_t maxValue) {
    for (std::size_t x = 0; x < width; ++x) {
        row[x] = limited<T>(((row[x] - offset) * entryAt(entries, x) >> 7) + offset, maxValue);
    }
}

template <class T>
void shadingOffset(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    for (std::size_t x = 0; x < width; ++x) {
        const std::uint32_t sum = row[x] + entryAt(entries, x);
        row[x] = static_cast<std::int32_t>(sum) <= 0 ? T{0} : limited<T>(sum, maxValue);
    }
}

template <class T>
void shadingShow(T* row, const void* entries, std::size_t width, std::uint32_t maxValue) {
    for (std::size_t x = 0; x < width; ++x) {
        row[x] = limited<T>(entryAt(entries, x), maxValue);
    }
}

template <class T>
void addToMean(const T* row, double* mean, std::size_t width, double count) {
    for (std::size_t x = 0; x < width; ++x) {
        mean[x] = (mean[x] * count + row[x]) / (count + 1);
    }
}

template <class T>
constexpr SShadingRows<T> shadingTable() {
    return {shadingGain<T>, shadingOffset<T>, shadingShow<T>, addToMean<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
