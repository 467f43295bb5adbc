// SPDX-License-Identifier: Apache-2.0
#include "client/Errors.h"
#include "client/pictures/PictureOutput.h"
#include "client/pictures/PngOutput.h"
#ifdef VEKCAM_ISAL
#include "client/pictures/PngBands.h"
#endif

#include "support/Files.h"
#include "support/PngFile.h"

#include <tiffio.h>

#include <cstdio>
#include <memory>
#include <random>
#include <utility>

#include <jpeglib.h>
#include <sys/stat.h>

namespace vek::test {

namespace {

enum class EContents { Noise, Flat, Ramp };

client::SImage imageOf(std::uint32_t width, std::uint32_t height, unsigned short channels, unsigned short depth,
                       EContents contents) {
    client::SImage image{width, height, channels, depth, {}};
    std::mt19937 random(width * 31 + height * 7 + channels + depth);
    const std::uint16_t largest = client::maxSample(depth);
    for (std::size_t i = 0; i < image.RowSamples() * height; ++i) {
        const auto ramp = static_cast<std::uint16_t>(i * 37 & largest);
        const auto noise = static_cast<std::uint16_t>(random() & largest);
        image.samples.push_back(contents == EContents::Noise  ? noise
                                : contents == EContents::Flat ? static_cast<std::uint16_t>(largest / 3)
                                                              : ramp);
    }
    return image;
}

void expectSame(const SPng& read, const client::SImage& image) {
    EXPECT_EQ(read.width, image.width);
    EXPECT_EQ(read.height, image.height);
    EXPECT_EQ(read.channels, image.channels);
    EXPECT_EQ(read.bits, image.depth);
    EXPECT_TRUE(read.samples == image.samples);
}

using Check = std::function<void(const client::SImage&)>;

/// Images of many sizes, 8 and 16 bits, grey and colour, of every content.
void forImages(const Check& check) {
    constexpr std::pair<std::uint32_t, std::uint32_t> kSizes[] = {{1, 1},  {1, 2},    {2, 1},    {3, 5},
                                                                  {17, 9}, {255, 64}, {64, 257}, {1031, 211}};
    for (const auto& [width, height] : kSizes) {
        for (const unsigned short depth : std::initializer_list<unsigned short>{8, 16}) {
            for (const unsigned short channels : std::initializer_list<unsigned short>{1, 3}) {
                for (const EContents contents : {EContents::Noise, EContents::Flat, EContents::Ramp}) {
                    SCOPED_TRACE(::testing::Message() << width << " x " << height << ", " << depth << " bit, "
                                                      << channels << ", " << static_cast<int>(contents));
                    check(imageOf(width, height, channels, depth, contents));
                }
            }
        }
    }
}

class ClientPictures : public CFileTest {
protected:
    std::string Written(const std::string& name, const client::SImage& image,
                        const client::SPictureOptions& options = {}) const {
        client::COutputFiles files;
        client::writePicture(files.Open(Path(name)), *client::pictureFormat(name), image, options);
        files.Publish();
        return Path(name);
    }
};

// ---- PNG ----

TEST_F(ClientPictures, PngHoldsEverySample) {
    forImages([this](const client::SImage& image) {
        expectSame(readPng(Written("out.png", image)), image);
        expectSame(readPng(Written("out.png", image, {.threads = 3})), image);
        client::COutputFiles files;
        std::vector<std::uint8_t> bytes;
        client::writePngByLibpng(files.Open(Path("libpng.png")), client::viewOf(image, bytes), {});
        files.Publish();
        expectSame(readPng(Path("libpng.png")), image);
    });
}

TEST_F(ClientPictures, PngTellsOfTheDisplayCurve) {
    const client::SImage image = imageOf(5, 4, 3, 8, EContents::Ramp);
    EXPECT_FALSE(readPng(Written("out.png", image)).sRgb);
    const SPng read = readPng(Written("out.png", image, {.displayCurve = true}));
    EXPECT_TRUE(read.sRgb);
    expectSame(read, image);
}

#ifdef VEKCAM_ISAL
std::vector<std::uint8_t> inBands(const client::SImage& image, unsigned threads, std::size_t bandBytes) {
    std::vector<std::uint8_t> file;
    std::vector<std::uint8_t> bytes;
    for (const std::vector<std::uint8_t>& piece :
         client::pngInBands(client::viewOf(image, bytes), {.threads = threads}, bandBytes)) {
        file.insert(file.end(), piece.begin(), piece.end());
    }
    return file;
}

TEST_F(ClientPictures, PngOfOneBandAndOfMany) {
    forImages([](const client::SImage& image) {
        for (const std::size_t bandBytes : {std::size_t{1}, std::size_t{5000}, std::size_t{1} << 30}) {
            for (const unsigned threads : {1U, 4U}) {
                expectSame(decodePng(inBands(image, threads, bandBytes)), image);
            }
        }
    });
}

TEST_F(ClientPictures, PngOfEvenSurfacesIsSmall) {
    EXPECT_LT(inBands(imageOf(1000, 700, 3, 16, EContents::Flat), 1, client::kPngBandBytes).size(), 40000U);
}
#endif

// ---- TIFF ----

/// The picture of a TIFF file as libtiff reads it.
client::SImage readTiff(const std::string& path) {
    const std::unique_ptr<TIFF, decltype(&TIFFClose)> tiff(TIFFOpen(path.c_str(), "r"), TIFFClose);
    client::SImage image;
    if (tiff == nullptr) {
        ADD_FAILURE() << "no TIFF file";
        return image;
    }
    std::uint16_t photometric = 0;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &image.width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &image.height);
    TIFFGetField(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &image.channels);
    TIFFGetField(tiff.get(), TIFFTAG_BITSPERSAMPLE, &image.depth);
    TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &photometric);
    EXPECT_EQ(photometric, image.channels == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(tiff.get())));
    for (std::uint32_t y = 0; y < image.height; ++y) {
        EXPECT_EQ(TIFFReadScanline(tiff.get(), row.data(), y, 0), 1);
        for (std::size_t i = 0; i < image.RowSamples(); ++i) {
            image.samples.push_back(image.depth == 8 ? row[i]
                                                     : static_cast<std::uint16_t>(row[2 * i] | row[2 * i + 1] << 8));
        }
    }
    return image;
}

TEST_F(ClientPictures, TiffHoldsEverySample) {
    forImages([this](const client::SImage& image) {
        const client::SImage read = readTiff(Written("out.tiff", image));
        EXPECT_EQ(read.width, image.width);
        EXPECT_EQ(read.channels, image.channels);
        EXPECT_EQ(read.depth, image.depth);
        EXPECT_TRUE(read.samples == image.samples);
    });
}

// ---- JPEG ----

/// The picture of a JPEG file as libjpeg reads it; a broken file ends the test program.
client::SImage readJpeg(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file.get());
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    client::SImage image{
        jpeg.output_width, jpeg.output_height, static_cast<unsigned short>(jpeg.output_components), 8, {}};
    std::vector<std::uint8_t> row(image.RowSamples());
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW rows[] = {row.data()};
        jpeg_read_scanlines(&jpeg, rows, 1);
        image.samples.insert(image.samples.end(), row.begin(), row.end());
    }
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return image;
}

int largestDifference(const client::SImage& a, const client::SImage& b) {
    int largest = a.samples.size() == b.samples.size() ? 0 : 65535;
    for (std::size_t i = 0; i < a.samples.size() && largest < 65535; ++i) {
        largest = std::max(largest, std::abs(a.samples[i] - b.samples[i]));
    }
    return largest;
}

TEST_F(ClientPictures, JpegIsNearTheSamples) {
    for (const unsigned short channels : std::initializer_list<unsigned short>{1, 3}) {
        // A slow ramp, and colours that change from pixel to pixel: chroma has every pixel.
        client::SImage image{40, 20, channels, 8, {}};
        for (std::size_t i = 0; i < 40 * 20 * std::size_t{channels}; ++i) {
            image.samples.push_back(static_cast<std::uint16_t>(20 + i / channels % 40 * 5));
        }
        const client::SImage read = readJpeg(Written("out.jpg", image));
        EXPECT_EQ(read.width, 40U);
        EXPECT_EQ(read.channels, channels);
        EXPECT_LE(largestDifference(read, image), 4);
    }
    client::SImage stripes{32, 16, 3, 8, {}};
    for (unsigned i = 0; i < 32 * 16; ++i) {
        const bool red = i % 2 == 0;
        stripes.samples.insert(stripes.samples.end(), {static_cast<std::uint16_t>(red ? 220 : 40), 60,
                                                       static_cast<std::uint16_t>(red ? 40 : 220)});
    }
    EXPECT_LE(largestDifference(readJpeg(Written("out.jpeg", stripes, {.quality = 100})), stripes), 6);
}

TEST_F(ClientPictures, JpegOfLessQualityIsSmaller) {
    const client::SImage image = imageOf(100, 80, 3, 8, EContents::Noise);
    const std::size_t usual = readFile(Written("out.jpg", image)).size();
    EXPECT_LT(readFile(Written("out.jpg", image, {.quality = 30})).size(), usual);
    EXPECT_GT(readFile(Written("out.jpg", image, {.quality = 100})).size(), usual);
}

// ---- PPM and PGM ----

TEST_F(ClientPictures, PpmAndPgm) {
    const client::SImage gray{2, 2, 1, 8, {1, 2, 3, 255}};
    Written("out.pgm", gray);
    EXPECT_EQ(Content("out.pgm"), "P5\n2 2\n255\n\x01\x02\x03\xFF");
    Written("out.ppm", gray);
    EXPECT_EQ(Content("out.ppm"), "P6\n2 2\n255\n\x01\x01\x01\x02\x02\x02\x03\x03\x03\xFF\xFF\xFF");
    Written("out.pnm", gray);
    EXPECT_EQ(Content("out.pnm"), Content("out.pgm"));
    // High byte first.
    Written("out.ppm", client::SImage{1, 1, 3, 16, {0x0102, 0x0304, 0xFFFE}});
    EXPECT_EQ(Content("out.ppm"), "P6\n1 1\n65535\n\x01\x02\x03\x04\xFF\xFE");
    Written("out.pnm", client::SImage{1, 1, 3, 16, {0x0102, 0x0304, 0xFFFE}});
    EXPECT_EQ(Content("out.pnm"), Content("out.ppm"));
}

// ---- names and what formats hold ----

std::string formatName(const std::string& path) {
    const client::SPictureFormat* const format = client::pictureFormat(path);
    return format != nullptr ? std::string(format->name) : "none";
}

TEST_F(ClientPictures, TheEndOfTheNameDecides) {
    EXPECT_EQ(formatName("a.png"), "PNG");
    EXPECT_EQ(formatName("/tmp.jpg/a.PnG"), "PNG");
    EXPECT_EQ(formatName("a.tif"), "TIFF");
    EXPECT_EQ(formatName("a.b.TIFF"), "TIFF");
    EXPECT_EQ(formatName("a.jpg"), "JPEG");
    EXPECT_EQ(formatName("a.jpeg"), "JPEG");
    EXPECT_EQ(formatName("a.ppm"), "PPM");
    EXPECT_EQ(formatName("a.pgm"), "PGM");
    EXPECT_EQ(formatName("a.pnm"), "PNM");
    for (const std::string path : {"-", "a", "a.", "/dev/null", "/dev/stdout"}) {
        EXPECT_EQ(formatName(path), "PNG") << path;
    }
    for (const std::string path : {"a.bmp", "a.pngx", "a.png.gz", "a.raw"}) {
        EXPECT_EQ(formatName(path), "none") << path;
        EXPECT_NE(client::pictureComplaint(path).find(".png, .tif, .tiff, .jpg, .jpeg, .ppm, .pgm, .pnm"),
                  std::string::npos);
    }
    ASSERT_EQ(mkfifo(Path("pipe.bmp").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(Path("pipe.ppm").c_str(), 0600), 0);
    EXPECT_EQ(formatName(Path("pipe.bmp")), "PNG");
    EXPECT_EQ(formatName(Path("pipe.ppm")), "PPM");
    EXPECT_EQ(client::pictureComplaint(Path("pipe.bmp")), "");
}

TEST_F(ClientPictures, WhatFormatsDoNotHoldIsRefused) {
    EXPECT_NO_THROW(client::checkPicture("a.png", 65535, 65535, 3, 16));
    EXPECT_NO_THROW(client::checkPicture("a.tif", 65535, 65535, 3, 16));
    EXPECT_NO_THROW(client::checkPicture("a.ppm", 65535, 65535, 1, 16));
    EXPECT_NO_THROW(client::checkPicture("a.jpg", 65500, 65500, 3, 8));
    EXPECT_THROW(client::checkPicture("a.jpg", 4, 4, 3, 16), client::CBadArguments);
    EXPECT_THROW(client::checkPicture("a.jpg", 65501, 4, 3, 8), client::CBadArguments);
    EXPECT_THROW(client::checkPicture("a.jpg", 4, 65501, 3, 8), client::CBadArguments);
    EXPECT_THROW(client::checkPicture("a.pgm", 4, 4, 3, 8), client::CBadArguments);
    EXPECT_NO_THROW(client::checkPicture("a.pgm", 4, 4, 1, 16));
}

TEST_F(ClientPictures, FullDevices) {
    const client::SImage image = imageOf(300, 200, 3, 8, EContents::Noise);
    for (const std::string name : {"a.png", "a.tif", "a.jpg", "a.ppm"}) {
        client::COutputFiles files;
        const auto write = [&] {
            client::writePicture(files.Open("/dev/full"), *client::pictureFormat(name), image, {});
            files.Publish();
        };
        try {
            write();
            ADD_FAILURE() << name;
        } catch (const client::CFailure& failure) {
            EXPECT_EQ(std::string(failure.what()), "/dev/full: cannot write: No space left on device") << name;
        }
    }
    client::COutputFiles files;
    std::vector<std::uint8_t> bytes;
    EXPECT_THROW(client::writePngByLibpng(files.Open("/dev/full"), client::viewOf(image, bytes), {}), client::CFailure);
}

} // namespace

} // namespace vek::test
