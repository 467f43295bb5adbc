// SPDX-License-Identifier: Apache-2.0
// The stages on colour images never write a pixel's fourth sample, not even with the value that it holds: it may belong
// to another thread.
#include "imageproc/ChromaSuppress.h"
#include "imageproc/ColorMatrix.h"
#include "imageproc/Sharpness.h"
#include "imageproc/rows/RowDispatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned long kWidth = 64;
constexpr unsigned long kHeight = 3;
constexpr int kFrames = 2500;

/// Writes of another thread to the fourth samples that got lost while stage(image) ran on ever new frames.
template <class T, class Stage>
unsigned long lostWrites(Stage stage) {
    constexpr std::size_t pixels = kWidth * kHeight;
    std::vector<T> image(pixels * 4, 0);
    std::atomic<bool> started{false};
    std::atomic<bool> stop{false};
    unsigned long lost = 0;
    std::thread owner([&] {
        T written = 0;
        while (!stop) {
            const T next = static_cast<T>(written + 1);
            for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
                const std::atomic_ref<T> fourth(image[4 * pixel + 3]);
                lost += fourth.load(std::memory_order_relaxed) != written ? 1 : 0;
                fourth.store(next, std::memory_order_relaxed);
            }
            written = next;
            started = true;
        }
    });
    while (!started) {
        std::this_thread::yield();
    }
    for (int frame = 0; frame < kFrames; ++frame) {
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            for (std::size_t s = 0; s < 3; ++s) {
                image[4 * pixel + s] = static_cast<T>((pixel * 37 + s * 91 + static_cast<std::size_t>(frame)) % 251);
            }
        }
        EXPECT_EQ(stage(image.data()), 0U);
    }
    stop = true;
    owner.join();
    return lost;
}

class CStageFourthSample : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "reading a fourth sample that another thread writes is allowed, and a race all the same";
#endif
    }
    /// test(table) for each instruction set that this machine has.
    template <class Test>
    static void ForEachTable(Test test) {
        for (std::size_t i = 0; i < rows::tierCount(); ++i) {
            if (rows::tier(i).usable) {
                SCOPED_TRACE(rows::tier(i).table->name);
                test(*rows::tier(i).table);
            }
        }
    }
};

} // namespace

TEST_F(CStageFourthSample, OfColorMatrix) {
    ForEachTable([](const rows::SRowTable& table) {
        CColorMatrix module(table);
        module.SetHueSaturation(1, 300, 150);
        EXPECT_EQ(lostWrites<std::uint8_t>(
                      [&](std::uint8_t* image) { return module.ProcessB(kWidth, kHeight, 0, 8, image, 8); }),
                  0U);
        EXPECT_EQ(lostWrites<std::uint16_t>(
                      [&](std::uint16_t* image) { return module.ProcessW(kWidth, kHeight, 0, 512, image, 12); }),
                  0U);
    });
}

TEST_F(CStageFourthSample, OfChromaSuppression) {
    ForEachTable([](const rows::SRowTable& table) {
        CChromaSuppress module(table);
        module.SetHighStartLevel(20);
        module.SetHighSlope(100);
        EXPECT_EQ(lostWrites<std::uint8_t>(
                      [&](std::uint8_t* image) { return module.ProcessB(kWidth, kHeight, 0, 8, image); }),
                  0U);
        EXPECT_EQ(lostWrites<std::uint16_t>(
                      [&](std::uint16_t* image) { return module.ProcessW(kWidth, kHeight, 0, 512, image); }),
                  0U);
    });
}

TEST_F(CStageFourthSample, OfSharpness) {
    ForEachTable([](const rows::SRowTable& table) {
        CSharpness module(table);
        module.SetMode(1, 150, 0);
        EXPECT_EQ(lostWrites<std::uint8_t>(
                      [&](std::uint8_t* image) { return module.ProcessB(kWidth, kHeight, 0, 8, image, 8); }),
                  0U);
        EXPECT_EQ(lostWrites<std::uint16_t>(
                      [&](std::uint16_t* image) { return module.ProcessW(kWidth, kHeight, 0, 512, image, 12); }),
                  0U);
    });
}

} // namespace vek::test
