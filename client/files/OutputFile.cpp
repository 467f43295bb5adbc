// SPDX-License-Identifier: Apache-2.0
#include "client/files/OutputFile.h"

#include "client/Errors.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <utility>

namespace vek::client {

namespace {

/// Where a path leads when its symbolic links are followed.
struct SPlace {
    CDescriptor folder;
    std::string name;
    bool onProc = false;    ///< in the process file system, where no file can be made
    int ownDescriptor = -1; ///< the path names this descriptor of the process
    int error = 0;          ///< why there is no such place
};

/// The descriptor that a name in an open folder of the process file system stands for; -1 when it is none of this
/// process.
int descriptorNamed(int folder, std::string_view name) {
    int descriptor = -1;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), descriptor);
    struct stat named {};
    struct stat own {};
    const bool number = error == std::errc{} && end == name.data() + name.size() && descriptor >= 0;
    const bool ours = fstat(folder, &named) == 0 && stat("/proc/self/fd", &own) == 0 && named.st_ino == own.st_ino &&
                      named.st_dev == own.st_dev;
    return number && ours ? descriptor : -1;
}

SPlace placeOf(const std::string& path) {
    constexpr int kMostLinks = 40; // as the kernel follows
    SPlace place;
    std::string at = path;
    for (int links = 0; links <= kMostLinks; ++links) {
        const std::size_t slash = at.rfind('/');
        const std::string folder = slash == std::string::npos ? "./" : at.substr(0, slash + 1);
        place.name = at.substr(slash == std::string::npos ? 0 : slash + 1);
        if (place.name.empty()) {
            place.error = path.empty() ? ENOENT : EISDIR;
            return place;
        }
        place.folder = CDescriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!place.folder.IsOpen() && errno == EACCES) {
            // A folder that nobody may list still takes files.
            place.folder = CDescriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        }
        if (!place.folder.IsOpen()) {
            place.error = errno;
            return place;
        }
        struct statfs system {};
        place.onProc = fstatfs(place.folder.Get(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
        if (place.onProc) {
            place.ownDescriptor = descriptorNamed(place.folder.Get(), place.name);
            if (place.ownDescriptor >= 0) {
                return place;
            }
        }
        char link[PATH_MAX];
        const ssize_t length = readlinkat(place.folder.Get(), place.name.c_str(), link, sizeof link);
        if (length < 0) {
            place.error = errno == EINVAL || errno == ENOENT ? 0 : errno;
            return place;
        }
        const std::string target(link, static_cast<std::size_t>(length));
        at = target.starts_with('/') ? target : folder + target;
    }
    place.error = ELOOP;
    return place;
}

std::optional<SFileIdentity> identityOf(int fd) {
    struct stat status {};
    // Terminals and the like may well be both ends.
    if (fstat(fd, &status) != 0 || !(S_ISREG(status.st_mode) || S_ISBLK(status.st_mode))) {
        return std::nullopt;
    }
    return SFileIdentity{status.st_dev, status.st_ino};
}

/// Access control lists and what users and programs noted beside a file. What is lost is not worth a failure.
void copyExtendedAttributes(int from, int to) {
    std::vector<char> names(XATTR_LIST_MAX);
    std::vector<char> value(XATTR_SIZE_MAX);
    const ssize_t listed = flistxattr(from, names.data(), names.size());
    const char* const end = names.data() + std::max<ssize_t>(listed, 0);
    for (const char* name = names.data(); name < end; name += std::string_view(name).size() + 1) {
        // Capabilities and signatures are those of the old content.
        if (std::string_view(name).starts_with("security.") && std::string_view(name) != "security.selinux") {
            continue;
        }
        const ssize_t size = fgetxattr(from, name, value.data(), value.size());
        if (size >= 0) {
            fsetxattr(to, name, value.data(), static_cast<std::size_t>(size), 0);
        }
    }
}

void keepAttributes(int from, int to) {
    struct stat old {};
    struct stat made {};
    if (fstat(from, &old) != 0 || fstat(to, &made) != 0) {
        return;
    }
    const bool sameOwner = made.st_uid == old.st_uid || fchown(to, old.st_uid, static_cast<gid_t>(-1)) == 0;
    const bool sameGroup = made.st_gid == old.st_gid || fchown(to, static_cast<uid_t>(-1), old.st_gid) == 0;
    mode_t mode = old.st_mode & 07777U;
    if (!sameGroup) {
        // The rights of the old group are not meant for another one.
        mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & (mode & S_IRWXO) << 3);
    }
    if (!sameOwner || !sameGroup) {
        mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    }
    // The folder may have given the new file an access control list, the old one's follows.
    fremovexattr(to, "system.posix_acl_access");
    fchmod(to, mode);
    if (sameGroup) {
        copyExtendedAttributes(from, to);
    }
}

/// File systems that cannot flush a file say so; there is nothing to be done about it.
bool synced(int fd) {
    return fsync(fd) == 0 || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP || errno == EROFS;
}

} // namespace

bool isStandardOutput(const std::string& path) {
    return path == "-" || placeOf(path).ownDescriptor == STDOUT_FILENO;
}

COutputFile::COutputFile(const std::string& path, std::span<const SFileIdentity> readFiles)
    : mName(path == "-" ? "standard output" : path) {
    int descriptor = STDOUT_FILENO;
    bool onProc = false;
    if (path != "-") {
        SPlace place = placeOf(path);
        if (place.error != 0) {
            Throw("cannot open", place.error);
        }
        mFolder = std::move(place.folder);
        mFileName = std::move(place.name);
        descriptor = place.ownDescriptor;
        onProc = place.onProc;
    }
    CDescriptor old;
    if (descriptor < 0) {
        // As if it were written in place: the system refuses what it would refuse then.
        old = CDescriptor(open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
        if (!old.IsOpen() && errno != ENOENT) {
            Throw("cannot open", errno);
        }
    }
    const std::optional<SFileIdentity> identity = identityOf(descriptor >= 0 ? descriptor : old.Get());
    if (identity && std::find(readFiles.begin(), readFiles.end(), *identity) != readFiles.end()) {
        throw CBadArguments(fmt::format("{}: is an input, which would be lost", mName));
    }
    struct stat status {};
    const bool regular = old.IsOpen() && fstat(old.Get(), &status) == 0 && S_ISREG(status.st_mode);
    if (descriptor >= 0) {
        OpenDirectly(descriptor);
    } else if (old.IsOpen() && (!regular || onProc)) {
        if (regular && ftruncate(old.Get(), 0) != 0) {
            Throw("cannot open", errno);
        }
        OpenDirectly(old.Get());
    } else {
        OpenTemporary(old);
    }
}

COutputFile::~COutputFile() {
    if (mStream != nullptr && mStream != stdout) {
        std::fclose(mStream);
    }
}

void COutputFile::OpenDirectly(int fd) {
    if (fd == STDOUT_FILENO) {
        mStream = stdout;
        return;
    }
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    mStream = copy >= 0 ? fdopen(copy, "wb") : nullptr;
    if (mStream == nullptr) {
        const int error = errno;
        if (copy >= 0) {
            close(copy);
        }
        Throw("cannot open", error);
    }
}

void COutputFile::OpenTemporary(const CDescriptor& old) {
    // Nobody may read what replaces a private file; a new one gets what the process's mask leaves.
    constexpr mode_t kPrivate = 0600;
    constexpr mode_t kNew = 0666;
    mTemporary.emplace(mFolder.Get(), old.IsOpen() ? kPrivate : kNew);
    if (mTemporary->Fd() < 0) {
        Throw("cannot open: no new file in its folder", errno);
    }
    if (old.IsOpen()) {
        keepAttributes(old.Get(), mTemporary->Fd());
    }
    mStream = fdopen(mTemporary->Fd(), "wb");
    if (mStream == nullptr) {
        const int error = errno;
        close(mTemporary->Fd());
        Throw("cannot open", error);
    }
}

bool COutputFile::ReplacesSameFile(const COutputFile& other) const {
    struct stat own {};
    struct stat others {};
    return mTemporary && other.mTemporary && mFileName == other.mFileName && fstat(mFolder.Get(), &own) == 0 &&
           fstat(other.mFolder.Get(), &others) == 0 && own.st_dev == others.st_dev && own.st_ino == others.st_ino;
}

void COutputFile::Write(std::span<const std::uint8_t> bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), mStream) != bytes.size()) {
        Throw("cannot write", errno);
    }
}

void COutputFile::Write(std::string_view text) {
    Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

void COutputFile::Complete() {
    if (mStream == nullptr) {
        return;
    }
    errno = 0; // an error of an earlier write may have left none
    if (std::fflush(mStream) != 0 || std::ferror(mStream) != 0 || (mTemporary && !synced(fileno(mStream)))) {
        Throw("cannot write", errno != 0 ? errno : EIO);
    }
    std::FILE* const stream = std::exchange(mStream, nullptr);
    if (stream != stdout && std::fclose(stream) != 0) {
        Throw("cannot write", errno);
    }
}

void COutputFile::Rename() {
    if (mTemporary && !mTemporary->Rename(mFileName)) {
        Throw("cannot replace", errno);
    }
}

void COutputFile::SyncFolder() const {
    if (mTemporary && (fcntl(mFolder.Get(), F_GETFL) & O_PATH) == 0 && !synced(mFolder.Get())) {
        Throw("cannot write its folder", errno);
    }
}

void COutputFile::Throw(std::string_view what, int error) const {
    throw CFailure(fmt::format("{}: {}: {}", mName, what, systemMessage(error)));
}

COutputFiles::COutputFiles(std::span<const std::string> inputs) {
    for (const std::string& input : inputs) {
        CDescriptor file;
        if (!input.empty() && input != "-") {
            file = CDescriptor(open(input.c_str(), O_PATH | O_CLOEXEC));
        }
        if (const auto identity = identityOf(input == "-" ? STDIN_FILENO : file.Get())) {
            mInputs.push_back(*identity);
        }
    }
}

COutputFile& COutputFiles::Open(const std::string& path) {
    auto file = std::make_unique<COutputFile>(path, mInputs);
    for (const auto& other : mFiles) {
        if (file->ReplacesSameFile(*other)) {
            throw CBadArguments(fmt::format("{}: two of the files to be written are this one", path));
        }
    }
    mFiles.push_back(std::move(file));
    return *mFiles.back();
}

void COutputFiles::Complete() {
    for (const auto& file : mFiles) {
        file->Complete();
    }
}

void COutputFiles::Publish() {
    Complete();
    {
        // A signal comes in front of all of them or behind.
        const CSignalsBlocked blocked;
        for (const auto& file : mFiles) {
            file->Rename();
        }
    }
    for (const auto& file : mFiles) {
        file->SyncFolder();
    }
}

void writeText(const std::string& path, std::string_view text) {
    COutputFiles files;
    files.Open(path).Write(text);
    files.Publish();
}

void writeBytes(const std::string& path, std::span<const std::uint8_t> bytes) {
    COutputFiles files;
    files.Open(path).Write(bytes);
    files.Publish();
}

} // namespace vek::client
