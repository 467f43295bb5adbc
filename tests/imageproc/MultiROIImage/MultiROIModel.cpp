// SPDX-License-Identifier: Apache-2.0
#include "imageproc/MultiROIImage/MultiROIModel.h"

namespace vek::test {

void CAxisModel::Add(unsigned long offset, unsigned long size) {
    if (mCover.size() < offset + size) {
        mCover.resize(offset + size);
    }
    bool newRun = true;
    for (unsigned long position = offset; position < offset + size; ++position) {
        if (mCover[position] != 0) {
            newRun = true;
            continue;
        }
        if (newRun) {
            ++mRuns;
            newRun = false;
        }
        mCover[position] = mRuns;
    }
}

bool CAxisModel::Covered(unsigned long position) const {
    return position < mCover.size() && mCover[position] != 0;
}

unsigned long CAxisModel::Place(unsigned long position) const {
    unsigned long before = 0;
    for (unsigned long i = 0; i < position && i < mCover.size(); ++i) {
        if (mCover[i] != 0) {
            ++before;
        }
    }
    return before;
}

unsigned long CAxisModel::Offset(unsigned long position) const {
    return Covered(position) ? position - Place(position) : 0;
}

std::vector<std::pair<unsigned long, unsigned long>> CAxisModel::Intervals() const {
    std::vector<std::pair<unsigned long, unsigned long>> intervals;
    unsigned run = 0;
    for (unsigned long position = 0; position < mCover.size(); ++position) {
        if (mCover[position] != 0 && mCover[position] != run) {
            intervals.emplace_back(position, 0);
        }
        run = mCover[position];
        if (run != 0) {
            ++intervals.back().second;
        }
    }
    return intervals;
}

unsigned long modelLinePitch(unsigned long format, unsigned long pixels, unsigned long alignment, unsigned long extra) {
    const unsigned long bits = format / 65536 % 256;
    unsigned long bytes = (pixels * bits + 7) / 8;
    if (alignment > 1 && bytes % alignment != 0) {
        bytes += alignment - bytes % alignment;
    }
    return bytes + extra;
}

std::vector<SRegionSlot> randomSlots(CRandom* random, std::size_t count, unsigned range, unsigned highestEnabled) {
    const auto below = [random](unsigned bound) { return static_cast<unsigned>(random->Below(bound)); };
    std::vector<SRegionSlot> slots(count);
    for (SRegionSlot& slot : slots) {
        slot = {below(range), below(range), 1 + below(range / 2), 1 + below(range / 2), 1 + below(255), true};
        switch (below(10)) {
        case 0:
            slot.enabled = 0;
            break;
        case 1:
            slot.width = 0;
            break;
        case 2:
            slot.height = 0;
            break;
        case 3:
            slot.answers = false;
            break;
        case 4:
            slot.enabled = highestEnabled;
            break;
        default:
            break;
        }
    }
    return slots;
}

std::size_t modelFrameBytes(const std::vector<SRegionModel>& regions, unsigned long format) {
    std::size_t bytes = 0;
    for (const SRegionModel& region : regions) {
        bytes += region.height * modelLinePitch(format, region.width, 1, 0);
    }
    return bytes;
}

void CMultiROIModel::Update(const std::vector<SRegionModel>& regions, unsigned type, unsigned alignment) {
    mRegions = regions;
    mType = type;
    mAlignment = alignment;
    mBuffer.reset();
    mFormat = 0;
    mAxis[0].Reset();
    mAxis[1].Reset();
    for (const SRegionModel& region : regions) {
        mAxis[0].Add(region.x, region.width);
        mAxis[1].Add(region.y, region.height);
    }
}

void CMultiROIModel::MakeBuffer(unsigned long format) {
    const auto code = static_cast<std::uint32_t>(format);
    if (mBuffer && mFormat == code) {
        return;
    }
    mPitch = modelLinePitch(format, Size(0), mAlignment, 0);
    mBuffer.emplace(Size(1) * mPitch + 1);
    mFormat = code;
}

CMultiROIModel::Result CMultiROIModel::AddBlock(unsigned long frameId, const std::uint8_t* block, unsigned long format,
                                                const SRegionModel& region, unsigned long sourcePitch) {
    MakeBuffer(format);
    const unsigned long x = region.x - mAxis[0].Offset(region.x);
    const unsigned long y = region.y - mAxis[1].Offset(region.y);
    if (frameId != mFrameId) {
        mFrameId = frameId;
        mReceived = 0;
    }
    ++mReceived;
    const Result result = mReceived >= mRegions.size() ? Result::Buffer : Result::Null;
    if (x + region.width > Size(0) || y + region.height > Size(1)) {
        return result;
    }
    const unsigned long rowBytes = modelLinePitch(format, region.width, 1, 0);
    const unsigned long step = sourcePitch == 0 ? rowBytes : sourcePitch;
    for (unsigned long row = 0; row < region.height; ++row) {
        for (unsigned long i = 0; i < rowBytes; ++i) {
            mBuffer->at((y + row) * mPitch + modelLinePitch(format, x, 1, 0) + i) = block[row * step + i];
        }
    }
    return result;
}

CMultiROIModel::Result CMultiROIModel::AddFrame(unsigned long frameId, const std::uint8_t* data, unsigned long dataSize,
                                                unsigned long format) {
    if (mType == kCombinedLayout) {
        mFormat = static_cast<std::uint32_t>(format);
        mPitch = modelLinePitch(format, Size(0), mAlignment, 0);
        return Result::Data;
    }
    Result result = Result::Null;
    unsigned long offset = 0;
    for (const SRegionModel& region : mRegions) {
        const unsigned long size = region.height * modelLinePitch(format, region.width, 1, 0);
        if (offset + size <= dataSize) {
            result = AddBlock(frameId, data + offset, format, region, 0);
            offset += size;
        }
    }
    return result;
}

std::optional<CMultiROIModel::SPlace> CMultiROIModel::Place(unsigned long index, unsigned long dataSize,
                                                            unsigned long format) const {
    SPlace place;
    if (mType == kCombinedLayout) {
        const unsigned long pitch = modelLinePitch(format, Size(0), 1, 0);
        unsigned long left = 0;
        unsigned long top = 0;
        for (unsigned long i = 0; i < mRegions.size(); ++i) {
            if (i > 0 && mRegions[i].y != mRegions[i - 1].y) {
                top += mRegions[i - 1].height;
                left = 0;
            }
            if (i == index) {
                return SPlace{modelLinePitch(format, left, 1, 0) + top * pitch, mRegions[i], pitch};
            }
            left += mRegions[i].width;
        }
        return std::nullopt;
    }
    for (unsigned long i = 0; i < mRegions.size(); ++i) {
        const unsigned long pitch = modelLinePitch(format, mRegions[i].width, 1, 0);
        if (place.offset + mRegions[i].height * pitch > dataSize) {
            return std::nullopt;
        }
        if (i == index) {
            place.region = mRegions[i];
            place.pitch = pitch;
            return place;
        }
        place.offset += mRegions[i].height * pitch;
    }
    return std::nullopt;
}

void CMultiROIModel::Clear() {
    if (mBuffer) {
        mBuffer->assign(mBuffer->size(), 0);
    }
}

std::vector<std::uint8_t> CMultiROIModel::Image() const {
    return mBuffer ? std::vector<std::uint8_t>(mBuffer->begin(), mBuffer->end() - 1) : std::vector<std::uint8_t>();
}

} // namespace vek::test
