// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

/// One call of the demosaicing module, the buffers aside. A pitch of 0 is derived.
struct SDemosaicCall {
    unsigned long width = 0;  ///< pixels
    unsigned long height = 0; ///< rows
    unsigned long srcPitch = 0;
    unsigned long dstPitch = 0;
    unsigned char method = 0; ///< enum VekDemosaicMethod
    unsigned short colorArray = 0;
    unsigned short channels = 0;
};

constexpr unsigned long kModelInvalid = static_cast<unsigned long>(-22L);

constexpr unsigned char kLastMethod = 6;
/// Colour arrays 1..5 are mono and Bayer, 6..11 YCrCb.
constexpr unsigned short kLastBayer = 5;
constexpr unsigned short kLastColorArray = 11;

/// Whether the call decodes YCrCb: bytes at both sample widths.
bool modelDecodes(const SDemosaicCall& call);
/// The least width, and height, that the method takes.
unsigned long modelSmallest(const SDemosaicCall& call);

/// The status that the call has to give with two good buffers.
unsigned long modelStatus(const SDemosaicCall& call);

/// Pitches with 0 replaced by the derived value, bytes.
unsigned long modelSrcPitch(const SDemosaicCall& call, std::size_t sampleBytes);
unsigned long modelDstPitch(const SDemosaicCall& call, std::size_t sampleBytes);

/// Bytes from the start of the source to the end of the last sample that the call may read.
std::size_t modelSrcBytes(const SDemosaicCall& call, std::size_t sampleBytes);
/// Bytes from the start of the destination to the end of its last pixel, a fourth sample included.
std::size_t modelDstBytes(const SDemosaicCall& call, std::size_t sampleBytes);

/// Naive model of the grey copy, the six methods and YCrCb decoding, one output sample at a time. Every source sample
/// is fetched by Source (of YCrCb, every byte by Byte) and every destination sample is stored by Store or StoreByte, so
/// both sets are plain to see.
template <class T>
class CDemosaicModel {
public:
    CDemosaicModel(const SDemosaicCall& call, const T* src, T* dst);

    /// Runs the call and returns its status.
    unsigned long Run();
    /// As Run, and marks each source byte that was read, modelSrcBytes() of them.
    unsigned long RunMarkingReads(std::vector<bool>* readBytes);

private:
    T Source(unsigned long row, unsigned long column);
    void Store(unsigned long row, unsigned long column, int channel, T value);
    int Color(unsigned long row, unsigned long column) const;
    T Horizontal(unsigned long row, unsigned long column, int color);
    void Gray();
    void None(unsigned long row, unsigned long column);
    void NearestNeighbor(unsigned long row, unsigned long column);
    void BilinearSimple(unsigned long row, unsigned long column);
    T CubicInRow(unsigned long row, unsigned long column, int color);
    void BiCubic(unsigned long row, unsigned long column);
    T BlockGreen(unsigned long top, unsigned long left);
    void NearestNeighbor2(unsigned long row, unsigned long column);
    void BilinearFalseColorReduction(unsigned long row, unsigned long column);

    std::uint8_t Byte(unsigned long row, unsigned long offset);
    void StoreByte(unsigned long row, unsigned long offset, std::uint8_t value);
    void YCrCbGray(unsigned long row, unsigned long column);
    void YCrCbRow(unsigned long row);
    void YCrCbPixel(unsigned long row, unsigned long column, std::uint8_t luma, const std::int32_t (&chroma)[3]);

    SDemosaicCall mCall;
    const unsigned char* mSrc;
    unsigned char* mDst;
    std::vector<bool>* mReadBytes = nullptr;
};

/// Entry of pnYCrCbConvTable or, with video, of pnYCrCbConvTable709, by its formula.
std::int32_t modelYCrCbEntry(bool video, int row, int value);
/// Entries of pshtTable_05 and pshtTable_15, by their formulas.
int modelCubicInner(int sum);
int modelCubicOuter(int sum);

extern template class CDemosaicModel<std::uint8_t>;
extern template class CDemosaicModel<std::uint16_t>;

} // namespace vek::test
