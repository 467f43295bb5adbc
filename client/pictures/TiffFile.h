// SPDX-License-Identifier: Apache-2.0
// TIFF files by libtiff, whose complaints become CFailure.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vek::client {

struct SCloseTiff {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};

/// The options of a TIFF file whose first complaint goes into a text.
class CTiffOptions {
public:
    explicit CTiffOptions(std::string& complaint);

    TIFFOpenOptions* Get() const { return mOptions.get(); }

private:
    struct SFree {
        void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
    };
    std::unique_ptr<TIFFOpenOptions, SFree> mOptions;
};

/// Writes a TIFF file of one picture in memory, in the machine's byte order: libtiff needs to go back in what it has
/// written, which pipes do not.
class CTiffWriter {
public:
    /// name: for messages.
    explicit CTiffWriter(const std::string& name);
    CTiffWriter(const CTiffWriter&) = delete;
    CTiffWriter& operator=(const CTiffWriter&) = delete;

    /// Sets what all pictures have: size, samples of a pixel and bits of each, no compression, strips of some rows.
    /// Throws CFailure for pictures beyond 4 GB.
    void SetForm(std::uint32_t width, std::uint32_t height, unsigned channels, unsigned bits);

    /// Sets a tag; the values are what libtiff takes for it. Throws CFailure.
    template <class... T>
    void Set(std::uint32_t tag, T... values) {
        Require(TIFFSetField(mTiff.get(), tag, values...) == 1);
    }

    /// row: puts the bytes of a row of the picture to where it is told. Throws CFailure.
    void WriteRows(const std::function<void(std::uint32_t, std::uint8_t*)>& row);

    /// The file, which ends with this. Throws CFailure.
    std::span<const std::uint8_t> Finish();

private:
    void Require(bool done) const;

    static tmsize_t Read(thandle_t self, void* to, tmsize_t count);
    static tmsize_t Write(thandle_t self, void* from, tmsize_t count);
    static toff_t Seek(thandle_t self, toff_t offset, int whence);
    static int Close(thandle_t self);
    static toff_t Size(thandle_t self);

    std::string mName;
    std::string mComplaint;
    std::vector<std::uint8_t> mBytes;
    std::size_t mAt = 0;
    std::uint32_t mHeight = 0;
    std::uint32_t mStripRows = 1;
    std::size_t mRowBytes = 0;
    std::unique_ptr<TIFF, SCloseTiff> mTiff; ///< ends first: it writes to the others
};

} // namespace vek::client
