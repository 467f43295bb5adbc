// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/ProfileImport.h"

#include "client/Errors.h"
#include "client/files/InputFile.h"
#include "client/files/JsonText.h"
#include "client/profiles/TiffTags.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace vek::client {

namespace {

constexpr std::size_t kLargestImport = std::size_t{1} << 30;

/// Tags of TIFF 6.0, TIFF/EP and DNG 1.6.
enum ETag : std::uint32_t {
    kNewSubfileType = 254,
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kPhotometric = 262,
    kSamplesPerPixel = 277,
    kSubIfds = 330,
    kCfaRepeat = 33421,
    kCfaPattern = 33422,
    kDngVersion = 50706,
    kUniqueCameraModel = 50708,
    kCfaPlaneColor = 50710,
    kLinearizationTable = 50712,
    kBlackLevelRepeatDim = 50713,
    kBlackLevel = 50714,
    kBlackLevelDeltaH = 50715,
    kBlackLevelDeltaV = 50716,
    kWhiteLevel = 50717,
    kColorMatrix1 = 50721,
    kColorMatrix2 = 50722,
    kCameraCalibration1 = 50723,
    kCameraCalibration2 = 50724,
    kAnalogBalance = 50727,
    kAsShotNeutral = 50728,
    kAsShotWhiteXY = 50729,
    kIlluminant1 = 50778,
    kIlluminant2 = 50779,
    kActiveArea = 50829,
    kCalibrationSignature = 50931,
    kProfileSignature = 50932,
    kHueSatMap1 = 50938,
    kHueSatMap2 = 50939,
    kProfileToneCurve = 50940,
    kForwardMatrix1 = 50964,
    kForwardMatrix2 = 50965,
    kLookTable = 50982,
    kNoiseProfile = 51041,
    kIlluminant3 = 52529,
    kColorMatrix3 = 52531,
};

constexpr std::uint32_t kWanted[] = {
    kNewSubfileType,       kImageWidth,          kImageLength,       kBitsPerSample,
    kPhotometric,          kSamplesPerPixel,     kSubIfds,           kCfaRepeat,
    kCfaPattern,           kDngVersion,          kUniqueCameraModel, kCfaPlaneColor,
    kLinearizationTable,   kBlackLevelRepeatDim, kBlackLevel,        kBlackLevelDeltaH,
    kBlackLevelDeltaV,     kWhiteLevel,          kColorMatrix1,      kColorMatrix2,
    kCameraCalibration1,   kCameraCalibration2,  kAnalogBalance,     kAsShotNeutral,
    kAsShotWhiteXY,        kIlluminant1,         kIlluminant2,       kActiveArea,
    kCalibrationSignature, kProfileSignature,    kHueSatMap1,        kHueSatMap2,
    kProfileToneCurve,     kForwardMatrix1,      kForwardMatrix2,    kLookTable,
    kNoiseProfile,         kIlluminant3,         kColorMatrix3,
};

/// What a profile has no place for.
constexpr std::pair<std::uint32_t, const char*> kPassedOver[] = {
    {kHueSatMap1, "ProfileHueSatMapData1"},  {kHueSatMap2, "ProfileHueSatMapData2"},
    {kLookTable, "ProfileLookTableData"},    {kProfileToneCurve, "ProfileToneCurve"},
    {kColorMatrix3, "ColorMatrix3"},         {kBlackLevelDeltaH, "BlackLevelDeltaH"},
    {kBlackLevelDeltaV, "BlackLevelDeltaV"},
};

constexpr unsigned kPhotometricCfa = 32803;
constexpr unsigned kPhotometricLinear = 34892;

/// Numbers of a tag; empty where it is not there.
std::span<const double> numbersOf(const TiffTags& tags, std::uint32_t tag) {
    const auto found = tags.find(tag);
    return found != tags.end() ? std::span<const double>(found->second.numbers) : std::span<const double>();
}

std::string textOf(const TiffTags& tags, std::uint32_t tag) {
    const auto found = tags.find(tag);
    return found != tags.end() ? found->second.text : std::string();
}

/// Nothing for what is too large, negative or no number.
std::optional<std::uint32_t> whole(double number) {
    const bool fits = number >= 0 && number <= std::numeric_limits<std::uint32_t>::max();
    return fits ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

std::optional<unsigned> wholeOf(const TiffTags& tags, std::uint32_t tag) {
    const std::span<const double> numbers = numbersOf(tags, tag);
    return numbers.empty() ? std::nullopt : whole(numbers[0]);
}

std::optional<Matrix3> matrixOf(const TiffTags& tags, std::uint32_t tag) {
    const std::span<const double> numbers = numbersOf(tags, tag);
    if (numbers.size() != 9) {
        return std::nullopt;
    }
    Matrix3 matrix{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        matrix[i / 3][i % 3] = numbers[i];
    }
    return matrix;
}

std::optional<Vector3> vectorOf(const TiffTags& tags, std::uint32_t tag) {
    const std::span<const double> numbers = numbersOf(tags, tag);
    return numbers.size() == 3 ? std::optional(Vector3{numbers[0], numbers[1], numbers[2]}) : std::nullopt;
}

bool isDiagonal(const Matrix3& matrix) {
    for (std::size_t i = 0; i < 9; ++i) {
        if (i % 4 != 0 && matrix[i / 3][i % 3] != 0) {
            return false;
        }
    }
    return true;
}

/// Collects a profile from the tags of a file.
class CImport {
public:
    /// shared: of the first directory; raw: of the one with the raw frame, null for none.
    CImport(const TiffTags& shared, const TiffTags* raw) : mShared(shared), mRaw(raw) {}

    SImportedProfile Result() {
        const std::string model = textOf(mShared, kUniqueCameraModel);
        if (!model.empty()) {
            mResult.profile.cameraModel = nlohmann::json::parse(jsonText(model)).get<std::string>(); // UTF-8
        }
        TakeColors();
        if (mRaw != nullptr) {
            TakeFrame();
            TakeLevels();
        }
        TakeNeutral();
        TakeNoise();
        for (const auto& [tag, name] : kPassedOver) {
            if (mShared.contains(tag) || (mRaw != nullptr && mRaw->contains(tag))) {
                Remark(fmt::format("{} is not taken: a profile has no place for it", name));
            }
        }
        DropWhatDoesNotFit();
        return std::move(mResult);
    }

private:
    void Remark(std::string text) { mResult.remarks.push_back(std::move(text)); }

    void TakeColors() {
        const Matrix3 balance = diagonal(vectorOf(mShared, kAnalogBalance).value_or(Vector3{1, 1, 1}));
        // The calibration of one camera out of many holds for the profile that it was measured with.
        const bool calibrated = textOf(mShared, kCalibrationSignature) == textOf(mShared, kProfileSignature);
        constexpr std::uint32_t tags[2][4] = {{kIlluminant1, kColorMatrix1, kForwardMatrix1, kCameraCalibration1},
                                              {kIlluminant2, kColorMatrix2, kForwardMatrix2, kCameraCalibration2}};
        for (std::size_t i = 0; i < 2; ++i) {
            SCalibratedColors& colors = mResult.profile.colors[i];
            colors.illuminant = wholeOf(mShared, tags[i][0]).value_or(0);
            colors.color = matrixOf(mShared, tags[i][1]);
            colors.forward = matrixOf(mShared, tags[i][2]);
            if (mShared.contains(tags[i][1]) && !colors.color) {
                Remark(fmt::format("ColorMatrix{} is not taken: it has {} numbers, not 9", i + 1,
                                   numbersOf(mShared, tags[i][1]).size()));
            }
            const std::optional<Matrix3> calibration = calibrated ? matrixOf(mShared, tags[i][3]) : std::nullopt;
            const Matrix3 own = balance * calibration.value_or(diagonal({1, 1, 1}));
            if (colors.color) {
                colors.color = own * *colors.color;
            }
            // Balanced samples are the same with factors for each colour, but not where colours are mixed.
            if (colors.forward && !isDiagonal(own)) {
                colors.forward.reset();
                Remark(fmt::format("ForwardMatrix{0} is not taken: CameraCalibration{0} mixes colours", i + 1));
            }
        }
    }

    void TakeFrame() {
        SProfile& profile = mResult.profile;
        profile.width = wholeOf(*mRaw, kImageWidth);
        profile.height = wholeOf(*mRaw, kImageLength);
        const unsigned bits = wholeOf(*mRaw, kBitsPerSample).value_or(0);
        const bool mono = wholeOf(*mRaw, kPhotometric) == kPhotometricLinear;
        for (const STransferFormat& format : kTransferFormats) {
            const bool fits = format.content == (mono ? EContent::Mono : EContent::Raw) && !format.IsPacked();
            if (fits && bits > 0 && format.depth >= bits &&
                (profile.format == nullptr || format.depth < profile.format->depth)) {
                profile.format = &format;
            }
        }
        if (profile.format != nullptr && profile.format->depth != bits) {
            profile.bits = bits;
        }
        if (!mono) {
            TakeColorArray();
        }
    }

    /// Where the pattern of the active area begins as that of the frame does.
    bool BeginsWithActiveArea(const char* what, std::size_t rows, std::size_t columns) {
        const std::span<const double> area = numbersOf(*mRaw, kActiveArea);
        const bool same = area.size() != 4 || (std::fmod(area[0], static_cast<double>(rows)) == 0 &&
                                               std::fmod(area[1], static_cast<double>(columns)) == 0);
        if (!same) {
            Remark(fmt::format("{} is not taken: ActiveArea begins inside the pattern", what));
        }
        return same;
    }

    void TakeColorArray() {
        constexpr std::pair<std::array<double, 4>, unsigned short> kPatterns[] = {
            {{0, 1, 1, 2}, VEK_COLOR_ARRAY_RGGB},
            {{1, 0, 2, 1}, VEK_COLOR_ARRAY_GRBG},
            {{1, 2, 0, 1}, VEK_COLOR_ARRAY_GBRG},
            {{2, 1, 1, 0}, VEK_COLOR_ARRAY_BGGR},
        };
        const std::span<const double> repeat = numbersOf(*mRaw, kCfaRepeat);
        const std::span<const double> pattern = numbersOf(*mRaw, kCfaPattern);
        const bool square = repeat.size() == 2 && repeat[0] == 2 && repeat[1] == 2;
        const auto* const found = std::find_if(std::begin(kPatterns), std::end(kPatterns), [&](const auto& candidate) {
            return std::ranges::equal(pattern, candidate.first);
        });
        if (!square || found == std::end(kPatterns)) {
            Remark("CFAPattern is not taken: it is no Bayer pattern of red, green and blue");
        } else if (BeginsWithActiveArea("CFAPattern", 2, 2)) {
            mResult.profile.colorArray = found->second;
        }
    }

    void TakeLevels() {
        SProfile& profile = mResult.profile;
        const std::span<const double> levels = numbersOf(*mRaw, kBlackLevel);
        const std::span<const double> repeat = numbersOf(*mRaw, kBlackLevelRepeatDim);
        SBlackLevels black;
        if (repeat.size() == 2 && repeat[0] >= 1 && repeat[1] >= 1 && repeat[0] <= 64 && repeat[1] <= 64) {
            black.rows = static_cast<std::uint32_t>(repeat[0]);
            black.columns = static_cast<std::uint32_t>(repeat[1]);
        }
        black.levels.assign(levels.begin(), levels.end());
        if (!levels.empty() && BeginsWithActiveArea("BlackLevel", black.rows, black.columns)) {
            profile.blackLevel = black;
        }
        profile.whiteLevel = wholeOf(*mRaw, kWhiteLevel);
        for (const double value : numbersOf(*mRaw, kLinearizationTable)) {
            constexpr std::uint32_t kLargest = std::numeric_limits<std::uint16_t>::max();
            profile.linearization.push_back(static_cast<std::uint16_t>(std::min(whole(value).value_or(0), kLargest)));
        }
    }

    void TakeNeutral() {
        SProfile& profile = mResult.profile;
        profile.asShotNeutral = vectorOf(mShared, kAsShotNeutral);
        const std::span<const double> white = numbersOf(mShared, kAsShotWhiteXY);
        if (profile.asShotNeutral || white.size() != 2) {
            return;
        }
        try {
            profile.asShotNeutral = neutralOf(profile.colors, {white[0], white[1]});
        } catch (const CFailure& failure) {
            Remark(fmt::format("AsShotWhiteXY is not taken: {}", failure.what()));
        }
    }

    void TakeNoise() {
        std::span<const double> numbers = numbersOf(mShared, kNoiseProfile);
        if (numbers.empty() && mRaw != nullptr) {
            numbers = numbersOf(*mRaw, kNoiseProfile);
        }
        for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
            mResult.profile.noise.push_back({numbers[i], numbers[i + 1]});
        }
    }

    /// What a profile's reader would refuse is left out, member for member.
    void DropWhatDoesNotFit() {
        SProfileReading reading = parsedProfile(profileText(mResult.profile));
        for (const std::string& complaint : reading.complaints) {
            Remark(complaint + ", and is not taken");
        }
        const std::vector<std::string> left = misfits(reading.profile);
        if (!left.empty()) {
            throw CFailure(left.front());
        }
        mResult.profile = std::move(reading.profile);
    }

    const TiffTags& mShared;
    const TiffTags* mRaw;
    SImportedProfile mResult;
};

bool isRawDirectory(const TiffTags& tags) {
    const std::optional<unsigned> kind = wholeOf(tags, kPhotometric);
    const bool linear = kind == kPhotometricLinear && wholeOf(tags, kSamplesPerPixel).value_or(1) == 1;
    return wholeOf(tags, kNewSubfileType).value_or(0) == 0 && (kind == kPhotometricCfa || linear);
}

} // namespace

SImportedProfile importedProfile(std::span<const std::uint8_t> bytes, const std::string& name) {
    CTiffReader reader(bytes, name);
    const TiffTags shared = reader.Tags(reader.First(), kWanted);
    std::optional<TiffTags> raw;
    if (!reader.IsDcp()) {
        if (!shared.contains(kDngVersion)) {
            throw CFailure(fmt::format("{}: is a TIFF file, but no DNG one", name));
        }
        if (isRawDirectory(shared)) {
            raw = shared;
        }
        constexpr std::size_t kMostDirectories = 32;
        const std::span<const double> offsets = numbersOf(shared, kSubIfds);
        for (std::size_t i = 0; i < std::min(offsets.size(), kMostDirectories) && !raw; ++i) {
            TiffTags tags = reader.Tags(whole(offsets[i]).value_or(0), kWanted);
            if (isRawDirectory(tags)) {
                raw = std::move(tags);
            }
        }
        if (!raw) {
            throw CFailure(fmt::format("{}: holds no raw frame with one sample a pixel", name));
        }
    } else if (!shared.contains(kColorMatrix1)) {
        throw CFailure(fmt::format("{}: has no ColorMatrix1", name));
    }
    try {
        return CImport(shared, raw ? &*raw : nullptr).Result();
    } catch (const CFailure& failure) {
        throw CFailure(fmt::format("{}: {}", name, failure.what()));
    }
}

SImportedProfile readImportedProfile(const std::string& path) {
    const std::string name = path == "-" ? "standard input" : path;
    const std::string content = readWholeFile(path, kLargestImport, "DNG, DCP or profile");
    const std::size_t begin = content.find_first_not_of(" \t\r\n");
    if (begin != std::string::npos && content[begin] == '{') {
        SProfileReading reading = parsedProfile(content, folderOf(path));
        if (!reading.complaints.empty()) {
            throw CFailure(fmt::format("{}: no camera profile: {}", name, reading.complaints.front()));
        }
        return {std::move(reading.profile), {}};
    }
    return importedProfile({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, name);
}

} // namespace vek::client
