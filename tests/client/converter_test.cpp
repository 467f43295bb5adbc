// SPDX-License-Identifier: Apache-2.0
// Pictures of chains against those of the functions one after the other, and what decides between the two.
#include "client/Errors.h"
#include "client/stages/Conversion.h"

#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

namespace vek::test {

namespace {

using client::CConverter;
using client::CLibraryHandle;
using client::EDeveloper;
using client::SConversion;
using client::SImage;

client::SConversion conversionOf(const STransferFormat& format, std::uint32_t width, std::uint32_t height,
                                 unsigned short colorArray, unsigned char method) {
    SConversion conversion;
    conversion.format = &format;
    conversion.width = width;
    conversion.height = height;
    conversion.colorArray = colorArray;
    conversion.method = method;
    conversion.threads = 3;
    return conversion;
}

/// Random samples; words within the format's range, but for some of a frame that is not clean.
std::vector<std::uint8_t> randomFrame(const SConversion& conversion, CRandom& random, bool clean) {
    const STransferFormat& format = *conversion.format;
    std::vector<std::uint8_t> bytes(client::frameBytes(format, conversion.width, conversion.height));
    random.Fill(bytes.data(), bytes.data() + bytes.size());
    for (std::size_t i = 1; format.layout == ELayout::Words && i < bytes.size(); i += 2) {
        if (clean || random.Below(50) != 0) {
            bytes[i] = static_cast<std::uint8_t>(bytes[i] & (client::maxSample(format.depth) >> 8));
        }
    }
    return bytes;
}

void expectSame(const SImage& image, const SImage& expected) {
    ASSERT_EQ(image.width, expected.width);
    ASSERT_EQ(image.height, expected.height);
    ASSERT_EQ(image.channels, expected.channels);
    ASSERT_EQ(image.depth, expected.depth);
    const auto [at, other] = std::mismatch(image.samples.begin(), image.samples.end(), expected.samples.begin());
    ASSERT_EQ(at, image.samples.end()) << "sample " << at - image.samples.begin() << " is " << *at << ", not "
                                       << *other;
}

/// A frame by a chain and by the functions; each way has a handle of its own. Tells whether there was a chain.
bool comparesEqual(SConversion conversion, const std::vector<std::uint8_t>& bytes) {
    client::complete(conversion);
    const CLibraryHandle first(-1);
    const CLibraryHandle second(-1);
    CConverter chain(first, conversion);
    CConverter functions(second, conversion, EDeveloper::Functions);
    EXPECT_EQ(functions.Chain(), nullptr);
    expectSame(chain.Picture(bytes), functions.Picture(bytes));
    return chain.Chain() != nullptr;
}

struct SStageCase {
    const char* name;
    std::function<void(SConversion&)> set;
};
const SStageCase kStageCases[] = {
    {"none", [](SConversion&) {}},
    {"eight bits", [](SConversion& conversion) { conversion.depth = 8; }},
    {"raw",
     [](SConversion& conversion) {
         if (isBayer(conversion.colorArray)) {
             conversion.stages.balance = {VEK_WB_ONCE, {128, 128, 128, 128}};
             conversion.stages.rawGamma = 180;
         }
         conversion.stages.mirror = VEK_MIRROR_VERTICAL;
     }},
    {"colours",
     [](SConversion& conversion) {
         if (conversion.method != VEK_DEMOSAIC_MONO && conversion.colorArray != VEK_COLOR_ARRAY_MONO) {
             conversion.stages.matrix = {160, -40, -20, 3, -30, 160, -30, 0, -10, -50, 160, -9};
             conversion.stages.saturation = 150;
             conversion.stages.suppressHigh = {170, 400};
         }
         conversion.stages.gamma = 220;
         conversion.stages.contrast = 9;
         conversion.stages.sharpness = {80, 4};
     }},
    {"noise", [](SConversion& conversion) { conversion.corrections.noise = VEK_NOISE_EASY; }},
    {"noise, turned",
     [](SConversion& conversion) {
         conversion.corrections.noise = VEK_NOISE_EASY;
         conversion.stages.rotation = VEK_ROTATION_CLOCKWISE;
         conversion.stages.mirror = VEK_MIRROR_HORIZONTAL;
         conversion.stages.sharpness = {50, 0};
     }},
};

/// What no chain of the size does.
bool isRefused(const SConversion& conversion) {
    const bool quarter = conversion.stages.rotation.has_value();
    const std::uint32_t width = quarter ? conversion.height : conversion.width;
    const std::uint32_t height = quarter ? conversion.width : conversion.height;
    return isBayer(conversion.colorArray) &&
           ((conversion.method == VEK_DEMOSAIC_BILINEAR_SIMPLE && (width % 2 != 0 || height % 2 != 0)) ||
            (conversion.method == VEK_DEMOSAIC_NEAREST_NEIGHBOR2 && width % 2 != 0));
}

class Converter : public ::testing::TestWithParam<unsigned> {};

std::string formatName(const ::testing::TestParamInfo<unsigned>& format) {
    return std::string(transferFormat(format.param)->name);
}

TEST_P(Converter, ChainMakesWhatTheFunctionsMake) {
    const STransferFormat& format = *transferFormat(GetParam());
    CRandom random(GetParam());
    constexpr std::pair<std::uint32_t, std::uint32_t> sizes[] = {{8, 6}, {7, 6}, {8, 5}, {9, 7}, {70, 130}};
    for (unsigned short colorArray = VEK_COLOR_ARRAY_MONO; colorArray <= VEK_COLOR_ARRAY_BGGR; ++colorArray) {
        if (format.IsMono() && colorArray != VEK_COLOR_ARRAY_MONO) {
            continue;
        }
        for (const SDemosaicMethod& method : kDemosaicMethods) {
            for (const auto& [width, height] : sizes) {
                for (const SStageCase& stages : kStageCases) {
                    SConversion conversion = conversionOf(format, width, height, colorArray, method.code);
                    stages.set(conversion);
                    const bool bayer = isBayer(colorArray) && method.code != VEK_DEMOSAIC_MONO;
                    if (bayer && (conversion.stages.mirror || conversion.stages.rotation) &&
                        (width % 2 != 0 || height % 2 != 0)) {
                        continue;
                    }
                    SCOPED_TRACE(::testing::Message() << "array " << colorArray << ", " << method.name << ", " << width
                                                      << " x " << height << ", " << stages.name);
                    const auto bytes = randomFrame(conversion, random, random.Below(2) == 0);
                    EXPECT_EQ(comparesEqual(conversion, bytes), !isRefused(conversion));
                }
            }
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Client, Converter,
                         ::testing::Values(VEK_TRANSFER_RAW8, VEK_TRANSFER_RAW10, VEK_TRANSFER_RAW12,
                                           VEK_TRANSFER_RAW14, VEK_TRANSFER_RAW16, VEK_TRANSFER_RAW10_PACKED,
                                           VEK_TRANSFER_RAW12_PACKED, VEK_TRANSFER_MONO8, VEK_TRANSFER_MONO12,
                                           VEK_TRANSFER_MONO16, VEK_TRANSFER_MONO10_PACKED),
                         formatName);

TEST(ClientConverter, FullDepthOfPackedFramesIsThatOfWords) {
    CRandom random(5);
    const struct {
        unsigned packed;
        unsigned words;
    } pairs[] = {{VEK_TRANSFER_RAW10_PACKED, VEK_TRANSFER_RAW10}, {VEK_TRANSFER_RAW12_PACKED, VEK_TRANSFER_RAW12}};
    for (const auto& pair : pairs) {
        for (const unsigned char method : {VEK_DEMOSAIC_NEAREST_NEIGHBOR, VEK_DEMOSAIC_BILINEAR_SIMPLE}) {
            for (const std::uint32_t width : {12U, 13U}) { // the odd one has no chain of the second method
                SConversion words = conversionOf(*transferFormat(pair.words), width, 6, VEK_COLOR_ARRAY_GRBG, method);
                words.corrections.noise = VEK_NOISE_EASY;
                const auto samples = randomFrame(words, random, true);
                SConversion packed = words;
                packed.format = transferFormat(pair.packed);
                packed.depth = 12;
                const unsigned depth = packed.format->depth;
                std::vector<std::uint8_t> bytes(client::frameBytes(*packed.format, width, 6));
                for (std::size_t y = 0; y < 6; ++y) {
                    for (std::size_t bit = 0; bit < std::size_t{width} * depth; ++bit) {
                        const unsigned sample = client::wordAt(samples, y * width + bit / depth);
                        std::uint8_t& byte = bytes[y * packed.format->RowBytes(width) + bit / 8];
                        byte = static_cast<std::uint8_t>(byte | (sample >> bit % depth & 1U) << bit % 8);
                    }
                }
                client::complete(words);
                client::complete(packed);
                EXPECT_EQ(packed.bitsOut, 16);
                const CLibraryHandle library(-1);
                expectSame(CConverter(library, packed).Picture(bytes), CConverter(library, words).Picture(samples));
            }
        }
    }
}

TEST(ClientConverter, EdgeMethodBehindStagesThatNoChainHas) {
    const CLibraryHandle library(-1);
    CRandom random(6);
    SConversion conversion =
        conversionOf(*transferFormat(VEK_TRANSFER_RAW8), 64, 66, VEK_COLOR_ARRAY_RGGB, VEK_CHAIN_DEMOSAIC_EDGE);
    const auto bytes = randomFrame(conversion, random, true);
    conversion.stages.rotation = VEK_ROTATION_CLOCKWISE;
    client::complete(conversion);
    CConverter turned(library, conversion);
    ASSERT_NE(turned.Chain(), nullptr);
    const SImage picture = turned.Picture(bytes);
    // The frame turned by hand: its first row is the first column, from the bottom up.
    std::vector<std::uint8_t> byHand;
    for (std::size_t x = 0; x < 64; ++x) {
        for (std::size_t y = 66; y-- > 0;) {
            byHand.push_back(bytes[y * 64 + x]);
        }
    }
    SConversion upright = conversionOf(*conversion.format, 66, 64, VEK_COLOR_ARRAY_GRBG, VEK_CHAIN_DEMOSAIC_EDGE);
    client::complete(upright);
    CConverter plain(library, upright);
    expectSame(picture, plain.Picture(byHand));
}

TEST(ClientConverter, ThreadsChangeNothing) {
    CRandom random(7);
    SConversion conversion =
        conversionOf(*transferFormat(VEK_TRANSFER_RAW12), 90, 700, VEK_COLOR_ARRAY_BGGR, VEK_CHAIN_DEMOSAIC_EDGE);
    conversion.corrections.noise = VEK_NOISE_EASY;
    const auto bytes = randomFrame(conversion, random, true);
    client::complete(conversion);
    conversion.threads = 1;
    const CLibraryHandle library(-1);
    const SImage one = CConverter(library, conversion).Picture(bytes);
    for (const unsigned threads : {2U, 5U, client::kMostThreads}) {
        conversion.threads = threads;
        CConverter converter(library, conversion);
        EXPECT_EQ(converter.Chain()->Threads(), std::min(threads, 11U)); // bands of 64 rows
        expectSame(converter.Picture(bytes), one);
        expectSame(converter.Picture(bytes), one);
    }
}

TEST(ClientConverter, BalanceOnceIsThatOfTheFirstFrame) {
    CRandom random(8);
    SConversion conversion =
        conversionOf(*transferFormat(VEK_TRANSFER_RAW8), 32, 32, VEK_COLOR_ARRAY_RGGB, VEK_DEMOSAIC_NEAREST_NEIGHBOR);
    conversion.stages.balance = {VEK_WB_ONCE, {128, 128, 128, 128}};
    client::complete(conversion);
    const CLibraryHandle first(-1);
    const CLibraryHandle second(-1);
    CConverter chain(first, conversion);
    CConverter functions(second, conversion, EDeveloper::Functions);
    for (unsigned i = 0; i < 3; ++i) {
        auto bytes = randomFrame(conversion, random, true);
        for (std::size_t x = 0; x < bytes.size(); x += 2) { // of another colour each time
            bytes[x] = static_cast<std::uint8_t>(bytes[x] >> i);
        }
        expectSame(chain.Picture(bytes), functions.Picture(bytes));
    }
}

TEST(ClientChainRun, TellsWhyThereIsNone) {
    const CLibraryHandle library(-1);
    client::SChainDescription description(VEK_TRANSFER_RAW8, 5, 5, VEK_COLOR_ARRAY_RGGB, VEK_CHAIN_RGB);
    description.chain.demosaic = VEK_DEMOSAIC_BILINEAR_SIMPLE;
    std::string reason;
    EXPECT_FALSE(client::CChainRun::Make(library.Get(), description, 1, reason));
    EXPECT_EQ(reason.substr(0, 9), "demosaic:");
}

TEST(ClientChainRun, ShortFramesAreRefused) {
    const CLibraryHandle library(-1);
    const client::SChainDescription description(VEK_TRANSFER_RAW8, 5, 5, VEK_COLOR_ARRAY_RGGB, VEK_CHAIN_MONO);
    std::string reason;
    auto run = client::CChainRun::Make(library.Get(), description, 4, reason);
    ASSERT_TRUE(run) << reason;
    EXPECT_EQ(run->Threads(), 1U);
    std::vector<std::uint8_t> frame(run->FrameBytes());
    EXPECT_EQ(frame.size(), 25U);
    frame[24] = 7;
    EXPECT_EQ(client::imageOf(run->Develop(frame)).samples.back(), 7U);
    frame.pop_back();
    EXPECT_THROW(run->Develop(frame), client::CFailure);
}

} // namespace

} // namespace vek::test
