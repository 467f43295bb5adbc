// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::emulator {

/// A temporary folder with what programs look up about the camera in /sys, and its name in /dev.
class CShadowTree {
public:
    /// name: of the camera, as /sys shows it. Throws std::runtime_error.
    CShadowTree(unsigned node, const std::string& name);
    ~CShadowTree();
    CShadowTree(const CShadowTree&) = delete;
    CShadowTree& operator=(const CShadowTree&) = delete;

    const std::string& Folder() const { return mFolder; }
    /// Who watches /dev sees the node come and go.
    void Show(bool plugged);

private:
    void Write(const std::string& path, const std::string& text) const;
    void Link(const std::string& path, const std::string& target) const;

    std::string mFolder;
    std::string mNode;
};

} // namespace vek::emulator
