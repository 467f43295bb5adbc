// SPDX-License-Identifier: Apache-2.0
// Multi-ROI frames of the simulated camera: every decoded pixel is the one that a full frame shows at its place on the
// sensor. The scene is steady and free of noise, so that frames can be compared.
#include "VekTrgApi.h"
#include "sim/SimulatedDevice.h"
#include "sim/SimulatedDriver.h"
#include "support/Random.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace vek::test {

namespace {

constexpr unsigned kWidth = 67;
constexpr unsigned kHeight = 53;

/// A camera that counts exposure in microseconds: its exposure does not depend on the layout.
std::shared_ptr<sim::CSimulatedDriver> makeDriver() {
    for (const sim::SCameraModel& model : sim::cameraModels()) {
        if (sim::exposureUnit(model) != sim::EExposureUnit::Microseconds) {
            continue;
        }
        sim::SSensorConfig sensor = sim::CSimulatedDriver::DefaultSensor(model);
        sensor.width = kWidth;
        sensor.height = kHeight;
        sensor.depth = 12;
        sensor.photonNoise = false;
        sensor.readNoiseElectrons = 0.0F;
        sensor.photoResponseSpread = 0.2F; // each pixel can be told from its neighbours
        auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensor);
        driver->SetExposure(3000);
        return driver;
    }
    throw std::runtime_error("no model counts microseconds");
}

/// Which columns or rows some region covers.
std::vector<bool> covered(const std::vector<sim::SRectangle>& regions, bool asRows) {
    std::vector<bool> cover(asRows ? kHeight : kWidth);
    for (const sim::SRectangle& region : regions) {
        const unsigned first = asRows ? region.y : region.x;
        for (unsigned i = first; i < first + (asRows ? region.height : region.width); ++i) {
            cover[i] = true;
        }
    }
    return cover;
}

class CMultiROICamera : public ::testing::Test {
protected:
    CMultiROICamera() : mDriver(makeDriver()), mFd(sim::openSimulatedCamera(mDriver)) {}
    ~CMultiROICamera() override {
        VekCam_Close(mHandle);
        sim::closeSimulatedCamera(mFd);
    }

    /// A camera with so many region slots, opened anew.
    void SetSlots(unsigned count, unsigned long format) {
        VekCam_Close(mHandle);
        mDriver->SetMaxRoiCount(count);
        mDriver->SetTransferFormat(format);
        mHandle = VekCam_Open(mFd);
        mPixelBytes = VekTransferFormatBits(format) / 8;
        mDriver->SetFullFrame();
        mFull = Capture();
        ASSERT_EQ(mFull.size(), std::size_t{kWidth} * kHeight * mPixelBytes);
        // Neither black nor white: pixels can be told apart.
        std::size_t equal = 0;
        for (unsigned x = 1; x < kWidth; ++x) {
            equal += std::memcmp(Full(x, 30), Full(x - 1, 30), mPixelBytes) == 0 ? 1U : 0U;
        }
        ASSERT_LT(equal, kWidth / 4);
    }
    void SetRegions(const std::vector<sim::SRectangle>& regions, bool disabledBetween) {
        std::vector<sim::SRoi> rois;
        for (const sim::SRectangle& region : regions) {
            if (disabledBetween) {
                rois.push_back({false, {1, 1, 5, 5}});
            }
            rois.push_back({true, region});
        }
        mDriver->SetRois(rois);
        mRegions = regions;
    }
    /// As an application reads a frame.
    std::vector<unsigned char> Capture() {
        std::vector<unsigned char> frame(mDriver->FrameSize());
        EXPECT_EQ(read(mFd, frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
        return frame;
    }
    const unsigned char* Full(unsigned x, unsigned y) const {
        return mFull.data() + (std::size_t{y} * kWidth + x) * mPixelBytes;
    }

    /// Region by region.
    void ExpectRegions(std::vector<unsigned char>& frame) {
        for (unsigned i = 0; i < mRegions.size(); ++i) {
            unsigned char* image = nullptr;
            unsigned long width = 0;
            unsigned long height = 0;
            unsigned long pitch = 0;
            ASSERT_EQ(VekCam_DecodingCombinedMultiROI(mHandle, i, frame.data(), &image, &width, &height, &pitch), 0);
            ASSERT_NE(image, nullptr);
            ASSERT_EQ(width, mRegions[i].width);
            ASSERT_EQ(height, mRegions[i].height);
            ASSERT_LE(image + (height - 1) * pitch + width * mPixelBytes, frame.data() + frame.size());
            for (unsigned y = 0; y < height; ++y) {
                ASSERT_EQ(std::memcmp(image + y * pitch, Full(mRegions[i].x, mRegions[i].y + y), width * mPixelBytes),
                          0)
                    << "region " << i << ", row " << y;
            }
        }
    }
    /// All of them in one image: what a region covers is there, the rest black.
    void ExpectWhole(std::vector<unsigned char>& frame) {
        const std::vector<bool> columns = covered(mRegions, false);
        const std::vector<bool> rows = covered(mRegions, true);
        unsigned char* image = nullptr;
        unsigned long width = 0;
        unsigned long height = 0;
        unsigned long pitch = 0;
        ASSERT_EQ(VekCam_DecodingCombinedMultiROI(mHandle, VEK_COMBINING_IMAGE, frame.data(), &image, &width, &height,
                                                  &pitch),
                  0);
        ASSERT_NE(image, nullptr);
        ASSERT_EQ(width, static_cast<unsigned long>(std::count(columns.begin(), columns.end(), true)));
        ASSERT_EQ(height, static_cast<unsigned long>(std::count(rows.begin(), rows.end(), true)));
        ASSERT_EQ(pitch, width * mPixelBytes);
        const std::vector<unsigned char> black(mPixelBytes);
        const unsigned char* line = image;
        for (unsigned y = 0; y < kHeight; ++y) {
            if (!rows[y]) {
                continue;
            }
            const unsigned char* pixel = line;
            for (unsigned x = 0; x < kWidth; ++x) {
                if (!columns[x]) {
                    continue;
                }
                const bool inside = std::any_of(mRegions.begin(), mRegions.end(), [=](const sim::SRectangle& region) {
                    return x >= region.x && x < region.x + region.width && y >= region.y &&
                           y < region.y + region.height;
                });
                ASSERT_EQ(std::memcmp(pixel, inside ? Full(x, y) : black.data(), mPixelBytes), 0) << x << ' ' << y;
                pixel += mPixelBytes;
            }
            line += pitch;
        }
    }

    CRandom mRandom{77};
    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    int mFd;
    VekCam_Handle mHandle = nullptr;
    std::vector<sim::SRectangle> mRegions;
    std::vector<unsigned char> mFull;
    std::size_t mPixelBytes = 1;
};

} // namespace

// Regions that overlap, touch, lie in each other and follow in any order, delivered as blocks.
TEST_F(CMultiROICamera, Blocks) {
    for (const unsigned long format : {0UL, 3UL, 19UL}) {
        ASSERT_NO_FATAL_FAILURE(SetSlots(8, format));
        for (int round = 0; round < 25; ++round) {
            std::vector<sim::SRectangle> regions(2 + mRandom.Below(3));
            for (sim::SRectangle& region : regions) {
                const auto below = [this](unsigned bound) { return static_cast<unsigned>(mRandom.Below(bound)); };
                region.x = below(kWidth - 1);
                region.y = below(kHeight - 1);
                region.width = 1 + below(std::min(30U, kWidth - region.x));
                region.height = 1 + below(std::min(20U, kHeight - region.y));
            }
            SetRegions(regions, round % 2 == 1);
            std::vector<unsigned char> frame = Capture();
            ASSERT_NO_FATAL_FAILURE(ExpectRegions(frame)) << round;
            ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame)) << round;
        }
    }
}

// The same regions in two frames of one handle, between them another layout: nothing is left over.
TEST_F(CMultiROICamera, LayoutsThatAlternate) {
    ASSERT_NO_FATAL_FAILURE(SetSlots(8, 3));
    const std::vector<sim::SRectangle> layouts[] = {{{0, 0, 10, 10}, {20, 20, 10, 10}},
                                                    {{5, 0, 60, 2}, {0, 40, 2, 13}, {30, 10, 7, 7}},
                                                    {{0, 0, 67, 53}, {1, 1, 3, 3}}};
    for (int round = 0; round < 6; ++round) {
        SetRegions(layouts[round % 3], false);
        std::vector<unsigned char> frame = Capture();
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame)) << round;
        ASSERT_NO_FATAL_FAILURE(ExpectRegions(frame)) << round;
    }
}

// Combined by the camera: a grid of regions is the combining image itself.
TEST_F(CMultiROICamera, Bands) {
    for (const unsigned count : {4U, 16U}) {
        for (const unsigned long format : {0UL, 1UL, 19UL}) {
            ASSERT_NO_FATAL_FAILURE(SetSlots(count, format));
            for (const bool disabledBetween : {false, true}) {
                if (disabledBetween && count == 4) {
                    continue;
                }
                SetRegions({{3, 2, 7, 5}, {30, 2, 20, 5}, {3, 20, 7, 9}, {30, 20, 20, 9}}, disabledBetween);
                std::vector<unsigned char> frame = Capture();
                ASSERT_NO_FATAL_FAILURE(ExpectRegions(frame));
                ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame));
                unsigned char* image = nullptr;
                ASSERT_EQ(VekCam_DecodingCombinedMultiROI(mHandle, VEK_COMBINING_IMAGE, frame.data(), &image, nullptr,
                                                          nullptr, nullptr),
                          0);
                EXPECT_EQ(image, frame.data());
            }
            // Bands of different columns: their pixels stand at the left of the rows.
            SetRegions({{40, 0, 9, 4}, {0, 4, 3, 1}, {9, 4, 5, 1}, {66, 52, 1, 1}}, false);
            std::vector<unsigned char> frame = Capture();
            ASSERT_NO_FATAL_FAILURE(ExpectRegions(frame));
        }
    }
}

// One region of several slots is a plain image of the size that the driver reports.
TEST_F(CMultiROICamera, OneRegion) {
    for (const unsigned count : {1U, 4U, 8U, 16U}) {
        ASSERT_NO_FATAL_FAILURE(SetSlots(count, 3));
        SetRegions({{11, 7, 13, 5}}, false);
        std::vector<unsigned char> frame = Capture();
        ASSERT_NO_FATAL_FAILURE(ExpectRegions(frame));
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame));
        mDriver->SetFullFrame();
        frame = Capture();
        mRegions = {{0, 0, kWidth, kHeight}};
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame));
    }
}

// A pulled cable: refused.
TEST_F(CMultiROICamera, Unplugged) {
    ASSERT_NO_FATAL_FAILURE(SetSlots(8, 0));
    SetRegions({{0, 0, 10, 10}, {20, 20, 10, 10}}, false);
    std::vector<unsigned char> frame = Capture();
    mDriver->Unplug();
    unsigned char* image = frame.data();
    unsigned long number = 5;
    EXPECT_EQ(VekCam_DecodingCombinedMultiROI(mHandle, 0, frame.data(), &image, &number, &number, &number), -22);
    EXPECT_EQ(image, frame.data());
    EXPECT_EQ(number, 5U);
    mDriver->Replug();
    ASSERT_NO_FATAL_FAILURE(ExpectWhole(frame));
}

} // namespace vek::test
