// SPDX-License-Identifier: Apache-2.0
#include "client/pictures/PngBands.h"

#include "client/files/TemporaryFile.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/info.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>
#include <zlib.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace vek::client {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kAdlerOfNothing = 1;

void append32(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

/// A chunk begins with its length, which is known at its end.
Bytes begunChunk(const char (&type)[5]) {
    Bytes chunk(8);
    std::copy_n(type, 4, chunk.begin() + 4);
    return chunk;
}

Bytes endedChunk(Bytes chunk) {
    Bytes length;
    append32(length, static_cast<std::uint32_t>(chunk.size() - 8));
    std::copy(length.begin(), length.end(), chunk.begin());
    append32(chunk, crc32_gzip_refl(0, chunk.data() + 4, chunk.size() - 4));
    return chunk;
}

Bytes headOf(const SPictureView& image, bool displayCurve) {
    Bytes chunk = begunChunk("IHDR");
    append32(chunk, image.width);
    append32(chunk, image.height);
    constexpr std::uint8_t kGray = 0;
    constexpr std::uint8_t kRgb = 2;
    // Deflate, filters by row, no interlacing.
    chunk.insert(chunk.end(), {static_cast<std::uint8_t>(image.depth), image.channels == 1 ? kGray : kRgb, 0, 0, 0});
    chunk = endedChunk(std::move(chunk));
    Bytes head = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    head.insert(head.end(), chunk.begin(), chunk.end());
    if (displayCurve) {
        chunk = begunChunk("sRGB");
        chunk.push_back(0); // perceptual
        chunk = endedChunk(std::move(chunk));
        head.insert(head.end(), chunk.begin(), chunk.end());
    }
    return head;
}

/// What ends the file. adler: of all filtered rows.
Bytes tailWith(std::uint32_t adler) {
    Bytes chunk = begunChunk("IDAT");
    chunk.insert(chunk.end(), {3, 0}); // a last block without content
    append32(chunk, adler);
    Bytes tail = endedChunk(std::move(chunk));
    chunk = endedChunk(begunChunk("IEND"));
    tail.insert(tail.end(), chunk.begin(), chunk.end());
    return tail;
}

/// The differences of a row from the one above.
void filterRow(const std::uint8_t* row, const std::uint8_t* above, std::size_t count, std::uint8_t* bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(row[i] - above[i]);
    }
}
/// The same of words, whose high bytes come first.
void filterRow(const std::uint16_t* row, const std::uint16_t* above, std::size_t count, std::uint8_t* bytes) {
    for (std::size_t i = 0; i < count; ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>((row[i] >> 8) - (above[i] >> 8));
        bytes[2 * i + 1] = static_cast<std::uint8_t>(row[i] - above[i]);
    }
}

/// Rows of an image that become one chunk.
struct SBand {
    std::uint32_t first = 0;
    std::uint32_t rows = 0;
    Bytes chunk;
    std::size_t bytes = 0; ///< of the filtered rows
    std::uint32_t adler = kAdlerOfNothing;
};

/// Compresses bands, one after the other.
class CBandCompressor {
public:
    CBandCompressor() : mStream(std::make_unique_for_overwrite<isal_zstream>()), mLevelBuffer(ISAL_DEF_LVL1_DEFAULT) {}

    void Compress(const SPictureView& image, SBand& band) {
        const std::size_t count = image.RowSamples();
        const std::size_t rowBytes = 1 + image.RowBytes();
        band.bytes = rowBytes * band.rows;
        mFiltered.resize(std::max(mFiltered.size(), band.bytes));
        if (band.first == 0) {
            mNothing.assign(image.RowBytes(), 0);
        }
        for (std::uint32_t y = band.first; y < band.first + band.rows; ++y) {
            constexpr std::uint8_t kUp = 2;
            const std::uint8_t* const above = y == 0 ? mNothing.data() : image.Row(y - 1);
            std::uint8_t* const bytes = mFiltered.data() + (y - band.first) * rowBytes;
            *bytes = kUp;
            if (image.depth == 8) {
                filterRow(image.Row(y), above, count, bytes + 1);
            } else {
                filterRow(reinterpret_cast<const std::uint16_t*>(image.Row(y)),
                          reinterpret_cast<const std::uint16_t*>(above), count, bytes + 1);
            }
        }
        band.adler = isal_adler32(kAdlerOfNothing, mFiltered.data(), band.bytes);
        band.chunk = begunChunk("IDAT");
        if (band.first == 0) {
            band.chunk.insert(band.chunk.end(), {0x78, 0x01}); // zlib: deflate, 32 KB of window, fastest
        }
        Deflate(band);
        band.chunk = endedChunk(std::move(band.chunk));
    }

private:
    /// Appends the filtered rows as blocks of their own that end at a byte and are not the last ones.
    void Deflate(SBand& band) {
        constexpr std::size_t kSmallest = 4096;
        isal_zstream& stream = *mStream;
        isal_deflate_init(&stream);
        stream.level = 1;
        stream.level_buf = mLevelBuffer.data();
        stream.level_buf_size = static_cast<std::uint32_t>(mLevelBuffer.size());
        stream.flush = FULL_FLUSH;
        stream.next_in = mFiltered.data();
        stream.avail_in = static_cast<std::uint32_t>(band.bytes);
        const std::size_t begin = band.chunk.size();
        std::size_t room = std::max(kSmallest, band.bytes * 3 / 4);
        do {
            band.chunk.resize(begin + stream.total_out + room);
            stream.next_out = band.chunk.data() + begin + stream.total_out;
            stream.avail_out = static_cast<std::uint32_t>(room);
            isal_deflate(&stream); // only wrong settings fail
            room = std::max(kSmallest, band.bytes / 4);
        } while (stream.avail_out == 0);
        band.chunk.resize(begin + stream.total_out);
    }

    std::unique_ptr<isal_zstream> mStream;
    Bytes mLevelBuffer;
    Bytes mFiltered;
    Bytes mNothing; ///< above the first row
};

/// False where the system gives no threads; then it is to be done again.
bool compressOnThreads(const SPictureView& image, unsigned most, std::vector<SBand>& bands) {
    // oneTBB has no more threads than the machine runs at once, and says so on standard error where they are asked.
    const int threads = std::min(static_cast<int>(most), tbb::info::default_concurrency());
    // Signals go to the thread that has the files: new threads hold back what this one does.
    const CSignalsBlocked blocked;
    try {
        tbb::enumerable_thread_specific<CBandCompressor> compressors;
        tbb::task_arena(threads).execute([&] {
            tbb::parallel_for(std::size_t{0}, bands.size(),
                              [&](std::size_t i) { compressors.local().Compress(image, bands[i]); });
        });
    } catch (const std::runtime_error&) {
        return false;
    }
    return true;
}

} // namespace

std::vector<std::vector<std::uint8_t>> pngInBands(const SPictureView& image, const SPictureOptions& options,
                                                  std::size_t bandBytes) {
    const std::size_t rowBytes = 1 + image.RowBytes();
    const auto rows = static_cast<std::uint32_t>(std::clamp<std::size_t>(bandBytes / rowBytes, 1, image.height));
    std::vector<SBand> bands((image.height + rows - 1) / rows);
    for (std::size_t i = 0; i < bands.size(); ++i) {
        bands[i].first = static_cast<std::uint32_t>(i) * rows;
        bands[i].rows = std::min(rows, image.height - bands[i].first);
    }
    if (options.threads <= 1 || bands.size() == 1 || !compressOnThreads(image, options.threads, bands)) {
        CBandCompressor compressor;
        for (SBand& band : bands) {
            compressor.Compress(image, band);
        }
    }
    std::vector<std::vector<std::uint8_t>> pieces = {headOf(image, options.displayCurve)};
    std::uint32_t adler = kAdlerOfNothing;
    for (SBand& band : bands) {
        adler = static_cast<std::uint32_t>(adler32_combine(adler, band.adler, static_cast<z_off_t>(band.bytes)));
        pieces.push_back(std::move(band.chunk));
    }
    pieces.push_back(tailWith(adler));
    return pieces;
}

} // namespace vek::client
