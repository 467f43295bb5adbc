// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vek::test {

/// One frame of the shading correction, the image aside.
struct SShadingCall {
    unsigned long width = 0; ///< pixels
    unsigned long height = 0;
    unsigned long pitch = 0; ///< bytes; 0: derived
    unsigned short bits = 0; ///< up to 32
};

/// What a module holds.
struct SShadingModel {
    unsigned long mode = 0;
    std::uint16_t targets[4] = {}; ///< by 2 x (row mod 2) + (column mod 2)
    std::uint16_t colorArray = 1;

    unsigned long width = 0; ///< of the map
    unsigned long height = 0;
    unsigned long pitch = 0;
    bool hasMap = false;
    std::vector<std::uint8_t> map; ///< rows of signed 32-bit entries, with their padding

    std::uint64_t count = 0; ///< frames in the mean
    unsigned long calibrationWidth = 0;
    unsigned long calibrationHeight = 0;
    std::vector<double> calibration;
};

/// How a sample takes a result beyond its width, which happens at depths beyond it only.
enum class Beyond { Cut, Limited };

unsigned long modelPitch(const SShadingCall& call, std::size_t sampleBytes);
/// Bytes from the image's start to the end of its last row.
std::size_t modelExtent(const SShadingCall& call, std::size_t sampleBytes);
/// Whether a frame would be added to a mean of images of another size, because a map of its size was set in between.
bool modelMixesSizes(const SShadingModel& model, const SShadingCall& call, std::size_t sampleBytes);

void modelSetShadingMode(SShadingModel* model, unsigned long mode);
/// A map that can be had; map holds pitch x height bytes.
void modelSetMap(SShadingModel* model, unsigned long width, unsigned long height, unsigned long pitch, const void* map);
std::int32_t modelMapEntry(const SShadingModel& model, unsigned long y, unsigned long x);

/// Frames of some pixels, with an image.
template <class T>
unsigned long modelShading(SShadingModel* model, const SShadingCall& call, T* image, Beyond beyond = Beyond::Cut);

extern template unsigned long modelShading(SShadingModel*, const SShadingCall&, std::uint8_t*, Beyond);
extern template unsigned long modelShading(SShadingModel*, const SShadingCall&, std::uint16_t*, Beyond);

} // namespace vek::test
