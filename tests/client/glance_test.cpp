// SPDX-License-Identifier: Apache-2.0
// What is seen of live frames at a glance, and how evenly they come.
#include "client/statistics/FrameGlance.h"
#include "client/statistics/IntervalMeter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

using namespace std::chrono_literals;

/// A frame of samples, as a format has them.
std::vector<std::uint8_t> transferred(const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                      unsigned (*sample)(std::uint32_t x, std::uint32_t y, unsigned largest)) {
    const std::size_t rowBytes = format.RowBytes(width);
    std::vector<std::uint8_t> bytes(rowBytes * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const unsigned value = sample(x, y, (1U << format.depth) - 1);
            std::uint8_t* const row = bytes.data() + y * rowBytes;
            const auto setBit = [row](std::size_t bit, unsigned on) {
                row[bit / 8] = static_cast<std::uint8_t>(row[bit / 8] | on << bit % 8);
            };
            const std::size_t group = std::size_t{x} / format.groupPixels * format.groupBytes;
            const std::size_t place = x % format.groupPixels;
            for (unsigned bit = 0; bit < format.depth; ++bit) {
                const unsigned on = value >> bit & 1;
                const unsigned low = format.depth - 8U;
                if (format.layout != ELayout::Csi2) {
                    const std::size_t bits = format.IsPacked() ? format.depth : 8U * format.groupBytes;
                    setBit(x * bits + bit, on);
                } else if (bit >= low) {
                    setBit((group + place) * 8 + bit - low, on);
                } else {
                    setBit((group + format.groupPixels) * 8 + place * low + bit, on);
                }
            }
        }
    }
    return bytes;
}

} // namespace

TEST(FrameGlance, EveryLayoutShowsTheSame) {
    std::vector<const STransferFormat*> formats;
    for (const STransferFormat& format : kTransferFormats) {
        formats.push_back(&format);
    }
    for (const STransferFormat& format : kChainFormats) {
        formats.push_back(&format);
    }
    for (const STransferFormat* const format : formats) {
        if (!format->IsRaw()) {
            continue;
        }
        // The left half at 3/4 of the range, the right one at white.
        const auto bytes = transferred(*format, 64, 48, [](std::uint32_t x, std::uint32_t, unsigned largest) {
            return x < 32 ? largest / 4 * 3 : largest;
        });
        const client::SFrameGlance glance = client::glanceOf(bytes, *format, 64, 48);
        EXPECT_NEAR(glance.level, 0.872, 0.006) << format->name;
        EXPECT_NEAR(glance.clipped, 0.5, 0.001) << format->name;
        EXPECT_NEAR(glance.tiles[0], 0.744, 0.012) << format->name;
        EXPECT_EQ(glance.tiles[15], 1) << format->name;
    }
}

TEST(FrameGlance, AllSizesAndAChange) {
    const STransferFormat& format = *transferFormat(VEK_TRANSFER_RAW12);
    for (const std::uint32_t width : {2U, 17U, 64U, 333U}) {
        for (const std::uint32_t height : {2U, 13U, 480U}) {
            const auto dark = transferred(format, width, height, [](auto, auto, unsigned) { return 0U; });
            auto bright = dark;
            const client::SFrameGlance before = client::glanceOf(dark, format, width, height);
            EXPECT_EQ(before.level, 0);
            EXPECT_EQ(client::largestChange(before, before), 0);
            for (std::size_t i = 1; i < bright.size(); i += 2) {
                bright[i] = 8; // 2048 of 4095
            }
            const client::SFrameGlance after = client::glanceOf(bright, format, width, height);
            EXPECT_NEAR(client::largestChange(before, after), 0.5, 0.001);
            EXPECT_EQ(client::glanceOf(bright, format, width, height, 2048).clipped, 1);
        }
    }
}

TEST(FrameGlance, ColoursAreBytes) {
    const std::vector<std::uint8_t> bytes(64 * 48 * 3, 51);
    EXPECT_NEAR(client::glanceOf(bytes, *transferFormat(VEK_TRANSFER_BGR8), 64, 48).level, 0.2, 1e-9);
}

TEST(IntervalMeter, JitterAndLostFrames) {
    client::CIntervalMeter meter;
    EXPECT_EQ(meter.Take().count, 0U);
    meter.Add(0, 1s);
    meter.Add(1, 1s + 10ms);
    meter.Add(4, 1s + 40ms); // two are missing: no jitter
    client::SIntervals even = meter.Take();
    EXPECT_EQ(even.count, 2U);
    EXPECT_NEAR(even.mean, 0.01, 1e-12);
    EXPECT_NEAR(even.deviation, 0, 1e-12);
    meter.Add(5, 1s + 48ms);
    meter.Add(6, 1s + 60ms);
    const client::SIntervals odd = meter.Take();
    EXPECT_NEAR(odd.mean, 0.01, 1e-12);
    EXPECT_NEAR(odd.deviation, 0.002828, 1e-6); // 8 and 12 ms
    EXPECT_NEAR(odd.longest, 0.012, 1e-12);
}

} // namespace vek::test
