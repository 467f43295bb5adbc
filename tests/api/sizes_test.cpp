// SPDX-License-Identifier: Apache-2.0
// Sizes that no frame has. An image of no pixels is done at once, however long its other side; a null image of some
// pixels is refused, however many they are. Each call has seconds, and no buffer that it could touch.
#include "VekTrgApi.h"
#include "formats/DemosaicMethods.h"
#include "support/FakeDriver.h"
#include "support/GuardedBuffer.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned short kDepths[] = {8, 12}; // bytes and words
constexpr unsigned long kSides[] = {0,
                                    1,
                                    2,
                                    5,
                                    (1UL << 31) - 1,
                                    1UL << 31,
                                    (1UL << 31) + 1,
                                    (1UL << 32) - 1,
                                    1UL << 32,
                                    (1UL << 32) + 1,
                                    (1UL << 32) + 4,
                                    1UL << 61,
                                    1UL << 62,
                                    (1UL << 63) - 1,
                                    1UL << 63,
                                    (1UL << 63) + 1,
                                    ~0UL - 2,
                                    ~0UL};

struct SArguments {
    VekCam_Handle handle;
    unsigned long width;
    unsigned long height;
    void* image;
};

/// An image function with everything but size and image chosen. smallest: sides below are refused, no pixels or not.
struct SCase {
    std::string name;
    std::function<int(SArguments)> call;
    unsigned long smallest = 0;
    bool leavesNullImages = false; ///< unchanged images are not looked at
};

std::vector<SCase> demosaicCases() {
    std::vector<SCase> cases;
    for (unsigned short array = VEK_COLOR_ARRAY_MONO; array <= VEK_COLOR_ARRAY_YCRCB411_BT709; ++array) {
        for (unsigned char method = VEK_DEMOSAIC_MONO; method <= kLastDemosaicMethod; ++method) {
            for (const unsigned short bits : kDepths) {
                cases.push_back({"ColorInterpolation, array " + std::to_string(array) + ", method " +
                                     std::to_string(method) + ", " + std::to_string(bits) + " bits",
                                 [=](SArguments a) {
                                     return VekCam_ColorInterpolation(
                                         a.handle, a.width, a.height, array, a.image, a.image, method,
                                         bits == 8 ? VEK_DESTINATION_BGRX32 : VEK_DESTINATION_BGRX64, bits);
                                 }});
            }
        }
    }
    return cases;
}

std::vector<SCase> conversionCases() {
    std::vector<SCase> cases;
    for (unsigned long format = VEK_TRANSFER_RAW8; format <= VEK_TRANSFER_MONO16; ++format) {
        const bool packed = format != 0 && VekTransferFormatBits(format) == 0;
        for (const unsigned long to : {VEK_DESTINATION_MONO8, VEK_DESTINATION_BGR24, VEK_DESTINATION_BGRX32}) {
            cases.push_back({"ConvYUVOrBGRToBGRImage, format " + std::to_string(format) + " to " + std::to_string(to),
                             [=](SArguments a) {
                                 return VekCam_ConvYUVOrBGRToBGRImage(a.handle, a.width, a.height, format, a.image, to,
                                                                      static_cast<unsigned char*>(a.image));
                             },
                             0, packed});
        }
        if (format < VEK_TRANSFER_BGR8 || format > VEK_TRANSFER_YCRCB444_BT709) {
            cases.push_back({"ConvTo8BitsImage, format " + std::to_string(format), [=](SArguments a) {
                                 return VekCam_ConvTo8BitsImage(a.handle, a.width, a.height, 0, format, a.image,
                                                                nullptr, static_cast<unsigned char*>(a.image));
                             }});
        }
    }
    for (const unsigned long format : {0UL, 1UL, 2UL, 3UL, 4UL, 18UL, 19UL}) {
        cases.push_back({"GetAveragePixelValue, format " + std::to_string(format), [=](SArguments a) {
                             float average[4] = {};
                             return VekCam_GetAveragePixelValue(a.handle, a.width, a.height, 0, 2, format, a.image, 0,
                                                                0, ~0UL, ~0UL, average);
                         }});
    }
    return cases;
}

std::vector<SCase> stageCases() {
    std::vector<SCase> cases;
    for (const unsigned short bits : kDepths) {
        const std::string depth = ", " + std::to_string(bits) + " bits";
        const unsigned long bgr = bits == 8 ? VEK_DESTINATION_BGR24 : VEK_DESTINATION_BGR48;
        const unsigned long gray = bits == 8 ? VEK_DESTINATION_MONO8 : VEK_DESTINATION_MONO12;
        for (const unsigned char mode : {VEK_WB_MANUAL, VEK_WB_AUTO}) {
            cases.push_back({"WhiteBalance, mode " + std::to_string(mode) + depth, [=](SArguments a) {
                                 VekCam_SetWhiteBalanceMode(a.handle, mode);
                                 VekCam_SetWhiteBalanceGain(a.handle, 200, 128, 128, 200);
                                 return VekCam_WhiteBalance(a.handle, a.width, a.height, 0, 2, a.image, bits);
                             }});
        }
        cases.push_back({"RawColorGamma" + depth, [=](SArguments a) {
                             return VekCam_RawColorGamma(a.handle, a.width, a.height, 2, a.image, bits);
                         }});
        for (const unsigned long format : {gray, bgr}) {
            const std::string as = ", format " + std::to_string(format) + depth;
            cases.push_back({"BGRGamma" + as, [=](SArguments a) {
                                 return VekCam_BGRGamma(a.handle, a.width, a.height, format, a.image, bits);
                             }});
        }
        cases.push_back({"HueSaturationColorMatrix" + depth, [=](SArguments a) {
                             return VekCam_HueSaturationColorMatrix(a.handle, a.width, a.height, bgr, a.image, bits);
                         }});
        for (const unsigned long mode : {0UL, 1UL, 2UL, 3UL, 4UL, 255UL}) {
            cases.push_back({"ShadingCorrection, mode " + std::to_string(mode) + depth,
                             [=](SArguments a) {
                                 VekCam_SetShadingCorrectionMode(a.handle, mode);
                                 return VekCam_ShadingCorrection(a.handle, a.width, a.height, 0, a.image, bits);
                             },
                             0, true});
        }
        cases.push_back({"NoiseReduction, dark frame stored" + depth, [=](SArguments a) {
                             return VekCam_NoiseReduction(a.handle, VEK_NOISE_STORE_DARK, a.width, a.height, 0, 2,
                                                          a.image, bits);
                         }});
        cases.push_back({"NoiseReduction, dark frame of the same size subtracted" + depth, [=](SArguments a) {
                             const int stored = VekCam_NoiseReduction(a.handle, VEK_NOISE_STORE_DARK, a.width, a.height,
                                                                      0, 2, a.image, bits);
                             return stored != 0 ? stored
                                                : VekCam_NoiseReduction(a.handle, VEK_NOISE_COMPLEX, a.width, a.height,
                                                                        0, 2, a.image, bits);
                         }});
        for (const int array : {1, 2, 3}) {
            cases.push_back({"NoiseReduction, easy filter, array " + std::to_string(array) + depth,
                             [=](SArguments a) {
                                 return VekCam_NoiseReduction(a.handle, VEK_NOISE_EASY, a.width, a.height, 0, array,
                                                              a.image, bits);
                             },
                             array == 1 ? 2UL : 4UL, true});
        }
    }
    cases.push_back(
        {"Sharpness",
         [](SArguments a) { return VekCam_Sharpness(a.handle, a.width, a.height, VEK_DESTINATION_BGR24, a.image, 8); },
         0, true});
    cases.push_back({"DetectDefectPixel", [](SArguments a) {
                         return VekCam_DetectDefectPixel(a.handle, a.width, a.height,
                                                         static_cast<unsigned char*>(a.image), 0);
                     }});
    for (unsigned char mirror = 0; mirror <= 3; ++mirror) {
        for (unsigned char rotation = 0; rotation <= 2; ++rotation) {
            cases.push_back({"MirrorRotation " + std::to_string(mirror) + ' ' + std::to_string(rotation),
                             [=](SArguments a) {
                                 unsigned short array = VEK_COLOR_ARRAY_RGGB;
                                 return VekCam_MirrorRotation(a.handle, mirror, rotation, &a.width, &a.height, &array,
                                                              a.image);
                             },
                             0, mirror == 0 && rotation == 0});
        }
    }
    return cases;
}

const char* gRunning = ""; ///< what a call that does not come back was

void onTimeOut(int /*signal*/) {
    const char text[] = "still running after 20 s: ";
    if (write(STDERR_FILENO, text, sizeof text - 1) >= 0 &&
        write(STDERR_FILENO, gRunning, std::strlen(gRunning)) >= 0 && write(STDERR_FILENO, "\n", 1) >= 0) {
    }
    _exit(1);
}

class CSizes : public ::testing::TestWithParam<std::vector<SCase> (*)()> {
protected:
    CSizes() {
        mDriver.Describe(16, 2, 3); // slots for defect pixels
        mHandle = VekCam_Open(5);
        // Every stage has something to do.
        for (unsigned char channel = VEK_GAMMA_Y; channel <= VEK_GAMMA_B; ++channel) {
            EXPECT_EQ(VekCam_SetGammaMode(mHandle, channel, VEK_GAMMA_CURVE, 180, 0, 0, nullptr, 12), 0);
        }
        EXPECT_EQ(VekCam_SetSharpnessMode(mHandle, 1, 100, 0), 0);
        EXPECT_EQ(VekCam_SetHueSaturationMode(mHandle, 1, 100, 120), 0);
        EXPECT_EQ(VekCam_SetHighChromaSuppression(mHandle, 100, 100), 0);
        std::signal(SIGALRM, onTimeOut);
    }
    ~CSizes() override {
        alarm(0);
        VekCam_Close(mHandle);
    }
    int Call(const SCase& one, unsigned long width, unsigned long height, void* image) {
        gRunning = one.name.c_str();
        alarm(20);
        const int status = one.call({mHandle, width, height, image});
        alarm(0);
        return status;
    }

    CFakeDriver mDriver;
    VekCam_Handle mHandle = nullptr;
};

} // namespace

TEST_P(CSizes, NoPixelsAreSuccessAtOnce) {
    CGuardedBuffer<std::uint8_t> unreadable(0, Flush::Left);
    for (const SCase& one : GetParam()()) {
        for (const unsigned long side : kSides) {
            for (void* const image : {static_cast<void*>(nullptr), static_cast<void*>(unreadable.data() - 1)}) {
                const int expected = one.smallest > 0 ? VEK_EINVAL : VEK_OK;
                EXPECT_EQ(Call(one, side, 0, image), expected) << one.name << ": " << side << " x 0";
                EXPECT_EQ(Call(one, 0, side, image), expected) << one.name << ": 0 x " << side;
            }
        }
    }
}

// No size makes a null image one that is worked on: the call is refused, or there is nothing to be done to the image.
TEST_P(CSizes, NullImagesOfAnySize) {
    for (const SCase& one : GetParam()()) {
        for (const unsigned long width : kSides) {
            for (const unsigned long height : kSides) {
                if (width == 0 || height == 0) {
                    continue;
                }
                const int status = Call(one, width, height, nullptr);
                EXPECT_TRUE(status == VEK_EINVAL || status == VEK_ENOMEM || status == 1 ||
                            (one.leavesNullImages && status == VEK_OK))
                    << one.name << ": " << width << " x " << height << " gives " << status;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Demosaic, CSizes, ::testing::Values(&demosaicCases), [](const auto&) { return "All"; });
INSTANTIATE_TEST_SUITE_P(Conversion, CSizes, ::testing::Values(&conversionCases), [](const auto&) { return "All"; });
INSTANTIATE_TEST_SUITE_P(Stages, CSizes, ::testing::Values(&stageCases), [](const auto&) { return "All"; });

// Rows longer than 32 bits can count, in memory that is only there where it is touched: the region is found at its end.
TEST(CLongRows, AverageBehind4GiB) {
    constexpr unsigned long width = (1UL << 32) + 8;
    void* const memory =
        mmap(nullptr, 2 * width, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        GTEST_SKIP() << "no address space for 8 GiB";
    }
    auto* const bytes = static_cast<unsigned char*>(memory);
    bytes[width - 1] = 20;
    bytes[2 * width - 2] = 40;
    VekCam_Handle const handle = VekCam_Open(-1);
    float average[4] = {};
    EXPECT_EQ(VekCam_GetAveragePixelValue(handle, width, 2, 0, VEK_COLOR_ARRAY_RGGB, VEK_TRANSFER_RAW8, bytes,
                                          width - 2, 0, 100, 100, average),
              0);
    EXPECT_EQ(average[0], 0.0F);
    EXPECT_EQ(average[1], 20.0F);
    EXPECT_EQ(average[2], 40.0F);
    EXPECT_EQ(average[3], 0.0F);
    VekCam_Close(handle);
    munmap(memory, 2 * width);
}

} // namespace vek::test
