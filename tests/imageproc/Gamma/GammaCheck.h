// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Status.h"
#include "imageproc/Gamma/GammaModel.h"
#include "support/ModelCheck.h"

#include <cstdint>
#include <cstring>
#include <ostream>

namespace vek::test {

inline std::ostream& operator<<(std::ostream& out, const SGammaCall& call) {
    return out << (call.raw ? "raw, " : "") << call.width << " x " << call.height << ", pitch " << call.pitch
               << ", layout " << call.selector;
}

template <class T>
unsigned long runModel(const SGammaModel* model, const SGammaCall& call, T* image, bool) {
    return modelGamma(*model, call, image);
}

/// Settings and readings of one module against the model, and its images.
class CGammaCheck : public CModelCheck<SGammaCall, SGammaModel> {
public:
    using CModelCheck::CModelCheck;

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
        const unsigned long expected = modelSetGamma(&Model(), setting, table);
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
        const bool left = &tableArena == &mTableLeft;
        std::uint8_t* const table = left ? tableArena.data() : tableArena.data() + tableArena.size() - tableBytes;
        std::uint8_t* const contrast = left ? mContrast.data() : mContrast.data() + mContrast.size() - contrastBytes;
        std::memset(tableArena.data(), 0xA5, tableArena.size());
        std::memset(mContrast.data(), 0xA5, mContrast.size());
        std::uint8_t mode = 99;
        std::uint16_t gamma = 9999;
        std::int16_t brightness = -9999;
        std::uint16_t bits = requested;
        const unsigned long status = function(channel, &mode, &gamma, &brightness, static_cast<void*>(contrast),
                                              static_cast<void*>(table), &bits);
        const SGammaModel& model = Model();
        const auto differs = [=](const char* what, long found, long expected) {
            return ::testing::AssertionFailure() << "channel " << int{channel} << " read at " << requested << ": "
                                                 << what << ' ' << found << ", not " << expected;
        };
        const struct {
            const char* name;
            long found;
            long expected;
        } numbers[] = {{"status", static_cast<long>(status), 0},
                       {"mode", mode, model.mode[channel]},
                       {"gamma", gamma, model.gamma[channel]},
                       {"brightness", brightness, model.brightness[channel]},
                       {"bits", bits, model.bits[channel]}};
        for (const auto& [name, found, expected] : numbers) {
            if (found != expected) {
                return differs(name, found, expected);
            }
        }
        if (std::memcmp(contrast, &model.contrast[channel], contrastBytes) != 0) {
            return differs("contrast byte", contrast[0], model.contrast[channel]);
        }
        for (std::size_t i = 0; i < std::size_t{1} << depth; ++i) {
            std::uint16_t entry = 0;
            std::memcpy(&entry, table + i * contrastBytes, contrastBytes);
            const std::uint16_t expected =
                depth > 8 ? model.table[channel][i] : model.table[channel][i] & std::uint16_t{0xFF};
            if (entry != expected) {
                return differs("table", entry, expected) << " at " << i;
            }
        }
        const auto untouched = [left](CGuardedBuffer<std::uint8_t>& arena, const std::uint8_t* used,
                                      std::size_t bytes) {
            const std::uint8_t* const around = left ? used + bytes : arena.data();
            return std::all_of(around, around + arena.size() - bytes, [](std::uint8_t byte) { return byte == 0xA5; });
        };
        if (!untouched(tableArena, table, tableBytes) || !untouched(mContrast, contrast, contrastBytes)) {
            return differs("a byte beside the table or the contrast", 1, 0);
        }
        return ::testing::AssertionSuccess();
    }

private:
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
