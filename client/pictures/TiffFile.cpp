// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/TiffFile.h"

#include "client/Errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

namespace vek::client {

namespace {

/// Bytes of a strip, about.
constexpr std::size_t kStripBytes = std::size_t{1} << 18;

int keepComplaint(TIFF*, void* complaint, const char*, const char* format, va_list arguments) {
    auto& text = *static_cast<std::string*>(complaint);
    if (text.empty()) {
        char buffer[256];
        std::vsnprintf(buffer, sizeof buffer, format, arguments);
        text = buffer;
    }
    return 1;
}

/// Most warnings are about tags that nobody asks for. Tags that cannot be read, and strips that do not hold their rows,
/// are told as warnings, too.
int keepReadErrors(TIFF* tiff, void* complaint, const char* module, const char* format, va_list arguments) {
    const bool counts = std::strstr(format, "IO error") != nullptr || std::strstr(format, "Bogus") != nullptr;
    return counts ? keepComplaint(tiff, complaint, module, format, arguments) : 1;
}

int map(thandle_t, void**, toff_t*) {
    return 0;
}

void unmap(thandle_t, void*, toff_t) {
    // Nothing is mapped.
}

} // namespace

CTiffOptions::CTiffOptions(std::string& complaint) : mOptions(TIFFOpenOptionsAlloc()) {
    if (!mOptions) {
        throw std::bad_alloc();
    }
    TIFFOpenOptionsSetErrorHandlerExtR(mOptions.get(), keepComplaint, &complaint);
    TIFFOpenOptionsSetWarningHandlerExtR(mOptions.get(), keepReadErrors, &complaint);
}

CTiffWriter::CTiffWriter(const std::string& name) : mName(name) {
    const CTiffOptions options(mComplaint);
    mTiff.reset(TIFFClientOpenExt(name.c_str(), "w", this, Read, Write, Seek, Close, Size, map, unmap, options.Get()));
    Require(mTiff != nullptr);
}

void CTiffWriter::SetForm(std::uint32_t width, std::uint32_t height, unsigned channels, unsigned bits) {
    constexpr std::uint64_t kMostBytes = 0xFFFF0000; // offsets have 32 bits, and the tags need some
    mRowBytes = std::size_t{width} * channels * (bits / 8);
    if (mRowBytes * height > kMostBytes) {
        throw CFailure(
            fmt::format("{}: cannot write: {} x {} pixels are too many for a TIFF file", mName, width, height));
    }
    mHeight = height;
    mStripRows = static_cast<std::uint32_t>(std::clamp<std::size_t>(kStripBytes / mRowBytes, 1, height));
    mBytes.reserve(mRowBytes * height + 4096);
    Set(TIFFTAG_IMAGEWIDTH, width);
    Set(TIFFTAG_IMAGELENGTH, height);
    Set(TIFFTAG_SAMPLESPERPIXEL, channels);
    Set(TIFFTAG_BITSPERSAMPLE, bits);
    Set(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    Set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    Set(TIFFTAG_ROWSPERSTRIP, mStripRows);
}

void CTiffWriter::WriteRows(const std::function<void(std::uint32_t, std::uint8_t*)>& row) {
    std::vector<std::uint8_t> strip(mRowBytes * mStripRows);
    for (std::uint32_t first = 0; first < mHeight; first += mStripRows) {
        const std::uint32_t rows = std::min(mStripRows, mHeight - first);
        for (std::uint32_t y = 0; y < rows; ++y) {
            row(first + y, strip.data() + y * mRowBytes);
        }
        const auto bytes = static_cast<tmsize_t>(rows * mRowBytes);
        Require(TIFFWriteRawStrip(mTiff.get(), first / mStripRows, strip.data(), bytes) == bytes);
    }
}

std::span<const std::uint8_t> CTiffWriter::Finish() {
    Require(TIFFWriteDirectory(mTiff.get()) == 1);
    mTiff.reset();
    Require(mComplaint.empty());
    return mBytes;
}

void CTiffWriter::Require(bool done) const {
    if (!done) {
        throw CFailure(fmt::format("{}: cannot write: {}", mName, mComplaint.empty() ? "libtiff refuses" : mComplaint));
    }
}

tmsize_t CTiffWriter::Read(thandle_t self, void* to, tmsize_t count) {
    auto& file = *static_cast<CTiffWriter*>(self);
    const std::size_t there = file.mAt < file.mBytes.size() ? file.mBytes.size() - file.mAt : 0;
    const std::size_t taken = std::min(there, static_cast<std::size_t>(count));
    std::memcpy(to, file.mBytes.data() + file.mAt, taken);
    file.mAt += taken;
    return static_cast<tmsize_t>(taken);
}

tmsize_t CTiffWriter::Write(thandle_t self, void* from, tmsize_t count) {
    auto& file = *static_cast<CTiffWriter*>(self);
    const std::size_t end = file.mAt + static_cast<std::size_t>(count);
    try {
        if (end > file.mBytes.size()) {
            file.mBytes.resize(end);
        }
    } catch (const std::exception&) {
        return 0; // libtiff is C; it tells that nothing was written
    }
    std::memcpy(file.mBytes.data() + file.mAt, from, static_cast<std::size_t>(count));
    file.mAt = end;
    return count;
}

toff_t CTiffWriter::Seek(thandle_t self, toff_t offset, int whence) {
    auto& file = *static_cast<CTiffWriter*>(self);
    const std::size_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file.mAt : file.mBytes.size();
    file.mAt = from + static_cast<std::size_t>(offset);
    return file.mAt;
}

int CTiffWriter::Close(thandle_t) {
    return 0;
}

toff_t CTiffWriter::Size(thandle_t self) {
    return static_cast<CTiffWriter*>(self)->mBytes.size();
}

} // namespace vek::client
