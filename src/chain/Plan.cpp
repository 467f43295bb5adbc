// SPDX-License-Identifier: Apache-2.0
#include "chain/Plan.h"

#include "chain/Refusal.h"
#include "chain/WorkArea.h"
#include "common/PixelFormat.h"
#include "formats/ColorArrays.h"
#include "formats/DemosaicMethods.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <utility>

namespace vek {

namespace {

constexpr unsigned short kDepthOfBytes = 8;
constexpr unsigned short kMaxDemosaicDepth = 12;
/// No later version has larger structs.
constexpr std::size_t kMaxStructBytes = 65536;
constexpr unsigned short kDepthOf12 = 12;
constexpr unsigned short kMaxDepth = 16;
constexpr unsigned kMaxValue12 = 4095;
constexpr unsigned kMaxGain = 32767;
constexpr int kOffsetRange = 16384;
constexpr unsigned kAllStages = VEK_CHAIN_SHADING | VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_RAW_GAMMA |
                                VEK_CHAIN_COLOR_MATRIX | VEK_CHAIN_LUMA_GAMMA | VEK_CHAIN_SHARPNESS;

/// What a member of the description points to. A larger struct is of a later version: what this one does not know has
/// to be 0.
template <class T>
T taken(const T& given, const std::string& name) {
    std::size_t size = 0;
    std::memcpy(&size, &given, sizeof size);
    if (size < sizeof(T)) {
        refuse(name + ".size: " + std::to_string(size) + ", less than " + std::to_string(sizeof(T)));
    }
    if (size > kMaxStructBytes) {
        refuse(name + ".size: " + std::to_string(size) + ", more than " + std::to_string(kMaxStructBytes));
    }
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&given);
    if (std::any_of(bytes + sizeof(T), bytes + size, [](unsigned char byte) { return byte != 0; })) {
        refuse(name + ".size: members of a later version, which this library does not know, are set");
    }
    T known{};
    std::memcpy(&known, &given, sizeof known);
    return known;
}

unsigned samplesInMemory(unsigned layout) {
    switch (layout) {
    case VEK_CHAIN_MONO:
    case VEK_CHAIN_NV12:
        return 1;
    case VEK_CHAIN_BGR:
    case VEK_CHAIN_RGB:
        return 3;
    default:
        return 4;
    }
}

SPictureLayout pictureLayout(const VekChainPicture& given, unsigned short depth, const SFrameLayout& frame) {
    SPictureLayout picture;
    require(given.layout <= VEK_CHAIN_NV12, "picture.layout: no layout of this number");
    require(given.reserved == 0, "picture.reserved: not 0");
    picture.layout = given.layout;
    picture.depth = depth;
    picture.fill = given.fill;
    picture.colorSpace = given.colorSpace;
    const bool fills = picture.layout == VEK_CHAIN_BGRA || picture.layout == VEK_CHAIN_RGBA;
    require(given.fill == 0 || fills, "picture.fill: this layout has no fourth sample to fill");
    require(given.fill >> depth == 0, "picture.fill: more than a sample of the picture's depth holds");
    if (picture.layout == VEK_CHAIN_NV12) {
        require(depth == kDepthOfBytes, "picture.depth: NV12 has 8 bits");
        require(given.colorSpace <= VEK_CHAIN_BT709_VIDEO, "picture.colorSpace: no colour space of this number");
    } else {
        require(given.colorSpace == 0, "picture.colorSpace: goes with NV12 alone");
    }
    // Rows of chroma have whole pairs.
    const unsigned long columns = picture.layout == VEK_CHAIN_NV12 ? (frame.width + 1) & ~1UL : frame.width;
    const std::size_t dense = columns * samplesInMemory(picture.layout) * (picture.IsOfWords() ? 2 : 1);
    require(given.pitch == 0 || given.pitch >= dense, "picture.pitch: shorter than a row");
    require(!picture.IsOfWords() || given.pitch % 2 == 0, "picture.pitch: odd, of words");
    picture.pitch = given.pitch != 0 ? given.pitch : dense;
    const unsigned long rows = frame.height + (picture.layout == VEK_CHAIN_NV12 ? (frame.height + 1) / 2 : 0);
    const bool tooLarge = __builtin_mul_overflow(picture.pitch, rows - 1, &picture.bytes) ||
                          __builtin_add_overflow(picture.bytes, dense, &picture.bytes) || picture.bytes > PTRDIFF_MAX;
    require(!tooLarge, "picture: more bytes than memory can have");
    return picture;
}

unsigned long pixelFormatOf(bool gray, bool words) {
    if (gray) {
        return words ? VEK_DESTINATION_MONO12 : VEK_DESTINATION_MONO8;
    }
    return words ? VEK_DESTINATION_BGR48 : VEK_DESTINATION_BGR24;
}

void checkNoise(CVekChainPlan& plan, unsigned mode) {
    if (mode == VEK_NOISE_OFF) {
        return;
    }
    require(mode == VEK_NOISE_EASY || mode == VEK_NOISE_COMPLEX, "noise: no mode of this number");
    plan.noise = {mode, plan.handle->dark};
    plan.noiseTraits = plan.noise.Traits(plan.rawFrame);
    if (mode == VEK_NOISE_EASY) {
        require(plan.noiseTraits.kind != EStage::None, "noise: the easy filter needs 4 x 4 pixels, 2 x 2 of mono");
        return;
    }
    const SDarkFrame* const dark = plan.noise.dark.get();
    require(dark != nullptr && dark->samples != nullptr, "noise: the handle has no dark frame");
    require(plan.noiseTraits.kind != EStage::None, "noise: the dark frame has another size or colour array");
    const std::size_t pitch = plan.UnpackedPitch();
    require(dark->pitch == pitch, "noise: the dark frame was stored with padding, or with samples of another size");
}

void checkShading(const CVekChainPlan& plan) {
    const SShadingStage& stage = plan.handle->shading;
    const EStage kind = stage.Traits(plan.rawFrame).kind;
    require(kind != EStage::Reduction, "stages: shading calibrates");
    const bool corrects =
        stage.mode == VEK_SHADING_GAIN || stage.mode == VEK_SHADING_OFFSET || stage.mode == VEK_SHADING_SHOW_MAP;
    require(!corrects || kind != EStage::None, "stages: the handle has no shading map of this size");
}

void checkDemosaic(const CVekChainPlan& plan) {
    const SColorInterpolationStage& stage = plan.demosaic;
    const bool bayer = isBayer(plan.mirroredFrame.colorArray);
    require(!bayer || plan.IsEdgeDirected() || stage.method < kDemosaicMethods.size(),
            "demosaic: no method of this number");
    if (plan.picture.IsGray()) {
        require(!bayer || (stage.method == VEK_DEMOSAIC_MONO && !plan.IsEdgeDirected()),
                "picture.layout: mono goes with mono frames or VEK_DEMOSAIC_MONO");
        return;
    }
    require(plan.workingDepth <= kMaxDemosaicDepth,
            "demosaic: pictures of colours have 12 bits at most in front of tone");
    if (!bayer) {
        return;
    }
    const unsigned long minSize =
        plan.IsEdgeDirected() ? kEdgeDirectedMethod.minSize : stage.MethodFor(plan.mirroredFrame.colorArray)->minSize;
    require(plan.frame.width >= minSize && plan.frame.height >= minSize, "demosaic: the frame is too small");
    require(stage.method != VEK_DEMOSAIC_BICUBIC || !plan.IsOfWords(), "demosaic: VEK_DEMOSAIC_BICUBIC is for 8 bits");
    require(!plan.demosaicTraits.leavesOpen, "demosaic: this method leaves samples open at an odd height");
    require(!plan.demosaicTraits.readsBehind, "demosaic: this method reads behind rows of an odd width");
}

// ---- the work area ----

/// What the parts of a work area take together stays in a core's own cache.
constexpr std::size_t kCacheBytes = std::size_t{768} * 1024;
constexpr unsigned long kMinStripRows = 4;
constexpr unsigned long kMaxStripRows = 64;

/// Rows in front of and behind those that a stage makes.
unsigned long reachOf(const STraits& traits) {
    return traits.rowsAbove + traits.rowsBelow;
}

SWorkLayout workLayout(const CVekChainPlan& plan) {
    const unsigned long width = plan.frame.width;
    const std::size_t rawBytes = plan.frame.IsOfWords() ? 2 : 1;
    const std::size_t workingBytes = plan.IsOfWords() ? 2 : 1;
    const std::size_t pictureBytes = plan.picture.IsOfWords() ? 2 : 1;
    const unsigned samples = plan.Samples();
    // Rows that each part has besides those of the strip.
    const unsigned long finished = 0;
    const SSharpnessStage& sharpness = plan.handle->sharpness;
    const unsigned long toned = finished + (plan.sharpenAfter ? reachOf(sharpness.Traits(plan.pictureFrame)) : 0);
    const unsigned long sharpened = toned;
    const unsigned long colors = sharpened + (plan.sharpenBefore ? reachOf(sharpness.Traits(plan.colorFrame)) : 0);
    const unsigned long raw = colors + (plan.picture.IsGray() ? 0 : reachOf(plan.demosaicTraits));
    const unsigned long cleaned = raw + 2UL * plan.noiseTraits.rowsAbove;
    const unsigned long unpacked = cleaned + reachOf(plan.noiseTraits);
    const bool noise = plan.noiseTraits.kind != EStage::None;
    struct SUse {
        SWorkPart SWorkLayout::*part;
        bool used;
        std::size_t rowBytes;
        unsigned long more;
    };
    const SUse uses[] = {
        {&SWorkLayout::unpacked, noise, width * rawBytes, unpacked},
        {&SWorkLayout::cleaned, noise, width * rawBytes, cleaned},
        {&SWorkLayout::corrected, plan.shading && rawBytes != workingBytes, width * rawBytes, raw},
        {&SWorkLayout::raw, true, width * workingBytes, raw},
        {&SWorkLayout::colors, !plan.picture.IsGray(), width * samples * workingBytes, colors},
        {&SWorkLayout::sharpened, plan.sharpenBefore, width * samples * workingBytes, sharpened},
        {&SWorkLayout::toned, plan.NeedsConversion(), width * samples * pictureBytes, toned},
        {&SWorkLayout::finished, plan.sharpenAfter, width * samples * pictureBytes, finished},
    };
    SWorkLayout work;
    std::size_t rowBytes = 0;
    for (const SUse& use : uses) {
        rowBytes += use.used ? use.rowBytes : 0;
    }
    work.stripRows = std::clamp(kCacheBytes / rowBytes, kMinStripRows, kMaxStripRows);
    work.stripRows = std::min(work.stripRows & ~1UL, (plan.frame.height + 1) & ~1UL);
    // Tables of statistics come first: a work area keeps them clear, whatever plan it is used with.
    std::size_t offset = plan.statistics ? roundUpToLine(CBandCounter::kTables * sizeof(rows::SPairCounts)) : 0;
    for (const SUse& use : uses) {
        if (use.used) {
            // Rows whose pitch is a multiple of a page's size would share lines of the cache.
            SWorkPart& part = work.*use.part;
            part = {offset, roundUpToLine(use.rowBytes) + kCacheLine, work.stripRows + use.more};
            offset += part.pitch * part.rows;
        }
    }
    // And the pixels in front of a crop.
    work.line = {offset, roundUpToLine((width * samples + plan.frame.format->groupPixels) * sizeof(unsigned short)), 1};
    offset += work.line.pitch;
    work.noise = offset;
    offset += roundUpToLine(plan.noiseTraits.workBytes);
    work.sharpness = offset;
    offset += plan.sharpenBefore  ? sharpness.Traits(plan.colorFrame).workBytes
              : plan.sharpenAfter ? sharpness.Traits(plan.pictureFrame).workBytes
                                  : 0;
    work.bytes = roundUpToLine(offset);
    return work;
}

// ---- the chain's own stages ----

std::array<rows::SLevel, 4> takenLevels(const VekChainLevels& given) {
    require(given.pedestal <= kMaxValue12, "levels.pedestal: more than 4095");
    require(
        std::all_of(std::begin(given.reserved), std::end(given.reserved), [](unsigned value) { return value == 0; }),
        "levels.reserved: not 0");
    std::array<rows::SLevel, 4> levels{};
    for (std::size_t place = 0; place < levels.size(); ++place) {
        require(given.black[place] <= kMaxValue12, "levels.black: more than 4095");
        require(given.gain[place] <= kMaxGain, "levels.gain: more than 32767");
        levels[place] = {given.black[place], given.gain[place], given.pedestal};
    }
    return levels;
}

/// From red, green, blue to blue, green, red.
rows::SLinearMatrix takenMatrix(const VekChainLinearMatrix& given) {
    rows::SLinearMatrix matrix{};
    for (std::size_t row = 0; row < 3; ++row) {
        require(given.offset[row] >= -kOffsetRange && given.offset[row] < kOffsetRange,
                "linearMatrix.offset: outside of -16384 .. 16383");
        matrix.offset[2 - row] = given.offset[row];
        for (std::size_t column = 0; column < 3; ++column) {
            matrix.factor[2 - row][2 - column] = given.factor[row][column];
        }
    }
    return matrix;
}

/// Blue, green and red tables of the caller's, or the green one alone.
std::vector<std::uint16_t> takenTables(const VekChainTone& given, std::size_t entries, bool gray) {
    require(given.entries == entries, entries == 256 ? "tone.entries: not 256" : "tone.entries: not 4096");
    require(given.table[0] != nullptr, "tone.table: null for red");
    const std::uint16_t* const green = given.table[1] != nullptr ? given.table[1] : given.table[0];
    const std::uint16_t* const blue = given.table[2] != nullptr ? given.table[2] : green;
    std::vector<std::uint16_t> tables(green, green + entries);
    if (!gray) {
        tables.insert(tables.begin(), blue, blue + entries);
        tables.insert(tables.end(), given.table[0], given.table[0] + entries);
    }
    return tables;
}

SPlanTone takenTone(const VekChainTone& given, const CVekChainPlan& plan, const CVekChainPlan* old) {
    const bool gray = plan.picture.IsGray();
    SPlanTone tone{given.curve, 0, std::size_t{1} << plan.workingDepth, plan.picture.depth, {}, nullptr};
    require(given.curve <= VEK_CHAIN_CURVE_GAMMA, "tone.curve: no curve of this number");
    const bool byTable = given.curve == VEK_CHAIN_CURVE_TABLE;
    if (byTable) {
        tone.tables = takenTables(given, tone.entries, gray);
    } else {
        require(given.entries == 0 && std::all_of(std::begin(given.table), std::end(given.table),
                                                  [](const std::uint16_t* table) { return table == nullptr; }),
                "tone.table: goes with VEK_CHAIN_CURVE_TABLE alone");
    }
    if (given.curve == VEK_CHAIN_CURVE_GAMMA) {
        require(given.gamma != 0, "tone.gamma: 0");
        tone.gamma = given.gamma;
    } else {
        require(given.gamma == 0, "tone.gamma: goes with VEK_CHAIN_CURVE_GAMMA alone");
    }
    if (old != nullptr && old->tone && old->tone->IsMadeOfThat(tone)) {
        tone.curves = old->tone->curves;
        return tone;
    }
    if (byTable) {
        const std::uint16_t* const first = tone.tables.data();
        const std::size_t step = gray ? 0 : tone.entries;
        tone.curves =
            std::make_shared<const CToneCurves>(first, first + step, first + 2 * step, tone.entries, tone.depth);
    } else {
        tone.curves = std::make_shared<const CToneCurves>(static_cast<VekChainCurve>(given.curve), tone.gamma / 100.0,
                                                          tone.entries, tone.depth);
    }
    return tone;
}

} // namespace

VekChainDescription knownDescription(const VekChainDescription& given) {
    return taken(given, "description");
}

std::unique_ptr<CVekChainPlan> makePlan(const rows::SRowTable& kernels, std::shared_ptr<const SHandleStages> handle,
                                        const VekChainDescription& given, const CVekChainPlan* old) {
    static std::atomic<std::uint64_t> lastId{0};
    const VekChainDescription description = knownDescription(given);
    require(description.frame != nullptr, "frame: null");
    require(description.picture != nullptr, "picture: null");
    require((description.stages & ~kAllStages) == 0, "stages: bits that are no stage");
    require(description.statistics <= 1, "statistics: neither 0 nor 1");
    require(description.mirror <= (VEK_MIRROR_HORIZONTAL | VEK_MIRROR_VERTICAL), "mirror: bits that are no mirror");
    const auto asksFor = [&](unsigned stage) { return (description.stages & stage) != 0; };
    const auto pictureGiven = taken(*description.picture, "picture");

    auto plan = std::make_unique<CVekChainPlan>();
    plan->id = ++lastId;
    plan->kernels = &kernels;
    plan->handle = std::move(handle);
    plan->frame = frameLayout(taken(*description.frame, "frame"));
    plan->statistics = description.statistics != 0;
    const unsigned long width = plan->frame.width;
    const unsigned long height = plan->frame.height;
    const unsigned short depth = plan->frame.depth;

    // ---- depths ----
    const bool at12 = description.levels != nullptr || description.linearMatrix != nullptr;
    require(description.workingDepth == 0 || description.workingDepth == kDepthOfBytes ||
                description.workingDepth == kDepthOf12,
            "workingDepth: neither 0 nor 8 nor 12");
    require(description.workingDepth != kDepthOfBytes || (depth == kDepthOfBytes && !at12),
            "workingDepth: 8 goes with frames of 8 bits, without levels and linear matrix");
    plan->workingDepth = description.workingDepth != 0         ? static_cast<unsigned short>(description.workingDepth)
                         : at12 || description.tone != nullptr ? kDepthOf12
                                                               : depth;
    plan->goesTo12 = plan->workingDepth == kDepthOf12 && (depth != kDepthOf12 || at12 || description.tone != nullptr);
    require(pictureGiven.depth == 0 || (pictureGiven.depth >= kDepthOfBytes && pictureGiven.depth <= kMaxDepth),
            "picture.depth: neither 0 nor 8 .. 16");
    const unsigned short lastDepth =
        pictureGiven.layout == VEK_CHAIN_NV12 || description.tone != nullptr ? kDepthOfBytes : plan->workingDepth;
    const auto pictureDepth = pictureGiven.depth != 0 ? static_cast<unsigned short>(pictureGiven.depth) : lastDepth;
    plan->picture = pictureLayout(pictureGiven, pictureDepth, plan->frame);
    const bool gray = plan->picture.IsGray();

    // ---- raw stages ----
    plan->rawFrame = {width, height, 0, plan->frame.colorArray, depth};
    plan->workingFrame = plan->rawFrame;
    plan->workingFrame.bitsPerPixel = plan->workingDepth;
    checkNoise(*plan, description.noise);
    if (asksFor(VEK_CHAIN_SHADING)) {
        checkShading(*plan);
        plan->shading = plan->handle->shading.Traits(plan->rawFrame).kind != EStage::None;
    }
    if (description.levels != nullptr) {
        plan->levels = takenLevels(taken(*description.levels, "levels"));
    }
    if (asksFor(VEK_CHAIN_WHITE_BALANCE)) {
        require(!plan->IsOfWords(), "stages: white balance is for bytes");
        plan->balance =
            isBayer(plan->frame.colorArray) && plan->handle->balance.Traits(plan->workingFrame).kind != EStage::None;
    }
    plan->rawGamma =
        asksFor(VEK_CHAIN_RAW_GAMMA) && plan->handle->rawGamma.Traits(plan->workingFrame).kind != EStage::None;
    plan->mirror = {static_cast<ETransform>(description.mirror), plan->IsOfWords() ? 2UL : 1UL,
                    plan->IsOfWords() ? 2UL : 1UL};
    plan->mirroredFrame = plan->workingFrame;
    plan->mirroredFrame.colorArray = plan->mirror.ColorArray(plan->workingFrame.colorArray);

    // ---- pictures ----
    plan->demosaic = {static_cast<unsigned char>(std::min<std::uint32_t>(description.demosaic, UINT8_MAX)),
                      static_cast<unsigned short>(gray ? 1 : 3)};
    plan->demosaicTraits = plan->IsEdgeDirected() ? SEdgeDemosaicStage().Traits(plan->mirroredFrame)
                                                  : plan->demosaic.Traits(plan->mirroredFrame);
    checkDemosaic(*plan);
    plan->colorFrame = {width, height, pixelFormatOf(gray, plan->IsOfWords()), 0, plan->workingDepth};
    plan->pictureFrame = {width, height, pixelFormatOf(gray, plan->picture.IsOfWords()), 0, pictureDepth};
    const SHandleStages& stages = *plan->handle;
    if (asksFor(VEK_CHAIN_COLOR_MATRIX)) {
        require(description.linearMatrix == nullptr, "linearMatrix: stands in the place of VEK_CHAIN_COLOR_MATRIX");
        plan->matrix = stages.matrix.Traits(plan->colorFrame).kind != EStage::None;
        plan->suppression = stages.suppression.Traits(plan->colorFrame).kind != EStage::None;
    }
    if (description.linearMatrix != nullptr) {
        require(!gray, "linearMatrix: the picture is grey");
        plan->linearMatrix = takenMatrix(taken(*description.linearMatrix, "linearMatrix"));
    }
    if (asksFor(VEK_CHAIN_LUMA_GAMMA)) {
        require(!plan->IsOfWords(), "stages: the luma curve is for bytes");
        plan->lumaGamma = stages.lumaGamma.Traits(plan->colorFrame).kind != EStage::None;
    }
    bool sharpenAfter = false;
    if (description.tone != nullptr) {
        const auto tone = taken(*description.tone, "tone");
        require(tone.sharpness <= VEK_CHAIN_SHARPEN_AFTER_TONE, "tone.sharpness: neither before nor after");
        require(tone.reserved == 0, "tone.reserved: not 0");
        sharpenAfter = tone.sharpness == VEK_CHAIN_SHARPEN_AFTER_TONE;
        plan->tone = takenTone(tone, *plan, old);
    }
    if (asksFor(VEK_CHAIN_SHARPNESS)) {
        const SFrame& frame = sharpenAfter ? plan->pictureFrame : plan->colorFrame;
        require(frame.bitsPerPixel <= SSharpnessStage::kMaxDepth, "stages: sharpness is for up to 12 bits");
        const bool on = stages.sharpness.Traits(frame).kind != EStage::None;
        plan->sharpenBefore = on && !sharpenAfter;
        plan->sharpenAfter = on && sharpenAfter;
    }
    plan->work = workLayout(*plan);
    return plan;
}

} // namespace vek

bool CVekChainPlan::MeasuresFrame() const {
    return balance && handle->balance.Traits(workingFrame).kind == vek::EStage::FrameFirst;
}

bool CVekChainPlan::IsDeveloped() const {
    const bool demosaiced = vek::isBayer(mirroredFrame.colorArray) && !picture.IsGray() &&
                            (IsEdgeDirected() || demosaic.method == VEK_DEMOSAIC_BILINEAR_SIMPLE);
    return demosaiced && workingDepth == vek::kDepthOf12 && tone && picture.depth == vek::kDepthOfBytes && !matrix &&
           !suppression && !lumaGamma && !sharpenBefore;
}
