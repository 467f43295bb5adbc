// SPDX-License-Identifier: Apache-2.0
#include "imageproc/Sharpness_Corrections.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>

namespace vek {

namespace {

using Segments = rows::SCorrectionSegments;
using Line = rows::SCorrectionLine;
using Digits = rows::SCorrectionDigits;

constexpr unsigned kLargest = 4095;
/// Largest product of a line, with room for what is added to it.
constexpr double kRoom = 2'000'000'000.0;

/// What may be added for all entries of a part, or of a digit.
struct SRange {
    std::int64_t low = std::numeric_limits<std::int64_t>::min();
    std::int64_t high = std::numeric_limits<std::int64_t>::max();

    void Narrow(std::int64_t newLow, std::int64_t newHigh) {
        low = std::max(low, newLow);
        high = std::min(high, newHigh);
    }
    bool IsEmpty() const { return low > high; }
};

/// The entry m steps beyond the coring.
unsigned correctionAt(const SCorrectionTable& table, std::size_t m) {
    return table.entries[table.coring + m];
}

/// The last m that says anything: the first one with the largest correction, or the last entry.
std::uint32_t lastOf(const SCorrectionTable& table) {
    const auto end = static_cast<std::uint32_t>(table.entries.size() - table.coring);
    std::uint32_t last = 0;
    while (last + 1 < end && correctionAt(table, last) < kLargest) {
        ++last;
    }
    return last;
}

/// What may be added to value, in 2^-shift, for an entry.
void narrow(SRange* range, unsigned entry, unsigned shift, std::int64_t value) {
    const std::int64_t end = entry == kLargest ? std::int64_t{1} << 32 : (std::int64_t{entry} + 1) << shift;
    range->Narrow((std::int64_t{entry} << shift) - value, end - value - 1);
}

/// The largest lower limit, the one after it, and where the largest is; of upper ones, negated, the same.
struct SExtremes {
    std::int64_t first = std::numeric_limits<std::int64_t>::min();
    std::int64_t second = std::numeric_limits<std::int64_t>::min();
    std::uint32_t at = 0;

    void Take(std::int64_t value, std::uint32_t position) {
        if (value > first) {
            second = first;
            first = value;
            at = position;
        } else {
            second = std::max(second, value);
        }
    }
};

/// Rest, whole part and exceptions of the segment of count entries from m = first on, with a turn; false where one
/// entry above and one below the others is not all that is amiss.
bool fitSegment(const SCorrectionTable& table, std::uint32_t first, std::uint32_t count, std::int64_t turn,
                Segments* segments) {
    const std::uint32_t h = first >> segments->bits;
    const std::int64_t slope = segments->slope + turn;
    SExtremes low;
    SExtremes high;
    for (std::uint32_t i = 0; i < count; ++i) {
        SRange range;
        narrow(&range, correctionAt(table, first + i), segments->shift,
               static_cast<std::int64_t>(i) * slope >> segments->bits);
        low.Take(range.low, i);
        high.Take(-range.high, i);
    }
    for (const bool take : {false, true}) {
        for (const bool add : {false, true}) {
            const std::int64_t least = add ? low.second : low.first;
            const std::int64_t most = -(take ? high.second : high.first);
            // Where the corrections have their largest, sums may be above it.
            const std::int64_t offset =
                std::clamp(std::int64_t{h} * segments->whole << segments->shift, least, std::max(least, most));
            const std::int64_t whole = offset >> segments->shift;
            const std::int64_t more = whole - std::int64_t{h} * segments->whole;
            const std::int64_t highest = (((std::int64_t{1} << segments->bits) - 1) * slope >> segments->bits) + 255;
            const std::int64_t one = std::int64_t{1} << segments->shift;
            const bool near = (!add || (low.first - offset <= one && low.at < 255)) &&
                              (!take || (offset + high.first <= one && high.at < 255));
            const bool apart = !add || !take || low.at != high.at;
            if (least <= most && near && apart && more >= 0 && more <= 255 && highest <= 65535 && slope <= 65535) {
                segments->turn[h] = static_cast<std::uint8_t>(turn);
                segments->rest[h] = static_cast<std::uint8_t>(offset - (whole << segments->shift));
                segments->more[h] = static_cast<std::uint8_t>(more);
                segments->add[h] = static_cast<std::uint8_t>(add && low.first > offset ? low.at + 1 : 0);
                segments->take[h] = static_cast<std::uint8_t>(take && -high.first < offset ? high.at + 1 : 0);
                return true;
            }
        }
    }
    return false;
}

/// Of a float that holds value; the vectors take it from its bits, too.
unsigned exponentOf(std::uint32_t value) {
    return std::bit_cast<std::uint32_t>(static_cast<float>(value)) >> 23;
}

/// Turns and offsets of a line whose slope, shift and last are set, by the highest parts of products below 2^31, 8 or
/// 16: false where they do not give an entry.
bool fitParts(const SCorrectionTable& table, unsigned parts, Line* line) {
    constexpr unsigned bias = 127;
    const unsigned first = bias + 31 - parts;
    line->least = std::uint32_t{1} << (first - bias);
    line->twice = parts < Line::kParts;
    std::array<SRange, Line::kParts> ranges{};
    std::array<std::int64_t, Line::kParts> turns{};
    for (unsigned exponent = first; exponent < first + parts; ++exponent) {
        // From this power of two on sums are multiples of unit, and so is what they grow by.
        const int power = static_cast<int>(exponent - bias) - static_cast<int>(line->shift);
        const double unit = std::ldexp(1.0, power - 23);
        const double grows = std::nearbyint(static_cast<double>(table.step) / unit) * unit;
        turns[exponent % parts] = std::llround(std::ldexp(grows, static_cast<int>(line->shift))) - line->slope;
    }
    for (std::uint32_t m = 0; m <= line->last; ++m) {
        const std::uint32_t product = m * line->slope;
        const std::size_t part = exponentOf(std::max(product, line->least)) % parts;
        const std::int64_t value = product + m * turns[part];
        narrow(&ranges[part], correctionAt(table, m), line->shift, value);
    }
    for (std::size_t i = 0; i < Line::kParts; ++i) {
        const std::size_t part = i % parts;
        const bool used = ranges[part].low != SRange{}.low;
        const std::int64_t offset = used ? ranges[part].low : 0;
        constexpr std::int64_t largestTurn = std::numeric_limits<std::int16_t>::max();
        constexpr std::int64_t largestOffset = 1 << 28;
        if (ranges[part].IsEmpty() || std::abs(turns[part]) > largestTurn || std::abs(offset) > largestOffset) {
            return false;
        }
        line->turn[i] = static_cast<std::int32_t>(turns[part]);
        line->offset[i] = static_cast<std::int32_t>(offset);
    }
    return true;
}

} // namespace

bool findSegments(const SCorrectionTable& table, Segments* segments) {
    *segments = {};
    segments->bits = 1;
    if (table.coring >= table.entries.size()) {
        return true; // nothing is corrected
    }
    const std::uint32_t last = lastOf(table);
    segments->last = static_cast<std::uint16_t>(last);
    segments->bits = static_cast<unsigned>(std::max(static_cast<int>(std::bit_width(last)) - 4, 1));
    const std::uint32_t length = 1U << segments->bits;
    // As many bits of the fraction as 16 hold, of which the rests have 8.
    const double span = static_cast<double>(table.step) * length;
    constexpr double room = 60'000.0;
    for (segments->shift = 8; std::ldexp(span, static_cast<int>(segments->shift)) > room; --segments->shift) {
        if (segments->shift == 1) {
            return false;
        }
    }
    const auto scale = static_cast<int>(segments->shift + segments->bits);
    constexpr std::int64_t halfTurn = 128;
    const auto mid = std::llround(std::ldexp(static_cast<double>(table.step), scale));
    segments->slope = static_cast<std::uint16_t>(std::clamp<std::int64_t>(mid - halfTurn, 0, 65535));
    segments->whole = static_cast<std::uint16_t>(span);
    for (std::uint32_t first = 0; first <= last; first += length) {
        const std::uint32_t count = std::min(length, last - first + 1);
        const double rise =
            count == 1 ? 0.0 : (double{table.sums[first + count - 1]} - double{table.sums[first]}) / (count - 1);
        const auto best = std::llround(std::ldexp(rise, scale)) - segments->slope;
        constexpr int tilts[] = {0, 1, -1, 2, -2, 3, -3};
        if (std::none_of(std::begin(tilts), std::end(tilts), [&](int tilt) {
                return fitSegment(table, first, count, std::clamp<std::int64_t>(best + tilt, 0, 255), segments);
            })) {
            return false;
        }
    }
    return true;
}

bool findLine(const SCorrectionTable& table, Line* line) {
    if (table.coring >= table.entries.size()) {
        *line = {}; // nothing is corrected
        return true;
    }
    line->last = lastOf(table);
    // From where large sums are exact, on to more of the fraction.
    for (line->shift = 18; line->shift < 27; ++line->shift) {
        const double slope = std::ldexp(static_cast<double>(table.step), static_cast<int>(line->shift));
        if ((slope + 1) * line->last > kRoom) {
            return false;
        }
        line->slope = static_cast<std::uint32_t>(std::llround(slope));
        if (fitParts(table, Line::kParts / 2, line) || fitParts(table, Line::kParts, line)) {
            return true;
        }
    }
    return false;
}

bool findDigits(const SCorrectionTable& table, Digits* digits) {
    constexpr std::size_t count = 256;
    const std::size_t used = table.coring < count ? count - table.coring : 0; // values of m
    const auto take = [](std::int64_t value, Digits::SDigit* digit, std::size_t i) {
        digit->whole[i] = static_cast<std::uint8_t>(value >> 8);
        digit->held[i] = static_cast<std::uint8_t>(std::min<std::int64_t>(value >> 8, 255));
        digit->rest[i] = static_cast<std::uint8_t>(value);
    };
    // The lower digit as it is or, as the sums of single precision drift, with up to 3/256 more or less in the end.
    for (const double drift : {0.0, 1.0, -1.0, 0.5, -0.5, 2.0, -2.0, 3.0, -3.0}) {
        std::array<std::int64_t, 16> lower{};
        for (std::size_t k = 0; k < lower.size(); ++k) {
            const auto digit = static_cast<double>(k);
            lower[k] = std::max(0LL, std::llround(static_cast<double>(table.step) * digit * 256 + drift * digit / 16));
            take(lower[k], &digits->lower, k);
        }
        bool fits = true;
        for (std::size_t i = 0; i < 16; ++i) {
            SRange range = {0, std::int64_t{1} << 30};
            for (std::size_t k = 0; k < 16 && 16 * i + k < used; ++k) {
                const auto entry = static_cast<std::int64_t>(correctionAt(table, 16 * i + k)) << 8;
                range.Narrow(entry - lower[k], entry + 255 - lower[k]);
            }
            fits = fits && !range.IsEmpty();
            take(range.low, &digits->upper, i);
            digits->upper.rest[i] = static_cast<std::uint8_t>(~digits->upper.rest[i]);
        }
        if (fits) {
            return true;
        }
    }
    return false;
}

} // namespace vek
