// SPDX-License-Identifier: Apache-2.0
// Plans: the whole way from a raw frame to a picture in one call.
#include "Operations.h"
#include "chain/BandRun.h"
#include "chain/Plan.h"
#include "imageproc/Stages.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <vector>

namespace vek::bench {
namespace {

/// A description and the structs that it points to.
struct SChain {
    VekChainFrame frame{};
    VekChainPicture picture{};
    VekChainLevels levels{};
    VekChainLinearMatrix matrix{};
    VekChainTone tone{};
    VekChainDescription description{};

    explicit SChain(SSize size) {
        frame.size = sizeof frame;
        frame.width = static_cast<std::uint32_t>(size.width);
        frame.height = static_cast<std::uint32_t>(size.height);
        frame.format = VEK_TRANSFER_RAW8;
        frame.colorArray = VEK_COLOR_ARRAY_RGGB;
        picture.size = sizeof picture;
        picture.layout = VEK_CHAIN_BGR;
        levels.size = sizeof levels;
        matrix.size = sizeof matrix;
        for (unsigned i = 0; i < 4; ++i) {
            levels.black[i] = 168;
            levels.gain[i] = static_cast<std::uint16_t>(4096 + 900 * i);
        }
        levels.pedestal = 32;
        for (unsigned i = 0; i < 3; ++i) {
            for (unsigned j = 0; j < 3; ++j) {
                matrix.factor[i][j] = i == j ? 6400 : -1152;
            }
            matrix.offset[i] = -32;
        }
        tone.size = sizeof tone;
        tone.curve = VEK_CHAIN_CURVE_SRGB;
        tone.sharpness = VEK_CHAIN_SHARPEN_AFTER_TONE;
        description.size = sizeof description;
        description.frame = &frame;
        description.picture = &picture;
        description.demosaic = VEK_DEMOSAIC_BILINEAR_SIMPLE;
    }
    SChain(const SChain&) = delete;
    SChain& operator=(const SChain&) = delete;

    /// 12 bits to 8 by levels, matrix and tone.
    void Develop(std::uint32_t format) {
        frame.format = format;
        description.levels = &levels;
        description.linearMatrix = &matrix;
        description.tone = &tone;
    }
};

/// The settings that the stages are measured with one by one.
template <class T>
std::shared_ptr<const SHandleStages> handleStages(const rows::SRowTable& table, SSize size, unsigned short colorArray) {
    CNoiseReduction noise(table);
    CShadingCorrection shading(table);
    CWB balance(table);
    CGamma gamma(table);
    CColorMatrix matrix(table);
    CSharpness sharpness(table);
    storeDark<T>(noise, size, colorArray);
    calibrate<T>(shading, size, VEK_SHADING_CALIBRATE_GAIN, VEK_SHADING_GAIN);
    setBalance(balance, VEK_WB_MANUAL);
    setCurves<T>(gamma);
    setMatrix(matrix);
    setSharpness<std::uint8_t>(sharpness); // behind tone
    auto stages = std::make_shared<SHandleStages>();
    stages->dark = noise.Stage(VEK_NOISE_COMPLEX).dark;
    stages->shading = shading.Stage();
    stages->balance = balance.Stage();
    stages->rawGamma = gamma.RawStage();
    stages->matrix = matrix.Stage();
    stages->lumaGamma = gamma.LumaStage();
    stages->sharpness = sharpness.Stage();
    stages->balance.UpdateTables(8);
    return stages;
}

std::shared_ptr<CVekChainWork> workFor(const CVekChainPlan& plan) {
    auto work = std::make_shared<CVekChainWork>();
    work->bytes = plan.work.bytes;
    work->memory.reset(std::aligned_alloc(64, plan.work.bytes));
    if (work->memory == nullptr) {
        throw std::bad_alloc();
    }
    return work;
}

/// frame: what the plan takes.
SJob planJob(std::shared_ptr<const CVekChainPlan> plan, std::vector<std::uint8_t> frame, unsigned threads) {
    struct SState {
        std::shared_ptr<const CVekChainPlan> plan;
        std::vector<std::uint8_t> frame;
        std::vector<std::uint8_t> picture;
        std::vector<std::shared_ptr<CVekChainWork>> works;
    };
    const auto state = std::make_shared<SState>();
    state->plan = std::move(plan);
    state->frame = std::move(frame);
    state->picture.resize(state->plan->picture.bytes);
    for (unsigned i = 0; i < threads; ++i) {
        state->works.push_back(workFor(*state->plan));
    }
    return {[state] {
                const unsigned long height = state->plan->frame.height;
                const auto band = [&](std::size_t i) {
                    const std::size_t count = state->works.size();
                    runBand(*state->plan, nullptr, *state->works[i], state->frame.data(), state->picture.data(),
                            height * i / count, height * (i + 1) / count);
                };
                std::vector<std::thread> others;
                for (std::size_t i = 1; i < state->works.size(); ++i) {
                    others.emplace_back(band, i);
                }
                band(0);
                for (std::thread& other : others) {
                    other.join();
                }
            },
            {}};
}

template <class T>
std::vector<std::uint8_t> frameOf(SInput input) {
    const std::vector<T> image = makeImage(CPicture<T>(input, 1));
    std::vector<std::uint8_t> bytes(input.size.Pixels() * sizeof(T));
    std::memcpy(bytes.data(), image.data(), bytes.size());
    return bytes;
}

/// Two samples of 12 bits in three bytes.
std::vector<std::uint8_t> packedFrame(SInput input) {
    const std::size_t pixels = input.size.Pixels();
    const std::vector<std::uint16_t> image = makeImage(CPicture<std::uint16_t>(input, 1));
    std::vector<std::uint8_t> bytes;
    bytes.reserve(pixels * 3 / 2);
    for (std::size_t i = 0; i < pixels; i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(image[i]));
        bytes.push_back(static_cast<std::uint8_t>(image[i] >> 8 | (image[i + 1] & 15) << 4));
        bytes.push_back(static_cast<std::uint8_t>(image[i + 1] >> 4));
    }
    return bytes;
}

template <class Make>
SJob job(const rows::SRowTable& table, SSize size, std::shared_ptr<const SHandleStages> handle,
         std::vector<std::uint8_t> frame, unsigned threads, Make make) {
    SChain chain(size);
    make(chain);
    return planJob(makePlan(table, std::move(handle), chain.description, nullptr), std::move(frame), threads);
}

template <unsigned Threads>
SJob bytes(const rows::SRowTable& table, SInput input) {
    return job(table, input.size, handleStages<std::uint8_t>(table, input.size, VEK_COLOR_ARRAY_RGGB),
               frameOf<std::uint8_t>(input), Threads, [](SChain& chain) {
                   chain.description.noise = VEK_NOISE_COMPLEX;
                   chain.description.stages = VEK_CHAIN_SHADING | VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_RAW_GAMMA |
                                              VEK_CHAIN_COLOR_MATRIX | VEK_CHAIN_SHARPNESS;
               });
}

SJob mono(const rows::SRowTable& table, SInput input) {
    return job(table, input.size, handleStages<std::uint8_t>(table, input.size, VEK_COLOR_ARRAY_MONO),
               frameOf<std::uint8_t>(input), 1, [](SChain& chain) {
                   chain.frame.colorArray = VEK_COLOR_ARRAY_MONO;
                   chain.picture.layout = VEK_CHAIN_MONO;
                   chain.description.noise = VEK_NOISE_COMPLEX;
                   chain.description.stages = VEK_CHAIN_SHADING | VEK_CHAIN_LUMA_GAMMA | VEK_CHAIN_SHARPNESS;
               });
}

template <std::uint32_t Demosaic, std::uint32_t Stages, std::uint32_t Format, unsigned Threads>
SJob words(const rows::SRowTable& table, SInput input) {
    return job(table, input.size, handleStages<std::uint16_t>(table, input.size, VEK_COLOR_ARRAY_RGGB),
               Format == VEK_TRANSFER_RAW12 ? frameOf<std::uint16_t>(input) : packedFrame(input), Threads,
               [](SChain& chain) {
                   chain.Develop(Format);
                   chain.description.demosaic = Demosaic;
                   chain.description.stages = Stages;
               });
}

} // namespace

Operations planOperations() {
    constexpr std::uint32_t bilinear = VEK_DEMOSAIC_BILINEAR_SIMPLE;
    constexpr std::uint32_t edge = VEK_CHAIN_DEMOSAIC_EDGE;
    constexpr std::uint32_t corrected = VEK_CHAIN_SHADING | VEK_CHAIN_SHARPNESS;
    constexpr std::uint32_t unpacked = VEK_TRANSFER_RAW12;
    constexpr std::uint32_t packed = VEK_TRANSFER_RAW12_PACKED;
    // Frame, dark frame, map and picture: what has to come from and go to memory once.
    return {{"plan: the chain's stages", 8, 7, bytes<1>},
            {"plan: the chain's stages, two threads", 8, 7, bytes<2>},
            {"plan: dark, shading, luma curve, sharpness, mono", 8, 5, mono},
            {"plan: levels, bilinear, linear matrix, tone", 16, 5, words<bilinear, 0, unpacked, 1>},
            {"plan: the same, two threads", 16, 5, words<bilinear, 0, unpacked, 2>},
            {"plan: with shading, sharpness", 16, 7, words<bilinear, corrected, unpacked, 1>},
            {"plan: with shading, sharpness, packed", 12, 6.5, words<bilinear, corrected, packed, 1>},
            {"plan: levels, edge-directed, linear matrix, tone", 16, 5, words<edge, 0, unpacked, 1>}};
}

} // namespace vek::bench
