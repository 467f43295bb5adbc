// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "imageproc/IFlip.h"
#include "imageproc/rows/RowTable.h"

namespace vek {

/// Mirror and rotation. Owns a buffer for rotations in place, which it keeps between calls; never keeps an image
/// pointer.
class CFlip final : public IFlip {
public:
    explicit CFlip(const rows::SRowTable& rows) : mRows(rows) {}
    ~CFlip() { DelTmpBuffer(); }
    CFlip(const CFlip&) = delete;
    CFlip& operator=(const CFlip&) = delete;

    unsigned long FlipBGRB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned char* src, unsigned char* dst, unsigned short samplesPerPixel) override;
    unsigned long FlipBGRW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned short* src, unsigned short* dst, unsigned short samplesPerPixel) override;
    unsigned long FlipRawB(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned char* src, unsigned char* dst, unsigned short* colorArray) override;
    unsigned long FlipRawW(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                           unsigned short* src, unsigned short* dst, unsigned short* colorArray) override;

private:
    template <class T>
    unsigned long Flip(unsigned char transform, unsigned long width, unsigned long height, unsigned long lineBytes,
                       unsigned long* outWidth, unsigned long* outHeight, T* src, T* dst,
                       unsigned short samplesPerPixel);
    template <class T>
    unsigned long FlipBGR(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                          T* src, T* dst, unsigned short samplesPerPixel);
    template <class T>
    unsigned long FlipRaw(unsigned char mirror, unsigned char rotation, unsigned long* width, unsigned long* height,
                          T* src, T* dst, unsigned short* colorArray);
    void* GetTmpBuffer(unsigned long size);
    void DelTmpBuffer();

    const rows::SRowTable& mRows;
    // Powers of two that row lengths are rounded up to.
    unsigned long mulDstAlignment = 1;
    unsigned long mulSrcAlignment = 1;
    void* mpTmpBuffer = nullptr;
    unsigned long mulTmpBufferSize = 0;
};

} // namespace vek
