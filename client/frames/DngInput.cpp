// SPDX-License-Identifier: Apache-2.0
#include "client/frames/DngInput.h"

#include "client/Errors.h"
#include "client/files/Descriptor.h"
#include "client/frames/DngOutput.h"
#include "client/frames/DngTagNames.h"
#include "client/pictures/Image.h"
#include "client/pictures/TiffFile.h"
#include "formats/ColorArrays.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <memory>
#include <string_view>

namespace vek::client {

namespace {

/// Takes numbers out of an opcode list; those behind its end are 0.
class COpcodeBytes {
public:
    explicit COpcodeBytes(std::span<const std::uint8_t> bytes) : mRest(bytes) {}

    std::uint32_t Whole() { return static_cast<std::uint32_t>(Take(4)); }
    double Real() { return std::bit_cast<double>(Take(8)); }
    float ShortReal() { return std::bit_cast<float>(Whole()); }
    std::size_t Left() const { return mRest.size(); }
    /// The next bytes, fewer at the end.
    COpcodeBytes Part(std::size_t count) {
        const COpcodeBytes part(mRest.first(std::min(count, mRest.size())));
        mRest = mRest.subspan(part.Left());
        return part;
    }

private:
    std::uint64_t Take(std::size_t count) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            value = value << 8 | (mRest.empty() ? 0U : mRest.front());
            mRest = mRest.subspan(mRest.empty() ? 0 : 1);
        }
        return value;
    }

    std::span<const std::uint8_t> mRest;
};

/// Nothing for a map that is cut off, or has planes of its own for the colours of a pixel.
std::optional<SGainMap> gainMapFrom(COpcodeBytes bytes) {
    SGainMap map;
    map.top = bytes.Whole();
    map.left = bytes.Whole();
    map.bottom = bytes.Whole();
    map.right = bytes.Whole();
    bytes.Whole(); // the first plane
    bytes.Whole(); // planes
    map.rowStep = bytes.Whole();
    map.columnStep = bytes.Whole();
    map.rows = bytes.Whole();
    map.columns = bytes.Whole();
    map.rowSpacing = bytes.Real();
    map.columnSpacing = bytes.Real();
    map.firstRow = bytes.Real();
    map.firstColumn = bytes.Real();
    const std::uint32_t planes = bytes.Whole();
    const std::uint64_t points = std::uint64_t{map.rows} * map.columns;
    if (planes != 1 || points == 0 || map.rowStep == 0 || map.columnStep == 0 || points > bytes.Left() / 4) {
        return std::nullopt;
    }
    map.gains.resize(points);
    std::generate(map.gains.begin(), map.gains.end(), [&] { return bytes.ShortReal(); });
    return map;
}

std::vector<SGainMap> gainMapsFrom(COpcodeBytes list) {
    std::vector<SGainMap> maps;
    for (std::uint32_t left = list.Whole(); left > 0 && list.Left() > 0; --left) {
        const std::uint32_t opcode = list.Whole();
        list.Whole(); // the version that has it
        list.Whole(); // flags
        const COpcodeBytes parameters = list.Part(list.Whole());
        const std::optional<SGainMap> map = opcode == kOpcodeGainMap ? gainMapFrom(parameters) : std::nullopt;
        if (map) {
            maps.push_back(*map);
        }
    }
    return maps;
}

class CDngReader {
public:
    CDngReader(const std::string& path, std::uint64_t fileBytes) : mPath(path), mFileBytes(fileBytes) {
        knowDngTags();
        const CTiffOptions options(mComplaint);
        // Not mapped: a file that becomes shorter meanwhile would be a fault.
        mTiff.reset(TIFFOpenExt(path.c_str(), "rm", options.Get()));
    }

    bool IsDng() const {
        const std::uint8_t* version = nullptr;
        return mTiff && TIFFGetField(mTiff.get(), TIFFTAG_DNGVERSION, &version) == 1;
    }

    /// Throws CFailure for what libtiff said last.
    [[noreturn]] void Refuse() const { Refuse(mComplaint.empty() ? "damaged" : mComplaint); }

    SDngFrame Frame() {
        ReadCameraTags();
        FindRawFrame();
        ReadForm();
        if (!mComplaint.empty()) {
            Refuse(); // something is missing
        }
        ReadColorArray();
        ReadLevels();
        ReadSamples();
        return std::move(mFrame);
    }

private:
    [[noreturn]] void Refuse(const std::string& why) const {
        throw CFailure(fmt::format("{}: cannot read the raw frame: {}", mPath, why));
    }

    /// A tag of one value.
    template <class T>
    T Value(std::uint32_t tag, T missing) const {
        T value = missing;
        return TIFFGetFieldDefaulted(mTiff.get(), tag, &value) == 1 ? value : missing;
    }

    /// A tag of values; none where it is missing.
    template <class T, class TCount = std::uint16_t>
    std::span<const T> Values(std::uint32_t tag) const {
        TCount count = 0;
        const T* values = nullptr;
        return TIFFGetField(mTiff.get(), tag, &count, &values) == 1 ? std::span(values, count) : std::span<const T>();
    }

    std::optional<DngMatrix> Matrix(std::uint32_t tag) const {
        const std::span<const float> values = Values<float>(tag);
        DngMatrix matrix{};
        if (values.size() != matrix.size()) {
            return std::nullopt;
        }
        std::copy(values.begin(), values.end(), matrix.begin());
        return matrix;
    }

    /// Those of the first directory.
    void ReadCameraTags() {
        SDngTags& tags = mFrame.tags;
        const char* model = nullptr;
        tags.cameraModel =
            TIFFGetField(mTiff.get(), TIFFTAG_UNIQUECAMERAMODEL, &model) == 1 && model != nullptr ? model : "";
        constexpr std::uint32_t kColors[][3] = {
            {TIFFTAG_CALIBRATIONILLUMINANT1, TIFFTAG_COLORMATRIX1, kTagForwardMatrix1},
            {TIFFTAG_CALIBRATIONILLUMINANT2, TIFFTAG_COLORMATRIX2, kTagForwardMatrix2}};
        for (const auto& [light, colorMatrix, forwardMatrix] : kColors) {
            if (const std::optional<DngMatrix> matrix = Matrix(colorMatrix)) {
                tags.colors.push_back({Value<std::uint16_t>(light, 0), *matrix, Matrix(forwardMatrix)});
            }
        }
        const std::span<const float> neutral = Values<float>(TIFFTAG_ASSHOTNEUTRAL);
        if (neutral.size() == 3) {
            tags.neutral = {neutral[0], neutral[1], neutral[2]};
        }
        tags.orientation = Value<std::uint16_t>(TIFFTAG_ORIENTATION, 1);
        ReadNoise();
    }

    void ReadNoise() {
        const std::span<const double> noise = Values<double>(kTagNoiseProfile);
        if (!noise.empty()) {
            mFrame.tags.noise.assign(noise.begin(), noise.end());
        }
    }

    bool IsRawFrame() const {
        const auto photometric = Value<std::uint16_t>(TIFFTAG_PHOTOMETRIC, 0xFFFF);
        const bool whole = (Value<std::uint32_t>(TIFFTAG_SUBFILETYPE, 0) & FILETYPE_REDUCEDIMAGE) == 0;
        return whole && (photometric == PHOTOMETRIC_CFA || photometric == kPhotometricLinearRaw ||
                         photometric == PHOTOMETRIC_MINISBLACK);
    }

    /// Goes to the directory that has it, the first one or one below.
    void FindRawFrame() {
        if (IsRawFrame()) {
            return;
        }
        const std::span<const std::uint64_t> below = Values<std::uint64_t>(TIFFTAG_SUBIFD);
        for (const std::uint64_t place : std::vector<std::uint64_t>(below.begin(), below.end())) {
            if (TIFFSetSubDirectory(mTiff.get(), place) == 1 && IsRawFrame()) {
                ReadNoise();
                return;
            }
        }
        Refuse("there is none");
    }

    void ReadForm() {
        mWidth = Value<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
        mHeight = Value<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0);
        mFrame.bits = Value<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
        if (mWidth == 0 || mHeight == 0 || mWidth > kLargestSide || mHeight > kLargestSide) {
            Refuse(fmt::format("{} x {} pixels, 1 to {} are possible", mWidth, mHeight, kLargestSide));
        }
        if (Value<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE) != COMPRESSION_NONE) {
            Refuse("it is compressed");
        }
        if (TIFFIsTiled(mTiff.get()) != 0) {
            Refuse("it is in tiles");
        }
        const auto samples = Value<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
        const auto kind = Value<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
        if (samples != 1 || kind != SAMPLEFORMAT_UINT || (mFrame.bits != 8 && mFrame.bits != 16)) {
            Refuse(fmt::format("{} samples a pixel of {} bits, one whole number of 8 or 16 is needed", samples,
                               mFrame.bits));
        }
        const std::uint64_t needed = std::uint64_t{mWidth} * mHeight * (mFrame.bits / 8);
        if (needed > mFileBytes) {
            Refuse(fmt::format("too short: {} bytes needed, the file has {}", needed, mFileBytes));
        }
    }

    void ReadColorArray() {
        mFrame.colorArray = VEK_COLOR_ARRAY_MONO;
        if (Value<std::uint16_t>(TIFFTAG_PHOTOMETRIC, 0) != PHOTOMETRIC_CFA) {
            return;
        }
        const std::uint16_t* repeat = nullptr;
        const bool square =
            TIFFGetField(mTiff.get(), TIFFTAG_CFAREPEATPATTERNDIM, &repeat) == 1 && repeat[0] == 2 && repeat[1] == 2;
        const std::span<const std::uint8_t> pattern = Values<std::uint8_t>(TIFFTAG_CFAPATTERN);
        for (unsigned short array = VEK_COLOR_ARRAY_RGGB; array <= VEK_COLOR_ARRAY_BGGR; ++array) {
            const PhaseSlots slots = phaseSlots(array);
            const auto same = [](std::uint8_t color, EColorSlot slot) {
                return color == (slot == kSlotR ? 0 : slot == kSlotB ? 2 : 1);
            };
            if (square && std::equal(pattern.begin(), pattern.end(), slots.begin(), slots.end(), same)) {
                mFrame.colorArray = array;
                return;
            }
        }
        Refuse("its colour array is no Bayer one");
    }

    void ReadLevels() {
        SDngTags& tags = mFrame.tags;
        const std::uint16_t* repeat = nullptr;
        const bool given = TIFFGetField(mTiff.get(), TIFFTAG_BLACKLEVELREPEATDIM, &repeat) == 1;
        const unsigned rows = given ? repeat[0] : 1;
        const unsigned columns = given ? repeat[1] : 1;
        const std::span<const float> black = Values<float>(TIFFTAG_BLACKLEVEL);
        if (!black.empty() && (rows < 1 || columns < 1 || rows > 2 || columns > 2 || black.size() < rows * columns)) {
            Refuse(fmt::format("{} black levels of {} x {} pixels, 2 x 2 at most are possible", black.size(), columns,
                               rows));
        }
        if (black.size() == 1) {
            tags.black = {black[0]};
        } else if (!black.empty()) {
            tags.black.clear();
            for (unsigned phase = 0; phase < 4; ++phase) {
                tags.black.push_back(black[phase / 2 % rows * columns + phase % 2 % columns]);
            }
        }
        const std::span<const std::uint16_t> table = Values<std::uint16_t>(TIFFTAG_LINEARIZATIONTABLE);
        tags.linearization.assign(table.begin(), table.end());
        const std::span<const std::uint32_t> white = Values<std::uint32_t>(TIFFTAG_WHITELEVEL);
        tags.white = white.empty() ? 0 : white[0];
        const unsigned largest = tags.linearization.empty() ? (1U << mFrame.bits) - 1 : 0xFFFF;
        if (tags.white > largest || std::any_of(tags.black.begin(), tags.black.end(), [&](double level) {
                return !std::isfinite(level) || level < 0 || level >= mFrame.White();
            })) {
            Refuse(fmt::format("its black and white levels do not fit samples of {} bits", mFrame.bits));
        }
        tags.gainMaps = gainMapsFrom(COpcodeBytes(Values<std::uint8_t, std::uint32_t>(kTagOpcodeList2)));
    }

    void ReadSamples() {
        const std::size_t rowBytes = std::size_t{mWidth} * (mFrame.bits / 8);
        const std::uint32_t stripRows = std::min(Value<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, mHeight), mHeight);
        if (stripRows == 0) {
            Refuse("its strips have no rows");
        }
        mFrame.bytes.resize(rowBytes * mHeight);
        for (std::uint32_t first = 0; first < mHeight; first += stripRows) {
            const std::uint32_t rows = std::min(stripRows, mHeight - first);
            const auto bytes = static_cast<tmsize_t>(rowBytes * rows);
            if (TIFFGetStrileByteCount(mTiff.get(), first / stripRows) < rowBytes * rows) {
                Refuse("its strips are too short");
            }
            if (TIFFReadEncodedStrip(mTiff.get(), first / stripRows, mFrame.bytes.data() + first * rowBytes, bytes) !=
                bytes) {
                Refuse();
            }
        }
        KeepActiveArea(rowBytes);
    }

    /// The colour array, black levels and gain maps count from its corner.
    void KeepActiveArea(std::size_t rowBytes) {
        const std::uint32_t* area = nullptr; // top, left, bottom, right
        mFrame.width = mWidth;
        mFrame.height = mHeight;
        if (TIFFGetField(mTiff.get(), TIFFTAG_ACTIVEAREA, &area) != 1) {
            return;
        }
        const std::uint32_t top = area[0];
        const std::uint32_t left = area[1];
        if (top >= area[2] || left >= area[3] || area[2] > mHeight || area[3] > mWidth) {
            Refuse("its active area lies outside");
        }
        mFrame.height = area[2] - top;
        mFrame.width = area[3] - left;
        const std::size_t sampleBytes = mFrame.bits / 8;
        const std::size_t keptBytes = mFrame.width * sampleBytes;
        for (std::size_t y = 0; y < mFrame.height; ++y) {
            const std::size_t from = (top + y) * rowBytes + left * sampleBytes;
            std::copy_n(mFrame.bytes.begin() + static_cast<std::ptrdiff_t>(from), keptBytes,
                        mFrame.bytes.begin() + static_cast<std::ptrdiff_t>(y * keptBytes));
        }
        mFrame.bytes.resize(keptBytes * mFrame.height);
    }

    std::string mPath;
    std::uint64_t mFileBytes;
    std::string mComplaint;
    std::unique_ptr<TIFF, SCloseTiff> mTiff;
    std::uint32_t mWidth = 0;
    std::uint32_t mHeight = 0;
    SDngFrame mFrame;
};

/// Nothing where a path is no regular file that begins as a TIFF file does. Throws CFailure where a name that ends in
/// .dng cannot be opened.
std::optional<std::uint64_t> tiffBytes(const std::string& path) {
    using namespace std::string_view_literals;
    const CDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.IsOpen() && isDngName(path)) {
        throw CFailure(fmt::format("{}: cannot open: {}", path, systemMessage(errno)));
    }
    struct stat status {};
    char begin[4] = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        pread(file.Get(), begin, sizeof begin, 0) != sizeof begin) {
        return std::nullopt;
    }
    const std::string_view magic(begin, sizeof begin);
    const bool isTiff = magic == "II*\0"sv || magic == "MM\0*"sv;
    return isTiff ? std::optional(static_cast<std::uint64_t>(status.st_size)) : std::nullopt;
}

} // namespace

bool isDngFile(const std::string& path) {
    const std::optional<std::uint64_t> bytes = tiffBytes(path);
    return bytes && (isDngName(path) || CDngReader(path, *bytes).IsDng());
}

std::optional<SDngFrame> readDng(const std::string& path) {
    const std::optional<std::uint64_t> bytes = tiffBytes(path);
    if (!bytes) {
        return std::nullopt;
    }
    CDngReader reader(path, *bytes);
    if (!reader.IsDng()) {
        if (isDngName(path)) {
            reader.Refuse();
        }
        return std::nullopt;
    }
    return reader.Frame();
}

} // namespace vek::client
