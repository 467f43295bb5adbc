// SPDX-License-Identifier: Apache-2.0
// Noise reduction rows. The median of a pixel and four neighbours is the pixel itself, held between the second and the
// third smallest of the four: no sorting is needed.

namespace vek::rows::VEK_ISA {
namespace {

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

// ---- plain loops: columns from .. to-1 of a row ----

template <class T>
inline void easyMonoSpan(const T* above, T* row, const T* below, std::size_t from, std::size_t to) {
    for (std::size_t x = from; x < to; ++x) {
        row[x] = darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
    }
}

/// The rows around a Bayer row: its greens have their neighbours in above and below, its colour in above2 and below2.
template <class T>
struct SBayerRows {
    const T* above2;
    const T* above;
    const T* below;
    const T* below2;
    unsigned greenParity;
};

template <class T>
inline void easyBayerSpan(const SBayerRows<T>& around, T* row, std::size_t from, std::size_t to) {
    const auto [above2, above, below, below2, greenParity] = around;
    for (std::size_t x = from; x < to; ++x) {
        row[x] = x % 2 == greenParity ? darkerMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                                      : darkerMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
    }
}

template <class T>
inline T subtractSpan(T* row, const T* dark, T* live, std::size_t from, std::size_t to) {
    T brightest = 0;
    for (std::size_t x = from; x < to; ++x) {
        live[x] = row[x];
        brightest = larger(brightest, live[x]);
        row[x] = static_cast<T>(row[x] > dark[x] ? row[x] - dark[x] : 0);
    }
    return brightest;
}

template <class T>
inline void repairMonoSpan(const T* above, T* row, const T* below, const T* live, std::size_t from, std::size_t to,
                           T threshold) {
    for (std::size_t x = from; x < to; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1]);
        }
    }
}

template <class T>
inline void repairBayerSpan(const SBayerRows<T>& around, T* row, const T* live, std::size_t from, std::size_t to,
                            T threshold) {
    const auto [above2, above, below, below2, greenParity] = around;
    for (std::size_t x = from; x < to; ++x) {
        if (live[x] >= threshold && row[x] < threshold) {
            row[x] = x % 2 == greenParity
                         ? brighterMedian(row[x], above[x - 1], above[x + 1], below[x - 1], below[x + 1])
                         : brighterMedian(row[x], row[x - 2], row[x + 2], above2[x], below2[x]);
        }
    }
}

#if VEK_VECTOR_BYTES != 0

// ---- blocks ----

/// v with its lanes Bytes further up; the highest ones of fill come in from below.
template <std::size_t Bytes, class V>
inline V shiftUp(V v, V fill) {
#if defined(__ARM_NEON)
    return (V)vextq_u8((uint8x16_t)fill, (uint8x16_t)v, 16 - Bytes);
#elif VEK_VECTOR_BYTES == 32
    const __m256i halfUp = _mm256_permute2x128_si256((__m256i)fill, (__m256i)v, 0x21);
    if constexpr (Bytes == 16) {
        return (V)halfUp;
    } else {
        return (V)_mm256_alignr_epi8((__m256i)v, halfUp, 16 - Bytes);
    }
#else
    return (V)_mm_alignr_epi8((__m128i)v, (__m128i)fill, 16 - Bytes);
#endif
}

/// The highest two lanes in every two.
template <class T>
inline Vec<T> repeatLastPair(Vec<T> v) {
    static constexpr SLanes<std::uint8_t> kIndex =
        makeLanes<std::uint8_t>([](std::size_t i) { return 16 - 2 * sizeof(T) + i % (2 * sizeof(T)); });
#if VEK_VECTOR_BYTES == 32
    v = (Vec<T>)_mm256_permute4x64_epi64((__m256i)v, 0xFF);
#endif
    return (Vec<T>)shuffleBytes((Vec<std::uint8_t>)v, kIndex.vec());
}

/// The two samples at p in every two lanes.
template <class T>
inline Vec<T> repeatPair(const T* p) {
    typename SPair<T>::type pair;
    __builtin_memcpy(&pair, p, sizeof pair);
    return (Vec<T>)(Vec<typename SPair<T>::type>{} + pair);
}

/// min(max(sample, floor), ceiling) in each lane: how a result depends on the one of two columns before it, which is
/// one of its four neighbours. The three others, sorted, are the limits.
template <class T>
struct SLimits {
    Vec<T> floor;
    Vec<T> ceiling;

    Vec<T> Apply(Vec<T> samples) const { return smaller(larger(samples, floor), ceiling); }
    /// This after the other one.
    SLimits After(const SLimits& first) const {
        return {larger(first.floor, floor), smaller(larger(first.ceiling, floor), ceiling)};
    }
};

/// Limits that lead from the two columns before a block to each of its lanes, from those that lead one step.
template <class T, std::size_t Bytes = 2 * sizeof(T)>
inline SLimits<T> limitsFromStart(SLimits<T> limits) {
    if constexpr (Bytes == VEK_VECTOR_BYTES) {
        return limits;
    } else {
        const SLimits<T> before = {shiftUp<Bytes>(limits.floor, Vec<T>{}), shiftUp<Bytes>(limits.ceiling, ~Vec<T>{})};
        return limitsFromStart<T, 2 * Bytes>(limits.After(before));
    }
}

template <class T>
struct SSorted {
    Vec<T> smallest;
    Vec<T> middle;
    Vec<T> largest;
};
template <class T>
inline SSorted<T> sorted(Vec<T> a, Vec<T> b, Vec<T> c) {
    const Vec<T> low = smaller(a, b);
    const Vec<T> high = larger(a, b);
    return {smaller(low, c), larger(low, smaller(high, c)), larger(high, c)};
}

/// The neighbours of colours at x, but for the left one.
template <class T>
inline SSorted<T> sortedNeighbours(const SBayerRows<T>& around, const T* row, std::size_t x) {
    return sorted<T>(load(row + x + 2), load(around.above2 + x), load(around.below2 + x));
}

template <class T>
inline Vec<T> greenMask(unsigned greenParity) {
    return greenParity == 0 ? parityMask<T, 0>() : parityMask<T, 1>();
}

template <class V, class T>
inline V darkerBlock(const T* above, V own, const T* below, std::size_t x) {
    return darkerMedian(own, inRegister(loadAs<V>(above + x - 1)), inRegister(loadAs<V>(above + x + 1)),
                        inRegister(loadAs<V>(below + x - 1)), inRegister(loadAs<V>(below + x + 1)));
}
template <class V, class T>
inline V brighterBlock(const T* above, V own, const T* below, std::size_t x) {
    return brighterMedian(own, loadAs<V>(above + x - 1), loadAs<V>(above + x + 1), loadAs<V>(below + x - 1),
                          loadAs<V>(below + x + 1));
}

/// All ones where a sample was clipped and no longer looks it.
template <class V, class T>
inline V clippedMask(V live, V own, T threshold) {
    return (V)((live >= threshold) & (own < threshold));
}

// Each of the following works on the whole blocks of an even column from on that lie before column to, and returns the
// first column behind them. The blocks do not overlap: each depends on the one before it.

template <class T>
inline std::size_t easyBayerBlocks(const SBayerRows<T>& around, T* row, std::size_t from, std::size_t to) {
    std::size_t x = from;
    if (to < x + kLanes<T>) {
        return x;
    }
    const Vec<T> greens = greenMask<T>(around.greenParity);
    // The last two results, by parity of their columns.
    Vec<T> before = repeatPair(row + x - 2);
    for (; x + kLanes<T> <= to; x += kLanes<T>) {
        const Vec<T> own = load(row + x);
        const SSorted<T> others = sortedNeighbours(around, row, x);
        const SLimits<T> limits = limitsFromStart<T>({others.middle, smaller(own, others.largest)});
        store(row + x, select(greens, darkerBlock(around.above, own, around.below, x), limits.Apply(before)));
        // Two steps from block to block: the limits do not wait for the blocks before.
        before = SLimits<T>{repeatLastPair<T>(limits.floor), repeatLastPair<T>(limits.ceiling)}.Apply(before);
    }
    return x;
}

/// Calls repair(x) for the whole blocks from column from on that have a clipped sample, and perhaps a few that have
/// none; returns the first column behind those that are done. Clipped samples are rare and stand together.
template <class T, class Repair>
inline std::size_t forClippedBlocks(const T* live, std::size_t from, std::size_t to, T threshold, Repair repair) {
    using Wide = WideVec<T>;
    constexpr std::size_t lanes = sizeof(Wide) / sizeof(T);
    const Wide limit = Wide{} + threshold;
    const auto anyClipped = [=](std::size_t x) { return anyLane(loadAs<Wide>(live + x) >= limit); };
    std::size_t x = from;
    for (; x + lanes <= to; x += lanes) {
        if (anyClipped(x)) {
            for (std::size_t i = 0; i < lanes; i += kLanes<T>) {
                repair(x + i);
            }
        }
    }
    if (x != from && !anyClipped(to - lanes)) {
        return to;
    }
    for (; x + kLanes<T> <= to; x += kLanes<T>) {
        repair(x);
    }
    return x;
}

template <class T>
inline std::size_t repairBayerBlocks(const SBayerRows<T>& around, T* row, const T* live, std::size_t from,
                                     std::size_t to, T threshold) {
    const Vec<T> greens = greenMask<T>(around.greenParity);
    return forClippedBlocks(live, from, to, threshold, [&](std::size_t x) {
        const Vec<T> own = load(row + x);
        const Vec<T> clipped = clippedMask(load(live + x), own, threshold);
        const SSorted<T> others = sortedNeighbours(around, row, x);
        // What is not clipped stays, whatever stands before it.
        const SLimits<T> limits = limitsFromStart<T>(
            {select(clipped, larger(own, others.smallest), own), select(clipped, larger(own, others.middle), own)});
        const Vec<T> green = select(clipped, brighterBlock(around.above, own, around.below, x), own);
        store(row + x, select(greens, green, limits.Apply(repeatPair(row + x - 2))));
    });
}

template <class T>
inline std::size_t repairMonoBlocks(const T* above, T* row, const T* below, const T* live, std::size_t from,
                                    std::size_t to, T threshold) {
    return forClippedBlocks(live, from, to, threshold, [=](std::size_t x) {
        const Vec<T> own = load(row + x);
        const Vec<T> clipped = clippedMask(load(live + x), own, threshold);
        store(row + x, select(clipped, brighterBlock(above, own, below, x), own));
    });
}

#endif

// ---- kernels ----

/// The column behind the last one that has reach columns to its right.
inline std::size_t innerEnd(std::size_t width, std::size_t reach) {
    return width < reach ? 0 : width - reach;
}

template <class T>
void easyMono(const T* above, T* row, const T* below, std::size_t width) {
    const std::size_t end = innerEnd(width, 1);
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = changeBlocks(row, done, end,
                        [=]<class V>(V, std::size_t x) { return darkerBlock(above, loadAs<V>(row + x), below, x); });
#endif
    easyMonoSpan(above, row, below, done, end);
}

template <class T>
void easyBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, std::size_t width,
               unsigned greenParity) {
    const SBayerRows<T> around = {above2, above, below, below2, greenParity};
    const std::size_t end = innerEnd(width, 2);
    std::size_t done = 2;
#if VEK_VECTOR_BYTES != 0
    done = easyBayerBlocks(around, row, done, end);
#endif
    easyBayerSpan(around, row, done, end);
}

template <class T>
T subtract(T* row, const T* dark, T* live, std::size_t width) {
    std::size_t done = 0;
    T brightest = 0;
#if VEK_VECTOR_BYTES != 0
    // Memory alone decides here, and it is slower with wider vectors.
    Vec<T> bright{};
    done = changeBlocksOf<Vec<T>>(row, done, width, [&](Vec<T>, std::size_t x) {
        const Vec<T> own = load(row + x);
        const Vec<T> level = load(dark + x);
        store(live + x, own);
        bright = larger(bright, own);
        return larger(own, level) - level;
    });
    for (std::size_t i = 0; i < kLanes<T>; ++i) {
        brightest = larger(brightest, static_cast<T>(bright[i]));
    }
#endif
    return larger(brightest, subtractSpan(row, dark, live, done, width));
}

template <class T>
void repairMono(const T* above, T* row, const T* below, const T* live, std::size_t width, T threshold) {
    const std::size_t end = innerEnd(width, 1);
    std::size_t done = 1;
#if VEK_VECTOR_BYTES != 0
    done = repairMonoBlocks(above, row, below, live, done, end, threshold);
#endif
    repairMonoSpan(above, row, below, live, done, end, threshold);
}

template <class T>
void repairBayer(const T* above2, const T* above, T* row, const T* below, const T* below2, const T* live,
                 std::size_t width, unsigned greenParity, T threshold) {
    const SBayerRows<T> around = {above2, above, below, below2, greenParity};
    const std::size_t end = innerEnd(width, 2);
    std::size_t done = 2;
#if VEK_VECTOR_BYTES != 0
    done = repairBayerBlocks(around, row, live, done, end, threshold);
#endif
    repairBayerSpan(around, row, live, done, end, threshold);
}

template <class T>
constexpr SNoiseRows<T> noiseTable() {
    return {easyMono<T>, easyBayer<T>, subtract<T>, repairMono<T>, repairBayer<T>};
}

} // namespace
} // namespace vek::rows::VEK_ISA
