// SPDX-License-Identifier: Apache-2.0
// How `vekcam convert` makes a file of a frame, as its arguments say.
#pragma once

#include "client/develop/Developer.h"
#include "client/frames/Dng.h"
#include "client/frames/FrameFiles.h"
#include "client/pictures/PictureOutput.h"
#include "client/stages/Conversion.h"

#include "tools/options/DevelopOptions.h"
#include "tools/options/Options.h"

#include <CLI/App.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vek::tools {

struct SConvertArguments {
    const CLI::App* command = nullptr;
    std::vector<std::string> inputs; ///< as typed
    SFrameChoice input;              ///< of one file
    std::string output;
    std::string format;
    std::string colorArray;
    std::string method;
    SDevelopTexts develop;
    bool plain = false;
    std::string settings;
    std::optional<int> quality;
    std::string profile;
    SConversion conversion;
    std::optional<SFrameSteps> frames; ///< of a series
    bool json = false;
    bool keepGoing = false;
    bool resume = false;
};

/// What makes pictures of frames of one form. One thread at a time uses it.
struct SMaker {
    std::function<SPictureView(std::span<const std::uint8_t>)> picture; ///< stays until the next one
};

/// How frames of one form become pictures.
struct SMakerKind {
    std::function<SMaker()> make;
    bool srgb = false; ///< samples follow the sRGB curve
};

/// Makers of one kind, as many as are used at once.
class CMakers {
public:
    explicit CMakers(SMakerKind kind) : mKind(std::move(kind)) {}

    bool Srgb() const { return mKind.srgb; }
    SMaker Take() {
        {
            const std::scoped_lock lock(mMutex);
            if (!mFree.empty()) {
                SMaker maker = std::move(mFree.back());
                mFree.pop_back();
                return maker;
            }
        }
        return mKind.make();
    }
    void Give(SMaker maker) {
        const std::scoped_lock lock(mMutex);
        mFree.push_back(std::move(maker));
    }

private:
    SMakerKind mKind;
    std::mutex mMutex;
    std::vector<SMaker> mFree;
};

/// Takes what is known of the frames of a file: their form and the profile, where there is one.
void takeForm(SConvertArguments& arguments, const STransferredFrame& form, const std::optional<SProfile>& profile);

/// Completes and checks the arguments for frames whose form was taken. read: gives the first frame, once all else is
/// known to fit together; for white balance and exposure that are found on it. tags: of a DNG file, else null. Throws
/// CBadArguments, CFailure.
SMakerKind makerKind(SConvertArguments& arguments, const std::function<const STransferredFrame&()>& read,
                     const SDngTags* tags);

/// Throws CBadArguments for options that say how a picture is made, where the output is a DNG file.
void requireNoPicture(const SConvertArguments& arguments);

/// Throws CBadArguments for a format that is colour already, where the output is a DNG file. The form was taken.
void requireRaw(const SConvertArguments& arguments);

/// A raw frame as a DNG file holds it, with what the profile says. The form was taken.
SDngFrame untouchedFrame(const SConvertArguments& arguments, const CLibraryHandle& library, STransferredFrame frame);
/// Gives it the levels of the arguments. Throws CBadArguments.
void takeLevels(const SConvertArguments& arguments, SDngFrame& frame);

/// The files that a conversion reads.
std::vector<std::string> filesRead(const SConvertArguments& arguments);

/// Adds --method and --depth to --sharpness, which say how frames become pictures. arguments stays where it is while
/// the command lives.
void addPictureOptions(CLI::App& command, SConvertArguments& arguments);
/// What keeps a frame's picture or DNG file from being written to a path; empty where nothing does.
std::string frameOutputComplaint(const std::string& path);

SPictureOptions pictureOptions(const SConvertArguments& arguments, bool srgb);

} // namespace vek::tools
