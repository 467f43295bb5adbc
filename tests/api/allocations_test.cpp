// SPDX-License-Identifier: Apache-2.0
// What each image function asks of the allocator: nothing, but for the buffers that are named here.
#include "VekTrgApi.h"
#include "formats/DemosaicMethods.h"
#include "support/CameraValues.h"
#include "support/FakeDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

// A sanitizer's allocator is not to be replaced.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEK_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#define VEK_COUNTS_ALLOCATIONS (!__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer))
#else
#define VEK_COUNTS_ALLOCATIONS 1
#endif

namespace {

// Single-threaded, and without memory of its own.
constexpr std::size_t kRoom = 64;
std::size_t gSizes[kRoom];
std::size_t gCount = 0;
long gKept = 0; ///< allocations less releases
bool gCounting = false;
std::size_t gRefused = 0; ///< requests of so many bytes fail

#if VEK_COUNTS_ALLOCATIONS
bool counts() {
    return gCounting && !vek::test::CFakeDriver::Answering();
}
bool refuses(std::size_t size) {
    return counts() && size == gRefused && size != 0;
}

void* noted(void* memory, std::size_t size) {
    if (counts()) {
        if (gCount < kRoom) {
            gSizes[gCount] = size;
        }
        ++gCount;
        ++gKept;
    }
    return memory;
}

void noteRelease(const void* memory) {
    if (counts() && memory != nullptr) {
        --gKept;
    }
}
#endif

} // namespace

#if VEK_COUNTS_ALLOCATIONS
extern "C" {
// The C library's own functions, under the names that it keeps for this purpose.
// NOLINTBEGIN(bugprone-reserved-identifier)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
// NOLINTEND(bugprone-reserved-identifier)

// They stand before the C library's for the shared library and the C++ runtime, too.
void* malloc(std::size_t size) noexcept {
    return refuses(size) ? nullptr : noted(__libc_malloc(size), size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    return noted(__libc_calloc(count, size), count * size);
}
void* realloc(void* memory, std::size_t size) noexcept {
    noteRelease(memory);
    return noted(__libc_realloc(memory, size), size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return refuses(size) ? nullptr : noted(__libc_memalign(alignment, size), size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    *memory = noted(__libc_memalign(alignment, size), size);
    return *memory != nullptr ? 0 : ENOMEM;
}
void free(void* memory) noexcept {
    noteRelease(memory);
    __libc_free(memory);
}
}
#endif

namespace vek::test {

namespace {

using Sizes = std::vector<std::size_t>;

constexpr unsigned long kWidth = 24;
constexpr unsigned long kHeight = 12;
constexpr std::size_t kPixels = kWidth * kHeight;
constexpr unsigned short kBayer = VEK_COLOR_ARRAY_RGGB;
constexpr unsigned short kDepths[] = {8, 12}; // bytes and words

/// Bytes asked for by one call, in order, and how many of them it has not released again.
struct SAsked {
    Sizes sizes;
    long kept;
    bool operator==(const SAsked&) const = default;
};

void PrintTo(const SAsked& asked, std::ostream* stream) {
    *stream << testing::PrintToString(asked.sizes) << ", of which " << asked.kept << " are kept";
}

const SAsked kNothing{{}, 0};

/// Asked for and released again.
SAsked forTheCall(std::size_t bytes) {
    return {{bytes}, 0};
}

class CAllocations : public testing::Test {
protected:
    void SetUp() override {
        if (!VEK_COUNTS_ALLOCATIONS) {
            GTEST_SKIP() << "a sanitizer has the allocator";
        }
        SCameraValues values;
        values.defectSlots = kSlots;
        report(values, &mDriver);
        mDriver.Describe(19, 1, kMaxRois);
        mDriver.mControls[VEK_CID_COLOR_ARRAY] = kBayer;
        mDriver.mControls[VEK_CID_TRANSFER_FORMAT] = VEK_TRANSFER_RAW8;
        mHandle = VekCam_Open(5);
        ASSERT_NE(mHandle, nullptr);
    }
    void TearDown() override { VekCam_Close(mHandle); }

    /// call() gives a status, which has to be 0.
    template <class Call>
    SAsked Asked(Call call) {
        gCount = 0;
        gKept = 0;
        gCounting = true;
        const int status = call();
        gCounting = false;
        EXPECT_EQ(status, 0);
        EXPECT_LE(gCount, kRoom);
        return {Sizes(gSizes, gSizes + std::min(gCount, kRoom)), gKept};
    }

    static constexpr unsigned kSlots = 7;
    static constexpr unsigned kMaxRois = 8; ///< a camera that leaves the combining to the library
    CFakeDriver mDriver;
    VekCam_Handle mHandle = nullptr;
    // Room for pixels of four words that stand twice their size apart.
    std::vector<unsigned char> mImage = std::vector<unsigned char>(16 * kPixels + 64, 77);
    std::vector<unsigned char> mOutput = std::vector<unsigned char>(16 * kPixels + 64);
};

} // namespace

// The counters themselves: otherwise no test here could fail.
TEST_F(CAllocations, AreSeen) {
    std::vector<unsigned char>* bytes = nullptr;
    const SAsked made = Asked([&] {
        bytes = new std::vector<unsigned char>(1000);
        return 0;
    });
    EXPECT_EQ(made, (SAsked{{sizeof *bytes, 1000}, 2}));
    EXPECT_EQ(Asked([&] {
                  delete bytes;
                  return 0;
              }),
              (SAsked{{}, -2}));
    EXPECT_GE(Asked([&] {
                  VekCam_Close(VekCam_Open(5));
                  return 0;
              }).sizes.size(),
              3U);
}

TEST_F(CAllocations, DemosaicAndDecodingNeedNone) {
    for (const unsigned short bits : kDepths) {
        const unsigned long bgr = bits == 8 ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGR48;
        for (unsigned char method = VEK_DEMOSAIC_MONO; method <= kLastDemosaicMethod; ++method) {
            for (unsigned short array = VEK_COLOR_ARRAY_MONO; array <= VEK_COLOR_ARRAY_YCRCB411_BT709; ++array) {
                EXPECT_EQ(Asked([&] {
                              return VekCam_ColorInterpolation(mHandle, kWidth, kHeight, array, mImage.data(),
                                                               mOutput.data(), method, bgr, bits);
                          }),
                          kNothing)
                    << "method " << int{method} << ", colour array " << array << ", " << bits << " bits";
            }
        }
    }
}

TEST_F(CAllocations, ConversionsNeedNone) {
    for (unsigned long format = VEK_TRANSFER_RAW8; format <= VEK_TRANSFER_MONO16; ++format) {
        const bool color = format >= VEK_TRANSFER_BGR8 && format <= VEK_TRANSFER_YCRCB444_BT709;
        if (!color) {
            EXPECT_EQ(Asked([&] {
                          return VekCam_ConvTo8BitsImage(mHandle, kWidth, kHeight, 0, format, mImage.data(), nullptr,
                                                         mOutput.data());
                      }),
                      kNothing)
                << "format " << format;
        }
        for (const unsigned long to : {VEK_DESTINATION_MONO8, VEK_DESTINATION_BGR24, VEK_DESTINATION_BGRX32}) {
            EXPECT_EQ(Asked([&] {
                          return VekCam_ConvYUVOrBGRToBGRImage(mHandle, kWidth, kHeight, format, mImage.data(), to,
                                                               mOutput.data());
                      }),
                      kNothing)
                << "format " << format << " to " << to;
        }
    }
}

TEST_F(CAllocations, AveragesNeedNone) {
    float average[4];
    for (const unsigned long format : {VEK_TRANSFER_RAW8, VEK_TRANSFER_RAW10, VEK_TRANSFER_RAW10_PACKED,
                                       VEK_TRANSFER_RAW12_PACKED, VEK_TRANSFER_RAW16}) {
        EXPECT_EQ(Asked([&] {
                      return VekCam_GetAveragePixelValue(mHandle, kWidth, kHeight, 0, kBayer, format, mImage.data(), 1,
                                                         1, kWidth - 2, kHeight - 2, average);
                  }),
                  kNothing)
            << "format " << format;
    }
}

TEST_F(CAllocations, WhiteBalanceNeedsNone) {
    for (const unsigned char mode : {VEK_WB_OFF, VEK_WB_MANUAL, VEK_WB_AUTO, VEK_WB_ONCE}) {
        EXPECT_EQ(Asked([&] { return VekCam_SetWhiteBalanceMode(mHandle, mode); }), kNothing);
        EXPECT_EQ(Asked([&] { return VekCam_SetWhiteBalanceGain(mHandle, 200, 140, 130, 250); }), kNothing);
        for (const unsigned short bits : kDepths) {
            EXPECT_EQ(
                Asked([&] { return VekCam_WhiteBalance(mHandle, kWidth, kHeight, 0, kBayer, mImage.data(), bits); }),
                kNothing)
                << "mode " << int{mode} << ", " << bits << " bits";
        }
    }
}

TEST_F(CAllocations, CurvesNeedNone) {
    for (const unsigned short bits : kDepths) {
        for (unsigned char channel = VEK_GAMMA_Y; channel <= VEK_GAMMA_B; ++channel) {
            EXPECT_EQ(
                Asked([&] { return VekCam_SetGammaMode(mHandle, channel, VEK_GAMMA_CURVE, 220, 0, 0, nullptr, bits); }),
                kNothing);
        }
        EXPECT_EQ(Asked([&] { return VekCam_RawColorGamma(mHandle, kWidth, kHeight, kBayer, mImage.data(), bits); }),
                  kNothing);
        const unsigned long gray = bits == 8 ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_MONO12;
        const unsigned long bgr = bits == 8 ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGR48;
        for (const unsigned long format : {gray, bgr}) {
            EXPECT_EQ(Asked([&] { return VekCam_BGRGamma(mHandle, kWidth, kHeight, format, mImage.data(), bits); }),
                      kNothing)
                << "format " << format;
        }
    }
}

TEST_F(CAllocations, ColorsNeedNone) {
    constexpr short matrix[12] = {150, -30, -20, 0, -25, 160, -35, 0, -10, -40, 150, 0};
    EXPECT_EQ(Asked([&] { return VekCam_SetColorMatrix(mHandle, VEK_COLOR_MATRIX_CUSTOM, matrix); }), kNothing);
    EXPECT_EQ(Asked([&] { return VekCam_SetHueSaturationMode(mHandle, 1, 30, 120); }), kNothing);
    EXPECT_EQ(Asked([&] { return VekCam_SetHighChromaSuppression(mHandle, 60, 200); }), kNothing);
    EXPECT_EQ(Asked([&] { return VekCam_SetLowChromaSuppression(mHandle, 90, 200); }), kNothing);
    for (const unsigned short bits : kDepths) {
        const unsigned long bgr = bits == 8 ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGR48;
        EXPECT_EQ(
            Asked([&] { return VekCam_HueSaturationColorMatrix(mHandle, kWidth, kHeight, bgr, mImage.data(), bits); }),
            kNothing);
    }
}

// Ten bytes for each column, for the call.
TEST_F(CAllocations, SharpnessNeedsTenBytesAColumn) {
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 0, 80, 2), 0);
    EXPECT_EQ(
        Asked([&] { return VekCam_Sharpness(mHandle, kWidth, kHeight, VEK_DESTINATION_BGR24, mImage.data(), 8); }),
        kNothing)
        << "switched off";
    ASSERT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 80, 2), 0);
    for (const unsigned long format : {VEK_DESTINATION_MONO8, VEK_DESTINATION_BGR24, VEK_DESTINATION_BGRX32}) {
        EXPECT_EQ(Asked([&] { return VekCam_Sharpness(mHandle, kWidth, kHeight, format, mImage.data(), 8); }),
                  forTheCall(10 * kWidth));
    }
    for (const unsigned long format : {VEK_DESTINATION_MONO12, VEK_DESTINATION_BGR48, VEK_DESTINATION_BGRX64}) {
        EXPECT_EQ(Asked([&] { return VekCam_Sharpness(mHandle, kWidth, kHeight, format, mImage.data(), 12); }),
                  forTheCall(10 * kWidth));
    }
    EXPECT_EQ(Asked([&] { return VekCam_Sharpness(mHandle, 2, 2, VEK_DESTINATION_BGR24, mImage.data(), 8); }),
              forTheCall(10 * 2))
        << "an image that is left alone all the same";
}

// A quarter turn goes over a buffer that the handle keeps and that only grows. Mirrors have none.
TEST_F(CAllocations, RotationKeepsTheLargestImage) {
    const auto turn = [&](unsigned char mirror, unsigned char rotation, unsigned long width, unsigned long height) {
        unsigned short array = kBayer;
        return Asked(
            [&] { return VekCam_MirrorRotation(mHandle, mirror, rotation, &width, &height, &array, mImage.data()); });
    };
    for (const unsigned char mirror : {VEK_MIRROR_HORIZONTAL, VEK_MIRROR_VERTICAL}) {
        EXPECT_EQ(turn(mirror, VEK_ROTATION_NONE, kWidth, kHeight), kNothing);
    }
    EXPECT_EQ(turn(VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE, kWidth, kHeight), (SAsked{{kPixels}, 1}));
    EXPECT_EQ(turn(VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE, kWidth, kHeight), kNothing);
    EXPECT_EQ(turn(VEK_MIRROR_HORIZONTAL, VEK_ROTATION_COUNTERCLOCKWISE, kWidth, kHeight / 2), kNothing);
    EXPECT_EQ(turn(VEK_MIRROR_NONE, VEK_ROTATION_CLOCKWISE, kWidth, 2 * kHeight), (SAsked{{2 * kPixels}, 0}))
        << "one is replaced by another";
    EXPECT_EQ(turn(VEK_MIRROR_NONE, VEK_ROTATION_COUNTERCLOCKWISE, kWidth, 2 * kHeight), kNothing);
}

// A frame for the call; the dark frame is one more that is kept.
TEST_F(CAllocations, NoiseReductionNeedsAFrame) {
    for (const unsigned short bits : kDepths) {
        const std::size_t frame = kPixels * (bits == 8 ? 1 : 2);
        const auto reduce = [&](unsigned long mode, int array) {
            return Asked(
                [&] { return VekCam_NoiseReduction(mHandle, mode, kWidth, kHeight, 0, array, mImage.data(), bits); });
        };
        EXPECT_EQ(reduce(VEK_NOISE_OFF, kBayer), kNothing);
        for (const int array : {VEK_COLOR_ARRAY_MONO, VEK_COLOR_ARRAY_RGGB, VEK_COLOR_ARRAY_GRBG}) {
            EXPECT_EQ(reduce(VEK_NOISE_EASY, array), forTheCall(frame)) << "colour array " << array;
            const SAsked stored = reduce(VEK_NOISE_STORE_DARK, array);
            EXPECT_EQ(stored.sizes, Sizes{frame}) << "colour array " << array;
            EXPECT_EQ(stored.kept, bits == 8 && array == VEK_COLOR_ARRAY_MONO ? 1 : 0) << "one dark frame at a time";
            EXPECT_EQ(reduce(VEK_NOISE_COMPLEX, array), forTheCall(frame)) << "colour array " << array;
        }
    }
}

// Rows of 16-bit gains of a shading map: whole cache lines, and which of them there are.
const Sizes kGains16 = {(2 * kWidth + 63) / 64 * 64 * kHeight, kHeight};

// Calibration keeps a map of 4 bytes a pixel and a mean of 8. The first correction by gains keeps them in 16 bits, too;
// nothing else needs more.
TEST_F(CAllocations, ShadingNeedsMapAndMean) {
    constexpr unsigned long meanPitch = 4 * kWidth; // the pitch with which frames are averaged
    const Sizes mapAndMean = {4 * kPixels, 8 * kPixels};
    const auto shade = [&](unsigned long pitch) {
        return Asked([&] { return VekCam_ShadingCorrection(mHandle, kWidth, kHeight, pitch, mImage.data(), 8); });
    };
    EXPECT_EQ(shade(0), kNothing) << "switched off";
    ASSERT_EQ(VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN), 0);
    EXPECT_EQ(shade(meanPitch), (SAsked{mapAndMean, 2}));
    EXPECT_EQ(shade(meanPitch), kNothing) << "the mean goes on";
    EXPECT_EQ(shade(0), (SAsked{mapAndMean, 0})) << "and starts anew";
    for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET, VEK_SHADING_SHOW_MAP}) {
        ASSERT_EQ(VekCam_SetShadingCorrectionMode(mHandle, mode), 0);
        EXPECT_EQ(shade(0), mode == VEK_SHADING_GAIN ? (SAsked{kGains16, 2}) : kNothing) << "mode " << mode;
        EXPECT_EQ(shade(0), kNothing) << "mode " << mode << ", again";
    }
}

// Frames become the same without memory for the gains of 16 bits, or for which rows have them.
TEST_F(CAllocations, ShadingWithoutGains16) {
    for (const int bits : {8, 12}) {
        const auto corrected = [&](std::size_t refused) {
            std::vector<unsigned char> image(2 * kPixels);
            for (std::size_t i = 0; i < image.size(); ++i) {
                image[i] = static_cast<unsigned char>(bits == 8 || i % 2 == 0 ? i * 7 : i % 16);
            }
            const auto shade = [&] {
                return VekCam_ShadingCorrection(mHandle, kWidth, kHeight, 0, image.data(), bits);
            };
            EXPECT_EQ(VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN), 0);
            EXPECT_EQ(shade(), 0);
            EXPECT_EQ(VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_GAIN), 0);
            gRefused = refused;
            const SAsked asked = Asked(shade);
            gRefused = 0;
            EXPECT_EQ(asked.kept, refused == 0 ? 2 : 0);
            EXPECT_EQ(shade(), 0);
            return image;
        };
        const std::vector<unsigned char> image = corrected(0);
        for (const std::size_t refused : kGains16) {
            EXPECT_EQ(corrected(refused), image) << bits << " bits, without " << refused << " bytes";
        }
    }
}

// A calibration that gets its map but not the mean leaves no map: frames pass as if there had been none.
TEST_F(CAllocations, ShadingWithoutTheMean) {
    const auto shade = [&](int bits) {
        return VekCam_ShadingCorrection(mHandle, kWidth, kHeight, 0, mImage.data(), bits);
    };
    const std::vector<unsigned char> before = mImage;
    for (const int bits : {8, 12}) {
        for (const unsigned long mode : {VEK_SHADING_GAIN, VEK_SHADING_OFFSET, VEK_SHADING_SHOW_MAP}) {
            ASSERT_EQ(VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN), 0);
            ASSERT_EQ(shade(bits), 0); // a map of an earlier calibration goes, too
            ASSERT_EQ(VekCam_SetShadingCorrectionMode(mHandle, VEK_SHADING_CALIBRATE_GAIN), 0);
            gRefused = 8 * kPixels;
            gCounting = true;
            const int status = shade(bits);
            gCounting = false;
            gRefused = 0;
            EXPECT_EQ(status, 1);
            ASSERT_EQ(VekCam_SetShadingCorrectionMode(mHandle, mode), 0);
            EXPECT_EQ(shade(bits), 0);
            EXPECT_EQ(mImage, before) << "mode " << mode;
        }
    }
}

// A record for each slot of the camera.
TEST_F(CAllocations, DefectDetectionNeedsARecordASlot) {
    constexpr std::size_t record = 24;
    EXPECT_EQ(Asked([&] { return VekCam_DetectDefectPixel(mHandle, kWidth, kHeight, mImage.data(), 10); }),
              forTheCall(kSlots * record));
}

// Lists of the regions and of what they cover, which grow, and an image of that, kept until the next call.
TEST_F(CAllocations, DecodingNeedsTheCombinedImage) {
    for (std::uint8_t i = 0; i < 2; ++i) {
        // 16 x 4 pixels at 0, 0 and at 32, 8: together 32 x 8.
        const auto x = static_cast<std::uint8_t>(32 * i);
        const auto y = static_cast<std::uint8_t>(8 * i);
        mDriver.mRegions[i] = {x, 0, y, 0, 16, 0, 4, 0, i, 1};
    }
    mDriver.mControls[VEK_CID_RAW_IMAGE_SIZE] = 2 * 16 * 4;
    mDriver.mControls[VEK_CID_IMAGE_WIDTH] = 16;
    mDriver.mControls[VEK_CID_IMAGE_HEIGHT] = 8;
    const auto decode = [&](unsigned long selector) {
        unsigned char* image = nullptr;
        unsigned long size[3] = {};
        return Asked([&] {
            return VekCam_DecodingCombinedMultiROI(mHandle, selector, mImage.data(), &image, &size[0], &size[1],
                                                   &size[2]);
        });
    };
    constexpr std::size_t record = 32;
    constexpr std::size_t image = 32 * 8 + 1; // a row of pixels of 12 bits may begin within a byte
    // The first call makes room for the lists: regions, covered columns, covered rows.
    EXPECT_EQ(decode(0).sizes, (Sizes{record, 2 * record, 16, 32, 16, 32}));
    EXPECT_EQ(decode(0), (SAsked{{}, 0}));
    EXPECT_EQ(decode(VEK_COMBINING_IMAGE), (SAsked{{image}, 1}));
    EXPECT_EQ(decode(VEK_COMBINING_IMAGE), (SAsked{{image}, 0}));
}

} // namespace vek::test
