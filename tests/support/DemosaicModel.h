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
    unsigned char method = 0; ///< 0 grey copy, 1 None, 2 NearestNeighbor, 3 BilinearSimple
    unsigned short colorArray = 0;
    unsigned short channels = 0;
};

constexpr unsigned long kModelInvalid = static_cast<unsigned long>(-22L);

/// The status that the call has to give with two good buffers. YCrCb layouts and methods 4..6 are not modelled.
unsigned long modelStatus(const SDemosaicCall& call);
bool modelCovers(const SDemosaicCall& call);

/// Pitches with 0 replaced by the derived value, bytes.
unsigned long modelSrcPitch(const SDemosaicCall& call, std::size_t sampleBytes);
unsigned long modelDstPitch(const SDemosaicCall& call, std::size_t sampleBytes);

/// Bytes from the start of the source to the end of the last sample that the call may read.
std::size_t modelSrcBytes(const SDemosaicCall& call, std::size_t sampleBytes);
/// Bytes from the start of the destination to the end of its last pixel, a fourth sample included.
std::size_t modelDstBytes(const SDemosaicCall& call, std::size_t sampleBytes);

/// Naive model of the grey copy and the three simple methods, one output sample at a time. Every source sample
/// is fetched by Source and every destination sample is stored by Store, so both sets are plain to see.
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
    void mvGrey();
    void mvNone(unsigned long row, unsigned long column);
    void mvNearestNeighbor(unsigned long row, unsigned long column);
    void mvBilinearSimple(unsigned long row, unsigned long column);

    SDemosaicCall mCall;
    const unsigned char* mpSrc;
    unsigned char* mpDst;
    std::vector<bool>* mpReadBytes = nullptr;
};

extern template class CDemosaicModel<std::uint8_t>;
extern template class CDemosaicModel<std::uint16_t>;

} // namespace vek::test
