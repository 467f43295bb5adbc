// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/rows/RowTable.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vek::bench {

/// Pixels of an image. Every operation takes multiples of 4.
struct SSize {
    unsigned long width;
    unsigned long height;
    std::size_t Pixels() const { return width * height; }
};

/// The frame that every operation is measured on: five megapixels.
constexpr SSize kFrame = {2448, 2048};

/// What an image holds. Work that depends on samples, by branches, tables or lines of caches, differs between them.
enum class EContent {
    Picture, ///< as a camera takes it: slow changes of brightness and colour, noise of a few levels
    Flat,    ///< every sample at the middle of the range
    Noise,   ///< samples without any order, the worst case for branches and table lookups
    Clipped  ///< a white field: every sample has the largest value
};

/// By these names contents are asked for and written down.
struct SContentName {
    EContent content;
    const char* name;
};
constexpr SContentName kContents[] = {{EContent::Picture, "picture"},
                                      {EContent::Flat, "flat"},
                                      {EContent::Noise, "noise"},
                                      {EContent::Clipped, "clipped"}};

/// The image that an operation is given.
struct SInput {
    SSize size;
    EContent content = EContent::Picture;
};

/// One call of what is measured, with image buffers of its own.
struct SJob {
    std::function<void()> run;
    std::function<void()> restore; ///< before each call, outside of the measured time; may be empty
};

/// An operation of the library, measured for every tier of the machine and every content. What it is set up with, such
/// as calibrations, comes from the picture whatever the content is.
struct SOperation {
    std::string name;
    unsigned bits;        ///< of a sample's type: 8 or 16; of packed data those of a pixel
    double bytesPerPixel; ///< read and written, by caches that keep nothing
    std::function<SJob(const rows::SRowTable&, SInput)> make;
    bool extra = false; ///< measured on request only
};

/// Another library's nearest relative of an operation, measured on the picture.
struct SPeer {
    std::string operation;
    unsigned bits;
    std::string name; ///< library and function
    std::function<SJob(SSize)> make;
};

using Operations = std::vector<SOperation>;
using Peers = std::vector<SPeer>;

/// The first ones with the others behind them.
inline Operations joined(Operations first, const Operations& others) {
    first.insert(first.end(), others.begin(), others.end());
    return first;
}

/// Name of a sample type's size in the table.
template <class T>
constexpr unsigned kBits = 8 * sizeof(T);

/// Significant bits of the samples: words hold 12.
template <class T>
constexpr unsigned short kDepth = sizeof(T) == 1 ? 8 : 12;

} // namespace vek::bench
