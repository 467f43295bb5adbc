// SPDX-License-Identifier: Apache-2.0
// Any description and settings: a plan or a reason. Any frame: every tier gives the scalar tier's picture, in bands of
// any heights and order that of a single one, and touches nothing outside of frame and picture, which stand between
// protected pages.
#include "VekTrgChain.h"
#include "chain/Plan.h"
#include "formats/TransferFormats.h"
#include "imageproc/rows/RowDispatch.h"

#include "../FuzzInput.h"
#include "../GuardedBytes.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using vek::fuzz::CFuzzInput;
using vek::fuzz::CGuardedBytes;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

struct SEnd {
    void operator()(VekCam_Handle handle) const { VekCam_Close(handle); }
    void operator()(VekChain_Plan plan) const { VekChain_Destroy(plan); }
    void operator()(VekChain_Work work) const { VekChain_DestroyWork(work); }
    void operator()(VekChain_State state) const { VekChain_DestroyState(state); }
};
using HandleOwner = std::unique_ptr<std::remove_pointer_t<VekCam_Handle>, SEnd>;
using PlanOwner = std::unique_ptr<std::remove_pointer_t<VekChain_Plan>, SEnd>;
using WorkOwner = std::unique_ptr<std::remove_pointer_t<VekChain_Work>, SEnd>;
using StateOwner = std::unique_ptr<std::remove_pointer_t<VekChain_State>, SEnd>;

/// Once in `often` times any number, else one of those that make sense.
std::uint32_t number(CFuzzInput& input, std::size_t sensible, std::size_t often = 64) {
    const bool any = input.Below(often) == 1;
    return any ? input.Take<std::uint32_t>() : static_cast<std::uint32_t>(input.Below(sensible));
}

template <class T>
void fill(CFuzzInput& input, T& values, std::size_t sensible) {
    for (auto& value : values) {
        value = static_cast<std::remove_reference_t<decltype(value)>>(number(input, sensible));
    }
}

struct SDescription {
    VekChainFrame frame{};
    VekChainPicture picture{};
    VekChainLevels levels{};
    VekChainLinearMatrix matrix{};
    VekChainTone tone{};
    std::vector<std::uint16_t> table;
    VekChainDescription chain{};

    explicit SDescription(CFuzzInput& input) {
        const bool odd = input.Below(64) == 1; // sizes of structs and reserved members
        frame.size = sizeof frame - (odd ? input.Below(3) : 0);
        const std::uint32_t code = number(input, vek::kTransferFormats.size() + vek::kChainFormats.size());
        frame.format = code < vek::kTransferFormats.size()
                           ? code
                           : VEK_CHAIN_CSI2_RAW10 + (code - static_cast<std::uint32_t>(vek::kTransferFormats.size()));
        frame.width = static_cast<std::uint32_t>(8 + input.Below(90));
        frame.height = static_cast<std::uint32_t>(4 + input.Below(50));
        if (input.Below(16) == 0) {
            frame.width = static_cast<std::uint32_t>(input.Below(5));
            frame.height = static_cast<std::uint32_t>(input.Below(5));
        } else if (input.Below(3) == 0) {
            frame.cropX = static_cast<std::uint32_t>(input.Below(9));
            frame.cropY = static_cast<std::uint32_t>(input.Below(5));
            frame.cropWidth = static_cast<std::uint32_t>(input.Below(std::max(frame.width, 9U) - 7));
            frame.cropHeight = static_cast<std::uint32_t>(input.Below(std::max(frame.height, 5U) - 3));
        }
        frame.pitch = input.Below(3) == 0 ? 2 * frame.width + input.Below(40) - 4 : 0;
        frame.colorArray = static_cast<std::uint16_t>(1 + number(input, 5));
        const vek::STransferFormat* const format = vek::chainFormat(frame.format);
        const bool words = format != nullptr && format->layout == vek::ELayout::Words;
        frame.byteOrder = static_cast<std::uint16_t>(words ? number(input, 2) : 0);
        picture.size = sizeof picture;
        picture.layout = number(input, 8);
        const bool nv12 = picture.layout == VEK_CHAIN_NV12;
        picture.depth = nv12 || input.Below(2) == 0 ? 0 : 8 + number(input, 9);
        picture.pitch = input.Below(3) == 0 ? 8 * frame.width + 2 * input.Below(9) : 0;
        const bool fills = picture.layout == VEK_CHAIN_BGRA || picture.layout == VEK_CHAIN_RGBA;
        picture.fill = static_cast<std::uint16_t>(fills ? number(input, 256) : 0);
        picture.colorSpace = static_cast<std::uint16_t>(nv12 ? number(input, 2) : 0);
        picture.reserved = odd ? number(input, 2) : 0;
        chain.size = sizeof chain;
        chain.frame = &frame;
        chain.picture = &picture;
        chain.noise = number(input, 3);
        chain.stages = number(input, 64);
        if (format != nullptr && format->depth > 8 && input.Below(8) != 0) {
            chain.stages &= ~static_cast<unsigned>(VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_LUMA_GAMMA);
        }
        chain.mirror = number(input, 4);
        chain.demosaic = input.Below(4) == 0 ? std::uint32_t{VEK_CHAIN_DEMOSAIC_EDGE} : number(input, 7);
        if (picture.layout == VEK_CHAIN_MONO && input.Below(8) != 0) {
            chain.demosaic = VEK_DEMOSAIC_MONO;
        }
        TakeOwnStages(input);
        if (chain.linearMatrix != nullptr && input.Below(8) != 0) {
            chain.stages &= ~static_cast<unsigned>(VEK_CHAIN_COLOR_MATRIX);
        }
        static constexpr std::uint32_t depths[] = {0, 0, 0, 0, 0, 8, 12};
        chain.workingDepth = depths[input.Below(std::size(depths))];
        chain.statistics = number(input, 2);
    }
    SDescription(const SDescription&) = delete;
    SDescription& operator=(const SDescription&) = delete;

private:
    void TakeOwnStages(CFuzzInput& input) {
        const std::size_t own = input.Below(16);
        levels.size = sizeof levels;
        fill(input, levels.black, 500);
        fill(input, levels.gain, 32768);
        levels.pedestal = static_cast<std::uint16_t>(number(input, 4096));
        chain.levels = (own & 1) != 0 ? &levels : nullptr;
        matrix.size = sizeof matrix;
        for (auto& row : matrix.factor) {
            fill(input, row, 65536);
        }
        fill(input, matrix.offset, 16384);
        chain.linearMatrix = (own & 2) != 0 ? &matrix : nullptr;
        tone.size = sizeof tone;
        tone.curve = number(input, 5);
        tone.gamma = tone.curve == VEK_CHAIN_CURVE_GAMMA ? number(input, 500) : 0;
        tone.sharpness = number(input, 2);
        if (tone.curve == VEK_CHAIN_CURVE_TABLE) {
            tone.entries = input.Below(2) == 0 ? 256 : 4096;
            table.resize(tone.entries);
            input.Fill(table.data(), std::min<std::size_t>(table.size(), 64) * sizeof table[0]);
            tone.table[0] = table.data();
        }
        chain.tone = (own & 4) != 0 ? &tone : nullptr;
    }
};

/// Settings of any kind; what the functions refuse is left as it is.
void set(VekCam_Handle handle, CFuzzInput& input) {
    const auto word = [&] { return input.Take<std::uint16_t>(); };
    const auto byte = [&] { return input.Take<std::uint8_t>(); };
    const auto depth = static_cast<unsigned short>(8 + 2 * input.Below(3));
    VekCam_SetWhiteBalanceMode(handle, static_cast<unsigned char>(byte() % 5));
    VekCam_SetWhiteBalanceGain(handle, word(), word(), word(), word());
    for (unsigned char channel = VEK_GAMMA_Y; channel <= VEK_GAMMA_B; ++channel) {
        VekCam_SetGammaMode(handle, channel, static_cast<unsigned char>(byte() % 3), word(), static_cast<short>(word()),
                            static_cast<unsigned short>(byte()), nullptr, depth);
    }
    std::array<short, 12> entries{};
    input.Fill(entries.data(), sizeof entries);
    VekCam_SetColorMatrix(handle, static_cast<unsigned char>(byte() % 3), entries.data());
    VekCam_SetHueSaturationMode(handle, static_cast<unsigned char>(byte() % 2), static_cast<short>(word()), word());
    VekCam_SetHighChromaSuppression(handle, word(), word());
    VekCam_SetLowChromaSuppression(handle, word(), word());
    VekCam_SetSharpnessMode(handle, static_cast<unsigned char>(byte() % 2), word(), byte());
}

/// A dark frame and a shading map of the crop, which fit or do not.
void calibrate(VekCam_Handle handle, const VekChainFrame& frame, CFuzzInput& input) {
    const vek::STransferFormat* const format = vek::chainFormat(frame.format);
    const unsigned long width =
        frame.cropWidth != 0 ? frame.cropWidth : frame.width - std::min(frame.cropX, frame.width);
    const unsigned long height =
        frame.cropHeight != 0 ? frame.cropHeight : frame.height - std::min(frame.cropY, frame.height);
    if (format == nullptr || width == 0 || height == 0 || input.Below(4) == 0) {
        return;
    }
    const auto depth = static_cast<int>(format->depth);
    std::vector<std::uint16_t> samples(width * height);
    input.Fill(samples.data(), std::min<std::size_t>(samples.size(), 100) * sizeof samples[0]);
    const auto colorArray = format->IsMono() ? static_cast<unsigned short>(VEK_COLOR_ARRAY_MONO) : frame.colorArray;
    VekCam_NoiseReduction(handle, VEK_NOISE_STORE_DARK, width, height, 0, colorArray, samples.data(), depth);
    const bool gain = input.Below(2) == 0;
    VekCam_SetShadingCorrectionMode(handle, gain ? VEK_SHADING_CALIBRATE_GAIN : VEK_SHADING_CALIBRATE_OFFSET);
    if (input.Below(8) != 0) {
        VekCam_ShadingCorrection(handle, width, height, 0, samples.data(), depth);
    }
    const unsigned long mode = gain ? VEK_SHADING_GAIN : VEK_SHADING_OFFSET;
    VekCam_SetShadingCorrectionMode(handle, input.Below(16) == 0 ? input.Below(6) : mode);
}

/// Bytes that follow from a seed: an input is shorter than most frames.
void scatter(std::uint8_t* bytes, std::size_t size, std::uint32_t seed) {
    for (std::size_t i = 0; i < size; ++i) {
        seed = seed * 1664525U + 1013904223U;
        bytes[i] = static_cast<std::uint8_t>(seed >> 24);
    }
}

/// Rows of a picture, from one call or in bands.
void run(VekChain_Plan plan, const VekChainTraits& traits, const std::uint8_t* frame, std::uint8_t* picture,
         std::uint32_t bandRows, bool upwards) {
    VekChain_Work area = nullptr;
    VekChain_State kept = nullptr;
    require(VekChain_CreateWork(plan, &area) == VEK_OK && VekChain_CreateState(plan, &kept) == VEK_OK);
    const WorkOwner work(area);
    const StateOwner state(kept);
    require((state != nullptr) == (traits.traits != 0));
    require(VekChain_Prepare(plan, kept, area, frame) == VEK_OK);
    const std::uint32_t bands = (traits.height + bandRows - 1) / bandRows;
    for (std::uint32_t i = 0; i < bands; ++i) {
        const std::uint32_t first = (upwards ? bands - 1 - i : i) * bandRows;
        require(VekChain_Run(plan, kept, area, frame, picture, first, std::min(bandRows, traits.height - first)) ==
                VEK_OK);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CFuzzInput input(data, size);
    SDescription description(input);
    const HandleOwner handle(VekCam_Open(-1));
    set(handle.get(), input);
    calibrate(handle.get(), description.frame, input);
    char reason[200] = "";
    VekChain_Plan made = nullptr;
    const int result = VekChain_Create(handle.get(), &description.chain, &made, reason, sizeof reason);
    require((result == VEK_OK) == (made != nullptr) && (result == VEK_EINVAL) == (reason[0] != '\0'));
    if (result != VEK_OK) {
        return 0;
    }
    const PlanOwner plan(made);
    VekChainTraits traits{};
    traits.size = sizeof traits;
    require(VekChain_Traits(made, &traits) == VEK_OK);
    CGuardedBytes frame(traits.frameBytes);
    scatter(frame.Data(), frame.Size(), input.Take<std::uint32_t>());
    input.Fill(frame.Data(), std::min<std::size_t>(frame.Size(), 500));
    frame.Protect();
    const auto bandRows = static_cast<std::uint32_t>((1 + input.Below(20)) * traits.rowMultiple);
    const bool upwards = input.Below(2) == 0;

    std::vector<std::uint8_t> expected;
    for (std::size_t i = 0; i < vek::rows::tierCount(); ++i) {
        const vek::rows::STier tier = vek::rows::tier(i);
        if (!tier.usable) {
            continue;
        }
        const PlanOwner ofTier(vek::makePlan(*tier.table, plan->handle, description.chain, nullptr).release());
        CGuardedBytes picture(traits.pictureBytes);
        scatter(picture.Data(), picture.Size(), 1);
        run(ofTier.get(), traits, frame.Data(), picture.Data(), i == 0 ? traits.height : bandRows, upwards);
        if (i == 0) {
            expected.assign(picture.Data(), picture.Data() + picture.Size());
        }
        require(std::memcmp(expected.data(), picture.Data(), picture.Size()) == 0);
    }
    return 0;
}
