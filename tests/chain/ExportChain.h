// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

/// The functions of VekTrgApi.h that stand for the stages of a chain, on images of one depth. Of the description they
/// take what is to be done; its frame, depths and own stages are not looked at.
template <class T>
class CExportStages {
public:
    CExportStages(VekCam_Handle handle, const VekChainDescription& description, unsigned long width,
                  unsigned long height, unsigned short colorArray, unsigned short depth)
        : mHandle(handle), mDescription(description), mWidth(width), mHeight(height), mArray(colorArray), mDepth(depth),
          mGray(description.picture->layout == VEK_CHAIN_MONO) {}

    bool Good() const { return mGood; }
    unsigned short ColorArray() const { return mArray; }
    unsigned Samples() const { return mGray ? 1 : 3; }

    // ---- raw frames, in place ----

    void Correct(std::vector<T>& raw) {
        if (mDescription.noise != 0) {
            Expect(VekCam_NoiseReduction(mHandle, mDescription.noise, mWidth, mHeight, 0, mArray, raw.data(), mDepth));
        }
        if (Has(VEK_CHAIN_SHADING)) {
            Expect(VekCam_ShadingCorrection(mHandle, mWidth, mHeight, 0, raw.data(), mDepth));
        }
    }
    void Balance(std::vector<T>& raw) {
        if (Has(VEK_CHAIN_WHITE_BALANCE)) {
            Expect(VekCam_WhiteBalance(mHandle, mWidth, mHeight, mWidth * sizeof(T), mArray, raw.data(), mDepth));
        }
        if (Has(VEK_CHAIN_RAW_GAMMA)) {
            Expect(VekCam_RawColorGamma(mHandle, mWidth, mHeight, mArray, raw.data(), mDepth));
        }
    }
    /// The export mirrors bytes: those of words go through it apart.
    void Mirror(std::vector<T>& raw) {
        if (mDescription.mirror == 0) {
            return;
        }
        unsigned short array = mArray;
        for (unsigned byte = 0; byte < sizeof(T); ++byte) {
            std::vector<std::uint8_t> bytes(raw.size());
            std::transform(raw.begin(), raw.end(), bytes.begin(),
                           [&](T value) { return static_cast<std::uint8_t>(value >> (8 * byte)); });
            unsigned long width = mWidth;
            unsigned long height = mHeight;
            array = mArray;
            Expect(VekCam_MirrorRotation(mHandle, static_cast<unsigned char>(mDescription.mirror), VEK_ROTATION_NONE,
                                         &width, &height, &array, bytes.data()));
            for (std::size_t i = 0; i < raw.size(); ++i) {
                const unsigned kept = raw[i] & ~(0xFFU << (8 * byte));
                raw[i] = static_cast<T>(kept | static_cast<unsigned>(bytes[i]) << (8 * byte));
            }
        }
        mArray = array;
    }

    // ---- pictures of 1 or 3 samples a pixel, rows without padding ----

    std::vector<T> Demosaic(const std::vector<T>& raw) {
        if (mGray && mDepth > 12) {
            return raw; // too deep for the export that copies
        }
        std::vector<T> image(RowSamples() * mHeight);
        Expect(VekCam_ColorInterpolation(mHandle, mWidth, mHeight, mArray, raw.data(), image.data(),
                                         static_cast<unsigned char>(mDescription.demosaic), Format(), mDepth));
        return Dense(image);
    }
    void Color(std::vector<T>& picture) {
        std::vector<T> image = Padded(picture);
        if (Has(VEK_CHAIN_COLOR_MATRIX)) {
            Expect(VekCam_HueSaturationColorMatrix(mHandle, mWidth, mHeight, Format(), image.data(), mDepth));
        }
        if (Has(VEK_CHAIN_LUMA_GAMMA)) {
            Expect(VekCam_BGRGamma(mHandle, mWidth, mHeight, Format(), image.data(), mDepth));
        }
        picture = Dense(image);
    }
    void Sharpen(std::vector<T>& picture) {
        if (Has(VEK_CHAIN_SHARPNESS)) {
            std::vector<T> image = Padded(picture);
            Expect(VekCam_Sharpness(mHandle, mWidth, mHeight, Format(), image.data(), mDepth));
            picture = Dense(image);
        }
    }

private:
    void Expect(int result) { mGood = mGood && result == 0; }
    bool Has(unsigned stage) const { return (mDescription.stages & stage) != 0; }
    static constexpr bool kWords = sizeof(T) == 2;
    unsigned long Format() const {
        if (mGray) {
            return !kWords ? VEK_DESTINATION_MONO8 : mDepth == 10 ? VEK_DESTINATION_MONO10 : VEK_DESTINATION_MONO12;
        }
        return kWords ? VEK_DESTINATION_BGR48 : VEK_DESTINATION_BGR24;
    }

    /// The exports' rows are multiples of 4 bytes.
    std::size_t RowSamples() const { return (mWidth * Samples() * sizeof(T) + 3) / 4 * 4 / sizeof(T); }
    std::vector<T> Padded(const std::vector<T>& dense) const {
        std::vector<T> image(RowSamples() * mHeight);
        CopyRows(dense.begin(), mWidth * Samples(), image.begin(), RowSamples());
        return image;
    }
    std::vector<T> Dense(const std::vector<T>& image) const {
        std::vector<T> dense(mWidth * Samples() * mHeight);
        CopyRows(image.begin(), RowSamples(), dense.begin(), mWidth * Samples());
        return dense;
    }
    template <class From, class To>
    void CopyRows(From from, std::size_t fromStep, To to, std::size_t toStep) const {
        for (unsigned long y = 0; y < mHeight; ++y) {
            std::copy_n(from + static_cast<std::ptrdiff_t>(y * fromStep), mWidth * Samples(),
                        to + static_cast<std::ptrdiff_t>(y * toStep));
        }
    }

    VekCam_Handle mHandle;
    const VekChainDescription& mDescription;
    unsigned long mWidth;
    unsigned long mHeight;
    unsigned short mArray;
    unsigned short mDepth;
    bool mGray;
    bool mGood = true;
};

/// A picture of 1 or 3 samples a pixel, rows without padding.
struct SStagedPicture {
    bool made = false; ///< whether every function gave success
    unsigned samples = 1;
    std::vector<std::uint16_t> values;
};

/// What the functions make of a copy of a raw frame, one after the other. raw: width x height samples of a depth.
template <class T>
SStagedPicture stagedPicture(CExportStages<T> stages, const std::vector<std::uint16_t>& raw) {
    std::vector<T> samples(raw.begin(), raw.end());
    stages.Correct(samples);
    stages.Balance(samples);
    stages.Mirror(samples);
    std::vector<T> picture = stages.Demosaic(samples);
    stages.Color(picture);
    stages.Sharpen(picture);
    return {stages.Good(), stages.Samples(), {picture.begin(), picture.end()}};
}
inline SStagedPicture callExports(VekCam_Handle handle, const VekChainDescription& description, unsigned long width,
                                  unsigned long height, unsigned short colorArray, unsigned short depth,
                                  const std::vector<std::uint16_t>& raw) {
    if (depth == 8) {
        return stagedPicture(CExportStages<std::uint8_t>(handle, description, width, height, colorArray, depth), raw);
    }
    return stagedPicture(CExportStages<std::uint16_t>(handle, description, width, height, colorArray, depth), raw);
}

} // namespace vek::test
