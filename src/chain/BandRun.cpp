// SPDX-License-Identifier: Apache-2.0
#include "chain/BandRun.h"

#include "chain/Arrange.h"
#include "chain/RowWindow.h"
#include "chain/Statistics.h"
#include "common/PixelFormat.h"
#include "formats/ColorArrays.h"
#include "imageproc/BayerRows.h"
#include "imageproc/rows/Mirror.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

namespace vek {

namespace {

/// Rows first .. end-1 of an image, in their own place: for stages that make each row from itself.
template <class T>
SBand<T> inPlace(const SImage<T>& image, unsigned long first, unsigned long end) {
    return {image, image, first, end, nullptr};
}

/// A frame on its way to a picture, strip by strip. Each function makes rows of one intermediate image and asks the one
/// in front of it for what they are made from. Raw, Work and Out: samples of the frame, of what is demosaiced and of
/// the picture.
///
///   frame -> Source -> Cleaned -> MakeRaw -> RawRows -> Colors -> Sharpened -> Toned -> Finished -> picture
///            unpack    noise      shading,   mirror     demosaic,  before       tone     after
///                                 levels, balance,      matrix,    tone                  tone
///                                 raw curves            luma curve
template <class Raw, class Work, class Out>
class CBandRun {
public:
    CBandRun(const CVekChainPlan& plan, const CVekChainState* state, CVekChainWork& work, const void* frame,
             void* picture)
        : mPlan(plan), mState(state), mWork(work), mWidth(plan.frame.width), mHeight(plan.frame.height),
          mFrame(static_cast<const std::uint8_t*>(frame) + plan.frame.cropY * plan.frame.pitch +
                 plan.frame.CropBytes()),
          mPicture{mWidth, mHeight, plan.picture.pitch, static_cast<Out*>(picture)},
          mUnpacked(Area(), plan.work.unpacked, mWidth, mHeight), mCleaned(Area(), plan.work.cleaned, mWidth, mHeight),
          mCorrected(Area(), plan.work.corrected, mWidth, mHeight),
          mRaw(Part<Work>(plan.work.raw, plan.picture.IsGray() && EndsInWork() && !plan.sharpenBefore)),
          mColors(Part<Work>(plan.work.colors, EndsInWork() && !plan.sharpenBefore)),
          mSharpened(Part<Work>(plan.work.sharpened, EndsInWork())),
          mToned(Part<Out>(plan.work.toned, EndsInPicture() && !plan.sharpenAfter)),
          mFinished(Part<Out>(plan.work.finished, EndsInPicture())) {}

    void Run(unsigned long first, unsigned long end) {
        mBandFirst = first;
        mBandEnd = end;
        if (mPlan.statistics) {
            mCounter.emplace(mPlan, ClearTables(), mWork.counts);
        }
        ForStrips(first, end, [this](unsigned long y, unsigned long next) {
            const SImage<const Out> rows = Finished(y, next);
            CountPicture(rows, y, next);
            Arrange(rows, y, next);
        });
    }

    /// The whole frame through a filter that makes each row from those above it.
    void Filter(CVekChainState& state) {
        const SImage<Raw> kept = {mWidth, mHeight, mPlan.UnpackedPitch(), reinterpret_cast<Raw*>(state.frame.get())};
        ForStrips(0, mHeight, [&](unsigned long first, unsigned long end) {
            const STraits& traits = mPlan.noiseTraits;
            mPlan.noise.Rows(
                *mPlan.kernels, mPlan.rawFrame,
                SBand<Raw>{Source(first, std::min(mHeight, end + traits.rowsBelow)), kept, first, end, NoiseArea()});
        });
    }

    /// What the automatic balance of raw rows goes by.
    void Measure(SWBStatistics& statistics) {
        ForStrips(0, mHeight, [&](unsigned long first, unsigned long end) {
            SImage<Work> rows = mRaw.View();
            rows.top = first;
            MakeRaw(first, end, rows, EUntil::Balance);
            statistics.Add<Work>(*mPlan.kernels, mPlan.workingFrame, rows, first, end);
        });
    }

private:
    enum class EUntil : unsigned char { Balance, End };

    /// Those of statistics.
    rows::SPairCounts* ClearTables() {
        if (!mWork.hasClearTables) {
            std::memset(Area(), 0, CBandCounter::kTables * sizeof(rows::SPairCounts));
            mWork.hasClearTables = true;
        }
        return reinterpret_cast<rows::SPairCounts*>(Area());
    }

    unsigned char* Area() const { return static_cast<unsigned char*>(mWork.memory.get()); }
    void* NoiseArea() const { return Area() + mPlan.work.noise; }
    const rows::SRowTable& Kernels() const { return *mPlan.kernels; }

    /// Whether the picture's rows are those of the last stage, and whether they have samples of the working depth.
    bool EndsInPicture() const { return mPicture.data != nullptr && mPlan.picture.IsPlain(); }
    bool EndsInWork() const { return EndsInPicture() && !mPlan.NeedsConversion() && !mPlan.sharpenAfter; }

    /// A part of the work area, or the picture itself.
    template <class T>
    CRowWindow<T> Part(const SWorkPart& part, bool isPicture) const {
        if constexpr (std::is_same_v<T, Out>) {
            if (isPicture) {
                return CRowWindow<T>(mPicture);
            }
        }
        return CRowWindow<T>(Area(), part, mWidth, mHeight);
    }

    template <class Body>
    void ForStrips(unsigned long first, unsigned long end, Body body) {
        for (unsigned long y = first; y < end;) {
            const unsigned long next = std::min(end, y + mPlan.work.stripRows);
            body(y, next);
            y = next;
        }
    }

    // ---- the raw frame ----

    /// Whether stages can read samples where the frame has them.
    bool IsReadable() const {
        const SFrameLayout& frame = mPlan.frame;
        return frame.format->layout == ELayout::Bytes ||
               (frame.format->layout == ELayout::Words && !frame.isSwapped && frame.pitch % sizeof(Raw) == 0 &&
                reinterpret_cast<std::uintptr_t>(mFrame) % sizeof(Raw) == 0);
    }
    SImage<const Raw> FrameView() const {
        return {mWidth, mHeight, mPlan.frame.pitch, reinterpret_cast<const Raw*>(mFrame)};
    }
    bool IsKept() const { return mState != nullptr && mPlan.KeepsFrame(); }
    SImage<const Raw> KeptView() const {
        return {mWidth, mHeight, mPlan.UnpackedPitch(), reinterpret_cast<const Raw*>(mState->frame.get())};
    }

    /// For words that do not lie in memory as they are; null for those that do.
    rows::SUnpackRows::ToWords UnpackKernel() const {
        const rows::SUnpackRows& unpack = Kernels().unpack;
        const STransferFormat& format = *mPlan.frame.format;
        switch (format.layout) {
        case ELayout::Packed:
            return format.depth == 10 ? unpack.stream10 : unpack.stream12;
        case ELayout::Csi2:
            return format.depth == 10 ? unpack.csi10 : format.depth == 12 ? unpack.csi12 : unpack.csi14;
        default:
            return mPlan.frame.isSwapped ? unpack.swapped : nullptr;
        }
    }
    void Unpack(unsigned long y, Raw* row) const {
        const SFrameLayout& frame = mPlan.frame;
        const std::uint8_t* const from = mFrame + y * frame.pitch;
        if constexpr (sizeof(Raw) == 1) {
            std::memcpy(row, from, mWidth);
        } else {
            // A crop that begins within a group of pixels is copied from the group's row.
            const unsigned long lead = frame.LeadPixels();
            const unsigned long width = mWidth + lead;
            Raw* const to = lead == 0 ? row : reinterpret_cast<Raw*>(Area() + mPlan.work.line.offset);
            if (const auto unpacked = UnpackKernel(); unpacked != nullptr) {
                unpacked(from, to, width);
            } else {
                std::memcpy(to, from, width * sizeof(Raw));
            }
            if (to != row) {
                std::memcpy(row, to + lead, mWidth * sizeof(Raw));
            }
        }
    }

    /// Rows first .. end-1 of the frame as it came.
    SImage<const Raw> Source(unsigned long first, unsigned long end) {
        if (IsReadable()) {
            return FrameView();
        }
        mUnpacked.Keep(first);
        const SImage<Raw> view = mUnpacked.View();
        for (unsigned long y = mUnpacked.End(); y < end; ++y) {
            Unpack(y, view.Row(y));
        }
        mUnpacked.Grow(std::max(end, mUnpacked.End()));
        return mUnpacked.Const();
    }

    /// The nearest row at or above y that noise reduction can begin at.
    unsigned long StartAtOrAbove(unsigned long y) {
        const STraits& traits = mPlan.noiseTraits;
        if (traits.kind != EStage::Serial) {
            return y;
        }
        for (; y > 0; --y) {
            const unsigned long above = y - std::min<unsigned long>(y, traits.rowsAbove);
            if (mPlan.noise.StartsAt<Raw>(mPlan.rawFrame, Source(above, y), y)) {
                break;
            }
        }
        return y;
    }

    /// Rows behind noise reduction.
    SImage<const Raw> Cleaned(unsigned long first, unsigned long end) {
        if (IsKept()) {
            return KeptView();
        }
        if (mPlan.noiseTraits.kind == EStage::None) {
            return Source(first, end);
        }
        const STraits& traits = mPlan.noiseTraits;
        const unsigned long reach = traits.rowsAbove;
        const unsigned long from = first - std::min(first, reach);
        if (mCleaned.First() > from || mCleaned.End() < first || mCleaned.First() == mCleaned.End()) {
            // Begins so early that the rows above the first one have become what they are, too.
            mCleaned.Keep(mCleaned.End() + 1);
            mCleaned.Keep(StartAtOrAbove(from));
        }
        const unsigned long together = mPlan.work.cleaned.rows - 2 * reach;
        while (mCleaned.End() < end) {
            const unsigned long next = mCleaned.End();
            const unsigned long until = std::min(end, next + together);
            const unsigned long kept = std::min(first, next);
            mCleaned.Keep(std::max(mCleaned.First(), kept - std::min(kept, reach)));
            const unsigned long above = next - std::min(next, reach);
            const SImage<const Raw> source = Source(above, std::min(mHeight, until + traits.rowsBelow));
            mPlan.noise.Rows(Kernels(), mPlan.rawFrame, SBand<Raw>{source, mCleaned.View(), next, until, NoiseArea()});
            mCleaned.Grow(until);
        }
        return mCleaned.Const();
    }

    /// Whether levels take samples of the frame's own depth.
    bool LevelsAsTheyCome() const { return mPlan.levels && mPlan.frame.depth == mPlan.workingDepth; }
    void Level(const SImage<const Work>& from, const SImage<Work>& to, unsigned long first, unsigned long end) const {
        if constexpr (sizeof(Work) == 2) {
            for (unsigned long y = first; mPlan.levels && y < end; ++y) {
                const unsigned place = mPlan.frame.place ^ (2 * static_cast<unsigned>(y % 2));
                Kernels().linear.levels(from.Row(y), to.Row(y), mWidth, (*mPlan.levels)[place],
                                        (*mPlan.levels)[place ^ 1]);
            }
        }
    }
    void ToDepth12(const SImage<Work>& rows, unsigned long first, unsigned long end) const {
        if constexpr (sizeof(Work) == 2) {
            for (unsigned long y = first; mPlan.goesTo12 && y < end; ++y) {
                Kernels().unpack.toDepth12(rows.Row(y), mWidth, mPlan.frame.depth);
            }
        }
    }

    /// Rows first .. end-1 of the frame, up to the mirror, which lie in rows.
    void MakeRaw(unsigned long first, unsigned long end, const SImage<Work>& rows, EUntil until) {
        SImage<const Raw> source = CleanedOrUnpacked(first, end, rows);
        const SHandleStages& handle = *mPlan.handle;
        if constexpr (std::is_same_v<Raw, Work>) {
            const bool leveled = LevelsAsTheyCome();
            if (mPlan.shading) {
                handle.shading.Rows(Kernels(), mPlan.rawFrame, SBand<Raw>{source, rows, first, end, nullptr});
            } else if (leveled) {
                Level(source, rows, first, end);
            } else {
                forBandRows(mPlan.rawFrame, SBand<Raw>{source, rows, first, end, nullptr}, 1,
                            [](Raw*, unsigned long) {});
            }
            if (!leveled) {
                ToDepth12(rows, first, end);
            }
            if (mPlan.shading || !leveled) {
                Level(rows, rows, first, end);
            }
        } else {
            if (mPlan.shading) {
                SImage<Raw> corrected = mCorrected.View();
                corrected.top = first;
                handle.shading.Rows(Kernels(), mPlan.rawFrame, SBand<Raw>{source, corrected, first, end, nullptr});
                source = corrected;
            }
            for (unsigned long y = first; y < end; ++y) {
                Kernels().unpack.bytesToDepth12(source.Row(y), rows.Row(y), mWidth);
            }
            Level(rows, rows, first, end);
        }
        if (until == EUntil::Balance) {
            return;
        }
        if (mPlan.balance) {
            const SWBStage& balance = mState != nullptr && mPlan.MeasuresFrame() ? mState->balance : handle.balance;
            balance.Rows(Kernels(), mPlan.workingFrame, inPlace(rows, first, end));
        }
        if (mPlan.rawGamma) {
            handle.rawGamma.Rows(Kernels(), mPlan.workingFrame, inPlace(rows, first, end));
        }
    }

    /// The frame's rows behind noise reduction; without it, what has to be unpacked goes to rows themselves.
    SImage<const Raw> CleanedOrUnpacked(unsigned long first, unsigned long end, const SImage<Work>& rows) {
        if constexpr (std::is_same_v<Raw, Work>) {
            if (mPlan.noiseTraits.kind == EStage::None && !IsReadable()) {
                for (unsigned long y = first; y < end; ++y) {
                    Unpack(y, rows.Row(y));
                }
                CountRaw(rows, first, end);
                return rows;
            }
        }
        const SImage<const Raw> source = Cleaned(first, end);
        if (mCounter) {
            CountRaw(Source(first, end), first, end);
        }
        return source;
    }

    /// Whether the demosaic method can have the frame itself.
    bool IsUntouched() const {
        return std::is_same_v<Raw, Work> && IsReadable() && mPlan.noiseTraits.kind == EStage::None && !mPlan.shading &&
               !mPlan.goesTo12 && !mPlan.levels && !mPlan.balance && !mPlan.rawGamma && !IsMirrored() &&
               !mPlan.picture.IsGray();
    }
    /// Whether the picture's first row is the frame's last one.
    bool IsUpsideDown() const {
        return mPlan.mirror.transform == ETransform::MirrorV || mPlan.mirror.transform == ETransform::MirrorHV;
    }
    bool IsMirrored() const { return mPlan.mirror.transform != ETransform::None; }

    /// Mirrored rows, for the demosaic method; those from next on are made the first time.
    SImage<const Work> RawRows(unsigned long first, unsigned long end) {
        if constexpr (std::is_same_v<Raw, Work>) {
            if (IsUntouched()) {
                CountRaw(FrameView(), std::max(first, mCounted), end);
                mCounted = std::max(mCounted, end);
                return FrameView();
            }
        }
        mRaw.Keep(first);
        const unsigned long next = mRaw.End();
        if (next >= end) {
            return mRaw.Const();
        }
        mRaw.Grow(end);
        // The new rows in the order of the frame; the mirror puts them into that of the picture.
        const unsigned long from = IsUpsideDown() ? mHeight - end : next;
        SImage<Work> rows = mRaw.View();
        rows.data = rows.Row(next);
        rows.top = from;
        MakeRaw(from, from + (end - next), rows, EUntil::End);
        if (IsMirrored()) {
            const SRows<unsigned char> image = {rows.pitch, reinterpret_cast<unsigned char*>(rows.data)};
            const SFrame strip = {mWidth, end - next};
            mPlan.mirror.Rows(Kernels(), strip, wholeFrame(strip, image, nullptr));
        }
        if (mPlan.picture.IsGray() && mPlan.lumaGamma) {
            mPlan.handle->lumaGamma.Rows(Kernels(), mPlan.colorFrame, inPlace(mRaw.View(), next, end));
        }
        return mRaw.Const();
    }

    // ---- the picture ----

    /// Blue-green-red or grey rows in front of sharpness and tone.
    SImage<const Work> Colors(unsigned long first, unsigned long end) {
        if (mPlan.picture.IsGray()) {
            return RawRows(first, end);
        }
        mColors.Keep(first);
        const unsigned long next = mColors.End();
        if (next >= end) {
            return mColors.Const();
        }
        const SRowRange range = sourceRows(mPlan.demosaicTraits, mHeight, next, end);
        const SImage<const Work> raw = RawRows(range.first, range.end);
        mColors.Grow(end);
        const SImage<Work> colors = mColors.View();
        const SHandleStages& handle = *mPlan.handle;
        const bool fused = FuseDemosaic(raw, colors, next, end);
        if (mPlan.IsEdgeDirected()) {
            SEdgeDemosaicStage().Rows(Kernels(), mPlan.mirroredFrame, SBand<Work>{raw, colors, next, end, nullptr});
        } else if (!fused) {
            mPlan.demosaic.Rows(Kernels(), mPlan.mirroredFrame, SBand<Work>{raw, colors, next, end, nullptr});
        }
        if (mPlan.matrix && !fused) {
            handle.matrix.Rows(Kernels(), mPlan.colorFrame, inPlace(colors, next, end));
        }
        if (mPlan.suppression) {
            handle.suppression.Rows(Kernels(), mPlan.colorFrame, inPlace(colors, next, end));
        }
        if constexpr (sizeof(Work) == 2) {
            for (unsigned long y = next; mPlan.linearMatrix && y < end; ++y) {
                Kernels().linear.matrix(colors.Row(y), mWidth, *mPlan.linearMatrix);
            }
        }
        if (mPlan.lumaGamma) {
            handle.lumaGamma.Rows(Kernels(), mPlan.colorFrame, inPlace(colors, next, end));
        }
        return mColors.Const();
    }

    /// Demosaic method and matrix in one pass; false, and nothing done, where there is no kernel for both.
    bool FuseDemosaic(const SImage<const Work>& raw, const SImage<Work>& colors, unsigned long first,
                      unsigned long end) const {
        if constexpr (sizeof(Work) == 1) {
            if (mPlan.matrix && mPlan.demosaic.method == VEK_DEMOSAIC_BILINEAR_SIMPLE &&
                isBayer(mPlan.mirroredFrame.colorArray)) {
                const rows::SMatrixTables tables = mPlan.handle->matrix.Tables();
                const SPhase& phase = phaseOf(mPlan.mirroredFrame.colorArray);
                for (unsigned long y = first; y < end; ++y) {
                    const SRowsAround<Work> around = rowsAround<Work>(raw, mHeight, y);
                    Kernels().fused.bilinearMatrix[phase.Kind(y)](around.above, around.row, around.below, colors.Row(y),
                                                                  mWidth, tables);
                }
                return true;
            }
        }
        return false;
    }

    /// Rows of an image whose rows sharpness makes from those around them; source(first, end) gives these.
    template <class T, class Source>
    SImage<const T> SharpenedRows(CRowWindow<T>& window, const SFrame& frame, unsigned long first, unsigned long end,
                                  Source source) {
        window.Keep(first);
        const unsigned long next = window.End();
        if (next < end) {
            const SSharpnessStage& stage = mPlan.handle->sharpness;
            const bool continues = next == mSharpenedEnd;
            const SRowRange range = sourceRows(stage.Traits(frame), mHeight, next, end);
            const SImage<const T> rows = source(continues ? next : range.first, range.end);
            window.Grow(end);
            const SBand<T> band = {rows, window.View(), next, end, Area() + mPlan.work.sharpness};
            stage.Rows(Kernels(), frame, band, continues);
            mSharpenedEnd = end;
        }
        return window.Const();
    }

    SImage<const Work> Sharpened(unsigned long first, unsigned long end) {
        const auto colors = [&](unsigned long from, unsigned long to) { return Colors(from, to); };
        return mPlan.sharpenBefore ? SharpenedRows(mSharpened, mPlan.colorFrame, first, end, colors)
                                   : Colors(first, end);
    }

    /// Rows of the picture's depth.
    SImage<const Out> Toned(unsigned long first, unsigned long end) {
        if constexpr (std::is_same_v<Work, Out>) {
            if (!mPlan.NeedsConversion()) {
                return Sharpened(first, end);
            }
        }
        mToned.Keep(first);
        const unsigned long next = mToned.End();
        if (next < end) {
            if (mPlan.IsDeveloped()) {
                Develop(next, end);
                return mToned.Const();
            }
            const SImage<const Work> rows = Sharpened(next, end);
            mToned.Grow(end);
            const SImage<Out> view = mToned.View();
            for (unsigned long y = next; y < end; ++y) {
                Convert(rows.Row(y), view.Row(y));
            }
        }
        return mToned.Const();
    }

    /// Demosaic method, linear matrix and tone in one pass.
    void Develop(unsigned long first, unsigned long end) {
        if constexpr (sizeof(Work) == 2 && sizeof(Out) == 1) {
            const SRowRange range = sourceRows(mPlan.demosaicTraits, mHeight, first, end);
            const SImage<const Work> raw = RawRows(range.first, range.end);
            mToned.Grow(end);
            const SImage<Out> toned = mToned.View();
            const rows::SDevelopment development = {mPlan.linearMatrix ? &*mPlan.linearMatrix : nullptr,
                                                    &mPlan.tone->curves->Tables()};
            auto* const scratch = reinterpret_cast<std::uint16_t*>(Area() + mPlan.work.line.offset);
            const SPhase& phase = phaseOf(mPlan.mirroredFrame.colorArray);
            for (unsigned long y = first; y < end; ++y) {
                if (mPlan.IsEdgeDirected()) {
                    const auto at = [&](int offset) { return raw.Row(rows::mirrored(y, offset, mHeight)); };
                    Kernels().fused.edgeToned[phase.Kind(y)](at(-2), at(-1), at(0), at(1), at(2), toned.Row(y), mWidth,
                                                             development, scratch);
                } else {
                    const SRowsAround<Work> at = rowsAround<Work>(raw, mHeight, y);
                    Kernels().fused.bilinearToned[phase.Kind(y)](at.above, at.row, at.below, toned.Row(y), mWidth,
                                                                 development, scratch);
                }
            }
        }
    }

    void Convert(const Work* from, Out* to) const {
        const std::size_t samples = mWidth * mPlan.Samples();
        if (mPlan.tone) {
            const rows::SToneRows<Work, Out>& tone = rows::toneRows<Work, Out>(Kernels());
            return (mPlan.picture.IsGray() ? tone.samples : tone.pixels)(from, to, mWidth,
                                                                         mPlan.tone->curves->Tables());
        }
        const int shift = mPlan.workingDepth - mPlan.picture.depth;
        if constexpr (sizeof(Out) == 1) {
            if constexpr (sizeof(Work) == 2) {
                Kernels().bytes.shift16[rows::bytePixel(1)](from, to, samples, shift);
            }
        } else {
            for (std::size_t i = 0; i < samples; ++i) {
                to[i] = static_cast<Out>(shift >= 0 ? from[i] >> shift : from[i] << -shift);
            }
        }
    }

    SImage<const Out> Finished(unsigned long first, unsigned long end) {
        const auto toned = [&](unsigned long from, unsigned long to) { return Toned(from, to); };
        return mPlan.sharpenAfter ? SharpenedRows(mFinished, mPlan.pictureFrame, first, end, toned) : Toned(first, end);
    }

    /// Finished rows to the picture, where they are not there already.
    void Arrange(const SImage<const Out>& rows, unsigned long first, unsigned long end) const {
        if (rows.data == mPicture.data) {
            return;
        }
        arrangeRows(mPlan, rows, mPicture, first, end);
    }

    // ---- statistics ----

    /// Counts rows first .. end-1 of the frame as it came, as far as they are the band's.
    void CountRaw(const SImage<const Raw>& rows, unsigned long first, unsigned long end) {
        if (!mCounter) {
            return;
        }
        const unsigned long bandFirst = IsUpsideDown() ? mHeight - mBandEnd : mBandFirst;
        const unsigned long bandEnd = IsUpsideDown() ? mHeight - mBandFirst : mBandEnd;
        mCounter->Raw(rows, std::max(first, bandFirst), std::min(end, bandEnd));
    }
    void CountPicture(const SImage<const Out>& rows, unsigned long first, unsigned long end) {
        if (mCounter) {
            mCounter->Picture(rows, first, end);
        }
    }

    const CVekChainPlan& mPlan;
    const CVekChainState* mState;
    CVekChainWork& mWork;
    unsigned long mWidth;
    unsigned long mHeight;
    const std::uint8_t* mFrame; ///< the crop's first row
    SImage<Out> mPicture;
    CRowWindow<Raw> mUnpacked;
    CRowWindow<Raw> mCleaned;
    CRowWindow<Raw> mCorrected;
    CRowWindow<Work> mRaw;
    CRowWindow<Work> mColors;
    CRowWindow<Work> mSharpened;
    CRowWindow<Out> mToned;
    CRowWindow<Out> mFinished;
    std::optional<CBandCounter> mCounter; ///< none: nothing is counted
    unsigned long mBandFirst = 0;
    unsigned long mBandEnd = 0;
    unsigned long mSharpenedEnd = 0; ///< row that sharpness goes on with
    unsigned long mCounted = 0;      ///< rows up to this one are, of a frame that is demosaiced where it is
};

/// Calls body with a run for the plan's samples.
template <class Body>
void withRun(const CVekChainPlan& plan, const CVekChainState* state, CVekChainWork& work, const void* frame,
             void* picture, Body body) {
    using Byte = unsigned char;
    using Word = unsigned short;
    const auto with = [&](auto run) { body(run); };
    work.hasClearTables = work.hasClearTables && plan.statistics;
    const bool outOfWords = plan.picture.IsOfWords();
    if (!plan.IsOfWords()) {
        outOfWords ? with(CBandRun<Byte, Byte, Word>(plan, state, work, frame, picture))
                   : with(CBandRun<Byte, Byte, Byte>(plan, state, work, frame, picture));
    } else if (!plan.frame.IsOfWords()) {
        outOfWords ? with(CBandRun<Byte, Word, Word>(plan, state, work, frame, picture))
                   : with(CBandRun<Byte, Word, Byte>(plan, state, work, frame, picture));
    } else {
        outOfWords ? with(CBandRun<Word, Word, Word>(plan, state, work, frame, picture))
                   : with(CBandRun<Word, Word, Byte>(plan, state, work, frame, picture));
    }
}

} // namespace

void prepareFrame(const CVekChainPlan& plan, CVekChainState& state, CVekChainWork& work, const void* frame) {
    if (plan.KeepsFrame()) {
        withRun(plan, nullptr, work, frame, nullptr, [&](auto& run) { run.Filter(state); });
    }
    if (!plan.MeasuresFrame() || state.balancedOnce == plan.handle) {
        return;
    }
    state.statistics.Clear();
    withRun(plan, &state, work, frame, nullptr, [&](auto& run) { run.Measure(state.statistics); });
    const bool once = plan.handle->balance.mode == VEK_WB_ONCE;
    state.balance = plan.handle->balance;
    state.balance.Balance(state.statistics, plan.workingFrame);
    state.balance.UpdateTables(plan.workingDepth);
    state.balancedOnce = once ? plan.handle : nullptr;
}

void runBand(const CVekChainPlan& plan, const CVekChainState* state, CVekChainWork& work, const void* frame,
             void* picture, unsigned long first, unsigned long end) {
    withRun(plan, state, work, frame, picture, [&](auto& run) { run.Run(first, end); });
}

} // namespace vek
