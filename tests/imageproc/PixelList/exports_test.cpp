// SPDX-License-Identifier: Apache-2.0
// Defect pixel detection: which list the driver receives for which image.
#include "VekTrgApi.h"
#include "imageproc/PixelList/PixelListModel.h"
#include "support/GuardedBuffer.h"
#include "support/OpenHandle.h"
#include "support/Random.h"
#include "support/SampleVectors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <vector>

namespace vek::test {

namespace {

SCameraValues cameraWith(std::uint16_t slots) {
    SCameraValues values;
    values.defectSlots = slots;
    return values;
}

/// A handle on a camera with a number of correction slots.
class CSlots : public COpenHandle {
public:
    explicit CSlots(std::uint16_t slots) : COpenHandle(cameraWith(slots)) {}

    int Detect(unsigned long width, unsigned long height, const std::uint8_t* image, int threshold) {
        Driver().ClearLog();
        return DetectOn(width, height, image, threshold);
    }
    /// The same without forgetting the scripted failures.
    int DetectOn(unsigned long width, unsigned long height, const std::uint8_t* image, int threshold) {
        return VekCam_DetectDefectPixel(*this, width, height, image, threshold);
    }
    /// The slots as the driver got them; 5 bytes each.
    std::vector<Bytes> Sent() const {
        std::vector<Bytes> sent;
        for (const SRequest& request : Driver().Log()) {
            EXPECT_EQ(request.number, kSetDefectPixel);
            EXPECT_EQ(request.fd, kFd);
            sent.push_back(request.sent);
        }
        return sent;
    }
};

Bytes slot(std::size_t index, unsigned long x, unsigned long y) {
    return {static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(x >> 8),
            static_cast<std::uint8_t>(y), static_cast<std::uint8_t>(y >> 8)};
}

std::vector<Bytes> modelSlots(std::size_t slots, unsigned long width, unsigned long height, const std::uint8_t* image,
                              int threshold) {
    CPixelListModel list(slots);
    for (unsigned long y = 0; y < height; ++y) {
        for (unsigned long x = 0; x < width; ++x) {
            const int value = image[y * width + x];
            if (value >= threshold) {
                list.Add(x, y, static_cast<unsigned>(value));
            }
        }
    }
    std::vector<Bytes> expected;
    for (std::size_t i = 0; i < slots; ++i) {
        const bool used = i < list.Entries().size();
        expected.push_back(slot(i, used ? list.Entries()[i].x : 65535, used ? list.Entries()[i].y : 65535));
    }
    return expected;
}

} // namespace

TEST(CDetectDefect, WorkedFigures) {
    CSlots two(2);
    const std::uint8_t rising[] = {10, 20, 30, 0};
    EXPECT_EQ(two.Detect(2, 2, rising, 10), 0);
    EXPECT_EQ(two.Sent(), (std::vector<Bytes>{slot(0, 1, 0), slot(1, 0, 1)}));
    const std::uint8_t equal[] = {30, 30, 30, 0};
    EXPECT_EQ(two.Detect(2, 2, equal, 1), 0);
    EXPECT_EQ(two.Sent(), (std::vector<Bytes>{slot(0, 0, 0), slot(1, 1, 0)}));
    EXPECT_EQ(two.Detect(2, 2, rising, 30), 0);
    EXPECT_EQ(two.Sent(), (std::vector<Bytes>{slot(0, 0, 1), {1, 255, 255, 255, 255}}));
    EXPECT_EQ(two.Detect(2, 2, rising, 31), 0);
    EXPECT_EQ(two.Sent(), (std::vector<Bytes>{{0, 255, 255, 255, 255}, {1, 255, 255, 255, 255}}));
}

TEST(CDetectDefect, Thresholds) {
    CSlots slots(4);
    const std::uint8_t image[] = {0, 255, 254, 1, 0, 128};
    for (const int threshold : {INT_MIN, -1, 0, 1, 127, 128, 129, 254, 255, 256, 257, 511, 65536, INT_MAX}) {
        EXPECT_EQ(slots.Detect(3, 2, image, threshold), 0);
        EXPECT_EQ(slots.Sent(), modelSlots(4, 3, 2, image, threshold)) << threshold;
    }
    const std::uint8_t black[3] = {};
    EXPECT_EQ(slots.Detect(3, 1, black, 0), 0);
    EXPECT_EQ(slots.Sent(), modelSlots(4, 3, 1, black, 0));
    EXPECT_EQ(slots.Detect(3, 1, black, 1), 0);
    EXPECT_EQ(slots.Sent()[0], slot(0, 65535, 65535));
}

TEST(CDetectDefect, NoSlotsAskNothing) {
    CSlots none(0);
    const std::uint8_t image[] = {255};
    EXPECT_EQ(none.Detect(1, 1, image, 0), 0);
    EXPECT_EQ(none.Detect(1, 1, nullptr, 0), 0);
    EXPECT_EQ(none.Detect(~0UL, ~0UL, nullptr, 0), 0);
    EXPECT_TRUE(none.Driver().Log().empty());
}

TEST(CDetectDefect, NullHandleAndImage) {
    CSlots slots(3);
    const std::uint8_t image[] = {255};
    EXPECT_EQ(VekCam_DetectDefectPixel(nullptr, 1, 1, image, 0), -22);
    EXPECT_EQ(slots.Detect(1, 1, nullptr, 0), -22);
    EXPECT_EQ(slots.Detect(1, 1, nullptr, 256), -22);
    EXPECT_TRUE(slots.Driver().Log().empty());
}

// An image without pixels is never touched: every slot becomes unused.
TEST(CDetectDefect, NoPixels) {
    CSlots slots(3);
    const std::vector<Bytes> unused = {slot(0, 65535, 65535), slot(1, 65535, 65535), slot(2, 65535, 65535)};
    const std::uint8_t image[] = {255};
    for (const std::uint8_t* const data : {static_cast<const std::uint8_t*>(nullptr), image}) {
        EXPECT_EQ(slots.Detect(0, 5, data, 0), 0);
        EXPECT_EQ(slots.Sent(), unused);
        EXPECT_EQ(slots.Detect(5, 0, data, 0), 0);
        EXPECT_EQ(slots.Sent(), unused);
        EXPECT_EQ(slots.Detect(0, 0, data, 0), 0);
        EXPECT_EQ(slots.Sent(), unused);
    }
}

TEST(CDetectDefect, StopsAtTheFirstRefusal) {
    const std::uint8_t image[] = {9, 8, 7, 6, 5};
    for (std::size_t failing = 0; failing < 5; ++failing) {
        for (const int result : {-1, 1}) {
            CSlots slots(5);
            slots.Driver().FailNth(failing, {result, EIO, false});
            EXPECT_EQ(slots.DetectOn(5, 1, image, 0), 0);
            ASSERT_EQ(slots.Driver().Log().size(), failing + 1);
            EXPECT_EQ(slots.Sent()[failing], slot(failing, failing, 0));
        }
    }
}

TEST(CDetectDefect, CoordinatesAreCutTo16Bits) {
    CSlots slots(3);
    std::vector<std::uint8_t> image(70000);
    image[65535] = 1;
    image[65536] = 2;
    image[69999] = 3;
    EXPECT_EQ(slots.Detect(70000, 1, image.data(), 1), 0);
    EXPECT_EQ(slots.Sent(), (std::vector<Bytes>{slot(0, 65535, 0), slot(1, 0, 0), slot(2, 4463, 0)}));
    EXPECT_EQ(slots.Detect(1, 70000, image.data(), 1), 0);
    EXPECT_EQ(slots.Sent(), (std::vector<Bytes>{slot(0, 0, 65535), slot(1, 0, 0), slot(2, 0, 4463)}));
}

TEST(CDetectDefect, IndexIsCutTo8Bits) {
    CSlots slots(600);
    std::vector<std::uint8_t> image(1000);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<std::uint8_t>(i * 7);
    }
    for (const int threshold : {0, 128, 255}) {
        EXPECT_EQ(slots.Detect(100, 10, image.data(), threshold), 0);
        const std::vector<Bytes> sent = slots.Sent();
        EXPECT_EQ(sent, modelSlots(600, 100, 10, image.data(), threshold));
        ASSERT_EQ(sent.size(), 600U);
        EXPECT_EQ(sent[300][0], 44U);
    }
}

TEST(CDetectDefect, MostSlots) {
    CSlots slots(65535);
    const std::uint8_t image[] = {1, 2};
    EXPECT_EQ(slots.Detect(2, 1, image, 0), 0);
    ASSERT_EQ(slots.Driver().Log().size(), 65535U);
    EXPECT_EQ(slots.Driver().Log()[1].sent, slot(1, 1, 0));
    EXPECT_EQ(slots.Driver().Log()[65534].sent, slot(0xFE, 65535, 65535));
}

TEST(CDetectDefect, RandomImagesBetweenProtectedPages) {
    CRandom random(5);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t width = 1 + random.Below(70);
        const std::size_t height = 1 + random.Below(12);
        CGuardedBuffer<std::uint8_t> image(width * height, random.Below(2) == 0 ? Flush::Left : Flush::Right);
        const std::uint64_t values = 1 + random.Below(256);
        const bool sparse = random.Below(2) == 0;
        for (std::size_t i = 0; i < image.size(); ++i) {
            image[i] = static_cast<std::uint8_t>(sparse && random.Below(9) != 0 ? 0 : random.Below(values));
        }
        const auto count = static_cast<std::uint16_t>(random.Below(20));
        const int threshold = static_cast<int>(random.Below(260)) - 2;
        CSlots slots(count);
        ASSERT_EQ(slots.Detect(width, height, image.data(), threshold), 0);
        ASSERT_EQ(slots.Sent(), modelSlots(count, width, height, image.data(), threshold)) << round;
    }
}

} // namespace vek::test
