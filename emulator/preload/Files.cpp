// SPDX-License-Identifier: Apache-2.0
// Calls that take paths, and those that tell what a descriptor is.
#include "emulator/preload/Kernel.h"
#include "emulator/preload/Next.h"
#include "emulator/preload/Paths.h"
#include "emulator/preload/Session.h"

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vek::emulator {

namespace {

constexpr mode_t kNodeMode = S_IFCHR | 0660;

void fillStatus(struct stat& status) {
    if (kernel(SYS_newfstatat, AT_FDCWD, "/dev", &status, 0) != 0) {
        status = {};
    }
    status.st_mode = kNodeMode;
    status.st_nlink = 1;
    status.st_uid = static_cast<uid_t>(kernel(SYS_geteuid));
    status.st_gid = static_cast<gid_t>(kernel(SYS_getegid));
    status.st_rdev = makedev(kDeviceMajor, session().node);
    status.st_ino = 0x56454B00 + session().node;
    status.st_size = 0;
    status.st_blocks = 0;
}

void fillStatus(struct statx& status) {
    struct stat plain {};
    fillStatus(plain);
    status = {};
    status.stx_mask = STATX_BASIC_STATS;
    status.stx_blksize = static_cast<std::uint32_t>(plain.st_blksize);
    status.stx_nlink = 1;
    status.stx_uid = plain.st_uid;
    status.stx_gid = plain.st_gid;
    status.stx_mode = static_cast<std::uint16_t>(plain.st_mode);
    status.stx_ino = plain.st_ino;
    status.stx_rdev_major = kDeviceMajor;
    status.stx_rdev_minor = session().node;
    status.stx_dev_major = major(plain.st_dev);
    status.stx_dev_minor = minor(plain.st_dev);
    const auto stamp = [](const timespec& time) {
        statx_timestamp out{};
        out.tv_sec = time.tv_sec;
        out.tv_nsec = static_cast<std::uint32_t>(time.tv_nsec);
        return out;
    };
    status.stx_atime = stamp(plain.st_atim);
    status.stx_mtime = stamp(plain.st_mtim);
    status.stx_ctime = stamp(plain.st_ctim);
}

/// status: of either kind. ask: the system's own answer about a path.
template <class Status, class Ask>
long statusAt(int folder, const char* path, Status* status, int flags, Ask ask) {
    SPlace place;
    switch (placeOf(folder, path, place)) {
    case EPlace::Node:
        if (!isPlugged()) {
            return -ENOENT;
        }
        fillStatus(*status);
        return 0;
    case EPlace::Shadow:
        return ask(AT_FDCWD, place.path);
    case EPlace::Elsewhere:
        break;
    }
    const long result = ask(folder, path);
    if (result == -ENOENT && (flags & AT_SYMLINK_NOFOLLOW) == 0 && linksToNode(folder, path) && isPlugged()) {
        fillStatus(*status);
        return 0;
    }
    if (result == 0 && (flags & AT_EMPTY_PATH) != 0 && path != nullptr && *path == '\0' && cameraBehind(folder) != 0) {
        fillStatus(*status);
    }
    return result;
}

long statusOf(int folder, const char* path, struct stat* status, int flags) {
    return statusAt(folder, path, status, flags,
                    [&](int at, const char* name) { return kernel(SYS_newfstatat, at, name, status, flags); });
}

long statusOf(int fd, struct stat* status) {
    const long result = kernel(SYS_fstat, fd, status);
    if (result == 0 && S_ISSOCK(status->st_mode) && cameraBehind(fd) != 0) {
        fillStatus(*status);
    }
    return result;
}

long openNode(int flags) {
    if (!isPlugged()) {
        return -ENOENT;
    }
    if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) {
        return -EEXIST;
    }
    if ((flags & O_DIRECTORY) != 0) {
        return -ENOTDIR;
    }
    if ((flags & O_PATH) != 0) {
        return kernel(SYS_openat, AT_FDCWD, session().nodeMark, flags, 0);
    }
    return vek::emulator::openCamera(flags);
}

/// open: the system's own. Answers as system calls do.
template <class Open>
int openAt(int folder, const char* path, int flags, Open open) {
    SPlace place;
    switch (placeOf(folder, path, place)) {
    case EPlace::Node:
        return static_cast<int>(failOr(openNode(flags)));
    case EPlace::Shadow:
        return open(AT_FDCWD, place.path);
    case EPlace::Elsewhere:
        break;
    }
    const int fd = open(folder, path);
    if (fd < 0 && errno == ENOENT && (flags & O_NOFOLLOW) == 0 && linksToNode(folder, path)) {
        return static_cast<int>(failOr(openNode(flags)));
    }
    return fd;
}

bool needsMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int openNext(int folder, const char* path, int flags, mode_t mode) {
    using Open = int(int, const char*, int, ...);
    if (Open* const next = VEK_NEXT(Open, "openat")) {
        return next(folder, path, flags, mode);
    }
    return static_cast<int>(failOr(kernel(SYS_openat, folder, path, flags, mode)));
}

int openAny(int folder, const char* path, int flags, mode_t mode) {
    return openAt(folder, path, flags, [&](int at, const char* name) { return openNext(at, name, flags, mode); });
}

/// What fopen's mode means to open.
int flagsOf(const char* mode) {
    const bool both = std::strchr(mode, '+') != nullptr;
    int flags = both ? O_RDWR : *mode == 'r' ? O_RDONLY : O_WRONLY;
    flags |= *mode == 'r' ? 0 : O_CREAT;
    flags |= std::strchr(mode, 'x') != nullptr ? O_EXCL : 0;
    flags |= std::strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0;
    return flags;
}

using OpenStream = FILE*(const char*, const char*);

FILE* openStream(const char* path, const char* mode, OpenStream* next) {
    SPlace place;
    const EPlace kind = placeOf(AT_FDCWD, path, place);
    if (kind == EPlace::Node || (kind == EPlace::Elsewhere && linksToNode(AT_FDCWD, path))) {
        const long fd = failOr(openNode(flagsOf(mode)));
        FILE* const stream = fd < 0 ? nullptr : fdopen(static_cast<int>(fd), mode);
        if (fd >= 0 && stream == nullptr) {
            kernel(SYS_close, fd);
        }
        return stream;
    }
    if (next == nullptr) {
        errno = ENOSYS;
        return nullptr;
    }
    return next(kind == EPlace::Shadow ? place.path : path, mode);
}

long accessAt(int folder, const char* path, int mode, int flags) {
    SPlace place;
    const auto ask = [&](int at, const char* name) {
        return flags == 0 ? kernel(SYS_faccessat, at, name, mode) : kernel(SYS_faccessat2, at, name, mode, flags);
    };
    switch (placeOf(folder, path, place)) {
    case EPlace::Shadow:
        return ask(AT_FDCWD, place.path);
    case EPlace::Elsewhere: {
        const long result = ask(folder, path);
        if (result != -ENOENT || !linksToNode(folder, path)) {
            return result;
        }
        break;
    }
    case EPlace::Node:
        break;
    }
    return !isPlugged() ? -ENOENT : (mode & X_OK) != 0 ? -EACCES : 0;
}

/// none: what there is to say of the node.
template <class... T>
long attribute(const char* path, long none, long number, T... arguments) {
    SPlace place;
    const EPlace kind = placeOf(AT_FDCWD, path, place);
    if (kind == EPlace::Node) {
        return isPlugged() ? none : -ENOENT;
    }
    return kernel(number, kind == EPlace::Shadow ? place.path : path, arguments...);
}

// --- Listing /dev ----------------------------------------------------------------------------------------------------

/// Whether a path or a descriptor means /dev itself.
template <class Ask>
bool isDeviceFolder(Ask ask) {
    struct stat devices {};
    struct stat status {};
    return session().on && ask(status) == 0 && kernel(SYS_newfstatat, AT_FDCWD, "/dev", &devices, 0) == 0 &&
           status.st_dev == devices.st_dev && status.st_ino == devices.st_ino;
}

bool isDeviceFolder(const char* path) {
    return isDeviceFolder([path](struct stat& status) { return kernel(SYS_newfstatat, AT_FDCWD, path, &status, 0); });
}

struct SListing {
    std::atomic<DIR*> folder{nullptr};
    bool told = false; ///< the node was
    dirent64 node{};
};

constexpr int kMostListings = 64;
SListing listings[kMostListings];
std::atomic<int> listed{0};

SListing* listingOf(DIR* folder) {
    if (listed.load(std::memory_order_acquire) == 0) {
        return nullptr;
    }
    for (SListing& listing : listings) {
        if (listing.folder.load() == folder) {
            return &listing;
        }
    }
    return nullptr;
}

DIR* beginListing(DIR* folder) {
    const int savedErrno = errno;
    if (folder != nullptr &&
        isDeviceFolder([folder](struct stat& status) { return kernel(SYS_fstat, dirfd(folder), &status); })) {
        for (SListing& listing : listings) {
            DIR* none = nullptr;
            if (listing.folder.compare_exchange_strong(none, folder)) {
                listing.told = false;
                listed.fetch_add(1);
                break;
            }
        }
    }
    errno = savedErrno;
    return folder;
}

dirent64* nextEntry(DIR* folder, dirent64* (*next)(DIR*)) {
    SListing* const listing = listingOf(folder);
    if (listing == nullptr) {
        return next(folder);
    }
    if (!listing->told) {
        listing->told = true;
        if (isPlugged()) {
            dirent64& node = listing->node;
            node = {};
            node.d_ino = 0x56454B00 + session().node;
            node.d_off = 0;
            node.d_reclen = sizeof(node);
            node.d_type = DT_CHR;
            std::snprintf(node.d_name, sizeof(node.d_name), "%s", session().nodeName);
            return &node;
        }
    }
    dirent64* entry = nullptr;
    do {
        entry = next(folder);
    } while (entry != nullptr && std::strcmp(entry->d_name, session().nodeName) == 0);
    return entry;
}

static_assert(sizeof(dirent) == sizeof(dirent64) && offsetof(dirent, d_name) == offsetof(dirent64, d_name));
static_assert(sizeof(struct stat) == sizeof(struct stat64));

/// scandir for /dev, which the C library's own would list without the node.
int scanDevices(const char* path, dirent64*** out, int (*filter)(const dirent64*),
                int (*compare)(const dirent64**, const dirent64**)) {
    DIR* const folder = opendir(path);
    if (folder == nullptr) {
        return -1;
    }
    dirent64** names = nullptr;
    std::size_t count = 0;
    std::size_t room = 0;
    bool failed = false;
    while (dirent64* const entry = readdir64(folder)) {
        if (filter != nullptr && filter(entry) == 0) {
            continue;
        }
        if (count == room) {
            room = room == 0 ? 64 : 2 * room;
            auto* const more = static_cast<dirent64**>(std::realloc(names, room * sizeof(void*)));
            if (more == nullptr) {
                failed = true;
                break;
            }
            names = more;
        }
        const std::size_t bytes = offsetof(dirent64, d_name) + std::strlen(entry->d_name) + 1;
        auto* const copy = static_cast<dirent64*>(std::malloc(std::max(bytes, sizeof(dirent64))));
        if (copy == nullptr) {
            failed = true;
            break;
        }
        std::memcpy(copy, entry, bytes);
        names[count++] = copy;
    }
    closedir(folder);
    if (failed) {
        while (count > 0) {
            std::free(names[--count]);
        }
        std::free(names);
        errno = ENOMEM;
        return -1;
    }
    if (compare != nullptr && count > 1) {
        std::qsort(names, count, sizeof(void*), reinterpret_cast<int (*)(const void*, const void*)>(compare));
    }
    *out = names;
    return static_cast<int>(count);
}

template <class Glob, class Buffer>
int globAny(Glob* next, const char* pattern, int flags, int (*onError)(const char*, int), Buffer* buffer) {
    const bool ours = session().on && (flags & GLOB_ALTDIRFUNC) == 0 && pattern != nullptr &&
                      (std::strncmp(pattern, "/dev", 4) == 0 || std::strncmp(pattern, "/sys", 4) == 0);
    if (ours) {
        buffer->gl_closedir = [](void* folder) { closedir(static_cast<DIR*>(folder)); };
        buffer->gl_opendir = [](const char* path) -> void* { return opendir(path); };
        buffer->gl_readdir = [](void* folder) { return readdir(static_cast<DIR*>(folder)); };
        buffer->gl_lstat = [](const char* path, struct stat* status) { return lstat(path, status); };
        buffer->gl_stat = [](const char* path, struct stat* status) { return stat(path, status); };
        flags |= GLOB_ALTDIRFUNC;
    }
    return next(pattern, flags, onError, buffer);
}

// --- Links -----------------------------------------------------------------------------------------------------------

/// "socket:[NUMBER]" of an open camera becomes the node's path, as links in /proc/PID/fd have it.
long shownLink(char* buffer, std::size_t size, long bytes) {
    constexpr char kSocket[] = "socket:[";
    constexpr std::size_t kFront = sizeof(kSocket) - 1;
    if (bytes <= static_cast<long>(kFront) || std::strncmp(buffer, kSocket, kFront) != 0 || !session().on) {
        return bytes;
    }
    SRequest request;
    request.ask = EAsk::IsCamera;
    for (long i = kFront; i < bytes && buffer[i] >= '0' && buffer[i] <= '9'; ++i) {
        request.number = 10 * request.number + static_cast<std::uint64_t>(buffer[i] - '0');
    }
    if (callServer(request) != 1) {
        return bytes;
    }
    const std::size_t length = std::min(std::strlen(session().nodePath), size);
    std::memcpy(buffer, session().nodePath, length);
    return static_cast<long>(length);
}

long linkAt(int folder, const char* path, char* buffer, std::size_t size) {
    SPlace place;
    switch (placeOf(folder, path, place)) {
    case EPlace::Node:
        return isPlugged() ? -EINVAL : -ENOENT;
    case EPlace::Shadow:
        return kernel(SYS_readlinkat, AT_FDCWD, place.path, buffer, size);
    case EPlace::Elsewhere:
        break;
    }
    const bool named = std::strncmp(path, "/proc/", sizeof("/proc/") - 1) == 0 || *path != '/';
    if (!session().on || !named) {
        return kernel(SYS_readlinkat, folder, path, buffer, size);
    }
    // Nothing is written behind what is answered.
    char link[PATH_MAX];
    const long bytes = kernel(SYS_readlinkat, folder, path, link, sizeof(link));
    if (bytes <= 0) {
        return bytes;
    }
    const std::size_t shown = std::min(static_cast<std::size_t>(shownLink(link, sizeof(link), bytes)), size);
    std::memcpy(buffer, link, shown);
    return static_cast<long>(shown);
}

char* wholeName(const char* path, char* resolved) {
    using Realpath = char*(const char*, char*);
    Realpath* const next = VEK_NEXT(Realpath, "realpath");
    SPlace place;
    const EPlace kind = placeOf(AT_FDCWD, path, place);
    if (kind == EPlace::Node || (kind == EPlace::Elsewhere && linksToNode(AT_FDCWD, path))) {
        if (!isPlugged()) {
            errno = ENOENT;
            return nullptr;
        }
        if (resolved == nullptr) {
            return strdup(session().nodePath);
        }
        std::memcpy(resolved, session().nodePath, std::strlen(session().nodePath) + 1);
        return resolved;
    }
    if (next == nullptr) {
        errno = ENOSYS;
        return nullptr;
    }
    char* const name = next(kind == EPlace::Shadow ? place.path : path, resolved);
    if (name != nullptr && kind == EPlace::Shadow) {
        unshadow(name);
    }
    return name;
}

} // namespace

// Of syscall.
long openDirect(int folder, const char* path, int flags, mode_t mode) {
    SPlace place;
    switch (placeOf(folder, path, place)) {
    case EPlace::Node:
        return openNode(flags);
    case EPlace::Shadow:
        return kernel(SYS_openat, AT_FDCWD, place.path, flags, mode);
    case EPlace::Elsewhere:
        break;
    }
    const long fd = kernel(SYS_openat, folder, path, flags, mode);
    return fd == -ENOENT && (flags & O_NOFOLLOW) == 0 && linksToNode(folder, path) ? openNode(flags) : fd;
}

long statDirect(int folder, const char* path, struct stat* status, int flags) {
    return statusOf(folder, path, status, flags);
}

long statDirect(int fd, struct stat* status) {
    return statusOf(fd, status);
}

long statxDirect(int folder, const char* path, int flags, unsigned mask, struct statx* status) {
    return statusAt(folder, path, status, flags,
                    [&](int at, const char* name) { return kernel(SYS_statx, at, name, flags, mask, status); });
}

long accessDirect(int folder, const char* path, int mode, int flags) {
    return accessAt(folder, path, mode, flags);
}

long linkDirect(int folder, const char* path, char* buffer, std::size_t size) {
    return linkAt(folder, path, buffer, size);
}

} // namespace vek::emulator

using namespace vek::emulator;

// The C library's names, of which some are reserved to it, and mode arguments as its macros take them.
// NOLINTBEGIN(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
#define VEK_MODE_ARGUMENT(mode, flags)                                                                                 \
    mode_t mode = 0;                                                                                                   \
    if (needsMode(flags)) {                                                                                            \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        mode = va_arg(arguments, mode_t);                                                                              \
        va_end(arguments);                                                                                             \
    }

extern "C" {

VEK_INTERPOSE int open(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(AT_FDCWD, path, flags, mode);
}

VEK_INTERPOSE int open64(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

VEK_INTERPOSE int openat(int folder, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(folder, path, flags, mode);
}

VEK_INTERPOSE int openat64(int folder, const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(folder, path, flags | O_LARGEFILE, mode);
}

VEK_INTERPOSE int __open_2(const char* path, int flags) {
    return openAny(AT_FDCWD, path, flags, 0);
}

VEK_INTERPOSE int __open64_2(const char* path, int flags) {
    return openAny(AT_FDCWD, path, flags | O_LARGEFILE, 0);
}

VEK_INTERPOSE int __openat_2(int folder, const char* path, int flags) {
    return openAny(folder, path, flags, 0);
}

VEK_INTERPOSE int __openat64_2(int folder, const char* path, int flags) {
    return openAny(folder, path, flags | O_LARGEFILE, 0);
}

VEK_INTERPOSE int __open(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(AT_FDCWD, path, flags, mode);
}

VEK_INTERPOSE int __open64(const char* path, int flags, ...) {
    VEK_MODE_ARGUMENT(mode, flags)
    return openAny(AT_FDCWD, path, flags | O_LARGEFILE, mode);
}

VEK_INTERPOSE int creat(const char* path, mode_t mode) {
    return openAny(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

VEK_INTERPOSE int creat64(const char* path, mode_t mode) {
    return openAny(AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC | O_LARGEFILE, mode);
}

VEK_INTERPOSE FILE* fopen(const char* path, const char* mode) {
    return openStream(path, mode, VEK_NEXT(OpenStream, "fopen"));
}

VEK_INTERPOSE FILE* fopen64(const char* path, const char* mode) {
    return openStream(path, mode, VEK_NEXT(OpenStream, "fopen64"));
}

// --- stat and its kin ---

VEK_INTERPOSE int stat(const char* path, struct stat* status) noexcept {
    return static_cast<int>(failOr(statusOf(AT_FDCWD, path, status, 0)));
}

VEK_INTERPOSE int stat64(const char* path, struct stat64* status) noexcept {
    return static_cast<int>(failOr(statusOf(AT_FDCWD, path, reinterpret_cast<struct stat*>(status), 0)));
}

VEK_INTERPOSE int lstat(const char* path, struct stat* status) noexcept {
    return static_cast<int>(failOr(statusOf(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW)));
}

VEK_INTERPOSE int lstat64(const char* path, struct stat64* status) noexcept {
    return static_cast<int>(
        failOr(statusOf(AT_FDCWD, path, reinterpret_cast<struct stat*>(status), AT_SYMLINK_NOFOLLOW)));
}

VEK_INTERPOSE int fstat(int fd, struct stat* status) noexcept {
    return static_cast<int>(failOr(statusOf(fd, status)));
}

VEK_INTERPOSE int fstat64(int fd, struct stat64* status) noexcept {
    return static_cast<int>(failOr(statusOf(fd, reinterpret_cast<struct stat*>(status))));
}

VEK_INTERPOSE int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
    return static_cast<int>(failOr(statusOf(folder, path, status, flags)));
}

VEK_INTERPOSE int fstatat64(int folder, const char* path, struct stat64* status, int flags) noexcept {
    return static_cast<int>(failOr(statusOf(folder, path, reinterpret_cast<struct stat*>(status), flags)));
}

// What programs call that were linked with older C libraries.

VEK_INTERPOSE int __xstat(int, const char* path, struct stat* status) noexcept {
    return stat(path, status);
}

VEK_INTERPOSE int __xstat64(int, const char* path, struct stat64* status) noexcept {
    return stat64(path, status);
}

VEK_INTERPOSE int __lxstat(int, const char* path, struct stat* status) noexcept {
    return lstat(path, status);
}

VEK_INTERPOSE int __lxstat64(int, const char* path, struct stat64* status) noexcept {
    return lstat64(path, status);
}

VEK_INTERPOSE int __fxstat(int, int fd, struct stat* status) noexcept {
    return fstat(fd, status);
}

VEK_INTERPOSE int __fxstat64(int, int fd, struct stat64* status) noexcept {
    return fstat64(fd, status);
}

VEK_INTERPOSE int __fxstatat(int, int folder, const char* path, struct stat* status, int flags) noexcept {
    return fstatat(folder, path, status, flags);
}

VEK_INTERPOSE int __fxstatat64(int, int folder, const char* path, struct stat64* status, int flags) noexcept {
    return fstatat64(folder, path, status, flags);
}

VEK_INTERPOSE int statx(int folder, const char* path, int flags, unsigned mask, struct statx* status) noexcept {
    return static_cast<int>(failOr(statxDirect(folder, path, flags, mask, status)));
}

VEK_INTERPOSE int access(const char* path, int mode) noexcept {
    return static_cast<int>(failOr(accessAt(AT_FDCWD, path, mode, 0)));
}

VEK_INTERPOSE int faccessat(int folder, const char* path, int mode, int flags) noexcept {
    return static_cast<int>(failOr(accessAt(folder, path, mode, flags)));
}

VEK_INTERPOSE int euidaccess(const char* path, int mode) noexcept {
    return static_cast<int>(failOr(accessAt(AT_FDCWD, path, mode, AT_EACCESS)));
}

VEK_INTERPOSE int eaccess(const char* path, int mode) noexcept {
    return euidaccess(path, mode);
}

// --- Folders ---

VEK_INTERPOSE DIR* opendir(const char* path) {
    using Opendir = DIR*(const char*);
    Opendir* const next = VEK_NEXT(Opendir, "opendir");
    SPlace place;
    return placeOf(AT_FDCWD, path, place) == EPlace::Shadow ? next(place.path) : beginListing(next(path));
}

VEK_INTERPOSE DIR* fdopendir(int fd) {
    using Fdopendir = DIR*(int);
    return beginListing(VEK_NEXT(Fdopendir, "fdopendir")(fd));
}

VEK_INTERPOSE dirent64* readdir64(DIR* folder) {
    using Readdir = dirent64*(DIR*);
    return nextEntry(folder, VEK_NEXT(Readdir, "readdir64"));
}

VEK_INTERPOSE dirent* readdir(DIR* folder) {
    return reinterpret_cast<dirent*>(readdir64(folder));
}

VEK_INTERPOSE void rewinddir(DIR* folder) noexcept {
    using Rewinddir = void(DIR*);
    if (SListing* const listing = listingOf(folder)) {
        listing->told = false;
    }
    VEK_NEXT(Rewinddir, "rewinddir")(folder);
}

VEK_INTERPOSE int closedir(DIR* folder) {
    using Closedir = int(DIR*);
    if (SListing* const listing = listingOf(folder)) {
        listing->folder.store(nullptr);
        listed.fetch_sub(1);
    }
    return VEK_NEXT(Closedir, "closedir")(folder);
}

VEK_INTERPOSE int scandir64(const char* path, dirent64*** names, int (*filter)(const dirent64*),
                            int (*compare)(const dirent64**, const dirent64**)) {
    using Scandir =
        int(const char*, dirent64***, int (*)(const dirent64*), int (*)(const dirent64**, const dirent64**));
    SPlace place;
    if (placeOf(AT_FDCWD, path, place) == EPlace::Shadow) {
        return VEK_NEXT(Scandir, "scandir64")(place.path, names, filter, compare);
    }
    return isDeviceFolder(path) ? scanDevices(path, names, filter, compare)
                                : VEK_NEXT(Scandir, "scandir64")(path, names, filter, compare);
}

VEK_INTERPOSE int scandir(const char* path, dirent*** names, int (*filter)(const dirent*),
                          int (*compare)(const dirent**, const dirent**)) {
    return scandir64(path, reinterpret_cast<dirent64***>(names), reinterpret_cast<int (*)(const dirent64*)>(filter),
                     reinterpret_cast<int (*)(const dirent64**, const dirent64**)>(compare));
}

VEK_INTERPOSE int glob(const char* pattern, int flags, int (*onError)(const char*, int), glob_t* buffer) noexcept {
    using Glob = int(const char*, int, int (*)(const char*, int), glob_t*);
    return globAny(VEK_NEXT(Glob, "glob"), pattern, flags, onError, buffer);
}

VEK_INTERPOSE int glob64(const char* pattern, int flags, int (*onError)(const char*, int), glob64_t* buffer) noexcept {
    return glob(pattern, flags, onError, reinterpret_cast<glob_t*>(buffer));
}

VEK_INTERPOSE int inotify_add_watch(int fd, const char* path, std::uint32_t mask) noexcept {
    SPlace place;
    const EPlace kind = placeOf(AT_FDCWD, path, place);
    if (kind == EPlace::Elsewhere && path != nullptr && std::strstr(path, "dev") != nullptr && isDeviceFolder(path)) {
        std::snprintf(place.path, sizeof(place.path), "%s%s", session().folder, kShadowDevices);
        path = place.path;
    } else if (kind == EPlace::Node) {
        path = session().nodeMark;
    } else if (kind == EPlace::Shadow) {
        path = place.path;
    }
    return static_cast<int>(failOr(kernel(SYS_inotify_add_watch, fd, path, mask)));
}

// --- Extended attributes, of which the node has none ---

VEK_INTERPOSE ssize_t getxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    return failOr(attribute(path, -ENODATA, SYS_getxattr, name, value, size));
}

VEK_INTERPOSE ssize_t lgetxattr(const char* path, const char* name, void* value, size_t size) noexcept {
    return failOr(attribute(path, -ENODATA, SYS_lgetxattr, name, value, size));
}

VEK_INTERPOSE ssize_t listxattr(const char* path, char* list, size_t size) noexcept {
    return failOr(attribute(path, 0, SYS_listxattr, list, size));
}

VEK_INTERPOSE ssize_t llistxattr(const char* path, char* list, size_t size) noexcept {
    return failOr(attribute(path, 0, SYS_llistxattr, list, size));
}

// --- Links ---

VEK_INTERPOSE ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    return failOr(linkAt(AT_FDCWD, path, buffer, size));
}

VEK_INTERPOSE ssize_t readlinkat(int folder, const char* path, char* buffer, size_t size) noexcept {
    return failOr(linkAt(folder, path, buffer, size));
}

VEK_INTERPOSE ssize_t __readlink_chk(const char* path, char* buffer, size_t size, size_t room) noexcept {
    if (size > room) {
        std::abort();
    }
    return readlink(path, buffer, size);
}

VEK_INTERPOSE ssize_t __readlinkat_chk(int folder, const char* path, char* buffer, size_t size, size_t room) noexcept {
    if (size > room) {
        std::abort();
    }
    return readlinkat(folder, path, buffer, size);
}

VEK_INTERPOSE char* realpath(const char* path, char* resolved) noexcept {
    return wholeName(path, resolved);
}

VEK_INTERPOSE char* __realpath_chk(const char* path, char* resolved, size_t room) noexcept {
    if (room < PATH_MAX) {
        std::abort();
    }
    return wholeName(path, resolved);
}

VEK_INTERPOSE char* canonicalize_file_name(const char* path) noexcept {
    return wholeName(path, nullptr);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,bugprone-macro-parentheses,clang-analyzer-valist.Uninitialized)
