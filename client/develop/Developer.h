// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/develop/Development.h"
#include "client/pictures/Turning.h"
#include "client/stages/ChainRun.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vek::client {

/// The frames that a developer takes and the pictures that it makes.
struct SDeveloping {
    const STransferFormat* format = nullptr; ///< raw or mono, as the frames come
    std::uint32_t width = 0;                 ///< pixels
    std::uint32_t height = 0;                ///< rows
    unsigned short colorArray = 0;           ///< enum VekColorArray
    unsigned char method = 0;                ///< enum VekDemosaicMethod or VEK_CHAIN_DEMOSAIC_EDGE
    bool gray = false;                       ///< the picture
    unsigned short bits = 8;                 ///< of a sample of it, 8 or 16
    STurning turning;                        ///< of the picture
    SCorrections corrections;                ///< without a dark frame that is not subtracted
    SDevelopment development;
    unsigned threads = 1; ///< that develop a frame, up to kMostThreads
};

/// Makes right pictures of frames of one kind at full depth, by a chain of the library: corrections, levels with white
/// balance, demosaic method, colour matrix, sharpness, tone. 12 bits from the levels on.
class CDeveloper {
public:
    /// library: without a camera; outlives the developer, and nothing else sets it meanwhile. Throws CMisfit, which
    /// names the settings "wb" and "matrix" for factors that the chain does not have, CFailure where a calibration
    /// cannot be read or belongs to other frames, or the library refuses.
    CDeveloper(const CLibraryHandle& library, const SDeveloping& developing);

    /// The picture of a frame, which stays until the next one is developed. bytes: RowBytes x height of the format.
    /// Throws CFailure.
    SPictureView Picture(std::span<const std::uint8_t> bytes);

    const CChainRun& Chain() const { return *mChain; }

private:
    SPictureView Blended(const SPictureView& linear);

    const CLibraryHandle& mLibrary;
    SDeveloping mDeveloping;
    std::optional<CChainRun> mChain;
    double mLargestGain = 1;          ///< of the white balance
    unsigned mPedestal = 0;           ///< 12-bit sample of black
    std::vector<std::uint16_t> mTone; ///< where highlights are blended: behind the chain
    std::vector<std::uint8_t> mBlended;
    std::vector<std::uint8_t> mTurned;
};

} // namespace vek::client
