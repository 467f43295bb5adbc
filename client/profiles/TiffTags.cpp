// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/TiffTags.h"

#include "client/Errors.h"

#include <fmt/format.h>
#include <tiffio.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>

namespace vek::client {

namespace {

constexpr std::size_t kHeaderBytes = 8; // byte order, magic, offset of the first directory
constexpr std::uint16_t kTiffMagic = 42;
constexpr std::uint16_t kDcpMagic = 0x4352; // "RC" where the byte order is "II"
constexpr tmsize_t kLargestTag = tmsize_t{16} << 20;

/// A single as the number that people would write for it: 0.7171 and not the nearest binary fraction.
double plainNumber(float single) {
    char text[32];
    const std::to_chars_result end = std::to_chars(std::begin(text), std::end(text), single);
    double number = single;
    std::from_chars(text, end.ptr, number);
    return number;
}

template <class T>
void appendNumbers(std::vector<double>& numbers, const void* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        T value{};
        std::memcpy(&value, static_cast<const char*>(values) + i * sizeof value, sizeof value);
        if constexpr (std::is_same_v<T, float>) {
            numbers.push_back(plainNumber(value));
        } else {
            numbers.push_back(static_cast<double>(value));
        }
    }
}

int quiet(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

} // namespace

struct CTiffReader::SMemory {
    std::vector<std::uint8_t> head; ///< the header, with the magic of TIFF
    std::span<const std::uint8_t> bytes;
    std::uint64_t at = 0;
    TIFF* tiff = nullptr;

    static tmsize_t Read(thandle_t handle, void* to, tmsize_t count) {
        auto& memory = *static_cast<SMemory*>(handle);
        const std::uint64_t left = memory.bytes.size() - std::min<std::uint64_t>(memory.at, memory.bytes.size());
        const std::uint64_t size = std::min(left, static_cast<std::uint64_t>(std::max<tmsize_t>(count, 0)));
        for (std::uint64_t i = 0; i < size; ++i, ++memory.at) {
            static_cast<std::uint8_t*>(to)[i] =
                memory.at < memory.head.size() ? memory.head[memory.at] : memory.bytes[memory.at];
        }
        return static_cast<tmsize_t>(size);
    }
    static tmsize_t Write(thandle_t, void*, tmsize_t) { return -1; }
    static toff_t Seek(thandle_t handle, toff_t offset, int whence) {
        auto& memory = *static_cast<SMemory*>(handle);
        const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? memory.at : memory.bytes.size();
        return memory.at = base + offset;
    }
    static int Close(thandle_t) { return 0; }
    static toff_t Size(thandle_t handle) { return static_cast<SMemory*>(handle)->bytes.size(); }
};

CTiffReader::CTiffReader(std::span<const std::uint8_t> bytes, std::string name)
    : mMemory(std::make_unique<SMemory>()), mName(std::move(name)) {
    const bool little = bytes.size() >= kHeaderBytes && bytes[0] == 'I' && bytes[1] == 'I';
    const bool big = bytes.size() >= kHeaderBytes && bytes[0] == 'M' && bytes[1] == 'M';
    const auto number = [&](std::size_t at, std::size_t size) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= std::uint32_t{bytes[at + i]} << 8 * (little ? i : size - 1 - i);
        }
        return value;
    };
    const std::uint32_t magic = little || big ? number(2, 2) : 0;
    if (magic != kTiffMagic && magic != kDcpMagic) {
        throw CFailure(fmt::format("{}: is neither a DNG nor a DCP file", mName));
    }
    mIsDcp = magic == kDcpMagic;
    mFirst = number(4, 4);
    mMemory->bytes = bytes;
    mMemory->head.assign(bytes.begin(), bytes.begin() + kHeaderBytes);
    mMemory->head[2] = little ? kTiffMagic : 0;
    mMemory->head[3] = little ? 0 : kTiffMagic;

    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                               TIFFOpenOptionsFree);
    if (!options) {
        throw std::bad_alloc();
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), quiet, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), quiet, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kLargestTag);
    // Header alone, nothing mapped: a DCP file's directory describes no image.
    mMemory->tiff = TIFFClientOpenExt(mName.c_str(), "rhm", mMemory.get(), SMemory::Read, SMemory::Write, SMemory::Seek,
                                      SMemory::Close, SMemory::Size, nullptr, nullptr, options.get());
    if (mMemory->tiff == nullptr) {
        throw CFailure(fmt::format("{}: cannot be read as a TIFF file", mName));
    }
    // With the header alone there is no directory yet, and none of what works on one.
    if (TIFFCreateDirectory(mMemory->tiff) != 0) {
        TIFFClose(mMemory->tiff);
        throw std::bad_alloc();
    }
}

CTiffReader::~CTiffReader() {
    if (mMemory && mMemory->tiff != nullptr) {
        TIFFClose(mMemory->tiff);
    }
}

TiffTags CTiffReader::Tags(std::uint32_t directory, std::span<const std::uint32_t> wanted) {
    TIFF* const tiff = mMemory->tiff;
    // One that has none of the tags that are known to it: it takes all as they come, a list of numbers each.
    if (directory == 0 || TIFFReadEXIFDirectory(tiff, directory) == 0) {
        throw CFailure(fmt::format("{}: a directory cannot be read", mName));
    }
    TiffTags tags;
    for (const std::uint32_t tag : wanted) {
        const TIFFField* const field = TIFFFindField(tiff, tag, TIFF_ANY);
        std::uint32_t count = 0;
        const void* values = nullptr;
        if (field == nullptr || TIFFFieldPassCount(field) == 0 || TIFFFieldReadCount(field) != TIFF_VARIABLE2 ||
            TIFFGetField(tiff, tag, &count, &values) != 1 || values == nullptr) {
            continue;
        }
        STiffTag& read = tags[tag];
        switch (TIFFFieldDataType(field)) {
        case TIFF_ASCII:
            read.text.assign(static_cast<const char*>(values), count);
            read.text.resize(std::min(read.text.find('\0'), read.text.size()));
            break;
        case TIFF_BYTE:
        case TIFF_UNDEFINED:
            appendNumbers<std::uint8_t>(read.numbers, values, count);
            break;
        case TIFF_SBYTE:
            appendNumbers<std::int8_t>(read.numbers, values, count);
            break;
        case TIFF_SHORT:
            appendNumbers<std::uint16_t>(read.numbers, values, count);
            break;
        case TIFF_SSHORT:
            appendNumbers<std::int16_t>(read.numbers, values, count);
            break;
        case TIFF_LONG:
        case TIFF_IFD:
            appendNumbers<std::uint32_t>(read.numbers, values, count);
            break;
        case TIFF_SLONG:
            appendNumbers<std::int32_t>(read.numbers, values, count);
            break;
        case TIFF_RATIONAL:
        case TIFF_SRATIONAL:
        case TIFF_FLOAT:
            if (TIFFFieldSetGetSize(field) == sizeof(double)) {
                appendNumbers<double>(read.numbers, values, count);
            } else {
                appendNumbers<float>(read.numbers, values, count);
            }
            break;
        case TIFF_DOUBLE:
            appendNumbers<double>(read.numbers, values, count);
            break;
        default:
            break;
        }
    }
    return tags;
}

} // namespace vek::client
