// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "chain/EdgeDemosaic.h"
#include "chain/FrameLayout.h"
#include "chain/HandleStages.h"
#include "chain/ToneCurve.h"
#include "chain/WorkArea.h"
#include "imageproc/Band.h"
#include "imageproc/ColorInterpolation.h"
#include "imageproc/Flip.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace vek {

/// The picture in memory.
struct SPictureLayout {
    unsigned layout = VEK_CHAIN_MONO;
    unsigned short depth = 8; ///< bits
    std::size_t pitch = 0;    ///< bytes
    std::size_t bytes = 0;    ///< up to the last sample
    unsigned short fill = 0;
    unsigned short colorSpace = VEK_CHAIN_BT601_FULL;

    bool IsOfWords() const { return depth > 8; }
    bool IsGray() const { return layout == VEK_CHAIN_MONO; }
    /// Whether its rows are what the stages make.
    bool IsPlain() const { return layout == VEK_CHAIN_MONO || layout == VEK_CHAIN_BGR; }
};

/// Tone curves, and what they were made of: who wants the same shares them.
struct SPlanTone {
    unsigned curve;                    ///< enum VekChainCurve
    unsigned gamma;                    ///< hundredths
    std::size_t entries;               ///< of a table
    unsigned short depth;              ///< of their results, bits
    std::vector<std::uint16_t> tables; ///< blue, green, red; grey: one
    std::shared_ptr<const CToneCurves> curves;

    bool IsMadeOfThat(const SPlanTone& other) const {
        return curve == other.curve && gamma == other.gamma && entries == other.entries && depth == other.depth &&
               tables == other.tables;
    }
};

/// Where the parts of a work area begin, and how many rows each has room for. Rows of a part are pitch bytes apart; a
/// part of no rows is not used.
struct SWorkPart {
    std::size_t offset = 0;
    std::size_t pitch = 0;
    unsigned long rows = 0;
};
struct SWorkLayout {
    unsigned long stripRows = 0; ///< of the picture that are made together
    SWorkPart unpacked;          ///< for noise reduction
    SWorkPart cleaned;           ///< by noise reduction
    SWorkPart corrected;         ///< by shading, where the next stage has other samples
    SWorkPart raw;               ///< for the demosaic method
    SWorkPart colors;            ///< from it to the luma curve
    SWorkPart sharpened;         ///< in front of tone
    SWorkPart toned;
    SWorkPart finished;        ///< sharpened behind tone
    SWorkPart line;            ///< a row with the pixels in front of a crop, or between fused kernels
    std::size_t noise = 0;     ///< offset of noise reduction's own work area
    std::size_t sharpness = 0; ///< offset of that of sharpness
    std::size_t bytes = 0;
};

} // namespace vek

/// Everything that running needs, checked and worked out once. Never changes.
struct CVekChainPlan {
    std::uint64_t id = 0; ///< no other plan has it
    const vek::rows::SRowTable* kernels = nullptr;
    std::shared_ptr<const vek::SHandleStages> handle;

    vek::SFrameLayout frame;
    vek::SPictureLayout picture;
    unsigned short workingDepth = 8; ///< of what is demosaiced
    bool goesTo12 = false;           ///< behind shading samples become ones of 12 bits

    vek::SNoiseStage noise; ///< mode 0: none
    bool shading = false;
    std::optional<std::array<vek::rows::SLevel, 4>> levels; ///< by place in the frame's cell
    bool balance = false;
    bool rawGamma = false;
    vek::SFlipStage mirror;
    vek::SColorInterpolationStage demosaic; ///< or the chain's own method, of its number
    bool matrix = false;
    bool suppression = false;
    std::optional<vek::rows::SLinearMatrix> linearMatrix;
    bool lumaGamma = false;
    std::optional<vek::SPlanTone> tone;
    bool sharpenBefore = false;
    bool sharpenAfter = false;
    bool statistics = false;

    // What the stages ask of whoever runs them.
    vek::STraits noiseTraits;
    vek::STraits demosaicTraits;
    vek::SFrame rawFrame;      ///< as it comes
    vek::SFrame workingFrame;  ///< behind shading
    vek::SFrame mirroredFrame; ///< in front of the demosaic method
    vek::SFrame colorFrame;    ///< behind it
    vek::SFrame pictureFrame;  ///< behind tone
    vek::SWorkLayout work;

    unsigned Samples() const { return picture.IsGray() ? 1 : 3; }
    bool IsOfWords() const { return workingDepth > 8; }
    /// Whether samples change between the last stage of the working depth and the picture.
    bool NeedsConversion() const { return tone.has_value() || picture.depth != workingDepth; }
    /// Whether the chain's own method demosaics.
    bool IsEdgeDirected() const {
        return demosaic.method == VEK_CHAIN_DEMOSAIC_EDGE && vek::isBayer(mirroredFrame.colorArray);
    }
    /// Whether one kernel goes from the mosaic to a picture of bytes.
    bool IsDeveloped() const;
    /// Bands begin and end at multiples of it.
    unsigned RowMultiple() const { return picture.layout == VEK_CHAIN_NV12 ? 2 : 1; }
    /// From row to row of a frame that is unpacked, without padding.
    std::size_t UnpackedPitch() const { return frame.width * (frame.IsOfWords() ? 2 : 1); }
    bool KeepsFrame() const { return noise.mode == VEK_NOISE_EASY && noiseTraits.kind == vek::EStage::Serial; }
    bool MeasuresFrame() const;
    bool NeedsState() const { return KeepsFrame() || MeasuresFrame(); }
    std::size_t KeptBytes() const { return KeepsFrame() ? UnpackedPitch() * frame.height : 0; }
    /// Of a state, with all that it holds.
    std::size_t StateBytes() const { return sizeof(CVekChainState) + KeptBytes(); }
};

namespace vek {

/// What a description says, as far as this version knows it. Throws SRefusal.
VekChainDescription knownDescription(const VekChainDescription& given);

/// A plan of handle stages and a description; it shares tables with an old one, which may be null. Throws SRefusal and
/// std::bad_alloc.
std::unique_ptr<CVekChainPlan> makePlan(const rows::SRowTable& kernels, std::shared_ptr<const SHandleStages> handle,
                                        const VekChainDescription& description, const CVekChainPlan* old);

} // namespace vek
