// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/ColorArrays.h"
#include "imageproc/Band.h"
#include "imageproc/IGamma.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>

namespace vek {

/// A tone curve. Entries above the depth of a setting stay as earlier settings left them.
struct SGammaCurve {
    std::array<unsigned short, rows::kCurveEntries<unsigned short>> words{};
    std::array<unsigned char, rows::kCurveEntries<unsigned char>> bytes{}; ///< low bytes of the first words

    template <class T>
    const T* Entries() const {
        return rows::forSample<T>(bytes, words).data();
    }

    /// The words for kernels, which last as long as this: with segments where they were sought and found.
    rows::SToneCurve Words() const;
    /// Seeks segments of the words once; it takes about as long as to compute the words. They are lost with
    /// WordsChange.
    void SeekSegments();
    void WordsChange() { mState = ESegments::NotSought; }

private:
    enum class ESegments : unsigned char { NotSought, Found, None };
    ESegments mState = ESegments::NotSought;
    unsigned char mExceptions = 0;
    std::array<unsigned char, rows::SToneCurve::kMaxExceptions> mException{};
    rows::SToneCurve::Segments mSegments{};
};

/// The curves of raw colours as a stage.
struct SRawGammaStage {
    std::array<SGammaCurve, kColorSlots> curves{};
    bool on = false; ///< one of the four is

    /// What makes words fast: wanted before they are, but not needed.
    void SeekSegments(const rows::SRowTable& kernels);
    STraits Traits(const SFrame& frame) const;
    /// frame: raw. Channels that are off limit samples to their own depth.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// The curve of luma as a stage.
struct SLumaGammaStage {
    SGammaCurve curve{};
    bool bytesAreLevels = false; ///< the first entries fit bytes
    bool on = false;

    /// As of raw colours.
    void SeekSegments(const rows::SRowTable& kernels);
    STraits Traits(const SFrame& frame) const;
    /// frame: grey or colour. Colour of words is worked on in its own place alone.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// Tone curves of luma and of the four raw colours. Tables change with a setting alone; never keeps an image pointer.
class CGamma final : public IGamma {
public:
    explicit CGamma(const rows::SRowTable& rows);

    unsigned long GetMode(unsigned char channel, unsigned char* mode, unsigned short* gamma, short* brightness,
                          void* contrast, void* table, unsigned short* bits) override;
    unsigned long SetMode(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                          unsigned short contrast, const void* table, unsigned short bits) override;
    unsigned long ProcColorRawB(unsigned long width, unsigned long height, unsigned long pitch,
                                unsigned short colorArray, unsigned char* image) override;
    unsigned long ProcColorRawW(unsigned long width, unsigned long height, unsigned long pitch,
                                unsigned short colorArray, unsigned short* image) override;
    unsigned long ProcBGROrGrayB(unsigned long width, unsigned long height, unsigned long pitch,
                                 unsigned long pixelFormat, unsigned char* image) override;
    unsigned long ProcBGROrGrayW(unsigned long width, unsigned long height, unsigned long pitch,
                                 unsigned long pixelFormat, unsigned short* image) override;

    /// For stages that work on words.
    void SeekRawSegments() { mRaw.SeekSegments(mRows); }
    void SeekLumaSegments() { mLuma.SeekSegments(mRows); }

    const SRawGammaStage& RawStage() const { return mRaw; }
    const SLumaGammaStage& LumaStage() const { return mLuma; }

private:
    static constexpr unsigned char kChannels = 1 + kColorSlots; ///< Y, and the colour slots

    /// A channel's settings.
    struct SChannel {
        unsigned char mode;
        unsigned short gamma; ///< 1/100
        short brightness;
        unsigned short contrast;
        unsigned short bits;
    };

    SGammaCurve& Curve(unsigned char channel);
    void Store(unsigned char channel, const SChannel& settings);
    template <class T>
    unsigned long ProcColorRaw(unsigned long width, unsigned long height, unsigned long pitch,
                               unsigned short colorArray, T* image) const;
    template <class T>
    unsigned long ProcBGROrGray(unsigned long width, unsigned long height, unsigned long pitch,
                                unsigned long pixelFormat, T* image) const;

    const rows::SRowTable& mRows;
    std::array<SChannel, kChannels> mChannels{};
    SRawGammaStage mRaw;
    SLumaGammaStage mLuma;
};

} // namespace vek
