// SPDX-License-Identifier: Apache-2.0
// Makes the bytes of small TIFF directories, as DNG and DCP files have them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vek::test {

/// A tag of a directory.
struct SMadeTag {
    std::uint16_t tag;
    std::uint16_t type; ///< as in TIFF 6.0
    std::uint32_t count;
    std::vector<std::uint8_t> values; ///< in the file's byte order
};

/// Writes one file, directory by directory.
class CTiffBytes {
public:
    /// magic: 42 of TIFF, 0x4352 of DCP.
    explicit CTiffBytes(bool little = true, std::uint16_t magic = 42) : mLittle(little) {
        mBytes = little ? std::vector<std::uint8_t>{'I', 'I'} : std::vector<std::uint8_t>{'M', 'M'};
        Append(mBytes, magic, 2);
        Append(mBytes, 0, 4); // of the first directory
    }

    SMadeTag Bytes(std::uint16_t tag, const std::vector<std::uint8_t>& values) const {
        return {tag, 1, static_cast<std::uint32_t>(values.size()), values};
    }
    SMadeTag Text(std::uint16_t tag, const std::string& text) const {
        std::vector<std::uint8_t> values(text.begin(), text.end());
        values.push_back(0);
        return {tag, 2, static_cast<std::uint32_t>(values.size()), values};
    }
    SMadeTag Shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values) const {
        return Whole(tag, 3, 2, {values.begin(), values.end()});
    }
    SMadeTag Longs(std::uint16_t tag, const std::vector<std::uint32_t>& values) const {
        return Whole(tag, 4, 4, values);
    }
    /// Over 10000.
    SMadeTag Rationals(std::uint16_t tag, const std::vector<double>& values) const {
        SMadeTag made{tag, 10, static_cast<std::uint32_t>(values.size()), {}};
        for (const double value : values) {
            const auto tenThousandths = static_cast<std::int32_t>(value * 10000 + (value < 0 ? -0.5 : 0.5));
            Append(made.values, static_cast<std::uint32_t>(tenThousandths), 4);
            Append(made.values, 10000, 4);
        }
        return made;
    }
    SMadeTag Doubles(std::uint16_t tag, const std::vector<double>& values) const {
        SMadeTag made{tag, 12, static_cast<std::uint32_t>(values.size()), {}};
        for (const double value : values) {
            std::uint64_t bits = 0;
            static_assert(sizeof bits == sizeof value);
            std::memcpy(&bits, &value, sizeof bits);
            Append(made.values, bits, 8);
        }
        return made;
    }

    /// Adds a directory, tags rising, and returns where it lies.
    std::uint32_t Add(const std::vector<SMadeTag>& tags) {
        std::vector<std::uint32_t> places;
        for (const SMadeTag& tag : tags) {
            places.push_back(static_cast<std::uint32_t>(mBytes.size()));
            if (tag.values.size() > 4) {
                mBytes.insert(mBytes.end(), tag.values.begin(), tag.values.end());
                mBytes.resize(mBytes.size() + mBytes.size() % 2);
            }
        }
        const auto at = static_cast<std::uint32_t>(mBytes.size());
        Append(mBytes, tags.size(), 2);
        for (std::size_t i = 0; i < tags.size(); ++i) {
            Append(mBytes, tags[i].tag, 2);
            Append(mBytes, tags[i].type, 2);
            Append(mBytes, tags[i].count, 4);
            if (tags[i].values.size() > 4) {
                Append(mBytes, places[i], 4);
            } else {
                std::vector<std::uint8_t> values = tags[i].values;
                values.resize(4);
                mBytes.insert(mBytes.end(), values.begin(), values.end());
            }
        }
        Append(mBytes, 0, 4); // no directory behind it
        return at;
    }

    /// The file; first: where its first directory lies.
    std::vector<std::uint8_t> File(std::uint32_t first) const {
        std::vector<std::uint8_t> offset;
        Append(offset, first, 4);
        std::vector<std::uint8_t> bytes = mBytes;
        std::copy(offset.begin(), offset.end(), bytes.begin() + 4);
        return bytes;
    }

private:
    SMadeTag Whole(std::uint16_t tag, std::uint16_t type, std::size_t size,
                   const std::vector<std::uint32_t>& values) const {
        SMadeTag made{tag, type, static_cast<std::uint32_t>(values.size()), {}};
        for (const std::uint32_t value : values) {
            Append(made.values, value, size);
        }
        return made;
    }
    void Append(std::vector<std::uint8_t>& bytes, std::uint64_t value, std::size_t size) const {
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (mLittle ? i : size - 1 - i)));
        }
    }

    bool mLittle;
    std::vector<std::uint8_t> mBytes;
};

// Files that the tests of several programs look at.

/// A camera whose samples under D65 are linear sRGB, and one more matrix under light A.
inline const std::vector<double> kSrgbColors = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758,
                                                0.0415, 0.0557,  -0.2040, 1.0570};
inline const std::vector<double> kWarmColors = {2.9, -1.3, -0.5, -1.0, 1.9, 0.1, 0.1, -0.3, 1.2};
/// Three bands to D50, balanced.
inline const std::vector<double> kForwardColors = {0.7978, 0.1352, 0.0313, 0.2880, 0.7119, 0.0001, 0, 0, 0.8249};

inline std::vector<std::uint8_t> madeDcp(bool little = true, std::vector<SMadeTag> more = {}) {
    CTiffBytes tiff(little, 0x4352);
    std::vector<SMadeTag> tags = {tiff.Text(50708, "Bench camera"),
                                  tiff.Rationals(50721, kWarmColors),
                                  tiff.Rationals(50722, kSrgbColors),
                                  tiff.Shorts(50778, {17}),
                                  tiff.Shorts(50779, {21}),
                                  tiff.Text(50936, "Bench"),
                                  tiff.Rationals(50964, kForwardColors),
                                  tiff.Rationals(50965, kForwardColors)};
    for (SMadeTag& tag : more) {
        const auto behind = std::find_if(tags.begin(), tags.end(), [&](const SMadeTag& t) { return t.tag > tag.tag; });
        tags.insert(behind, tag);
    }
    return tiff.File(tiff.Add(tags));
}

/// 640 x 480 of 12 bits, GRBG, with the raw frame in a directory of its own.
inline std::vector<std::uint8_t> madeDng(bool little = true, std::vector<SMadeTag> moreOfRaw = {}) {
    CTiffBytes tiff(little);
    std::vector<SMadeTag> rawTags = {tiff.Longs(254, {0}),       tiff.Longs(256, {640}),
                                     tiff.Longs(257, {480}),     tiff.Shorts(258, {12}),
                                     tiff.Shorts(262, {32803}),  tiff.Shorts(277, {1}),
                                     tiff.Shorts(33421, {2, 2}), tiff.Bytes(33422, {1, 0, 2, 1}),
                                     tiff.Shorts(50713, {2, 2}), tiff.Rationals(50714, {64, 65, 66, 67.5}),
                                     tiff.Longs(50717, {4000})};
    for (SMadeTag& tag : moreOfRaw) {
        const auto behind =
            std::find_if(rawTags.begin(), rawTags.end(), [&](const SMadeTag& t) { return t.tag > tag.tag; });
        rawTags.insert(behind, tag);
    }
    const std::uint32_t raw = tiff.Add(rawTags);
    return tiff.File(tiff.Add(
        {tiff.Longs(254, {1}), tiff.Longs(256, {16}), tiff.Longs(257, {12}), tiff.Longs(330, {raw}),
         tiff.Bytes(50706, {1, 6, 0, 0}), tiff.Text(50708, "Bench camera"), tiff.Rationals(50721, kSrgbColors),
         tiff.Rationals(50728, {0.5, 1, 0.625}), tiff.Shorts(50778, {21}), tiff.Doubles(51041, {0.0001, 0.000002})}));
}

} // namespace vek::test
