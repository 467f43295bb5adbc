// SPDX-License-Identifier: Apache-2.0
// Noise reduction rows. The median of a pixel and four neighbours is the pixel itself, held between the second and the
// third smallest of the four: no sorting is needed.

namespace vek::rows::VEK_ISA {
namespace {

template <class T>
inline T smaller(T a, T b) {
    return a < b ? a : b;
}
template <class T>
inline T larger(T a, T b) {
    return a < b ? b : a;
}

/// min(centre, median of centre and four neighbours)
template <class T>
inline T darkerMedian(T centre, T a, T b, T c, T d) {
    const T thirdSmallest = larger(smaller(larger(a, b), larger(c, d)), larger(smaller(a, b), smaller(c, d)));
    return smaller(centre, thirdSmallest);
}

/// max(centre, median of centre and four neighbours)
template <class T>
inline T brighterMedian(T centre, T a, T b, T c, T d) {
    const T secondSmallest = smaller(larger(smaller(a, b), smaller(c, d)), smaller(larger(a, b), larger(c, d)));
    return larger(centre, secondSmallest);
}

template <class T>
void easyMono(const T* above, T* row, const T* below, std::size_t width) {
    for (std::size_t x = 1; x + 1 < width; ++x) {
        row[x] = darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
    }
}

template <class T>
void easyBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, std::size_t width,
               unsigned greenParity) {
    for (std::size_t x = 2; x + 2 < width; ++x) {
        row[x] = x % 2 == greenParity ? darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                                      : darkerMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
    }
}

template <class T>
void subtract(T* row, const T* dark, std::size_t width) {
    for (std::size_t x = 0; x < width; ++x) {
        row[x] = static_cast<T>(row[x] > dark[x] ? row[x] - dark[x] : 0);
    }
}

template <class T>
void repairMono(const T* above, T* row, const T* below, const T* live, std::size_t width, T threshold) {
    for (std::size_t x = 1; x + 1 < width; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
        }
    }
}

template <class T>
void repairBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, const T* live,
                 std::size_t width, unsigned greenParity, T threshold) {
    for (std::size_t x = 2; x + 2 < width; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = x % 2 == greenParity
                         ? brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                         : brighterMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
        }
    }
}

template <class T>
constexpr SNoiseRows<T> noiseTable() {
    return {easyMono<T>, easyBayer<T>, subtract<T>, repairMono<T>, repairBayer<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
