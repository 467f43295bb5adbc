// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek::test {

constexpr unsigned kGammaChannels = 5; ///< Y, R, Gr, Gb, B

/// What a module holds, one element per channel.
struct SGammaModel {
    SGammaModel();

    std::uint8_t mode[kGammaChannels];
    std::uint16_t gamma[kGammaChannels];
    std::int16_t brightness[kGammaChannels];
    std::uint16_t contrast[kGammaChannels];
    std::uint16_t table[kGammaChannels][4096];
    std::uint16_t bits[kGammaChannels];
};

/// One setting call, the table aside.
struct SGammaSetting {
    std::uint8_t channel = 0;
    std::uint8_t mode = 0;
    std::uint16_t gamma = 100;
    std::int16_t brightness = 0;
    std::uint16_t contrast = 0;
    std::uint16_t bits = 8;
};

/// table: bytes up to 8 bits, else words; may be null.
unsigned long modelSetGamma(SGammaModel* model, const SGammaSetting& setting, const void* table);

/// One image call. selector: colour array of raw images, pixel format of the others.
struct SGammaCall {
    unsigned long width = 0; ///< pixels
    unsigned long height = 0;
    unsigned long pitch = 0; ///< bytes; 0: derived
    unsigned long selector = 0;
    bool raw = false;
};

unsigned long modelPitch(const SGammaCall& call, std::size_t sampleBytes);
/// Bytes from the image's start to the end of its last pixel, a fourth sample included.
std::size_t modelExtent(const SGammaCall& call, std::size_t sampleBytes);

/// image may be null.
template <class T>
unsigned long modelGamma(const SGammaModel& model, const SGammaCall& call, T* image);

extern template unsigned long modelGamma(const SGammaModel&, const SGammaCall&, std::uint8_t*);
extern template unsigned long modelGamma(const SGammaModel&, const SGammaCall&, std::uint16_t*);

} // namespace vek::test
