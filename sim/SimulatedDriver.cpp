// SPDX-License-Identifier: Apache-2.0
#include "sim/SimulatedDriver.h"

#include "VekTrgApi.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vek::sim {

namespace {

constexpr unsigned kUnused = 65535; // coordinate of an unused correction slot
constexpr double kInitialExposureSeconds = 0.01;

void require(bool condition, const char* message) {
    if (!condition) {
        throw std::invalid_argument(message);
    }
}

/// Transfer format that loses nothing of a sensor's depth.
unsigned long nativeFormat(unsigned depth) {
    switch (depth) {
    case 8:
        return VEK_TRANSFER_RAW8;
    case 10:
        return VEK_TRANSFER_RAW10;
    case 12:
        return VEK_TRANSFER_RAW12;
    case 14:
        return VEK_TRANSFER_RAW14;
    default:
        return VEK_TRANSFER_RAW16;
    }
}

/// Whether enabled regions form bands as SetRois asks for.
bool areBands(const std::vector<SRectangle>& rois) {
    for (std::size_t i = 1; i < rois.size(); ++i) {
        const SRectangle& before = rois[i - 1];
        const SRectangle& roi = rois[i];
        const bool sameBand = roi.y == before.y && roi.height == before.height && roi.x >= before.x + before.width;
        const bool nextBand = roi.y >= before.y + before.height;
        if (!sameBand && !nextBand) {
            return false;
        }
    }
    return true;
}

} // namespace

CSimulatedDriver::CSimulatedDriver(const SCameraModel& model) : CSimulatedDriver(model, DefaultSensor(model)) {}

CSimulatedDriver::CSimulatedDriver(std::string_view modelName) : CSimulatedDriver(findCameraModel(modelName)) {}

CSimulatedDriver::CSimulatedDriver(const SCameraModel& model, const SSensorConfig& config)
    : CSimulatedDriver(model, config, CScene::Chart(config.width, config.height)) {}

CSimulatedDriver::CSimulatedDriver(const SCameraModel& model, const SSensorConfig& config, CScene scene)
    : mModel(model), mSensor(config, std::move(scene)), mGain(model.initialGain), mDigitalGain(0), mExposure(1),
      mTransferFormat(nativeFormat(config.depth)), mMaxRoiCount(model.maxRoiCount),
      mDefectSlots(model.defectPixelSlots, SPixelPosition{kUnused, kUnused}) {
    mDigitalGain = model.hasDigitalGain && !model.digitalGainFromOne ? 64 : 0; // factor 1
    ResetRegions();
    mExposure = exposureFromSeconds(mModel, Timing(), kInitialExposureSeconds);
}

SSensorConfig CSimulatedDriver::DefaultSensor(const SCameraModel& model) {
    SSensorConfig config;
    config.width = model.width;
    config.height = model.height;
    config.depth = model.depth;
    config.colorArray = model.colorArray;
    config.blackLevel = (1U << model.depth) / 64;
    const double range = (1U << model.depth) - 1.0 - config.blackLevel;
    config.dnPerElectron =
        static_cast<float>(range / (static_cast<double>(config.fullWellElectrons) * linearGain(model, 0)));
    return config;
}

// --- Geometry and timing; the caller holds the mutex -----------------------------------------------------------------

bool CSimulatedDriver::HasBlockLayout() const {
    return mMaxRoiCount == 8;
}

SRectangle CSimulatedDriver::FullArea() const {
    return {0, 0, mSensor.BinnedWidth(1U << mBinningH), mSensor.BinnedHeight(1U << mBinningV)};
}

std::vector<SRectangle> CSimulatedDriver::EnabledRois() const {
    std::vector<SRectangle> rois;
    for (const SRoi& roi : mRois) {
        if (roi.enabled && roi.area.width > 0 && roi.area.height > 0) {
            rois.push_back(roi.area);
        }
    }
    return rois;
}

unsigned CSimulatedDriver::CombinedSize(bool vertical) const {
    const SRectangle full = FullArea();
    std::vector<bool> covered(vertical ? full.height : full.width);
    for (const SRectangle& roi : EnabledRois()) {
        const unsigned first = vertical ? roi.y : roi.x;
        const unsigned size = vertical ? roi.height : roi.width;
        std::fill_n(covered.begin() + first, size, true);
    }
    return static_cast<unsigned>(std::count(covered.begin(), covered.end(), true));
}

std::size_t CSimulatedDriver::BytesPerFrame() const {
    const std::vector<SRectangle> rois = EnabledRois();
    if (rois.size() == 1 || !HasBlockLayout()) {
        return vek::sim::frameBytes(mTransferFormat, CombinedSize(false), CombinedSize(true));
    }
    std::size_t bytes = 0;
    for (const SRectangle& roi : rois) {
        bytes += vek::sim::frameBytes(mTransferFormat, roi.width, roi.height);
    }
    return bytes;
}

STiming CSimulatedDriver::Timing() const {
    STiming timing;
    timing.vBlank = mVBlank;
    timing.imageWidth = CombinedSize(false);
    timing.imageHeight = CombinedSize(true);
    timing.readLines = timing.imageHeight; // vertical binning adds rows before readout
    timing.binningCodeH = mBinningH;
    timing.binningCodeV = mBinningV;
    return timing;
}

double CSimulatedDriver::CurrentExposure() const {
    return exposureSeconds(mModel, Timing(), mExposure);
}

double CSimulatedDriver::CurrentPeriod() const {
    const STiming timing = Timing();
    return std::max(framePeriodSeconds(mModel, timing), CurrentExposure());
}

SExposure CSimulatedDriver::NextExposure() const {
    return {CurrentExposure(),
            linearGain(mModel, mGain) * digitalGain(mModel, mDigitalGain),
            mFrame,
            mSeconds,
            1U << mBinningH,
            1U << mBinningV};
}

void CSimulatedDriver::CatchUp() {
    mSeconds += CurrentPeriod();
    ++mFrame;
}

void CSimulatedDriver::ResetRegions() {
    Changed();
    mRois.assign(mMaxRoiCount, SRoi{false, {}});
    mRois.front() = {true, FullArea()};
}

void CSimulatedDriver::ApplyMask() {
    Changed();
    std::vector<SPixelPosition> used;
    std::copy_if(mDefectSlots.begin(), mDefectSlots.end(), std::back_inserter(used),
                 [](const SPixelPosition& slot) { return slot.x != kUnused && slot.y != kUnused; });
    mSensor.SetMaskedPixels(used);
}

// --- Capture ---------------------------------------------------------------------------------------------------------

SRasterImage CSimulatedDriver::Combine(const std::vector<SRectangle>& rois,
                                       const std::vector<SRasterImage>& images) const {
    // Bands from top to bottom; in a band regions stand side by side from the left. What no region fills is 0.
    SRasterImage combined(CombinedSize(false), CombinedSize(true), images.front().depth, images.front().channels);
    const std::size_t channels = combined.channels;
    unsigned left = 0;
    unsigned top = 0;
    for (std::size_t i = 0; i < rois.size(); ++i) {
        if (i > 0 && rois[i].y != rois[i - 1].y) {
            top += rois[i - 1].height;
            left = 0;
        }
        for (unsigned row = 0; row < rois[i].height; ++row) {
            const std::size_t count = rois[i].width * channels;
            std::copy_n(images[i].samples.begin() + static_cast<std::ptrdiff_t>(row * count), count,
                        combined.samples.begin() +
                            static_cast<std::ptrdiff_t>((std::size_t{top + row} * combined.width + left) * channels));
        }
        left += rois[i].width;
    }
    return combined;
}

std::vector<std::uint8_t> CSimulatedDriver::Capture() {
    const std::vector<SRectangle> rois = EnabledRois();
    const SExposure exposure = NextExposure();
    const bool raw = transferContent(mTransferFormat) == ETransferContent::Raw ||
                     (transferContent(mTransferFormat) == ETransferContent::Gray && mSensor.Config().colorArray == 1);
    std::vector<SRasterImage> images;
    images.reserve(rois.size());
    for (const SRectangle& roi : rois) {
        images.push_back(raw ? mSensor.ReadRaw(exposure, roi) : mSensor.ReadColor(exposure, roi));
    }
    std::vector<std::uint8_t> frame;
    if (rois.size() > 1 && HasBlockLayout()) {
        for (const SRasterImage& image : images) {
            const std::vector<std::uint8_t> block = encodeFrame(mTransferFormat, image);
            frame.insert(frame.end(), block.begin(), block.end());
        }
    } else {
        frame = encodeFrame(mTransferFormat, rois.size() > 1 ? Combine(rois, images) : images.front());
    }
    CatchUp();
    return frame;
}

std::vector<std::uint8_t> CSimulatedDriver::CaptureFrame() {
    const std::lock_guard<std::mutex> lock(mMutex);
    return Capture();
}

SRasterImage CSimulatedDriver::CaptureRaw() {
    const std::lock_guard<std::mutex> lock(mMutex);
    const std::vector<SRectangle> rois = EnabledRois();
    if (rois.size() > 1 && HasBlockLayout()) {
        throw std::logic_error("regions delivered as blocks make no single image");
    }
    const SExposure exposure = NextExposure();
    std::vector<SRasterImage> images;
    images.reserve(rois.size());
    for (const SRectangle& roi : rois) {
        images.push_back(mSensor.ReadRaw(exposure, roi));
    }
    CatchUp();
    return rois.size() > 1 ? Combine(rois, images) : images.front();
}

std::vector<std::uint8_t> CSimulatedDriver::CaptureWith(std::uint32_t exposure, std::uint16_t gain) {
    const std::lock_guard<std::mutex> lock(mMutex);
    const std::uint32_t setExposure = std::exchange(mExposure, exposure);
    const std::uint16_t setGain = std::exchange(mGain, gain);
    std::vector<std::uint8_t> frame;
    try {
        frame = Capture();
    } catch (...) {
        mExposure = setExposure;
        mGain = setGain;
        throw;
    }
    mExposure = setExposure;
    mGain = setGain;
    return frame;
}

std::uint64_t CSimulatedDriver::LookVersion() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mLookVersion;
}

int CSimulatedDriver::ReadFault() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mUnplugged ? ENODEV : mFailAll != 0 ? mFailAll : mFailReads;
}

std::optional<std::size_t> CSimulatedDriver::FrameLimit() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mTruncate;
}

SRectangle CSimulatedDriver::FullFrame() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return FullArea();
}

SRectangle CSimulatedDriver::FullFrame(unsigned codeH, unsigned codeV) const {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(codeH <= 2 && codeV <= 2, "binning codes are 0, 1 and 2");
    return {0, 0, mSensor.BinnedWidth(1U << codeH), mSensor.BinnedHeight(1U << codeV)};
}

std::vector<SRectangle> CSimulatedDriver::EnabledRegions() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return EnabledRois();
}

unsigned CSimulatedDriver::Width() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return CombinedSize(false);
}

unsigned CSimulatedDriver::Height() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return CombinedSize(true);
}

std::size_t CSimulatedDriver::FrameSize() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return BytesPerFrame();
}

std::uint64_t CSimulatedDriver::FrameNumber() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mFrame;
}

void CSimulatedDriver::SetFrameNumber(std::uint64_t number) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mFrame = number;
}

double CSimulatedDriver::SimulatedSeconds() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mSeconds;
}

double CSimulatedDriver::FramePeriod() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return CurrentPeriod();
}

double CSimulatedDriver::ExposureTime() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return CurrentExposure();
}

double CSimulatedDriver::Gain() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return NextExposure().gain;
}

// --- Settings --------------------------------------------------------------------------------------------------------

void CSimulatedDriver::SetTransferFormat(unsigned long format) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    require(format < kTransferFormatCount, "unknown transfer format");
    mTransferFormat = format;
}

unsigned long CSimulatedDriver::TransferFormat() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mTransferFormat;
}

void CSimulatedDriver::SetColorArray(int colorArray) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    SSensorConfig config = mSensor.Config();
    const bool monoChanges = (config.colorArray == 1) != (colorArray == 1);
    config.colorArray = colorArray;
    mSensor.SetConfig(config);
    if (monoChanges && (mBinningH != 0 || mBinningV != 0)) {
        ResetRegions(); // binned sizes differ between mono and Bayer
    }
}

int CSimulatedDriver::ColorArray() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mSensor.Config().colorArray;
}

void CSimulatedDriver::ApplyBinning(unsigned codeH, unsigned codeV) {
    require(codeH <= 2 && codeV <= 2, "binning codes are 0, 1 and 2");
    require(mSensor.BinnedWidth(1U << codeH) > 0 && mSensor.BinnedHeight(1U << codeV) > 0,
            "the sensor is too small for this binning");
    mBinningH = codeH;
    mBinningV = codeV;
    ResetRegions();
}

void CSimulatedDriver::SetBinning(unsigned codeH, unsigned codeV) {
    const std::lock_guard<std::mutex> lock(mMutex);
    ApplyBinning(codeH, codeV);
}

void CSimulatedDriver::SetGain(std::uint16_t value) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(value <= mModel.maxGain, "gain out of range");
    mGain = value;
}

std::uint16_t CSimulatedDriver::GainValue() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mGain;
}

void CSimulatedDriver::SetDigitalGain(std::uint16_t value) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    require(mModel.hasDigitalGain && value <= mModel.maxDigitalGain, "digital gain out of range");
    mDigitalGain = value;
}

void CSimulatedDriver::SetExposure(std::uint32_t value) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(value <= mModel.maxLongExposure, "exposure out of range");
    mExposure = value;
}

std::uint32_t CSimulatedDriver::ExposureValue() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mExposure;
}

void CSimulatedDriver::SetExposureTime(double seconds) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(seconds > 0.0, "exposure out of range");
    mExposure = exposureFromSeconds(mModel, Timing(), seconds);
}

void CSimulatedDriver::SetVBlank(std::uint32_t lines) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    require(mModel.hasVBlank && lines <= 65535, "vertical blanking out of range");
    mVBlank = lines;
}

void CSimulatedDriver::SetMaxRoiCount(unsigned count) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(count == 1 || count == 4 || count == 8 || count == 16, "1, 4, 8 or 16 regions");
    mMaxRoiCount = count;
    ResetRegions();
}

void CSimulatedDriver::SetRois(const std::vector<SRoi>& rois) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(rois.size() <= mMaxRoiCount, "more regions than slots");
    const SRectangle full = FullArea();
    std::vector<SRectangle> enabled;
    for (const SRoi& roi : rois) {
        const SRectangle& area = roi.area;
        require(area.width <= full.width && area.x <= full.width - area.width && area.height <= full.height &&
                    area.y <= full.height - area.height,
                "region outside the frame");
        if (roi.enabled && area.width > 0 && area.height > 0) {
            enabled.push_back(area);
        }
    }
    require(!enabled.empty(), "no region enabled");
    require(HasBlockLayout() || areBands(enabled), "regions do not form bands");
    mRois = rois;
    mRois.resize(mMaxRoiCount, SRoi{false, {}});
    Changed();
}

void CSimulatedDriver::SetFullFrame() {
    const std::lock_guard<std::mutex> lock(mMutex);
    ResetRegions();
}

void CSimulatedDriver::SetLightLevel(float level) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    mSensor.SetLightLevel(level);
}

void CSimulatedDriver::SetLensCap(bool on) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    mSensor.SetLensCap(on);
}

void CSimulatedDriver::SetScene(CScene scene) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    mSensor.SetScene(std::move(scene));
}

CScene CSimulatedDriver::Scene() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mSensor.Scene();
}

void CSimulatedDriver::SetSensor(const SSensorConfig& config) {
    const std::lock_guard<std::mutex> lock(mMutex);
    Changed();
    const bool resized = config.width != mSensor.Config().width || config.height != mSensor.Config().height;
    const bool monoChanges = (config.colorArray == 1) != (mSensor.Config().colorArray == 1);
    mSensor.SetConfig(config);
    if (resized) {
        mDefectSlots.assign(mDefectSlots.size(), SPixelPosition{kUnused, kUnused});
    }
    if (resized || monoChanges) {
        const SRectangle full = FullArea();
        if (full.width == 0 || full.height == 0) {
            mBinningH = 0;
            mBinningV = 0;
        }
        ResetRegions();
    }
}

SSensorConfig CSimulatedDriver::Sensor() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mSensor.Config();
}

std::vector<SPixelPosition> CSimulatedDriver::DefectSlots() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mDefectSlots;
}

// --- Faults and observation ------------------------------------------------------------------------------------------

void CSimulatedDriver::FailRequest(unsigned n, int error) {
    const std::lock_guard<std::mutex> lock(mMutex);
    require(n >= 1 && error > 0, "requests count from 1, errors are errno values");
    mFaults[mRequestCount + n] = error;
}

void CSimulatedDriver::FailAll(int error) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mFailAll = error;
}

void CSimulatedDriver::FailReads(int error) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mFailReads = error;
}

void CSimulatedDriver::TruncateFrames(std::optional<std::size_t> bytes) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mTruncate = bytes;
}

void CSimulatedDriver::OverrideControl(std::uint32_t id, std::int32_t value) {
    const std::lock_guard<std::mutex> lock(mMutex);
    mOverrides[id] = value;
}

void CSimulatedDriver::ClearOverrides() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mOverrides.clear();
    mDescriptionPatches.clear();
}

void CSimulatedDriver::Unplug() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mUnplugged = true;
}

void CSimulatedDriver::Replug() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mUnplugged = false;
}

std::vector<SRequestRecord> CSimulatedDriver::Requests() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mRequests;
}

void CSimulatedDriver::ClearRequests() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mRequests.clear();
}

} // namespace vek::sim
