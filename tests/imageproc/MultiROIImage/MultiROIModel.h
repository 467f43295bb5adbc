// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Random.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace vek::test {

/// One axis of the sensor, position by position. Meant for coordinates of up to some ten thousand.
class CAxisModel {
public:
    void Add(unsigned long offset, unsigned long size);
    void Reset() { mCover.clear(); }

    bool Covered(unsigned long position) const;
    /// Covered positions.
    unsigned long Size() const { return Place(mCover.size()); }
    /// Covered positions before this one.
    unsigned long Place(unsigned long position) const;
    /// How far a covered position moves; 0 for the others.
    unsigned long Offset(unsigned long position) const;
    /// Offset and size of each run of positions that one addition covered first.
    std::vector<std::pair<unsigned long, unsigned long>> Intervals() const;

private:
    std::vector<unsigned> mCover; ///< number of the run that covers a position, 0 for none
    unsigned mRuns = 0;
};

struct SRegionModel {
    unsigned long x = 0;
    unsigned long y = 0;
    unsigned long width = 0;
    unsigned long height = 0;
};

constexpr unsigned kCombinedLayout = 2; ///< type of a frame that arrives combined

/// A slot of the camera. One that does not answer leaves the outputs alone, as after a failed driver request.
struct SRegionSlot {
    unsigned x = 0;
    unsigned y = 0;
    unsigned width = 0;
    unsigned height = 0;
    unsigned enabled = 1; ///< any number but 0 enables
    bool answers = true;

    bool Counts() const { return answers && enabled != 0 && width != 0 && height != 0; }
    SRegionModel Region() const { return {x, y, width, height}; }
};

/// Slots of up to range pixels, now and then one of no use, or with only the highest bit of enabled set.
std::vector<SRegionSlot> randomSlots(CRandom* random, std::size_t count, unsigned range, unsigned highestEnabled);

unsigned long modelLinePitch(unsigned long format, unsigned long pixels, unsigned long alignment, unsigned long extra);
/// Bytes of all blocks.
std::size_t modelFrameBytes(const std::vector<SRegionModel>& regions, unsigned long format);

/// Multi-ROI assembly as a plain state machine. Copies byte by byte.
class CMultiROIModel {
public:
    /// What an addition gives back.
    enum class Result { Null, Buffer, Data };
    /// Where a region begins in a frame, and its numbers.
    struct SPlace {
        unsigned long offset = 0; ///< bytes
        SRegionModel region;
        unsigned long pitch = 0;
    };

    void Update(const std::vector<SRegionModel>& regions, unsigned type, unsigned alignment);
    Result AddFrame(unsigned long frameId, const std::uint8_t* data, unsigned long dataSize, unsigned long format);
    /// sourcePitch: bytes, 0: rows without padding. A block outside of the combining image gives Null.
    Result AddBlock(unsigned long frameId, const std::uint8_t* block, unsigned long format, const SRegionModel& region,
                    unsigned long sourcePitch);
    std::optional<SPlace> Place(unsigned long index, unsigned long dataSize, unsigned long format) const;
    void Clear();

    const std::vector<SRegionModel>& Regions() const { return mRegions; }
    unsigned long Size(int axis) const { return mAxis[axis].Size(); }
    unsigned long Pitch() const { return mPitch; }
    /// The combining image without the byte behind it.
    std::vector<std::uint8_t> Image() const;

private:
    void MakeBuffer(unsigned long format);

    std::vector<SRegionModel> mRegions;
    CAxisModel mAxis[2];
    unsigned mType = 0;
    unsigned mAlignment = 1;
    std::optional<std::vector<std::uint8_t>> mBuffer; ///< one spare byte at its end
    std::uint32_t mFormat = 0;
    unsigned long mPitch = 0;
    unsigned long mFrameId = 0;
    unsigned long mReceived = 0;
};

} // namespace vek::test
