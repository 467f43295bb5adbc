// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IGamma.h"
#include "imageproc/rows/RowTable.h"

#include <array>
#include <cstddef>

namespace vek {

/// Tone curves of luma and of the four raw colours. Tables change with a setting alone; never keeps an image pointer.
class CGamma final : public IGamma {
public:
    explicit CGamma(const rows::SRowTable& rows);

    unsigned long GetMode(unsigned char channel, unsigned char* mode, unsigned short* gamma, short* brightness,
                          void* contrast, void* table, unsigned short* bits) override;
    unsigned long SetMode(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                          unsigned short contrast, const void* table, unsigned short bits) override;
    unsigned long ProcColorRawB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                unsigned short colorArray, unsigned char* image) override;
    unsigned long ProcColorRawW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                unsigned short colorArray, unsigned short* image) override;
    unsigned long ProcBGROrGrayB(unsigned long width, unsigned long height, unsigned long lineBytes,
                                 unsigned long pixelFormat, unsigned char* image) override;
    unsigned long ProcBGROrGrayW(unsigned long width, unsigned long height, unsigned long lineBytes,
                                 unsigned long pixelFormat, unsigned short* image) override;

private:
    static constexpr std::size_t kChannels = 5;
    static constexpr std::size_t kEntries = rows::kCurveEntries<unsigned short>;
    static constexpr std::size_t kEntries8 = rows::kCurveEntries<unsigned char>;
    using Table = std::array<unsigned short, kEntries>;

    template <class T>
    unsigned long ProcColorRaw(unsigned long width, unsigned long height, unsigned long lineBytes,
                               unsigned short colorArray, T* image) const;
    template <class T>
    unsigned long ProcBGROrGray(unsigned long width, unsigned long height, unsigned long lineBytes,
                                unsigned long pixelFormat, T* image) const;
    template <class T>
    unsigned long mProcGray(unsigned long width, unsigned long height, unsigned long lineBytes, T* image) const;
    template <class T>
    unsigned long mProcBGR(unsigned long width, unsigned long height, unsigned long lineBytes, unsigned long step,
                           T* image, unsigned maxValue) const;
    static void mResetGammaTable(Table& table, unsigned short bits);
    static void mReverseGammaTable(Table& table, unsigned short bits);
    static unsigned long mExpandGammaTable(unsigned short gamma, short brightness, unsigned short contrast,
                                           Table& table, unsigned short bits);
    void mvStore(unsigned char channel, unsigned char mode, unsigned short gamma, short brightness,
                 unsigned short contrast, unsigned short bits);
    template <class T>
    const T* mpCurve(std::size_t channel) const;

    const rows::SRowTable& mRows;
    std::array<unsigned char, kChannels> mMode{};
    std::array<unsigned short, kChannels> mwGamma{};
    std::array<short, kChannels> mBrightness{};
    std::array<unsigned short, kChannels> mwContrast{};
    std::array<Table, kChannels> mwTable{};
    std::array<unsigned short, kChannels> mwBits{};
    /// The low bytes of the tables' first entries, for images of bytes.
    std::array<std::array<unsigned char, kEntries8>, kChannels> mTable8{};
    bool mbBytes = false; ///< the bytes of Y are its levels themselves
};

} // namespace vek
