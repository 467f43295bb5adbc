// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/ModuleTest.h"
#include "support/ImageLayout.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace vek::test {

/// Writes of another thread to the fourth samples of an image that got lost while frame(number), called so many times,
/// worked on it.
template <class T, class Frame>
unsigned long lostWrites(std::vector<T>* image, int frames, Frame frame) {
    std::atomic<bool> started{false};
    std::atomic<bool> stop{false};
    unsigned long lost = 0;
    std::thread owner([&] {
        T written = 0;
        while (!stop) {
            const T next = static_cast<T>(written + 1);
            for (std::size_t i = 3; i < image->size(); i += 4) {
                const std::atomic_ref<T> fourth((*image)[i]);
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
    for (int number = 0; number < frames; ++number) {
        frame(number);
    }
    stop = true;
    owner.join();
    return lost;
}

/// The stages on colour images never write a pixel's fourth sample, not even with the value that it holds: it may
/// belong to another thread.
class CStageFourthSample : public ::testing::Test {
protected:
    void SetUp() override {
#if defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "reading a fourth sample that another thread writes is allowed, and a race all the same";
#endif
    }
    /// make(table) gives a module, call(module, image, samples) the status of a call, on either sample width.
    template <class Make, class Call>
    static void ExpectKept(Make make, Call call) {
        for (const rows::SRowTable* const table : usableTables()) {
            SCOPED_TRACE(table->name);
            const auto module = make(*table);
            ExpectKept(std::uint8_t{}, *module, call);
            ExpectKept(std::uint16_t{}, *module, call);
        }
    }

private:
    template <class T, class Module, class Call>
    static void ExpectKept(T, Module& module, Call call) {
        constexpr SInPlaceImage image{64, 3, 4, 0};
        std::vector<T> samples(image.width * image.height * 4, 0);
        const unsigned long lost = lostWrites(&samples, 2500, [&](int frame) {
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (i % 4 != 3) {
                    samples[i] = static_cast<T>((i / 4 * 37 + i % 4 * 91 + static_cast<std::size_t>(frame)) % 251);
                }
            }
            EXPECT_EQ(call(module, image, samples.data()), 0U);
        });
        EXPECT_EQ(lost, 0U) << 8 * sizeof(T) << " bit";
    }
};

} // namespace vek::test
