// SPDX-License-Identifier: Apache-2.0
#include "client/profiles/Profile.h"

#include "client/Errors.h"
#include "client/files/InputFile.h"
#include "client/files/JsonText.h"
#include "client/names/Names.h"
#include "client/pictures/Image.h"
#include "formats/ColorArrays.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <utility>

namespace vek::client {

namespace {

using Json = nlohmann::ordered_json;

// A table of 65536 values has less than 1 MB.
constexpr std::size_t kLargestProfile = std::size_t{16} << 20;

constexpr unsigned kMostPixels = 65535; // of a side
constexpr unsigned kMostBits = 16;
constexpr unsigned kLargestSample = 65535;
constexpr unsigned kMostRepeats = 64; // of a side of the black levels' pattern
constexpr std::size_t kMostEntries = 65536;
constexpr double kLargestFactor = 1000;
constexpr double kMostNoise = 1e9;

/// Numbers as a message has them.
std::string rangeText(double low, double high) {
    return fmt::format("{} to {}", low, high);
}

/// A member's value and where complaints about it go.
class CValue {
public:
    CValue(std::string_view name, const Json& json, const std::string& folder, std::vector<std::string>& complaints)
        : mName(name), mJson(json), mFolder(folder), mComplaints(complaints) {}

    const Json& Content() const { return mJson; }
    const std::string& Folder() const { return mFolder; }

    /// what: goes on behind the member's name.
    void Complain(std::string_view what) const { mComplaints.push_back(fmt::format("\"{}\" {}", mName, what)); }

    std::optional<unsigned> Whole(unsigned low, unsigned high) const {
        const std::optional<unsigned> value = WholeOf(mJson, low, high);
        if (!value) {
            Complain(fmt::format("is no whole number of {} to {}", low, high));
        }
        return value;
    }

    std::optional<std::string> Text() const {
        // Behind a zero a path would end early.
        if (!mJson.is_string() || mJson.get<std::string>().empty() ||
            mJson.get<std::string>().find('\0') != std::string::npos) {
            Complain("is no text, or an empty one");
            return std::nullopt;
        }
        return mJson.get<std::string>();
    }

    /// counts: how many numbers there may be, in a list; a single one may stand alone where it may be one.
    std::optional<std::vector<double>> Numbers(std::initializer_list<std::size_t> counts, double low,
                                               double high) const {
        std::optional<std::vector<double>> numbers = NumbersOf(mJson, low, high);
        if (numbers && std::find(counts.begin(), counts.end(), numbers->size()) == counts.end()) {
            Complain(fmt::format("has {} numbers, not {}", numbers->size(), fmt::join(counts, " or ")));
            return std::nullopt;
        }
        return numbers;
    }

    /// fewest to most numbers.
    std::optional<std::vector<double>> Series(std::size_t fewest, std::size_t most, double low, double high) const {
        std::optional<std::vector<double>> numbers = NumbersOf(mJson, low, high);
        if (numbers && (numbers->size() < fewest || numbers->size() > most)) {
            Complain(fmt::format("has {} numbers, not {} to {}", numbers->size(), fewest, most));
            return std::nullopt;
        }
        return numbers;
    }

    /// Whole numbers of a list, 0 to high.
    std::optional<std::vector<std::uint16_t>> WholeSeries(std::size_t most, unsigned high) const {
        const std::optional<std::vector<double>> numbers = Series(1, most, 0, high);
        if (!numbers) {
            return std::nullopt;
        }
        std::vector<std::uint16_t> values;
        for (const double number : *numbers) {
            if (std::floor(number) != number) {
                Complain(fmt::format("has number {}, which is not whole", number));
                return std::nullopt;
            }
            values.push_back(static_cast<std::uint16_t>(number));
        }
        return values;
    }

    /// The same of something in the member: its name goes behind the member's.
    CValue Inner(const std::string& name, const Json& json) const {
        return {mName + "/" + name, json, mFolder, mComplaints};
    }

    static std::optional<unsigned> WholeOf(const Json& json, unsigned low, unsigned high) {
        const double number = json.is_number() ? json.get<double>() : -1;
        const bool fits = number >= low && number <= high && std::floor(number) == number;
        return fits ? std::optional(static_cast<unsigned>(number)) : std::nullopt;
    }

private:
    std::optional<std::vector<double>> NumbersOf(const Json& json, double low, double high) const {
        if (!json.is_array() && !json.is_number()) {
            Complain("is no list of numbers");
            return std::nullopt;
        }
        std::vector<double> numbers;
        const std::size_t count = json.is_array() ? json.size() : 1;
        for (std::size_t i = 0; i < count; ++i) {
            const Json& element = json.is_array() ? json[i] : json;
            const double number = element.is_number() ? element.get<double>() : std::nan("");
            if (!(number >= low && number <= high)) {
                Complain(
                    fmt::format("has something else than a number of {} in place {}", rangeText(low, high), i + 1));
                return std::nullopt;
            }
            numbers.push_back(number);
        }
        return numbers;
    }

    std::string mName;
    const Json& mJson;
    const std::string& mFolder;
    std::vector<std::string>& mComplaints;
};

std::optional<Vector3> vectorOf(const CValue& value) {
    const auto numbers = value.Numbers({3}, kSmallestNeutral, kLargestNeutral);
    return numbers ? std::optional(Vector3{(*numbers)[0], (*numbers)[1], (*numbers)[2]}) : std::nullopt;
}

std::optional<Matrix3> matrixOf(const CValue& value) {
    const auto numbers = value.Numbers({9}, -kLargestFactor, kLargestFactor);
    if (!numbers) {
        return std::nullopt;
    }
    Matrix3 matrix{};
    for (std::size_t i = 0; i < numbers->size(); ++i) {
        matrix[i / 3][i % 3] = (*numbers)[i];
    }
    if (!inverse(matrix)) {
        value.Complain("has no inverse");
        return std::nullopt;
    }
    return matrix;
}

Json jsonOf(const Matrix3& matrix) {
    Json list = Json::array();
    for (const Vector3& row : matrix) {
        list.insert(list.end(), {row[0], row[1], row[2]});
    }
    return list;
}

template <class T>
Json jsonOf(const std::optional<T>& value) {
    return value ? Json(*value) : Json();
}

std::string pathOf(const CValue& value) {
    const std::optional<std::string> text = value.Text();
    return text ? (std::filesystem::path(value.Folder()) / *text).string() : std::string();
}

Json jsonOfPath(const std::string& path) {
    return path.empty() ? Json() : Json(path);
}

// ---- the members ----

/// A member of a profile; null: it is not there.
struct SMember {
    std::string_view name;
    void (*read)(SProfile&, const CValue&);
    Json (*json)(const SProfile&);
};

void readFormat(SProfile& profile, const CValue& value) {
    const std::optional<std::string> text = value.Text();
    const STransferFormat* const format = text ? findChainFormat(*text) : nullptr;
    if (format != nullptr && isName(*text, format->name)) {
        profile.format = format;
    } else if (text) {
        std::string names = transferFormatList();
        for (const STransferFormat& more : kChainFormats) {
            names += fmt::format(", {}", more.name);
        }
        value.Complain(fmt::format("is \"{}\", none of: {}", *text, names));
    }
}

void readColorArray(SProfile& profile, const CValue& value) {
    const std::optional<std::string> text = value.Text();
    const std::optional<unsigned> code = text ? findCode(bayerColorArrays(), *text) : std::nullopt;
    if (code && isName(*text, colorArrayName(*code))) {
        profile.colorArray = static_cast<unsigned short>(*code);
    } else if (text) {
        value.Complain(fmt::format("is \"{}\", none of: {}", *text, nameList(bayerColorArrays())));
    }
}

void readRepeat(SProfile& profile, const CValue& value) {
    const auto sides = value.WholeSeries(2, kMostRepeats);
    if (!sides) {
        return;
    }
    if (sides->size() != 2 || (*sides)[0] == 0 || (*sides)[1] == 0) {
        value.Complain(fmt::format("is no list of rows and columns, 1 to {} each", kMostRepeats));
        return;
    }
    profile.blackLevel = profile.blackLevel.value_or(SBlackLevels());
    profile.blackLevel->rows = (*sides)[0];
    profile.blackLevel->columns = (*sides)[1];
}

void readBlackLevel(SProfile& profile, const CValue& value) {
    const auto levels = value.Series(1, std::size_t{kMostRepeats} * kMostRepeats, 0, kLargestSample);
    if (levels) {
        profile.blackLevel = profile.blackLevel.value_or(SBlackLevels());
        profile.blackLevel->levels = *levels;
    }
}

Json repeatJson(const SProfile& profile) {
    const SBlackLevels black = profile.blackLevel.value_or(SBlackLevels());
    return black.rows * black.columns > 1 ? Json{black.rows, black.columns} : Json();
}

Json blackLevelJson(const SProfile& profile) {
    return profile.blackLevel ? Json(profile.blackLevel->levels) : Json();
}

void readIlluminant(unsigned& illuminant, const CValue& value) {
    const std::optional<unsigned> code = value.Whole(0, 255);
    if (code && *lightSourceName(*code) == '\0') {
        value.Complain(fmt::format("is {}, which is no light source of the Exif standard", *code));
    } else if (code) {
        illuminant = *code;
    }
}

void readNoise(SProfile& profile, const CValue& value) {
    const auto numbers = value.Numbers({2, 6}, -kMostNoise, kMostNoise);
    for (std::size_t i = 0; numbers && i < numbers->size(); i += 2) {
        if ((*numbers)[i] < 0) {
            value.Complain(fmt::format("has the scale {}, which is negative", (*numbers)[i]));
            profile.noise.clear();
            return;
        }
        profile.noise.push_back({(*numbers)[i], (*numbers)[i + 1]});
    }
}

Json noiseJson(const SProfile& profile) {
    Json list = Json::array();
    for (const SNoise& noise : profile.noise) {
        list.insert(list.end(), {noise.scale, noise.offset});
    }
    return list.empty() ? Json() : list;
}

/// An object of values by names. what: they are; each(name, its value).
template <class Each>
void readNamed(const CValue& value, std::string_view what, Each&& each) {
    if (!value.Content().is_object()) {
        value.Complain(fmt::format("is no object of {}", what));
        return;
    }
    for (const auto& [name, json] : value.Content().items()) {
        if (name.empty()) {
            value.Complain("has something without a name");
        } else {
            each(name, value.Inner(name, json));
        }
    }
}

void readBalances(SProfile& profile, const CValue& value) {
    readNamed(value, "neutrals by the names of their lights", [&](const std::string& name, const CValue& inner) {
        if (const std::optional<Vector3> neutral = vectorOf(inner)) {
            profile.whiteBalances.push_back({name, *neutral});
        }
    });
}

Json balancesJson(const SProfile& profile) {
    Json object;
    for (const SNamedBalance& balance : profile.whiteBalances) {
        object[balance.name] = balance.neutral;
    }
    return object;
}

constexpr std::array kToneNames = {
    SName{static_cast<unsigned>(SToneCurve::EKind::Srgb), "srgb"},
    SName{static_cast<unsigned>(SToneCurve::EKind::Bt709), "bt709"},
    SName{static_cast<unsigned>(SToneCurve::EKind::Linear), "linear"},
};

void readTone(SProfile& profile, const CValue& value) {
    const Json& json = value.Content();
    if (json.is_string()) {
        profile.tone = toneCurveNamed(json.get<std::string>());
        if (profile.tone) {
            return;
        }
    } else if (json.is_object() && json.size() == 1 && json.contains("gamma")) {
        if (const auto gamma = value.Inner("gamma", json.at("gamma")).Numbers({1}, kLowestGamma, kHighestGamma)) {
            profile.tone = SToneCurve{SToneCurve::EKind::Gamma, gamma->front(), {}};
        }
        return;
    } else if (json.is_object() && json.size() == 1 && json.contains("table")) {
        if (const auto table = value.Inner("table", json.at("table")).Series(2, kMostEntries, 0, 1)) {
            profile.tone = SToneCurve{SToneCurve::EKind::Table, 1, *table};
        }
        return;
    }
    value.Complain(fmt::format("is none of: {}, an object of \"gamma\" or one of \"table\"", nameList(kToneNames)));
}

Json toneJson(const SProfile& profile) {
    if (!profile.tone) {
        return {};
    }
    switch (profile.tone->kind) {
    case SToneCurve::EKind::Gamma:
        return {{"gamma", profile.tone->gamma}};
    case SToneCurve::EKind::Table:
        return {{"table", profile.tone->table}};
    default:
        return kToneNames[static_cast<std::size_t>(profile.tone->kind)].name;
    }
}

void readDelays(SProfile& profile, const CValue& value) {
    readNamed(value, "frames by the names of controls", [&](const std::string& name, const CValue& inner) {
        if (const std::optional<unsigned> frames = inner.Whole(0, kMostDelay)) {
            profile.controlDelays.push_back({name, *frames});
        }
    });
}

Json delaysJson(const SProfile& profile) {
    Json object;
    for (const SControlDelay& delay : profile.controlDelays) {
        object[delay.control] = delay.frames;
    }
    return object;
}

template <std::size_t i>
constexpr SMember kColorMatrixOf = {
    i == 0 ? "ColorMatrix1" : "ColorMatrix2",
    [](SProfile& profile, const CValue& value) { profile.colors[i].color = matrixOf(value); },
    [](const SProfile& profile) { return profile.colors[i].color ? jsonOf(*profile.colors[i].color) : Json(); }};
template <std::size_t i>
constexpr SMember kForwardMatrixOf = {
    i == 0 ? "ForwardMatrix1" : "ForwardMatrix2",
    [](SProfile& profile, const CValue& value) { profile.colors[i].forward = matrixOf(value); },
    [](const SProfile& profile) { return profile.colors[i].forward ? jsonOf(*profile.colors[i].forward) : Json(); }};
template <std::size_t i>
constexpr SMember kIlluminantOf = {
    i == 0 ? "CalibrationIlluminant1" : "CalibrationIlluminant2",
    [](SProfile& profile, const CValue& value) { readIlluminant(profile.colors[i].illuminant, value); },
    [](const SProfile& profile) {
        const unsigned code = profile.colors[i].illuminant;
        return code != 0 ? Json(code) : Json();
    }};

constexpr SMember kMembers[] = {
    {"UniqueCameraModel", [](SProfile& profile, const CValue& value) { profile.cameraModel = value.Text(); },
     [](const SProfile& profile) { return jsonOf(profile.cameraModel); }},
    {"width", [](SProfile& profile, const CValue& value) { profile.width = value.Whole(1, kMostPixels); },
     [](const SProfile& profile) { return jsonOf(profile.width); }},
    {"height", [](SProfile& profile, const CValue& value) { profile.height = value.Whole(1, kMostPixels); },
     [](const SProfile& profile) { return jsonOf(profile.height); }},
    {"format", readFormat,
     [](const SProfile& profile) { return profile.format != nullptr ? Json(profile.format->name) : Json(); }},
    {"colorArray", readColorArray,
     [](const SProfile& profile) { return profile.colorArray ? Json(colorArrayName(*profile.colorArray)) : Json(); }},
    {"bits", [](SProfile& profile, const CValue& value) { profile.bits = value.Whole(1, kMostBits); },
     [](const SProfile& profile) { return jsonOf(profile.bits); }},
    {"BlackLevelRepeatDim", readRepeat, repeatJson},
    {"BlackLevel", readBlackLevel, blackLevelJson},
    {"WhiteLevel", [](SProfile& profile, const CValue& value) { profile.whiteLevel = value.Whole(1, kLargestSample); },
     [](const SProfile& profile) { return jsonOf(profile.whiteLevel); }},
    {"LinearizationTable",
     [](SProfile& profile, const CValue& value) {
         profile.linearization = value.WholeSeries(kMostEntries, kLargestSample).value_or(std::vector<std::uint16_t>());
     },
     [](const SProfile& profile) { return profile.linearization.empty() ? Json() : Json(profile.linearization); }},
    kIlluminantOf<0>,
    kIlluminantOf<1>,
    kColorMatrixOf<0>,
    kColorMatrixOf<1>,
    kForwardMatrixOf<0>,
    kForwardMatrixOf<1>,
    {"AsShotNeutral", [](SProfile& profile, const CValue& value) { profile.asShotNeutral = vectorOf(value); },
     [](const SProfile& profile) { return jsonOf(profile.asShotNeutral); }},
    {"NoiseProfile", readNoise, noiseJson},
    {"whiteBalances", readBalances, balancesJson},
    {"toneCurve", readTone, toneJson},
    {"darkFrame", [](SProfile& profile, const CValue& value) { profile.darkFrame = pathOf(value); },
     [](const SProfile& profile) { return jsonOfPath(profile.darkFrame); }},
    {"shadingMap", [](SProfile& profile, const CValue& value) { profile.shadingMap = pathOf(value); },
     [](const SProfile& profile) { return jsonOfPath(profile.shadingMap); }},
    {"controlDelay", readDelays, delaysJson},
};

const SMember* findMember(std::string_view name) {
    const auto* const found = std::find_if(std::begin(kMembers), std::end(kMembers),
                                           [=](const SMember& member) { return member.name == name; });
    return found != std::end(kMembers) ? found : nullptr;
}

// ---- what has to fit together ----

void checkLevels(const SProfile& profile, std::vector<std::string>& complaints) {
    if (profile.format != nullptr && profile.bits && *profile.bits > profile.format->depth) {
        complaints.push_back(fmt::format("\"bits\" is {}, format {} has {}", *profile.bits, profile.format->name,
                                         profile.format->depth));
    }
    if (profile.blackLevel) {
        const SBlackLevels& black = *profile.blackLevel;
        const std::size_t needed = std::size_t{black.rows} * black.columns;
        if (black.levels.size() != needed) {
            complaints.push_back(
                fmt::format("\"BlackLevel\" has {} numbers, {} with the \"BlackLevelRepeatDim\" {} x {}",
                            black.levels.size(), needed, black.rows, black.columns));
        }
    }
    const std::optional<unsigned> white = profile.WhiteLevel();
    if (white && profile.blackLevel && !profile.blackLevel->levels.empty()) {
        const double highest = *std::max_element(profile.blackLevel->levels.begin(), profile.blackLevel->levels.end());
        if (highest >= *white) {
            complaints.push_back(fmt::format("\"BlackLevel\" {} is not below the white level {}", highest, *white));
        }
    }
    const std::optional<unsigned> depth = profile.Depth();
    if (profile.whiteLevel && depth && profile.linearization.empty() && *profile.whiteLevel > maxSample(*depth)) {
        complaints.push_back(fmt::format("\"WhiteLevel\" is {}, samples of {} bits end at {}", *profile.whiteLevel,
                                         *depth, maxSample(*depth)));
    }
}

void checkColorArray(const SProfile& profile, std::vector<std::string>& complaints) {
    // That there is none may be made up for elsewhere.
    if (profile.format == nullptr || !profile.colorArray) {
        return;
    }
    try {
        frameColorArray(*profile.format, profile.colorArray);
    } catch (const CMisfit& misfit) {
        complaints.push_back(misfit.Text([](std::string_view) { return std::string("\"colorArray\""); }));
    }
}

void checkColors(const CameraColors& colors, std::vector<std::string>& complaints) {
    const auto& [first, second] = colors;
    if (second.color && !first.color) {
        complaints.emplace_back("\"ColorMatrix2\" stands there without \"ColorMatrix1\"");
    }
    if (second.forward && !first.forward) {
        complaints.emplace_back("\"ForwardMatrix2\" stands there without \"ForwardMatrix1\"");
    }
    if (first.color && second.color && first.forward && !second.forward) {
        complaints.emplace_back("\"ForwardMatrix2\" is missing besides \"ForwardMatrix1\" and \"ColorMatrix2\"");
    }
    if (!second.color && !second.forward) {
        return;
    }
    const std::optional<double> temperatures[] = {lightSourceTemperature(first.illuminant),
                                                  lightSourceTemperature(second.illuminant)};
    for (std::size_t i = 0; i < 2; ++i) {
        if (!temperatures[i]) {
            complaints.push_back(fmt::format(
                "\"CalibrationIlluminant{}\" is missing, or has no temperature, with matrices of two lights", i + 1));
        }
    }
    if (temperatures[0] && temperatures[0] == temperatures[1]) {
        complaints.emplace_back("\"CalibrationIlluminant2\" has the temperature of \"CalibrationIlluminant1\"");
    }
}

/// White that is not D50's after a forward matrix, which is scaled away.
void remarkOnForward(const SProfile& profile, std::vector<std::string>& remarks) {
    constexpr double kFar = 0.01;
    for (std::size_t i = 0; i < profile.colors.size(); ++i) {
        if (!profile.colors[i].forward) {
            continue;
        }
        const Vector3 white = *profile.colors[i].forward * Vector3{1, 1, 1};
        double worst = 0;
        for (std::size_t k = 0; k < white.size(); ++k) {
            worst = std::max(worst, std::abs(white[k] - kWhiteD50[k]));
        }
        if (worst > kFar) {
            remarks.push_back(
                fmt::format("\"ForwardMatrix{}\" makes {:.4f}, {:.4f}, {:.4f} of white, not {}: it is scaled", i + 1,
                            white[0], white[1], white[2], fmt::join(kWhiteD50, ", ")));
        }
    }
}

// ---- text ----

/// A value in lines, lists of numbers in one.
void appendJson(std::string& text, const Json& json, std::size_t indent) {
    const auto newLine = [&](std::size_t columns) { text.append("\n").append(columns, ' '); };
    const bool nested = std::any_of(json.begin(), json.end(), [](const Json& inner) { return inner.is_structured(); });
    if (json.is_object() && !json.empty()) {
        const char* mark = "{";
        for (const auto& [name, inner] : json.items()) {
            text += mark;
            newLine(indent + 2);
            text += Json(name).dump() + ": ";
            appendJson(text, inner, indent + 2);
            mark = ",";
        }
        newLine(indent);
        text += "}";
    } else if (json.is_array() && !json.empty()) {
        const char* mark = "[";
        for (const Json& inner : json) {
            text += mark;
            if (nested) {
                newLine(indent + 2);
            }
            appendJson(text, inner, indent + 2);
            mark = nested ? "," : ", ";
        }
        if (nested) {
            newLine(indent);
        }
        text += "]";
    } else {
        text += json.dump();
    }
}

/// A path as it is seen from a folder; absolute ones stay.
std::string seenFrom(const std::string& folder, const std::string& path) {
    namespace fs = std::filesystem;
    if (path.empty() || fs::path(path).is_absolute()) {
        return path;
    }
    std::error_code error;
    const fs::path here = fs::current_path(error);
    const fs::path seen = (here / path).lexically_normal().lexically_relative((here / folder / "").lexically_normal());
    return error || seen.empty() ? path : seen.string();
}

} // namespace

std::optional<SToneCurve> toneCurveNamed(std::string_view text) {
    const auto* const found =
        std::find_if(kToneNames.begin(), kToneNames.end(), [=](const SName& name) { return isName(text, name.name); });
    return found != kToneNames.end() ? std::optional(SToneCurve{static_cast<SToneCurve::EKind>(found->code), 1, {}})
                                     : std::nullopt;
}

std::array<double, 4> SBlackLevels::ByPhase() const {
    const std::size_t height = std::size_t{2} * rows;
    const std::size_t width = std::size_t{2} * columns;
    std::array<double, 4> means{};
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            means[2 * (y % 2) + x % 2] += At(y, x) * 4 / static_cast<double>(height * width);
        }
    }
    return means;
}

std::optional<unsigned> SProfile::Depth() const {
    return bits || format == nullptr ? bits : std::optional<unsigned>(format->depth);
}

double SProfile::BlackAt(std::size_t row, std::size_t column) const {
    return blackLevel && !blackLevel->levels.empty() ? blackLevel->At(row, column) : 0;
}

std::optional<unsigned> SProfile::WhiteLevel() const {
    if (whiteLevel) {
        return whiteLevel;
    }
    if (!linearization.empty()) {
        return linearization.back();
    }
    const std::optional<unsigned> depth = Depth();
    return depth ? std::optional<unsigned>((1U << *depth) - 1) : std::nullopt;
}

const Neutral* SProfile::FindNeutral(std::string_view name) const {
    if (name.empty()) {
        return asShotNeutral ? &*asShotNeutral : nullptr;
    }
    const auto found = std::find_if(whiteBalances.begin(), whiteBalances.end(),
                                    [=](const SNamedBalance& balance) { return balance.name == name; });
    return found != whiteBalances.end() ? &found->neutral : nullptr;
}

std::span<const std::string_view> profileMembers() {
    static const auto names = [] {
        std::array<std::string_view, std::size(kMembers)> list;
        std::transform(std::begin(kMembers), std::end(kMembers), list.begin(),
                       [](const SMember& member) { return member.name; });
        return list;
    }();
    return names;
}

std::vector<std::string> misfits(const SProfile& profile) {
    std::vector<std::string> complaints;
    checkColorArray(profile, complaints);
    checkLevels(profile, complaints);
    checkColors(profile.colors, complaints);
    return complaints;
}

SProfileReading parsedProfile(std::string_view text, const std::string& folder) {
    SProfileReading reading;
    Json json;
    try {
        json = parsedJson(text);
    } catch (const CFailure& failure) {
        reading.complaints.emplace_back(failure.what());
        return reading;
    }
    if (!json.is_object()) {
        reading.complaints.emplace_back("a profile is an object of members, and this is none");
        return reading;
    }
    for (const auto& [name, value] : json.items()) {
        if (const SMember* const member = findMember(name)) {
            member->read(reading.profile, CValue(name, value, folder, reading.complaints));
        } else {
            reading.profile.others[name] = value;
            reading.remarks.push_back(fmt::format("\"{}\" is no member of a profile, and kept", name));
        }
    }
    if (reading.complaints.empty()) {
        reading.complaints = misfits(reading.profile);
    }
    remarkOnForward(reading.profile, reading.remarks);
    return reading;
}

std::string folderOf(const std::string& path) {
    return path == "-" ? std::string() : std::filesystem::path(path).parent_path().string();
}

SProfileReading readProfileText(const std::string& path) {
    return parsedProfile(readWholeFile(path, kLargestProfile, "camera profile"), folderOf(path));
}

SProfile readProfile(const std::string& path) {
    SProfileReading reading = readProfileText(path);
    if (!reading.complaints.empty()) {
        throw CFailure(fmt::format("{}: no camera profile: {}", path == "-" ? "standard input" : path,
                                   reading.complaints.front()));
    }
    return std::move(reading.profile);
}

std::optional<SProfile> readProfileIfThere(const std::string& path) {
    struct stat status {};
    const bool there = path != "-" && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return there ? std::optional(readProfile(path)) : std::nullopt;
}

Json profileJson(const SProfile& profile) {
    Json json = Json::object();
    for (const SMember& member : kMembers) {
        Json value = member.json(profile);
        if (!value.is_null()) {
            json[std::string(member.name)] = std::move(value);
        }
    }
    for (const auto& [name, value] : profile.others.items()) {
        json[name] = value;
    }
    return json;
}

std::string profileText(const SProfile& profile, const std::string& folder) {
    SProfile seen = profile;
    seen.darkFrame = seenFrom(folder, profile.darkFrame);
    seen.shadingMap = seenFrom(folder, profile.shadingMap);
    std::string text;
    try {
        appendJson(text, profileJson(seen), 0);
    } catch (const nlohmann::json::type_error&) {
        throw CFailure("a name or a path in the profile is no UTF-8");
    }
    return text + "\n";
}

std::optional<std::string> sidecarOf(const std::string& rawPath) {
    const std::string path = rawPath + ".json";
    struct stat status {};
    return rawPath != "-" && stat(path.c_str(), &status) == 0 ? std::optional(path) : std::nullopt;
}

} // namespace vek::client
