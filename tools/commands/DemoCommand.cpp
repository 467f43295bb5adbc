// SPDX-License-Identifier: Apache-2.0
#include "client/camera/CameraInfo.h"
#include "client/camera/FrameGrabber.h"
#include "client/camera/LuminanceLoop.h"
#include "client/files/OutputFile.h"
#include "client/files/OutputPath.h"
#include "client/names/Names.h"
#include "client/pictures/DisplayRendering.h"
#include "client/pictures/PngOutput.h"
#include "client/stages/Conversion.h"
#include "client/stages/LibraryHandle.h"

#include "tools/commands/Commands.h"
#include "tools/options/CameraOptions.h"
#include "tools/options/Options.h"
#include "tools/simulation/Chart.h"
#include "tools/text/CameraText.h"
#include "tools/text/LuminanceReport.h"
#include "tools/text/Messages.h"
#include "tools/text/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

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

std::shared_ptr<sim::CSimulatedDriver> makeDriver(const SDemoArguments& arguments) {
    const sim::SCameraModel& model = modelNamed(arguments.model);
    auto driver = std::make_shared<sim::CSimulatedDriver>(model, sensorOf(model, arguments.setup));
    driver->SetExposureTime(kStartSeconds);
    return driver;
}

class CDemo {
public:
    explicit CDemo(const SDemoArguments& arguments)
        : mArguments(arguments), mDriver(makeDriver(arguments)), mCamera(mDriver), mHandle(mCamera.Fd()) {}

    void Run() {
        printNow(cameraText(readCameraInfo(mCamera)));
        makeDirectory(mArguments.directory);
        SettleExposure();
        {
            CProgressBar progress(mArguments.frames + 1);
            CFrameGrabber bytes(mCamera, *transferFormat(VEK_TRANSFER_RAW8));
            for (unsigned i = 1; i <= mArguments.frames; ++i) {
                bytes.Next();
                ShowFrame(bytes, i);
                KeepRaw(bytes, fmt::format("frame{}.raw", i));
                progress.Advance();
            }
            CFrameGrabber words(mCamera, *transferFormat(VEK_TRANSFER_RAW12));
            words.Next();
            ShowDeepFrame(words);
            KeepRaw(words, "deep.raw");
            progress.Advance();
        }
        if (mArguments.truth) {
            WriteTruth();
        }
        TellPictures();
    }

private:
    void SettleExposure() {
        CFrameGrabber grabber(mCamera, *transferFormat(VEK_TRANSFER_RAW8));
        SLuminanceSettings settings;
        settings.mode = VEK_ALC_EXPOSURE_AND_GAIN_ONCE;
        settings.target = kTargetLevel;
        unsigned long longest = 0;
        if (VekCam_GetExposureClockFromTime(mHandle.Get(), kLongestSeconds, &longest) == 1) {
            settings.maxExposure = static_cast<std::uint32_t>(longest);
        }
        CLuminanceLoop loop(mHandle.Get(), grabber, mCamera, settings, {0, 0, grabber.Width(), grabber.Height()});
        print("\nThe exposure settles by itself:\n");
        std::vector<SLuminanceStep> steps;
        do {
            steps.push_back(loop.Step());
            const SLuminanceStep& step = steps.back();
            print(fmt::format("  frame {:>2}  {:>8.3f} ms  {:>6.2f} dB  level {:>5.1f}  {}\n", step.frame,
                              1000 * step.seconds, step.decibels, step.level,
                              std::string(static_cast<std::size_t>(step.level / 4), '#')));
        } while (steps.back().mode != VEK_ALC_OFF && steps.size() < kMostFrames);
        printNow(fmt::format("  {}\n", settlingText(settlingOf(steps, kTargetLevel), kTargetLevel)));
    }

    SDisplayLevels Levels(const SLook& look, unsigned depth) const {
        const sim::SSensorConfig sensor = mDriver->Sensor();
        return look.levels(depth, sensor.blackLevel, sensor.depth);
    }

    SLook LookFor(const SImage& image) const {
        const SDisplayLevels range = Levels(SLook(), image.depth);
        SLook look;
        if (image.channels == 3) {
            look.gains =
                neutralPatchGains(image, mDriver->Scene().Patches(), range).value_or(grayWorldGains(image, range));
        }
        look.white = (brightLevel(image, range, look.gains) - range.black) / (range.white - range.black);
        return look;
    }

    void Write(const std::string& file, const SImage& image, unsigned short depth, const std::string& explanation) {
        const std::string path = PathOf(file);
        writePng(path, renderForDisplay(image, Levels(mLook, image.depth), mLook.gains, depth),
                 {.displayCurve = true, .threads = usualThreads()});
        mPictures.push_back({path, explanation});
    }

    /// The grabber's last frame as a picture, made as convert makes it.
    SImage Developed(const CFrameGrabber& grabber, unsigned char method) {
        auto& converter = mConverters[{grabber.Format().code, method}];
        if (!converter) {
            SConversion conversion;
            conversion.format = &grabber.Format();
            conversion.width = grabber.Width();
            conversion.height = grabber.Height();
            conversion.colorArray = grabber.ColorArray();
            conversion.method = method;
            conversion.threads = usualThreads();
            complete(conversion);
            converter = std::make_unique<CConverter>(mImages, conversion);
            if (converter->Chain() != nullptr) {
                mThreads = std::max(mThreads, converter->Chain()->Threads());
            } else {
                mWithoutChain.insert(methodName(method));
            }
        }
        return converter->Developed(grabber.Bytes());
    }

    void ShowFrame(const CFrameGrabber& grabber, unsigned number) {
        if (number == 1) {
            mLook = LookFor(Developed(grabber, VEK_DEMOSAIC_BILINEAR_SIMPLE));
        }
        for (const SDemosaicMethod& method : kChainMethods) {
            const bool gray = grabber.ColorArray() == VEK_COLOR_ARRAY_MONO;
            if (gray && method.code != VEK_DEMOSAIC_MONO) {
                continue; // every method gives the same grey picture
            }
            Write(fmt::format("frame{}-{}.png", number, method.name), Developed(grabber, method.code), 8,
                  fmt::format("frame {}, {}", number, gray ? "samples of the monochrome sensor" : method.explanation));
        }
    }

    void ShowDeepFrame(const CFrameGrabber& grabber) {
        const bool gray = grabber.ColorArray() == VEK_COLOR_ARRAY_MONO;
        Write("deep-16bit.png", Developed(grabber, VEK_DEMOSAIC_BILINEAR_SIMPLE), 16,
              gray ? "a 12-bit frame as a 16-bit picture: finer steps in the shadows"
                   : "a 12-bit frame, bilinear, as a 16-bit picture: finer steps in the shadows");
    }

    std::string PathOf(const std::string& file) const { return pathInside(mArguments.directory, file); }

    /// Writes the grabber's last frame as the camera sent it.
    void KeepRaw(const CFrameGrabber& grabber, const std::string& file) {
        if (!mArguments.raw) {
            return;
        }
        const std::string path = PathOf(file);
        writeBytes(path, grabber.Bytes());
        mRawFrames.push_back({path, fmt::format("-W {} -H {} -f {} -a {}", grabber.Width(), grabber.Height(),
                                                grabber.Format().name, colorArrayName(grabber.ColorArray()))});
    }

    void WriteTruth() {
        const std::string path = PathOf("truth.png");
        writePng(path, scaledToDepth(trueColors(*mDriver, mArguments.setup), 16), {.threads = usualThreads()});
        mTruth = fmt::format("\nThe chart's true colours in the sensor's samples, linear, 16 bits:\n  {}\n", path);
    }

    static std::string ListOf(const std::vector<SPicture>& pictures) {
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

    /// What made the pictures.
    std::string DeveloperText() const {
        std::string text =
            fmt::format("\nDeveloped by the library's chain (VekChain_Run), {}",
                        mThreads == 1 ? "on one thread" : fmt::format("bands of rows on {} threads", mThreads));
        if (!mWithoutChain.empty()) {
            text += fmt::format(";\n{} by VekCam_ColorInterpolation, as no chain has odd sizes of it",
                                fmt::join(mWithoutChain, " and "));
        }
        return text + ".\n";
    }

    void TellPictures() const {
        std::string text = fmt::format("\n{} pictures, balanced on the chart's grey patches and with the sRGB curve:\n",
                                       mPictures.size());
        text += ListOf(mPictures);
        text += DeveloperText();
        if (!mRawFrames.empty()) {
            text += "\nRaw frames, and what `vekcam convert` is told of them:\n" + ListOf(mRawFrames);
        }
        text += mTruth;
        if (const std::string program = programPath(); !program.empty()) {
            text += fmt::format("\nThis was {0}; what else it does:\n  {0} --help\n", program);
        }
        print(text);
    }

    const SDemoArguments& mArguments;
    std::shared_ptr<sim::CSimulatedDriver> mDriver;
    CSimulatedCamera mCamera;
    CLibraryHandle mHandle;
    CLibraryHandle mImages{-1}; ///< its settings change nothing
    std::map<std::pair<unsigned, unsigned char>, std::unique_ptr<CConverter>> mConverters; ///< by format and method
    unsigned mThreads = 1;                                                                 ///< of the chains
    std::set<std::string_view> mWithoutChain;                                              ///< methods
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
