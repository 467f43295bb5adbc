// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/frames/Dng.h"
#include "client/frames/DngInput.h"
#include "client/frames/DngOutput.h"

#include "support/Files.h"

#include <tiffio.h>

#include <memory>
#include <random>
#include <utility>

namespace vek::test {

namespace {

using client::SDngFrame;

constexpr unsigned short kArrays[] = {VEK_COLOR_ARRAY_MONO, VEK_COLOR_ARRAY_RGGB, VEK_COLOR_ARRAY_GRBG,
                                      VEK_COLOR_ARRAY_GBRG, VEK_COLOR_ARRAY_BGGR};

SDngFrame frameOf(std::uint32_t width, std::uint32_t height, unsigned short colorArray, unsigned short bits) {
    SDngFrame frame{width, height, colorArray, bits, {}, {}};
    std::mt19937 random(width + 3 * height + bits);
    for (std::size_t i = 0; i < std::size_t{width} * height * (bits / 8); ++i) {
        frame.bytes.push_back(static_cast<std::uint8_t>(random()));
    }
    return frame;
}

void expectSameFrame(const SDngFrame& read, const SDngFrame& frame) {
    EXPECT_EQ(read.width, frame.width);
    EXPECT_EQ(read.height, frame.height);
    EXPECT_EQ(read.colorArray, frame.colorArray);
    EXPECT_EQ(read.bits, frame.bits);
    EXPECT_TRUE(read.bytes == frame.bytes);
}

template <class T>
void expectNear(const T& values, const T& expected) {
    ASSERT_EQ(values.size(), expected.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_NEAR(values[i], expected[i], 1e-6) << i;
    }
}

using TiffPointer = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

class Dng : public CFileTest {
protected:
    std::string Written(const SDngFrame& frame, const std::string& name = "frame.dng") const {
        client::COutputFiles files;
        client::writeDng(files.Open(Path(name)), frame);
        files.Publish();
        return Path(name);
    }

    SDngFrame WrittenAndRead(const SDngFrame& frame) const {
        const std::optional<SDngFrame> read = client::readDng(Written(frame));
        EXPECT_TRUE(read);
        return read.value_or(SDngFrame());
    }

    /// Expects that a file is a DNG file that is refused, for a reason.
    static void ExpectRefused(const std::string& path, const std::string& why) {
        try {
            client::readDng(path);
            ADD_FAILURE() << "no refusal: " << why;
        } catch (const client::CFailure& failure) {
            EXPECT_NE(std::string(failure.what()).find(path + ": cannot read the raw frame: "), std::string::npos)
                << failure.what();
            EXPECT_NE(std::string(failure.what()).find(why), std::string::npos) << failure.what();
        }
    }
};

// ---- there and back ----

TEST_F(Dng, FramesComeBackBitForBit) {
    constexpr std::pair<std::uint32_t, std::uint32_t> kSizes[] = {{1, 1}, {1, 7},   {5, 1},
                                                                  {2, 2}, {33, 17}, {1100, 301}};
    for (const auto& [width, height] : kSizes) {
        for (const unsigned short colorArray : kArrays) {
            for (const unsigned short bits : std::initializer_list<unsigned short>{8, 16}) {
                SCOPED_TRACE(::testing::Message() << width << " x " << height << ", " << colorArray << ", " << bits);
                const SDngFrame frame = frameOf(width, height, colorArray, bits);
                expectSameFrame(WrittenAndRead(frame), frame);
            }
        }
    }
}

TEST_F(Dng, TagsComeBack) {
    SDngFrame frame = frameOf(40, 30, VEK_COLOR_ARRAY_GBRG, 16);
    client::SDngTags& tags = frame.tags;
    tags.cameraModel = "VekCam global-5m";
    tags.black = {60, 60.5, 61, 64.25};
    tags.white = 4000;
    tags.colors = {{client::kLightD65, {0.7, -0.2, -0.1, -0.4, 1.2, 0.2, -0.05, 0.15, 0.6}, {}},
                   {client::kLightD50,
                    {0.8, -0.3, -0.1, -0.5, 1.3, 0.2, -0.1, 0.2, 0.7},
                    client::DngMatrix{0.6, 0.2, 0.16, 0.25, 0.7, 0.05, 0.01, 0.1, 0.72}}};
    tags.neutral = {0.5, 1, 0.625};
    tags.noise = {1e-4, 2e-7, 3e-4, 4e-7, 5e-4, 6e-7};
    tags.orientation = 6;
    for (unsigned phase = 0; phase < 4; ++phase) {
        std::vector<float> gains;
        for (unsigned i = 0; i < 5 * 4; ++i) {
            gains.push_back(1 + 0.1F * static_cast<float>(i + phase));
        }
        tags.gainMaps.push_back(client::gainMapOf(phase, 40, 30, 4, 5, gains));
    }
    const SDngFrame read = WrittenAndRead(frame);
    expectSameFrame(read, frame);
    EXPECT_EQ(read.tags.cameraModel, tags.cameraModel);
    expectNear(read.tags.black, tags.black);
    EXPECT_EQ(read.tags.white, 4000U);
    EXPECT_EQ(read.tags.orientation, 6);
    ASSERT_TRUE(read.tags.neutral);
    expectNear(*read.tags.neutral, *tags.neutral);
    EXPECT_EQ(read.tags.noise, tags.noise);
    EXPECT_EQ(read.tags.gainMaps, tags.gainMaps);
    EXPECT_EQ(read.tags.gainMaps[3].top, 1U);
    EXPECT_EQ(read.tags.gainMaps[2].left, 0U);
    EXPECT_EQ(read.tags.gainMaps[2].rowStep, 2U);
    EXPECT_DOUBLE_EQ(read.tags.gainMaps[0].columnSpacing, 0.25);
    ASSERT_EQ(read.tags.colors.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(read.tags.colors[i].light, tags.colors[i].light);
        expectNear(read.tags.colors[i].colorMatrix, tags.colors[i].colorMatrix);
    }
    EXPECT_FALSE(read.tags.colors[0].forwardMatrix);
    ASSERT_TRUE(read.tags.colors[1].forwardMatrix);
    expectNear(*read.tags.colors[1].forwardMatrix, *tags.colors[1].forwardMatrix);
}

TEST_F(Dng, FilesThatTellLittle) {
    SDngFrame frame = frameOf(4, 4, VEK_COLOR_ARRAY_RGGB, 16);
    const SDngFrame read = WrittenAndRead(frame);
    EXPECT_EQ(read.tags.black, std::vector<double>{0});
    EXPECT_EQ(read.White(), 65535U);
    EXPECT_TRUE(read.tags.colors.empty());
    EXPECT_FALSE(read.tags.neutral);
    EXPECT_TRUE(read.tags.noise.empty());
    EXPECT_TRUE(read.tags.gainMaps.empty());
    EXPECT_TRUE(read.tags.linearization.empty());
    EXPECT_EQ(read.tags.orientation, 1);
}

TEST_F(Dng, LinearizationMakesWordsOfBytes) {
    SDngFrame frame{2, 2, VEK_COLOR_ARRAY_BGGR, 8, {0, 1, 2, 200}, {}};
    frame.tags.linearization = {0, 100, 1000};
    frame.tags.white = 1000;
    const SDngFrame read = WrittenAndRead(frame);
    expectSameFrame(read, frame);
    EXPECT_EQ(read.tags.linearization, frame.tags.linearization);
    const client::STransferredFrame linear = client::transferredFrameOf(read);
    EXPECT_EQ(linear.format->name, "raw10");
    EXPECT_EQ(linear.colorArray, VEK_COLOR_ARRAY_BGGR);
    EXPECT_EQ(linear.bytes, littleEndian({0, 100, 1000, 1000})); // the last one counts on
}

TEST_F(Dng, TransferredFrames) {
    for (const unsigned code : {VEK_TRANSFER_RAW8, VEK_TRANSFER_RAW10, VEK_TRANSFER_RAW12, VEK_TRANSFER_RAW14,
                                VEK_TRANSFER_RAW16, VEK_TRANSFER_MONO8, VEK_TRANSFER_MONO12, VEK_TRANSFER_MONO16}) {
        const STransferFormat& format = *transferFormat(code);
        const unsigned short array = format.IsMono() ? VEK_COLOR_ARRAY_MONO : VEK_COLOR_ARRAY_GRBG;
        client::STransferredFrame frame{&format, 6, 4, array, frameOf(6, 4, array, format.depth > 8 ? 16 : 8).bytes};
        const client::STransferredFrame back = client::transferredFrameOf(WrittenAndRead(client::dngFrameOf(frame)));
        EXPECT_EQ(back.format->name, format.name);
        EXPECT_EQ(back.colorArray, array);
        EXPECT_EQ(back.bytes, frame.bytes);
    }
}

// ---- files of others ----

constexpr std::uint8_t kVersion[] = {1, 6, 0, 0};
constexpr std::uint16_t kTwoByTwo[] = {2, 2};
constexpr std::uint8_t kGrbg[] = {1, 0, 2, 1};

/// Sets what a directory with a raw frame of words, GRBG, has.
void setRawFrame(TIFF* tiff, std::uint32_t width, std::uint32_t height) {
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, kTwoByTwo);
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, kGrbg);
}

/// Writes words 0, 1, 2, ... in strips.
void writeRamp(TIFF* tiff, std::uint32_t width, std::uint32_t height, std::uint32_t stripRows) {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, stripRows);
    std::vector<std::uint16_t> row(width);
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            row[x] = static_cast<std::uint16_t>(y * width + x);
        }
        EXPECT_EQ(TIFFWriteScanline(tiff, row.data(), y, 0), 1);
    }
}

std::vector<std::uint8_t> ramp(std::uint16_t count) {
    std::vector<std::uint16_t> words;
    for (std::uint16_t i = 0; i < count; ++i) {
        words.push_back(i);
    }
    return littleEndian(words);
}

class ForeignDng : public Dng {
protected:
    TiffPointer Open(const char* mode = "w") const {
        TiffPointer tiff(TIFFOpen(Path("frame.dng").c_str(), mode), TIFFClose);
        TIFFSetField(tiff.get(), TIFFTAG_DNGVERSION, kVersion);
        return tiff;
    }
    std::optional<SDngFrame> Read() const { return client::readDng(Path("frame.dng")); }
};

TEST_F(ForeignDng, EitherByteOrderAndAnyStrips) {
    for (const char* const mode : {"wl", "wb"}) {
        for (const std::uint32_t stripRows : {1U, 3U, 10U, 100U}) {
            {
                const TiffPointer tiff = Open(mode);
                setRawFrame(tiff.get(), 7, 10);
                writeRamp(tiff.get(), 7, 10, stripRows);
            }
            const std::optional<SDngFrame> read = Read();
            ASSERT_TRUE(read) << mode << stripRows;
            EXPECT_EQ(read->colorArray, VEK_COLOR_ARRAY_GRBG);
            EXPECT_EQ(read->bytes, ramp(70)) << mode << stripRows;
        }
    }
}

TEST_F(ForeignDng, RawFrameBelowAThumbnail) {
    {
        const TiffPointer tiff = Open();
        constexpr std::uint64_t kNone[] = {0};
        constexpr float kNeutral[] = {0.5F, 1, 0.25F};
        TIFFSetField(tiff.get(), TIFFTAG_UNIQUECAMERAMODEL, "Thumbnail");
        TIFFSetField(tiff.get(), TIFFTAG_ASSHOTNEUTRAL, 3, kNeutral);
        TIFFSetField(tiff.get(), TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE);
        TIFFSetField(tiff.get(), TIFFTAG_IMAGEWIDTH, 2);
        TIFFSetField(tiff.get(), TIFFTAG_IMAGELENGTH, 1);
        TIFFSetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, 3);
        TIFFSetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tiff.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tiff.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff.get(), TIFFTAG_SUBIFD, 1, kNone);
        std::uint8_t pixels[6] = {};
        TIFFWriteScanline(tiff.get(), pixels, 0, 0);
        TIFFWriteDirectory(tiff.get());
        constexpr float kBlack[] = {10, 11, 12, 13};
        constexpr std::uint32_t kWhite[] = {1000};
        setRawFrame(tiff.get(), 6, 4);
        TIFFSetField(tiff.get(), TIFFTAG_BLACKLEVELREPEATDIM, kTwoByTwo);
        TIFFSetField(tiff.get(), TIFFTAG_BLACKLEVEL, 4, kBlack);
        TIFFSetField(tiff.get(), TIFFTAG_WHITELEVEL, 1, kWhite);
        writeRamp(tiff.get(), 6, 4, 4);
        TIFFWriteDirectory(tiff.get());
    }
    const std::optional<SDngFrame> read = Read();
    ASSERT_TRUE(read);
    EXPECT_EQ(read->width, 6U);
    EXPECT_EQ(read->bytes, ramp(24));
    EXPECT_EQ(read->tags.cameraModel, "Thumbnail");
    EXPECT_EQ(read->tags.neutral, (std::array<double, 3>{0.5, 1, 0.25}));
    EXPECT_EQ(read->tags.black, (std::vector<double>{10, 11, 12, 13}));
    EXPECT_DOUBLE_EQ(client::blackLevelOf(read->tags), 11.5);
    EXPECT_EQ(read->White(), 1000U);
}

TEST_F(ForeignDng, ActiveArea) {
    {
        const TiffPointer tiff = Open();
        constexpr std::uint32_t kArea[] = {1, 2, 3, 5};
        setRawFrame(tiff.get(), 6, 4);
        TIFFSetField(tiff.get(), TIFFTAG_ACTIVEAREA, kArea);
        writeRamp(tiff.get(), 6, 4, 4);
    }
    const std::optional<SDngFrame> read = Read();
    ASSERT_TRUE(read);
    EXPECT_EQ(read->width, 3U);
    EXPECT_EQ(read->height, 2U);
    EXPECT_EQ(read->bytes, littleEndian({8, 9, 10, 14, 15, 16}));
}

/// Changes something of a directory that could be read.
using Change = std::function<void(TIFF*)>;

TEST_F(ForeignDng, FormsThatAreRefused) {
    const auto refuse = [&](const std::string& why, const Change& change) {
        {
            const TiffPointer tiff = Open();
            setRawFrame(tiff.get(), 16, 16);
            change(tiff.get());
            if (TIFFIsTiled(tiff.get()) != 0) {
                std::vector<std::uint8_t> tile(static_cast<std::size_t>(TIFFTileSize(tiff.get())));
                TIFFWriteTile(tiff.get(), tile.data(), 0, 0, 0, 0);
            } else {
                std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(tiff.get())));
                for (std::uint32_t y = 0; y < 16; ++y) {
                    TIFFWriteScanline(tiff.get(), row.data(), y, 0);
                }
            }
        }
        ExpectRefused(Path("frame.dng"), why);
    };
    refuse("compressed", [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW); });
    refuse("in tiles", [](TIFF* tiff) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, 16);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, 16);
    });
    refuse("1 samples a pixel of 32 bits", [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 32); });
    refuse("1 samples a pixel of 1 bits", [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1); });
    refuse("whole number", [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT); });
    refuse("there is none", [](TIFF* tiff) { TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, FILETYPE_REDUCEDIMAGE); });
    refuse("colour array", [](TIFF* tiff) {
        constexpr std::uint8_t kNoBayer[] = {0, 1, 2, 3};
        TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, kNoBayer);
    });
    refuse("colour array", [](TIFF* tiff) {
        constexpr std::uint16_t kTall[] = {4, 2};
        TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, kTall);
    });
    refuse("black levels of 1 x 3", [](TIFF* tiff) {
        constexpr std::uint16_t kTall[] = {3, 1};
        constexpr float kBlack[] = {1, 2, 3};
        TIFFSetField(tiff, TIFFTAG_BLACKLEVELREPEATDIM, kTall);
        TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 3, kBlack);
    });
    refuse("black levels of 2 x 2", [](TIFF* tiff) {
        constexpr float kBlack[] = {1, 2};
        TIFFSetField(tiff, TIFFTAG_BLACKLEVELREPEATDIM, kTwoByTwo);
        TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 2, kBlack);
    });
    refuse("do not fit", [](TIFF* tiff) {
        constexpr std::uint32_t kWhite[] = {65536};
        TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, kWhite);
    });
    refuse("do not fit", [](TIFF* tiff) {
        constexpr std::uint32_t kWhite[] = {100};
        constexpr float kBlack[] = {100};
        TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, kWhite);
        TIFFSetField(tiff, TIFFTAG_BLACKLEVEL, 1, kBlack);
    });
    refuse("lies outside", [](TIFF* tiff) {
        constexpr std::uint32_t kArea[] = {0, 0, 17, 16};
        TIFFSetField(tiff, TIFFTAG_ACTIVEAREA, kArea);
    });
    refuse("lies outside", [](TIFF* tiff) {
        constexpr std::uint32_t kArea[] = {8, 8, 8, 8};
        TIFFSetField(tiff, TIFFTAG_ACTIVEAREA, kArea);
    });
}

// ---- damaged files, and others ----

/// Puts a number of a directory's tag, which fits into it, elsewhere in a little-endian file.
void patchTag(std::vector<std::uint8_t>& file, unsigned tag, std::uint32_t value) {
    const auto word = [&](std::size_t at) { return file[at] | file[at + 1] << 8; };
    std::size_t directory = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        directory |= static_cast<std::size_t>(file[4 + i]) << 8 * i;
    }
    for (int i = 0; i < word(directory); ++i) {
        const std::size_t entry = directory + 2 + 12 * static_cast<std::size_t>(i);
        if (word(entry) == static_cast<int>(tag)) {
            file[entry + 2] = 4; // of 32 bits
            for (std::size_t j = 0; j < 4; ++j) {
                file[entry + 8 + j] = static_cast<std::uint8_t>(value >> 8 * j);
            }
            return;
        }
    }
    ADD_FAILURE() << "no tag " << tag;
}

TEST_F(Dng, SizesThatNoFrameHas) {
    const std::vector<std::uint8_t> good = readFile(Written(frameOf(20, 10, VEK_COLOR_ARRAY_RGGB, 16)));
    const auto refuse = [&](std::uint32_t width, std::uint32_t height, const std::string& why) {
        std::vector<std::uint8_t> bytes = good;
        patchTag(bytes, TIFFTAG_IMAGEWIDTH, width);
        patchTag(bytes, TIFFTAG_IMAGELENGTH, height);
        ExpectRefused(Write("frame.dng", bytes), why);
    };
    refuse(65536, 10, "1 to 65535 are possible");
    refuse(20, 0xFFFFFFFF, "");
    refuse(65535, 65535, "too short: 8589672450 bytes needed");
    refuse(21, 10, "StripByteCounts");
    refuse(0, 10, "");
    refuse(20, 0, "");
}

TEST_F(Dng, CutFilesAreRefused) {
    const std::vector<std::uint8_t> good = readFile(Written(frameOf(20, 10, VEK_COLOR_ARRAY_RGGB, 16)));
    for (std::size_t size = 4; size < good.size(); ++size) {
        Write("frame.dng", {good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)});
        try {
            // The last byte fills up.
            EXPECT_TRUE(!client::readDng(Path("frame.dng")) || size + 1 == good.size()) << size;
        } catch (const client::CFailure&) {
            continue;
        }
    }
}

TEST_F(Dng, WrongBytesAreNoFault) {
    SDngFrame frame = frameOf(8, 6, VEK_COLOR_ARRAY_RGGB, 16);
    frame.tags.colors = {{}};
    frame.tags.noise = {1, 2};
    frame.tags.gainMaps = {client::gainMapOf({}, 8, 6, 2, 2, {1, 2, 3, 4})};
    frame.tags.linearization = {1, 2, 3};
    const std::vector<std::uint8_t> good = readFile(Written(frame));
    std::mt19937 random(7);
    int read = 0;
    for (int i = 0; i < 3000; ++i) {
        std::vector<std::uint8_t> bytes = good;
        for (unsigned long changes = 1 + random() % 3; changes > 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        try {
            read += client::readDng(Write("other", bytes)) ? 1 : 0;
        } catch (const client::CFailure&) {
            continue;
        }
    }
    EXPECT_GT(read, 100);
}

TEST_F(Dng, OtherFilesAreNone) {
    EXPECT_THROW(client::readDng(Path("missing.dng")), client::CFailure);
    EXPECT_FALSE(client::readDng(Path("missing.tif")));
    EXPECT_FALSE(client::readDng(Path("")));
    EXPECT_FALSE(client::readDng("/dev/null"));
    EXPECT_FALSE(client::readDng(Write("empty.dng", {})));
    EXPECT_FALSE(client::readDng(WriteText("text.dng", "no frame")));
    EXPECT_FALSE(client::readDng(Write("broken.tif", {'I', 'I', '*', 0, 1, 2})));
    const std::string path = Path("picture.tif");
    {
        const TiffPointer tiff(TIFFOpen(path.c_str(), "w"), TIFFClose);
        setRawFrame(tiff.get(), 7, 10);
        writeRamp(tiff.get(), 7, 10, 10);
    }
    EXPECT_FALSE(client::readDng(path));
}

TEST_F(Dng, FullDevices) {
    client::COutputFiles files;
    client::writeDng(files.Open("/dev/full"), frameOf(1, 1, VEK_COLOR_ARRAY_MONO, 8));
    EXPECT_THROW(files.Publish(), client::CFailure);
}

} // namespace

} // namespace vek::test
