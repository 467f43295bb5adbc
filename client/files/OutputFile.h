// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/files/Descriptor.h"
#include "client/files/TemporaryFile.h"

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vek::client {

/// True for "-" and for names of descriptor 1, as /dev/stdout is one.
bool isStandardOutput(const std::string& path);

/// A file that is there now, whatever its names are.
struct SFileIdentity {
    dev_t device;
    ino_t inode;

    bool operator==(const SFileIdentity&) const = default;
};

/// One file of COutputFiles, which is how it is made.
class COutputFile {
public:
    /// readFiles: must not be written.
    COutputFile(const std::string& path, std::span<const SFileIdentity> readFiles);
    ~COutputFile();
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    /// For messages.
    const std::string& Name() const { return mName; }
    /// Errors in writing to it come to light in COutputFiles::Publish at the latest.
    std::FILE* Stream() const { return mStream; }
    /// Throws CFailure.
    void Write(std::span<const std::uint8_t> bytes);
    void Write(std::string_view text);

private:
    friend class COutputFiles;

    /// fd: stays the caller's.
    void OpenDirectly(int fd);
    /// old: the regular file that is replaced; not open where there is none.
    void OpenTemporary(const CDescriptor& old);
    bool ReplacesSameFile(const COutputFile& other) const;

    /// The parts of COutputFiles::Publish. Throw CFailure. Complete: nothing when it was done before.
    void Complete();
    void Rename();
    void SyncFolder() const;

    [[noreturn]] void Throw(std::string_view what, int error) const;

    std::string mName;
    CDescriptor mFolder;                      // of the file itself, links followed; closed for standard output
    std::string mFileName;                    // in that folder
    std::optional<CTemporaryFile> mTemporary; // nothing for what is written directly
    std::FILE* mStream = nullptr;
};

/// The files that a command writes, so that a name always has either what was there before or all of the new file: each
/// is written under a temporary name in the same folder and renamed when all of them are complete and on the disk. On a
/// failure or a signal that ends the program the temporary files are removed.
///
/// A file that is replaced passes on its permissions, extended attributes and, where the system allows it, owner and
/// group. A symbolic link stays and its target is replaced; of several hard links only the named one gets the new file.
/// What is no regular file ("-", pipes, devices, the names of open descriptors) is written directly.
class COutputFiles {
public:
    /// inputs: paths that the command reads ("-" is standard input, empty ones and missing files do not count).
    explicit COutputFiles(std::span<const std::string> inputs = {});

    /// Makes ready to write a file. Throws CFailure where it cannot be written, CBadArguments where it is one of the
    /// inputs or one of the other files.
    COutputFile& Open(const std::string& path);

    /// Sees that all of them are complete and on the disk, without putting them in place. Throws CFailure.
    void Complete();
    /// Puts all files in place, complete or not before. Throws CFailure.
    void Publish();

private:
    std::vector<SFileIdentity> mInputs;
    std::vector<std::unique_ptr<COutputFile>> mFiles;
};

/// Writes a single file. Throws CFailure.
void writeText(const std::string& path, std::string_view text);
void writeBytes(const std::string& path, std::span<const std::uint8_t> bytes);

} // namespace vek::client
