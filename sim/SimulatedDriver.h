// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "sim/CameraModel.h"
#include "sim/SimulatedSensor.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace vek::sim {

/// One request as the driver saw it.
struct SRequestRecord {
    unsigned long request = 0; ///< ioctl number
    std::uint32_t id = 0;      ///< control id, region index or correction slot; 0 for other requests
    std::int64_t valueIn = 0;  ///< control value sent; correction slot: x | y << 16; otherwise 0
    std::int64_t valueOut = 0; ///< control value answered; region: enabled flag; otherwise 0
    int result = 0;            ///< 0 or -1, what ioctl returns
    int error = 0;             ///< errno, 0 for success
    bool operator==(const SRequestRecord&) const = default;
};

/// A region of interest, transferred (binned) pixels.
struct SRoi {
    bool enabled = true;
    SRectangle area;
    bool operator==(const SRoi&) const = default;
};

/// Camera and kernel driver in one: answers the requests of applications and of the library, and delivers frames.
/// All operations may be called from several threads.
class CSimulatedDriver {
public:
    /// The model's own sensor in front of the test chart.
    explicit CSimulatedDriver(const SCameraModel& model);
    /// By name; throws std::invalid_argument for an unknown one.
    explicit CSimulatedDriver(std::string_view modelName);
    /// Another sensor (any size) behind the model's controls; a scene of another size is scaled to it.
    CSimulatedDriver(const SCameraModel& model, const SSensorConfig& config, CScene scene);
    CSimulatedDriver(const SCameraModel& model, const SSensorConfig& config);

    /// The sensor that belongs to a model. Its conversion factor is such that the full well just fills the range at
    /// gain setting 0.
    static SSensorConfig DefaultSensor(const SCameraModel& model);

    // --- What a descriptor reaches -------------------------------------------------------------------------------

    /// Answers one ioctl. 0, or the negative errno: EFAULT for a null argument, ENOTTY for an unknown request.
    int Ioctl(unsigned long request, void* argument);
    /// Counts and records a request that is answered by somebody else, a device node, and lets it fail as FailRequest
    /// and the like want. answer: 0 or a positive errno. 0, or the negative errno.
    int Serve(unsigned long request, const std::function<int()>& answer);
    /// The errno value that reading a frame fails with; 0: it does not.
    int ReadFault() const;
    /// Bytes after which frames end; nothing: they are whole.
    std::optional<std::size_t> FrameLimit() const;

    // --- Capture -------------------------------------------------------------------------------------------------

    /// Takes the next frame in the current transfer format. Works on an unplugged camera too: it is the test's view.
    std::vector<std::uint8_t> CaptureFrame();
    /// The same with an exposure and a gain, in the controls' units, that need not be those that are set.
    std::vector<std::uint8_t> CaptureWith(std::uint32_t exposure, std::uint16_t gain);
    /// A number that changes with everything but exposure and gain that frames show.
    std::uint64_t LookVersion() const;
    /// The same frame as levels before transfer: mosaic or grey, one channel, regions as transferred. Counts as a
    /// frame. Throws std::logic_error while several regions are delivered as blocks.
    SRasterImage CaptureRaw();

    /// Transferred image. Several regions: covered columns and rows, gaps squeezed out.
    unsigned Width() const;
    unsigned Height() const;
    std::size_t FrameSize() const;     ///< bytes of one transferred frame
    std::uint64_t FrameNumber() const; ///< number of the next frame, from 0
    void SetFrameNumber(std::uint64_t number);
    SRectangle FullFrame() const;                               ///< transferred pixels, without regions
    SRectangle FullFrame(unsigned codeH, unsigned codeV) const; ///< at a binning; empty: the sensor is too small
    std::vector<SRectangle> EnabledRegions() const;
    double SimulatedSeconds() const; ///< start of the next frame on the camera's clock
    double FramePeriod() const;      ///< seconds from frame to frame, the exposure considered
    double ExposureTime() const;     ///< seconds
    double Gain() const;             ///< linear, analogue times digital
    const SCameraModel& Model() const { return mModel; }

    // --- Settings. Each throws std::invalid_argument for a value that the camera cannot take and changes nothing. --

    void SetTransferFormat(unsigned long format); ///< enum VekTransferFormat
    unsigned long TransferFormat() const;
    void SetColorArray(int colorArray); ///< 1 .. 5
    int ColorArray() const;
    /// Codes 0, 1, 2: factor 1, 2, 4. Ends region mode: one region over the whole binned frame.
    void SetBinning(unsigned codeH, unsigned codeV);
    void SetGain(std::uint16_t value); ///< setting value
    std::uint16_t GainValue() const;
    void SetDigitalGain(std::uint16_t value); ///< setting value
    void SetExposure(std::uint32_t value);    ///< exposure units; 0: the longest short exposure
    std::uint32_t ExposureValue() const;
    void SetExposureTime(double seconds); ///< next shorter setting
    void SetVBlank(std::uint32_t lines);  ///< 0 .. 65535
    /// Number of region slots: 1, 4, 8 or 16. Ends region mode. 8: regions arrive as blocks, one after another;
    /// otherwise as one image of horizontal bands.
    void SetMaxRoiCount(unsigned count);
    /// Regions in slot order; the remaining slots are disabled. At least one must be enabled. In the banded layout
    /// regions with the same offset y make a band: they have one height and stand from left to right without
    /// overlap, and bands follow from top to bottom without overlap.
    void SetRois(const std::vector<SRoi>& rois);
    void SetFullFrame();

    void SetLightLevel(float level);
    void SetLensCap(bool on);
    void SetScene(CScene scene);
    CScene Scene() const;
    void SetSensor(const SSensorConfig& config); ///< may change the size: ends region mode, clears the defect slots
    SSensorConfig Sensor() const;

    /// Position in each correction slot; x and y are 65535 in an unused one.
    std::vector<SPixelPosition> DefectSlots() const;

    // --- Faults and observation ----------------------------------------------------------------------------------

    /// The n-th request from now (1: the next) fails with error and has no effect. Several may be pending.
    void FailRequest(unsigned n, int error);
    /// Every request and read fails with error; 0 ends it.
    void FailAll(int error);
    /// Reads fail with error (EAGAIN: no frame yet, EIO: transfer broken); 0 ends it.
    void FailReads(int error);
    /// Frames end after this many bytes, as after a lost packet.
    void TruncateFrames(std::optional<std::size_t> bytes);
    /// VIDIOC_G_CTRL on this control answers value, possible or not; the camera itself is not affected.
    void OverrideControl(std::uint32_t id, std::int32_t value);
    void ClearOverrides();
    /// Changes the description that applications read, possible or not.
    void SetDescriptionField(std::size_t offset, std::size_t size, std::uint32_t value);
    /// The cable is pulled: ENODEV for everything, until Replug.
    void Unplug();
    void Replug();

    std::vector<SRequestRecord> Requests() const;
    void ClearRequests();

private:
    struct SDescriptionPatch {
        std::size_t offset;
        std::size_t size;
        std::uint32_t value;
    };

    // All of these expect the mutex to be held.
    int Answer(unsigned long request, void* argument, SRequestRecord& record);
    int GetControl(std::uint32_t id, std::int32_t& value) const;
    int SetControl(std::uint32_t id, std::int32_t value);
    int Description(void* argument) const;
    int RoiInfo(void* argument, SRequestRecord& record) const;
    int DefectPosition(const void* argument, SRequestRecord& record);
    int PendingFault();

    bool HasBlockLayout() const;
    std::vector<SRectangle> EnabledRois() const;
    SRectangle FullArea() const;
    unsigned CombinedSize(bool vertical) const;
    std::size_t BytesPerFrame() const;
    STiming Timing() const;
    double CurrentExposure() const;
    double CurrentPeriod() const;
    SExposure NextExposure() const;
    void Changed() { ++mLookVersion; }
    void CatchUp();
    void ResetRegions();
    void ApplyMask();
    void ApplyBinning(unsigned codeH, unsigned codeV);
    SRasterImage Combine(const std::vector<SRectangle>& rois, const std::vector<SRasterImage>& images) const;
    std::vector<std::uint8_t> Capture();

    mutable std::mutex mMutex;
    const SCameraModel mModel;
    CSimulatedSensor mSensor;

    std::uint16_t mGain = 0;
    std::uint16_t mDigitalGain = 0;
    std::uint32_t mExposure = 0;
    std::uint32_t mVBlank = 0;
    unsigned long mTransferFormat = 0;
    unsigned mBinningH = 0; // codes
    unsigned mBinningV = 0;
    unsigned mMaxRoiCount = 1;
    std::vector<SRoi> mRois;
    std::vector<SPixelPosition> mDefectSlots;
    std::uint64_t mLookVersion = 0;
    std::uint64_t mFrame = 0;
    double mSeconds = 0.0;

    std::map<std::uint64_t, int> mFaults; // by number of the request they hit
    std::uint64_t mRequestCount = 0;
    int mFailAll = 0;
    int mFailReads = 0;
    bool mUnplugged = false;
    std::optional<std::size_t> mTruncate;
    std::map<std::uint32_t, std::int32_t> mOverrides;
    std::vector<SDescriptionPatch> mDescriptionPatches;
    std::vector<SRequestRecord> mRequests;
};

} // namespace vek::sim
