// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/Gamma/GammaModel.h"
#include "support/ImageArena.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace vek::test {

/// Settings, readings and images of one module against the model, which is fed with the same settings.
class CGammaCheck {
public:
    explicit CGammaCheck(std::size_t capacityBytes) : mBytes(capacityBytes, 51), mWords(capacityBytes, 52) {}

    /// One setting; function(setting, table) makes the call. The table stands between protected pages and is exactly
    /// as large as the depth asks for, with words of any value.
    template <class Function>
    ::testing::AssertionResult Set(const SGammaSetting& setting, Function function) {
        const std::size_t entries = setting.bits < 13 ? std::size_t{1} << setting.bits : 0;
        const std::size_t bytes = setting.bits > 8 ? 2 * entries : entries;
        CGuardedBuffer<std::uint8_t>& arena = mTurn++ % 2 == 0 ? mTableLeft : mTableRight;
        std::uint8_t* const table = &arena == &mTableLeft ? arena.data() : arena.data() + arena.size() - bytes;
        for (std::size_t i = 0; i < bytes; ++i) {
            table[i] = static_cast<std::uint8_t>(Random().Next());
        }
        const unsigned long expected = modelSetGamma(&mModel, setting, table);
        const unsigned long status = function(setting, static_cast<void*>(table));
        if (status != expected) {
            return ::testing::AssertionFailure()
                   << "channel " << int{setting.channel} << ", mode " << int{setting.mode} << ", gamma "
                   << setting.gamma << ", bits " << setting.bits << ": status " << static_cast<long>(status) << ", not "
                   << static_cast<long>(expected);
        }
        return ::testing::AssertionSuccess();
    }

    /// Reads one channel at a requested depth; function has the arguments of the module's reading call.
    template <class Function>
    ::testing::AssertionResult Read(std::uint8_t channel, std::uint16_t requested, Function function) {
        const unsigned depth = requested <= 8 ? 8 : requested < 12 ? requested : 12;
        const std::size_t tableBytes = (std::size_t{1} << depth) * (depth > 8 ? 2 : 1);
        const std::size_t contrastBytes = depth > 8 ? 2 : 1;
        CGuardedBuffer<std::uint8_t>& tableArena = mTurn++ % 2 == 0 ? mTableLeft : mTableRight;
        const bool bLeft = &tableArena == &mTableLeft;
        std::uint8_t* const table = bLeft ? tableArena.data() : tableArena.data() + tableArena.size() - tableBytes;
        std::uint8_t* const contrast = bLeft ? mContrast.data() : mContrast.data() + mContrast.size() - contrastBytes;
        std::memset(tableArena.data(), 0xA5, tableArena.size());
        std::memset(mContrast.data(), 0xA5, mContrast.size());
        std::uint8_t mode = 99;
        std::uint16_t gamma = 9999;
        std::int16_t brightness = -9999;
        std::uint16_t bits = requested;
        const unsigned long status = function(channel, &mode, &gamma, &brightness, static_cast<void*>(contrast),
                                              static_cast<void*>(table), &bits);
        const auto differs = [=](const char* what, long found, long expected) {
            return ::testing::AssertionFailure() << "channel " << int{channel} << " read at " << requested << ": "
                                                 << what << ' ' << found << ", not " << expected;
        };
        if (status != kOk) {
            return differs("status", static_cast<long>(status), 0);
        }
        if (mode != mModel.mode[channel]) {
            return differs("mode", mode, mModel.mode[channel]);
        }
        if (gamma != mModel.gamma[channel]) {
            return differs("gamma", gamma, mModel.gamma[channel]);
        }
        if (brightness != mModel.brightness[channel]) {
            return differs("brightness", brightness, mModel.brightness[channel]);
        }
        if (bits != mModel.bits[channel]) {
            return differs("bits", bits, mModel.bits[channel]);
        }
        if (std::memcmp(contrast, &mModel.contrast[channel], contrastBytes) != 0) {
            return differs("contrast byte", contrast[0], mModel.contrast[channel]);
        }
        for (std::size_t i = 0; i < std::size_t{1} << depth; ++i) {
            std::uint16_t entry = 0;
            std::memcpy(&entry, table + i * contrastBytes, contrastBytes);
            const std::uint16_t expected =
                depth > 8 ? mModel.table[channel][i] : mModel.table[channel][i] & std::uint16_t{0xFF};
            if (entry != expected) {
                return differs("table", entry, expected) << " at " << i;
            }
        }
        const std::uint8_t* const around = bLeft ? table + tableBytes : tableArena.data();
        for (std::size_t i = 0; i < tableArena.size() - tableBytes; ++i) {
            if (around[i] != 0xA5) {
                return differs("byte beside the table", around[i], 0xA5);
            }
        }
        const std::uint8_t* const besideContrast = bLeft ? contrast + contrastBytes : mContrast.data();
        for (std::size_t i = 0; i < mContrast.size() - contrastBytes; ++i) {
            if (besideContrast[i] != 0xA5) {
                return differs("byte beside the contrast", besideContrast[i], 0xA5);
            }
        }
        return ::testing::AssertionSuccess();
    }

    /// An image call, raw or not; function(call, image) makes it. depth: of the random samples.
    template <class T, class Function>
    ::testing::AssertionResult Image(bool bRaw, const SGammaCall& call, Flush flush, unsigned depth,
                                     Function function) {
        CImageArena<T>& arena = Arena(T{});
        T* const image =
            arena.Place(bRaw ? modelRawExtent(call, sizeof(T)) : modelPixelExtent(call, sizeof(T)), flush, depth);
        const unsigned long expected =
            bRaw ? modelRawGamma(mModel, call, arena.Expected()) : modelPixelGamma(mModel, call, arena.Expected());
        const unsigned long status = function(call, image);
        ::testing::AssertionResult result =
            status == expected ? arena.Check(bRaw ? modelRawPitch(call, sizeof(T)) : modelPixelPitch(call, sizeof(T)))
                               : ::testing::AssertionFailure() << "status " << static_cast<long>(status) << ", not "
                                                               << static_cast<long>(expected);
        if (!result) {
            result << " (" << (bRaw ? "raw, " : "") << call.width << " x " << call.height << ", line bytes "
                   << call.lineBytes << ", layout " << call.selector << ", " << 8 * sizeof(T) << " bit, flush "
                   << (flush == Flush::Left ? "left" : "right") << ')';
        }
        return result;
    }

    SGammaModel& Model() { return mModel; }
    CRandom& Random() { return mBytes.Random(); }

private:
    CImageArena<std::uint8_t>& Arena(std::uint8_t) { return mBytes; }
    CImageArena<std::uint16_t>& Arena(std::uint16_t) { return mWords; }

    SGammaModel mModel;
    CImageArena<std::uint8_t> mBytes;
    CImageArena<std::uint16_t> mWords;
    CGuardedBuffer<std::uint8_t> mTableLeft{8192, Flush::Left};
    CGuardedBuffer<std::uint8_t> mTableRight{8192, Flush::Right};
    CGuardedBuffer<std::uint8_t> mContrast{8, Flush::Right};
    unsigned mTurn = 0;
};

/// A setting of any kind, with values that the curve finds hard more often than by chance.
inline SGammaSetting randomGammaSetting(CRandom& random) {
    constexpr std::uint8_t modes[] = {0, 1, 1, 1, 2, 2, 255, 3};
    constexpr std::uint16_t gammas[] = {0, 1, 4, 20, 50, 100, 220, 65535};
    constexpr std::uint16_t contrasts[] = {0, 20, 127, 128, 129, 255, 2047, 65535};
    constexpr std::uint16_t depths[] = {0, 1, 2, 7, 8, 8, 8, 9, 10, 10, 11, 12, 12, 12, 13, 0x108};
    SGammaSetting setting;
    setting.channel = static_cast<std::uint8_t>(random.Below(random.Below(12) == 0 ? 256 : 5));
    setting.mode = random.Below(20) == 0 ? static_cast<std::uint8_t>(random.Next()) : modes[random.Below(8)];
    setting.gamma = static_cast<std::uint16_t>(random.Below(2) == 0 ? gammas[random.Below(8)] : random.Below(500));
    setting.brightness =
        static_cast<std::int16_t>(random.Below(4) == 0 ? random.Next() : random.Below(401) - std::uint64_t{200});
    setting.contrast =
        static_cast<std::uint16_t>(random.Below(2) == 0 ? contrasts[random.Below(8)] : random.Below(300));
    setting.bits = depths[random.Below(16)];
    return setting;
}

} // namespace vek::test
