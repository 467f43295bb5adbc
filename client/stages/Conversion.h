// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/frames/Measurement.h"
#include "client/profiles/Profile.h"
#include "client/stages/ChainRun.h"
#include "client/stages/Corrections.h"
#include "client/stages/LibraryHandle.h"
#include "client/stages/Stages.h"

#include <cstdint>
#include <optional>
#include <span>

namespace vek::client {

/// How a transferred frame becomes a picture.
struct SConversion {
    const STransferFormat* format = nullptr; ///< a transfer format or one that the chain takes besides
    std::uint32_t width = 0;                 ///< pixels
    std::uint32_t height = 0;                ///< rows
    unsigned short colorArray = 0;           ///< enum VekColorArray, of frameColorArray; 0 of blue-green-red
    unsigned char method = 0;                ///< enum VekDemosaicMethod or VEK_CHAIN_DEMOSAIC_EDGE
    unsigned short depth = 0; ///< most bits that samples are demosaiced with: 8, 12, 16; 0: what is usual
    SCorrections corrections; ///< run first
    SStages stages;
    bool display = false;            ///< rendered for the eye: levels, grey-world balance, sRGB curve
    std::optional<unsigned> black;   ///< display: sensor level of black, in samples of the format; 0 by default
    std::optional<unsigned> white;   ///< display: that of white; by default the bright end of the picture
    unsigned short bitsOut = 0;      ///< of a sample of the picture, 8 or 16; 0: as many as the frame needs
    unsigned threads = 1;            ///< that develop a frame, up to kMostThreads
    std::optional<SProfile> profile; ///< of the camera, where there is one; what a development goes by
};

/// Throws CBadArguments when the method does not take a frame of this size.
void checkMethod(const SConversion& conversion);

/// Checks all else and completes the conversion: bitsOut, and the stages of a setting file that such a frame goes
/// through. Throws CMisfit for what checkCorrections and checkStages tell, where "black" is not below "white", and for
/// a "depth" that stages or method do not have.
void complete(SConversion& conversion);

/// Whether the picture is grey.
bool isGray(const SConversion& conversion);

/// Bits of the samples that are demosaiced. conversion: completed.
unsigned short workingDepth(const SConversion& conversion);

/// A raw or mono frame with its samples in bytes or words, otherwise untouched; packed ones are unpacked by a chain.
/// Throws CFailure when the library refuses.
STransferredFrame unpackedFrame(const CLibraryHandle& library, STransferredFrame frame, unsigned threads);

/// What makes the pictures of raw frames.
enum class EDeveloper {
    Chain,     ///< a chain where the library takes it, else its functions one after the other
    Functions, ///< these alone, for what a chain has no method of its own; the pictures are the same
};

/// Makes pictures of frames of one kind. Plans, settings and calibrations are made and read once.
class CConverter {
public:
    /// library: without a camera, with the settings of the file where there is one; outlives the converter, and nothing
    /// else sets it meanwhile. conversion: completed. Throws CFailure where a calibration cannot be read or belongs to
    /// other frames, or the library refuses.
    CConverter(const CLibraryHandle& library, const SConversion& conversion, EDeveloper developer = EDeveloper::Chain);

    /// The picture of a frame. bytes: frameBytes of them. Throws CFailure when the library refuses.
    SImage Picture(std::span<const std::uint8_t> bytes);
    /// The same at the depth that it was made with, neither scaled nor rendered.
    SImage Developed(std::span<const std::uint8_t> bytes);

    /// The chain that demosaics; null where functions do. It may lie behind stages that no chain has.
    const CChainRun* Chain() const { return mChain ? &*mChain : nullptr; }

private:
    bool IsTurned() const { return mConversion.stages.rotation.has_value(); }
    SImage FromRaw(std::span<const std::uint8_t> bytes);
    SRawFrame Samples(std::span<const std::uint8_t> bytes);
    void RunPictureStages(SImage& image) const;
    void MakeChain();

    const CLibraryHandle& mLibrary;
    SConversion mConversion;
    unsigned short mSampleDepth = 0; ///< of raw frames, where they are corrected
    bool mRawByFunctions = false;    ///< corrections and raw stages
    bool mDirect = false;            ///< the chain takes frames as they come
    std::optional<CChainRun> mUnpacking;
    std::optional<CChainRun> mChain;
};

} // namespace vek::client
