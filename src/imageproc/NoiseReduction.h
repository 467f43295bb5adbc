// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Image.h"
#include "common/Memory.h"
#include "imageproc/Band.h"
#include "imageproc/INoiseReduction.h"
#include "imageproc/rows/RowTable.h"

#include <memory>

namespace vek {

/// Median of n values, which it sorts in descending order; the mean of the two middle ones, cut off, for an even n.
template <class T>
T mGetCenterValue(T* values, int n);
/// The smaller (larger) one of the first value and the median of all n.
template <class T>
T mGetCenterValueSmaller(T* values, int n);
template <class T>
T mGetCenterValueLarger(T* values, int n);

/// What is subtracted from live frames: a frame with what lies between its rows, less the floor of each place in the
/// 2 x 2 cell.
struct SDarkFrame {
    unsigned long width = 0;
    unsigned long height = 0;
    unsigned long pitch = 0; ///< bytes
    unsigned short colorArray = 0;
    Malloced<unsigned char> samples; ///< null: there is none

    template <class T>
    const T* Row(unsigned long y) const {
        return rowAt(reinterpret_cast<const T*>(samples.get()), y, pitch);
    }
    void Clear();
    /// Room for a frame; none when memory runs out. rowPitch: bytes, not below a row's samples.
    void Create(unsigned long columns, unsigned long rows, unsigned long rowPitch, unsigned short array);
    /// Copies rows first .. end-1 of a frame that has the dark frame's pitch. The rows may come in any order; all of
    /// them come before SubtractFloors.
    template <class T>
    void Add(const SRows<const T>& frame, unsigned long first, unsigned long end);
    template <class T>
    void SubtractFloors();
};

/// Noise reduction in one of its modes as a stage.
struct SNoiseStage {
    unsigned long mode = 0;
    std::shared_ptr<const SDarkFrame> dark; ///< may be null

    /// None for what the module refuses.
    STraits Traits(const SFrame& frame) const;
    /// Whether a band of a Serial stage may start at row first with the rows above it as they came, without waiting for
    /// what they become. Such a band has them in its source, as many as the traits tell, and a destination that begins
    /// with its own first row. The complex filter allows it where none of them holds a clipped sample, as no sample of
    /// theirs is repaired then; the easy one at row 0 alone.
    template <class T>
    bool StartsAt(const SFrame& frame, const SRows<const T>& source, unsigned long first) const;
    /// frame: raw or mono. A frame of no known colour array is only subtracted from.
    template <class T>
    void Rows(const rows::SRowTable& kernels, const SFrame& frame, const SBand<T>& band) const;
};

/// Noise reduction. Owns the stored dark frame; never keeps an image pointer. Each call of the easy or the complex
/// filter allocates one buffer of the image's size.
class CNoiseReduction final : public INoiseReduction {
public:
    explicit CNoiseReduction(const rows::SRowTable& rows) : mRows(rows) {}

    unsigned long NRProcB(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                          unsigned char* image, unsigned short bitsPerPixel, unsigned long mode) override;
    unsigned long NRProcW(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                          unsigned short* image, unsigned short bitsPerPixel, unsigned long mode) override;

    /// Later dark frames are not the stage's.
    SNoiseStage Stage(unsigned long mode) const { return {mode, mDark}; }

private:
    template <class T>
    unsigned long Run(unsigned long width, unsigned long height, unsigned long pitch, unsigned short colorArray,
                      T* image, unsigned short bitsPerPixel, unsigned long mode);
    template <class T>
    unsigned long Easy(const SFrame& frame, unsigned long pitch, T* image) const;
    template <class T>
    unsigned long StoreDark(const SFrame& frame, unsigned long pitch, const T* image);
    template <class T>
    unsigned long Complex(const SFrame& frame, unsigned long pitch, T* image) const;

    const rows::SRowTable& mRows;
    /// Stages share it: who changes it makes sure to be alone. Null only where memory has run out.
    std::shared_ptr<SDarkFrame> mDark = std::make_shared<SDarkFrame>();
};

} // namespace vek
