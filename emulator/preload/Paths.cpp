// SPDX-License-Identifier: Apache-2.0
#include "emulator/preload/Paths.h"

#include "emulator/preload/Kernel.h"
#include "emulator/preload/Session.h"

#include <fcntl.h>

#include <cstdio>
#include <cstring>

namespace vek::emulator {

namespace {

/// Appends the parts of a path, which may be relative, to out, less "." and doubled slashes. parents: ".." goes up.
/// False: it is too long.
bool append(const char* path, bool parents, char* out, std::size_t& length) {
    while (*path != '\0') {
        while (*path == '/') {
            ++path;
        }
        const std::size_t part = std::strcspn(path, "/");
        const bool up = part == 2 && path[0] == '.' && path[1] == '.';
        if (up && parents) {
            while (length > 0 && out[--length] != '/') {
            }
        } else if (part > 0 && !(part == 1 && path[0] == '.')) {
            if (length + part + 2 > PATH_MAX) {
                return false;
            }
            out[length++] = '/';
            std::memcpy(out + length, path, part);
            length += part;
        }
        path += part;
    }
    out[length] = '\0';
    return true;
}

/// A descriptor's path, or that of the working folder.
bool folderPath(int folder, char* out) {
    if (folder == AT_FDCWD) {
        return kernel(SYS_getcwd, out, PATH_MAX) > 0 && out[0] == '/';
    }
    char link[48];
    std::snprintf(link, sizeof(link), "/proc/self/fd/%d", folder);
    const long bytes = kernel(SYS_readlinkat, AT_FDCWD, link, out, PATH_MAX - 1);
    if (bytes <= 0 || out[0] != '/') {
        return false;
    }
    out[bytes] = '\0';
    return true;
}

bool isBelow(const char* path, const char* folder) {
    const std::size_t length = std::strlen(folder);
    return std::strncmp(path, folder, length) == 0 && (path[length] == '\0' || path[length] == '/');
}

bool isShadowed(const char* path) {
    for (const char* const folder : kShadowed) {
        if (isBelow(path, folder)) {
            return true;
        }
    }
    return isBelow(path, session().numberPath);
}

/// The whole path of a name, ".." left in it or not.
bool wholePath(int folder, const char* path, bool parents, char* out) {
    std::size_t length = 0;
    if (*path != '/') {
        char start[PATH_MAX];
        if (!folderPath(folder, start) || !append(start, parents, out, length)) {
            return false;
        }
    }
    return append(path, parents, out, length);
}

} // namespace

EPlace placeOf(int folder, const char* path, SPlace& place) {
    place.kind = EPlace::Elsewhere;
    const SSession& now = session();
    if (!now.on || path == nullptr || *path == '\0') {
        return place.kind;
    }
    // Names that cannot mean the camera cost next to nothing.
    const bool mayBe =
        std::strstr(path, "video") != nullptr || std::strstr(path, "81:") != nullptr || std::strstr(path, "vekcam-sim");
    if (!mayBe) {
        return place.kind;
    }
    char whole[PATH_MAX] = {};
    if (!wholePath(folder, path, false, whole)) {
        return place.kind;
    }
    if (isShadowed(whole)) {
        const std::size_t front = std::strlen(now.folder);
        if (front + std::strlen(whole) < sizeof(place.path)) {
            std::memcpy(place.path, now.folder, front);
            std::memcpy(place.path + front, whole, std::strlen(whole) + 1);
            place.kind = EPlace::Shadow;
        }
        return place.kind;
    }
    if (std::strstr(whole, "/..") != nullptr && !wholePath(folder, path, true, whole)) {
        return place.kind;
    }
    place.kind = std::strcmp(whole, now.nodePath) == 0 ? EPlace::Node : EPlace::Elsewhere;
    return place.kind;
}

bool linksToNode(int folder, const char* path) {
    if (!session().on || path == nullptr) {
        return false;
    }
    constexpr int kMostLinks = 8;
    char link[PATH_MAX];
    std::size_t length = std::strlen(path);
    if (length >= sizeof(link)) {
        return false;
    }
    std::memcpy(link, path, length + 1);
    for (int i = 0; i < kMostLinks; ++i) {
        char target[PATH_MAX];
        const long bytes = kernel(SYS_readlinkat, folder, link, target, sizeof(target) - 1);
        if (bytes <= 0) {
            return false;
        }
        target[bytes] = '\0';
        if (target[0] != '/') { // relative to where the link stands
            char* const slash = std::strrchr(link, '/');
            const std::size_t front = slash != nullptr ? static_cast<std::size_t>(slash - link) + 1 : 0;
            if (front + static_cast<std::size_t>(bytes) >= sizeof(link)) {
                return false;
            }
            std::memcpy(link + front, target, static_cast<std::size_t>(bytes) + 1);
        } else {
            std::memcpy(link, target, static_cast<std::size_t>(bytes) + 1);
        }
        SPlace place;
        if (placeOf(folder, link, place) == EPlace::Node) {
            return true;
        }
    }
    return false;
}

bool unshadow(char* path) {
    const std::size_t front = std::strlen(session().folder);
    if (std::strncmp(path, session().folder, front) != 0 || path[front] != '/') {
        return false;
    }
    std::memmove(path, path + front, std::strlen(path + front) + 1);
    return true;
}

} // namespace vek::emulator
