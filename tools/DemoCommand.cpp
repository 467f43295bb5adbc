// SPDX-License-Identifier: Apache-2.0
#include "DemoCommand.h"

#include "CameraInfo.h"
#include "DisplayRendering.h"
#include "Errors.h"
#include "FrameGrabber.h"
#include "LibraryHandle.h"
#include "LuminanceLoop.h"
#include "Options.h"
#include "OutputFile.h"
#include "PngOutput.h"
#include "ProgressBar.h"
#include "SimulatedCamera.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>

namespace vek::tools {

namespace {

// Much too dark, so that there is something to settle.
constexpr double kStartSeconds = 0.0005;
// The gain stays at its minimum: the exposure may become longer than the frame rate asks for.
constexpr float kLongestSeconds = 0.1F;
// The chart's white then takes about four fifths of the range in the middle of the picture.
constexpr unsigned short kTargetLevel = 48;
// Doubling from the start needs eight.
constexpr unsigned kMostFrames = 40;

struct SDemoArguments {
    std::string directory = "demo-output";
    unsigned frames = 3;
    std::string model;
    SSimulatedSetup setup;
    bool raw = false;
    bool truth = false;
};

/// A file that was written.
struct SPicture {
    std::string path;
    std::string explanation;
};

struct SMethodText {
    unsigned char method;
    const char* explanation;
};
constexpr SMethodText kMethodTexts[] = {
    {VEK_DEMOSAIC_MONO, "raw samples as grey: the colour filter shows as a fine pattern"},
    {VEK_DEMOSAIC_NONE, "each pixel in its filter's colour only: dark, coloured dots"},
    {VEK_DEMOSAIC_NEAREST_NEIGHBOR, "each 2 x 2 cell shares its samples: true colours, jagged edges"},
    {VEK_DEMOSAIC_BILINEAR_SIMPLE, "missing colours are means of neighbours: smooth, some coloured edges"},
    {VEK_DEMOSAIC_BICUBIC, "missing colours from four neighbours in a row: sharper, with ringing"},
    {VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION,
     "means at the centres of 2 x 2 blocks, half a pixel aside: soft, fewer coloured edges"},
    {VEK_DEMOSAIC_NEAREST_NEIGHBOR2, "the samples of 2 x 2 blocks, half a pixel aside: jagged edges"},
};

/// Channels (red 0, green 1, blue 2) of the 2 x 2 cell of a colour array, row by row.
struct SFilters {
    int colorArray;
    std::array<std::size_t, 4> channels;
};
constexpr SFilters kFilters[] = {{VEK_COLOR_ARRAY_RGGB, {0, 1, 1, 2}},
                                 {VEK_COLOR_ARRAY_GRBG, {1, 0, 2, 1}},
                                 {VEK_COLOR_ARRAY_GBRG, {1, 2, 0, 1}},
                                 {VEK_COLOR_ARRAY_BGGR, {2, 1, 1, 0}}};

std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SDemoArguments& arguments) {
    const sim::SCameraModel& model = modelNamed(arguments.model);
    auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensorOf(model, arguments.setup));
    driver->SetExposureTime(kStartSeconds);
    return driver;
}

/// White balance from the chart's neutral patches; nothing when the picture has none (a very small chart).
std::optional<Gains> neutralPatchGains(const SImage& image, const std::vector<sim::SPatch>& patches,
                                       const SDisplayLevels& levels) {
    Gains sums = {0, 0, 0};
    for (const sim::SPatch& patch : patches) {
        const auto [low, high] = std::minmax_element(patch.color.begin(), patch.color.end());
        // Greys that are neither lost in noise nor near the end of the range; margins keep the edges out.
        if (*low != *high || *low < 0.1F || *high > 0.6F || patch.width < 8 || patch.height < 8) {
            continue;
        }
        for (std::size_t y = patch.y + 2; y < patch.y + patch.height - 2; ++y) {
            for (std::size_t x = patch.x + 2; x < patch.x + patch.width - 2; ++x) {
                for (std::size_t c = 0; c < 3; ++c) {
                    sums[c] += image.samples[y * image.rowSamples() + 3 * x + c] - levels.black;
                }
            }
        }
    }
    if (*std::min_element(sums.begin(), sums.end()) <= 0) {
        return std::nullopt;
    }
    const double strongest = *std::max_element(sums.begin(), sums.end());
    return Gains{strongest / sums[0], strongest / sums[1], strongest / sums[2]};
}

/// How the demo's pictures are shown: found on one picture, used for all, so that they can be compared.
struct SLook {
    Gains gains = {1, 1, 1};
    double white = 1; ///< part of the range from black to the largest sample that becomes white

    /// sensorBlack: black level of a sensor of sensorDepth bits, whose samples were shifted to depth bits.
    SDisplayLevels levels(unsigned depth, double sensorBlack, unsigned sensorDepth) const {
        // Bits that were dropped cost half a step on average.
        const double dropped = sensorDepth > depth ? 0.5 : 0.0;
        const double black = std::ldexp(sensorBlack, static_cast<int>(depth) - static_cast<int>(sensorDepth)) - dropped;
        return {black, black + white * (maxSample(depth) - black)};
    }
};

class CDemo {
public:
    explicit CDemo(const SDemoArguments& arguments)
        : mArguments(arguments), mDriver(makeDriver(arguments)), mCamera(mDriver), mHandle(mCamera.Fd()) {}

    void Run() {
        std::fputs(textOf(readCameraInfo(mCamera.Fd(), mCamera.Name())).c_str(), stdout);
        std::fflush(stdout);
        mvMakeDirectory();
        mvSettleExposure();
        {
            CProgressBar progress(mArguments.frames + 1);
            CFrameGrabber bytes(mCamera.Fd(), mCamera.Name(), *findTransferFormat("raw8"));
            for (unsigned i = 1; i <= mArguments.frames; ++i) {
                mvShowFrame(bytes.Grab(), i);
                mvKeepRaw(bytes, fmt::format("frame{}.raw", i));
                progress.Advance();
            }
            CFrameGrabber words(mCamera.Fd(), mCamera.Name(), *findTransferFormat("raw12"));
            mvShowDeepFrame(words.Grab());
            mvKeepRaw(words, "deep.raw");
            progress.Advance();
        }
        if (mArguments.truth) {
            mvWriteTruth();
        }
        mvTellPictures();
    }

private:
    void mvSettleExposure() {
        CFrameGrabber grabber(mCamera.Fd(), mCamera.Name(), *findTransferFormat("raw8"));
        SLuminanceSettings settings;
        settings.mode = VEK_ALC_EXPOSURE_AND_GAIN_ONCE;
        settings.target = kTargetLevel;
        unsigned long longest = 0;
        if (VekCam_GetExposureClockFromTime(mHandle.Get(), kLongestSeconds, &longest) == 1) {
            settings.maxExposure = static_cast<std::uint32_t>(longest);
        }
        CLuminanceLoop loop(mHandle, grabber, mCamera.Fd(), mCamera.Name(), settings, "");
        std::fputs("\nThe exposure settles by itself:\n", stdout);
        std::vector<SLuminanceStep> steps;
        do {
            steps.push_back(loop.Step());
            const SLuminanceStep& step = steps.back();
            std::fputs(fmt::format("  frame {:>2}  {:>8.3f} ms  {:>6.2f} dB  level {:>5.1f}  {}\n", step.frame,
                                   1000 * step.seconds, step.decibels, step.level,
                                   std::string(static_cast<std::size_t>(step.level / 4), '#'))
                           .c_str(),
                       stdout);
        } while (steps.back().mode != VEK_ALC_OFF && steps.size() < kMostFrames);
        std::fputs(fmt::format("  {}\n", textOf(settlingOf(steps, kTargetLevel), kTargetLevel)).c_str(), stdout);
        std::fflush(stdout);
    }

    void mvMakeDirectory() const {
        std::error_code error;
        std::filesystem::create_directories(mArguments.directory, error);
        if (error) {
            throw CFailure(fmt::format("{}: cannot make the directory: {}", mArguments.directory, error.message()));
        }
    }

    SDisplayLevels mLevels(const SLook& look, unsigned depth) const {
        const sim::SSensorConfig sensor = mDriver->Sensor();
        return look.levels(depth, sensor.blackLevel, sensor.depth);
    }

    SLook mLookFor(const SImage& image) const {
        const SDisplayLevels range = mLevels(SLook(), image.depth);
        SLook look;
        if (image.channels == 3) {
            look.gains =
                neutralPatchGains(image, mDriver->Scene().Patches(), range).value_or(greyWorldGains(image, range));
        }
        look.white = (brightLevel(image, range, look.gains) - range.black) / (range.white - range.black);
        return look;
    }

    void mvWrite(const std::string& file, const SImage& image, unsigned short depth, const std::string& explanation) {
        const std::string path = mPathOf(file);
        writePng(path, renderForDisplay(image, mLevels(mLook, image.depth), mLook.gains, depth), true);
        mPictures.push_back({path, explanation});
    }

    void mvShowFrame(const SRawFrame& frame, unsigned number) {
        if (number == 1) {
            mLook = mLookFor(mHandle.Demosaic(frame, VEK_DEMOSAIC_BILINEAR_SIMPLE));
        }
        for (const SMethodText& text : kMethodTexts) {
            const bool grey = frame.colorArray == VEK_COLOR_ARRAY_MONO;
            if (grey && text.method != VEK_DEMOSAIC_MONO) {
                continue; // every method gives the same grey picture
            }
            mvWrite(fmt::format("frame{}-{}.png", number, methodName(text.method)),
                    mHandle.Demosaic(frame, text.method), 8,
                    fmt::format("frame {}, {}", number, grey ? "samples of the monochrome sensor" : text.explanation));
        }
    }

    void mvShowDeepFrame(const SRawFrame& frame) {
        const unsigned char method = VEK_DEMOSAIC_BILINEAR_SIMPLE;
        const bool grey = frame.colorArray == VEK_COLOR_ARRAY_MONO;
        mvWrite("deep-16bit.png", mHandle.Demosaic(frame, method), 16,
                grey ? "a 12-bit frame as a 16-bit picture: finer steps in the shadows"
                     : "a 12-bit frame, bilinear, as a 16-bit picture: finer steps in the shadows");
    }

    std::string mPathOf(const std::string& file) const {
        return (std::filesystem::path(mArguments.directory) / file).string();
    }

    /// Writes the grabber's last frame as the camera sent it.
    void mvKeepRaw(const CFrameGrabber& grabber, const std::string& file) {
        if (!mArguments.raw) {
            return;
        }
        const std::string path = mPathOf(file);
        writeBytes(path, grabber.Bytes());
        mRawFrames.push_back({path, fmt::format("-W {} -H {} -f {} -a {}", grabber.Width(), grabber.Height(),
                                                grabber.Format().name, colorArrayName(grabber.ColorArray()))});
    }

    /// Writes what the sensor measures with all three filters in front of every pixel, without noise and defects. The
    /// four Bayer phases hold each pixel under each of them.
    void mvWriteTruth() {
        SSimulatedSetup setup = mArguments.setup;
        setup.noNoise = true;
        setup.hot = 0;
        const sim::SCameraModel& model = modelNamed(mArguments.model);
        sim::CSimulatedDriver perfect(model, sensorOf(model, setup));
        perfect.SetExposure(mDriver->ExposureValue());
        perfect.SetGain(mDriver->GainValue());
        SImage truth{perfect.Width(), perfect.Height(), 1, static_cast<unsigned short>(model.depth), {}};
        if (perfect.ColorArray() == VEK_COLOR_ARRAY_MONO) {
            truth.samples = perfect.CaptureRaw().samples;
        } else {
            truth.channels = 3;
            truth.samples.resize(truth.rowSamples() * truth.height);
            for (const SFilters& filters : kFilters) {
                perfect.SetColorArray(filters.colorArray);
                const std::vector<std::uint16_t> mosaic = perfect.CaptureRaw().samples;
                for (std::size_t i = 0; i < mosaic.size(); ++i) {
                    const std::size_t place = i % truth.width % 2 + i / truth.width % 2 * 2;
                    truth.samples[3 * i + filters.channels[place]] = mosaic[i];
                }
            }
        }
        const std::string path = mPathOf("truth.png");
        writePng(path, scaledToDepth(truth, 16), false);
        mTruth = fmt::format("\nThe chart's true colours in the sensor's samples, linear, 16 bits:\n  {}\n", path);
    }

    static std::string mListOf(const std::vector<SPicture>& pictures) {
        std::size_t widest = 0;
        for (const SPicture& picture : pictures) {
            widest = std::max(widest, picture.path.size());
        }
        std::string text;
        for (const SPicture& picture : pictures) {
            text += fmt::format("  {:<{}}  {}\n", picture.path, widest, picture.explanation);
        }
        return text;
    }

    void mvTellPictures() const {
        std::string text = fmt::format("\n{} pictures, balanced on the chart's grey patches and with the sRGB curve:\n",
                                       mPictures.size());
        text += mListOf(mPictures);
        if (!mRawFrames.empty()) {
            text += "\nRaw frames, and what `vekcam convert` is told of them:\n" + mListOf(mRawFrames);
        }
        text += mTruth;
        std::error_code error;
        if (const auto program = std::filesystem::read_symlink("/proc/self/exe", error); !error) {
            text += fmt::format("\nThis was {0}; what else it does:\n  {0} --help\n", program.string());
        }
        std::fputs(text.c_str(), stdout);
    }

    const SDemoArguments& mArguments;
    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    CSimulatedCamera mCamera;
    CLibraryHandle mHandle;
    SLook mLook;
    std::vector<SPicture> mPictures;
    std::vector<SPicture> mRawFrames;
    std::string mTruth; // what is said about it
};

} // namespace

void addDemoCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("demo", "Take frames from a simulated camera and write pictures of them");
    const auto arguments = std::make_shared<SDemoArguments>();

    command->add_option("-o,--output", arguments->directory, "Directory for the pictures, made when it is missing")
        ->type_name("DIR")
        ->capture_default_str();
    command->add_option("-n,--frames", arguments->frames, "Frames of 8 bits to take; one of 12 bits comes on top")
        ->capture_default_str()
        ->transform(range(1, 1000));
    CLI::Option* const simulated = addModelOption(*command, arguments->model, "Simulated camera model");
    command->add_option("--model", arguments->model, "The same as --sim MODEL")
        ->type_name("MODEL")
        ->check(isSimulatedModel())
        ->excludes(simulated);
    addSimulatedSetup(*command, arguments->setup, nullptr);
    command->add_flag("--raw", arguments->raw, "Keep the raw frames, too, as files for `vekcam convert`")
        ->disable_flag_override();
    command
        ->add_flag("--truth", arguments->truth,
                   "Write the chart's true colours, too, as the sensor would measure them with all\n"
                   "three filters in front of every pixel, without noise")
        ->disable_flag_override();
    command->callback([arguments] { CDemo(*arguments).Run(); });
}

} // namespace vek::tools
