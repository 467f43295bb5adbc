// SPDX-License-Identifier: Apache-2.0
#include "emulator/server/ProgramFile.h"

#include "emulator/Emulation.h"

#include <elf.h>
#include <link.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace vek::emulator {

namespace {

constexpr int kCannotRun = 126;
constexpr int kNotFound = 127;

#if defined(__x86_64__)
constexpr unsigned kMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kMachine = EM_AARCH64;
#else
constexpr unsigned kMachine = EM_NONE;
#endif
constexpr unsigned char kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

bool isFile(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string lookedUp(const std::string& name) {
    if (name.find('/') != std::string::npos) {
        struct stat status {};
        if (stat(name.c_str(), &status) != 0) {
            throw CRefusal(kNotFound, name + ": no such program");
        }
        if (S_ISDIR(status.st_mode)) {
            throw CRefusal(kCannotRun, name + ": a folder, not a program");
        }
        if (access(name.c_str(), X_OK) != 0) {
            throw CRefusal(kCannotRun, name + ": may not be run");
        }
        return name;
    }
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    bool there = false;
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string file = (folder.empty() ? "." : folder) + '/' + name;
        if (isFile(file)) {
            there = true;
            if (access(file.c_str(), X_OK) == 0) {
                return file;
            }
        }
    }
    throw there ? CRefusal(kCannotRun, name + ": may not be run") : CRefusal(kNotFound, name + ": no such program");
}

/// The dynamic linker takes preloaded libraries out of the environment of a program that gets no rights by being run.
void checkRights(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return;
    }
    const bool otherUser = (status.st_mode & S_ISUID) != 0 && status.st_uid != getuid();
    const bool otherGroup =
        (status.st_mode & S_ISGID) != 0 && (status.st_mode & S_IXGRP) != 0 && status.st_gid != getgid();
    if (otherUser || otherGroup) {
        throw CRefusal(kCannotRun, file + ": runs with another user's or group's rights (setuid, setgid): no camera "
                                          "can be emulated for it");
    }
    if (getuid() != 0 && getxattr(file.c_str(), "security.capability", nullptr, 0) > 0) {
        throw CRefusal(kCannotRun, file + ": runs with capabilities of its own: no camera can be emulated for it");
    }
}

/// A record of a file; false where it ends before.
template <class T>
bool readAt(std::ifstream& file, std::uint64_t offset, T& record) {
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    return static_cast<bool>(file.read(reinterpret_cast<char*>(&record), sizeof(record)));
}

void checkElf(const std::string& path, std::ifstream& file) {
    ElfW(Ehdr) header{};
    if (!readAt(file, 0, header) || header.e_ident[EI_CLASS] != kClass || header.e_machine != kMachine) {
        throw CRefusal(kCannotRun, path + ": a program for another processor or of another word size than this one");
    }
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) part{};
        if (!readAt(file, header.e_phoff + std::uint64_t{i} * header.e_phentsize, part)) {
            break;
        }
        if (part.p_type == PT_INTERP) {
            return;
        }
    }
    throw CRefusal(kCannotRun, path + ": linked statically: no camera can be emulated for it");
}

void checkFile(const std::string& path, int depth) {
    constexpr int kMostInterpreters = 5;
    checkRights(path);
    std::ifstream file(path, std::ios::binary);
    char magic[4] = {};
    if (!file.read(magic, sizeof(magic)) || depth > kMostInterpreters) {
        return; // not to be read: the system says what becomes of it
    }
    if (std::memcmp(magic, ELFMAG, SELFMAG) == 0) {
        checkElf(path, file);
        return;
    }
    if (magic[0] != '#' || magic[1] != '!') {
        return; // a script of the shell
    }
    file.seekg(2);
    std::string line;
    std::getline(file, line);
    std::istringstream words(line);
    std::string interpreter;
    words >> interpreter;
    if (interpreter.empty()) {
        return;
    }
    if (!isFile(interpreter)) {
        throw CRefusal(kNotFound, path + ": no such interpreter: " + interpreter);
    }
    checkFile(interpreter, depth + 1);
    // env runs what is named behind it.
    if (interpreter.ends_with("/env")) {
        for (std::string word; words >> word;) {
            if (word.front() != '-' && word.find('=') == std::string::npos) {
                checkFile(lookedUp(word), depth + 1);
                return;
            }
        }
    }
}

} // namespace

void checkProgram(const std::string& name) {
    checkFile(lookedUp(name), 0);
}

} // namespace vek::emulator
