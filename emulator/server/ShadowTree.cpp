// SPDX-License-Identifier: Apache-2.0
#include "emulator/server/ShadowTree.h"

#include "emulator/Protocol.h"
#include "emulator/server/Handle.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace vek::emulator {

namespace {

namespace fs = std::filesystem;

/// Names longer than that do not fit into what the program is told.
constexpr std::size_t kLongestFolder = 200;

std::string temporaryFolder() {
    std::error_code error;
    std::string start = fs::temp_directory_path(error).string();
    // The preloaded library may have to be reached through a link here: a list of such libraries has blanks and colons
    // between them.
    if (error || start.size() > kLongestFolder || start.find_first_of(" :\n") != std::string::npos) {
        start = "/tmp";
    }
    std::string name = start + "/vekcam-emulate-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        failedTo(name + ": cannot make a folder");
    }
    return name;
}

} // namespace

CShadowTree::CShadowTree(unsigned node, const std::string& name)
    : mFolder(temporaryFolder()), mNode("video" + std::to_string(node)) {
    const std::string device = "/sys/devices/platform/vekcam-sim";
    const std::string video = device + "/video4linux/" + mNode;
    const std::string driver = "/sys/bus/platform/drivers/vekcam-sim";
    const std::string number = std::to_string(kDeviceMajor) + ':' + std::to_string(node);
    for (const std::string& folder :
         {std::string("/dev"), std::string("/sys/class/video4linux"), std::string("/sys/dev/char"), video, driver}) {
        fs::create_directories(mFolder + folder);
    }
    Write(video + "/name", name + '\n');
    Write(video + "/dev", number + '\n');
    Write(video + "/index", "0\n");
    Write(video + "/uevent",
          "MAJOR=" + std::to_string(kDeviceMajor) + "\nMINOR=" + std::to_string(node) + "\nDEVNAME=" + mNode + '\n');
    Write(device + "/uevent", "DRIVER=vekcam-sim\nMODALIAS=platform:vekcam-sim\n");
    Write(device + "/modalias", "platform:vekcam-sim\n");
    Link(video + "/device", "../../../vekcam-sim");
    Link(video + "/subsystem", "../../../../../class/video4linux");
    Link(device + "/driver", "../../../bus/platform/drivers/vekcam-sim");
    Link("/sys/class/video4linux/" + mNode, "../../devices/platform/vekcam-sim/video4linux/" + mNode);
    Link("/sys/dev/char/" + number, "../../devices/platform/vekcam-sim/video4linux/" + mNode);
    // Cameras that the machine really has stay where they are.
    std::error_code none;
    for (const fs::directory_entry& entry : fs::directory_iterator("/sys/class/video4linux", none)) {
        const fs::path target = fs::canonical(entry.path(), none);
        if (entry.path().filename() != mNode && !none) {
            Link("/sys/class/video4linux/" + entry.path().filename().string(), target.string());
        }
    }
}

CShadowTree::~CShadowTree() {
    std::error_code none;
    fs::remove_all(mFolder, none);
}

void CShadowTree::Write(const std::string& path, const std::string& text) const {
    std::ofstream file(mFolder + path);
    file << text;
    if (!file.flush()) {
        failedTo(mFolder + path + ": cannot write");
    }
}

void CShadowTree::Link(const std::string& path, const std::string& target) const {
    fs::create_symlink(target, mFolder + path);
}

void CShadowTree::Show(bool plugged) {
    const std::string path = mFolder + kShadowDevices + '/' + mNode;
    if (plugged) {
        // As with a node of devtmpfs: it comes, then gets its permissions.
        const CHandle file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (file) {
            fchmod(file.Get(), S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP);
        }
    } else {
        unlink(path.c_str());
    }
}

} // namespace vek::emulator
