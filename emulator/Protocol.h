// SPDX-License-Identifier: Apache-2.0
// What the preload library and the camera's server say to each other (docs/design/0005-emulated-camera.md). Both come
// from one build and run on one machine: records go as they lie in memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vek::emulator {

/// Environment of the program: TOKEN:N:FOLDER. The server listens at the abstract address kAddressStart TOKEN, the
/// camera is /dev/videoN, and FOLDER holds what stands in for folders of the system.
inline constexpr char kVariable[] = "VEKCAM_EMULATE";
inline constexpr char kAddressStart[] = "vekcam-emulate-";
/// Device number of the node: this, and N.
inline constexpr unsigned kDeviceMajor = 81;
inline constexpr unsigned kMostNodes = 64;
/// Name of the memory behind buffers, as /proc shows it.
inline constexpr char kBufferLink[] = "/memfd:vekcam-buffer";
inline constexpr char kFrameMemory[] = "vekcam-frame";
/// Folders that stand in for those of the system with the same names.
inline constexpr char kShadowDevices[] = "/dev";
inline constexpr const char* kShadowed[] = {"/sys/class/video4linux", "/sys/devices/platform/vekcam-sim",
                                            "/sys/bus/platform/drivers/vekcam-sim"};
inline constexpr char kShadowedNumber[] = "/sys/dev/char/81:"; ///< and N

/// A connection that begins with Open is an open file of the node, for as long as any process has it: further requests
/// come over it with a socket for the answer. One that begins with something else ends with the answer to it.
enum class EAsk : std::uint32_t {
    Open,     ///< number: flags of open. The answer comes over the connection itself
    Ioctl,    ///< number: the request, value: whether it may wait. Argument and array go with it
    Read,     ///< value: bytes
    Poll,     ///< number: events. result: revents; a second answer comes when there are some, where it may wait
    Map,      ///< number: offset, value: length. The memory comes with the answer, whose value names the mapping
    Cancel,   ///< over the answer's socket: the call was interrupted
    Unmap,    ///< number: what names the mapping
    Started,  ///< a program started: it has no mappings
    IsCamera, ///< number: inode of a socket. result: 1 where it is an open file of the node
};

inline constexpr std::uint32_t kMagic = 0x56454B45;

enum ERequestFlag : std::uint32_t {
    kMayWait = 1,     ///< the descriptor is not O_NONBLOCK
    kBadArgument = 2, ///< the argument could not be read
    kEdge = 4,        ///< Poll: only what arrived after value counts
    kAnswered = 8,    ///< Poll: the first answer was given; the server's own
};

struct SRequest {
    std::uint32_t magic = kMagic;
    EAsk ask = EAsk::Open;
    std::uint64_t number = 0;
    std::uint64_t value = 0;
    std::uint32_t argumentBytes = 0;
    std::uint32_t arrayBytes = 0;
    std::int32_t process = 0;
    std::uint32_t flags = 0;
};

struct SAnswer {
    std::int64_t result = 0; ///< what the call returns; negative errno values for failures
    std::uint64_t value = 0;
    std::uint32_t argumentBytes = 0; ///< that follow: all of the argument, or 0
    std::uint32_t arrayBytes = 0;
};

/// The largest argument that a request's number can tell of, and the largest array: 1024 extended controls.
inline constexpr std::size_t kMostArgument = 1 << 14;
inline constexpr std::size_t kMostArray = 1 << 15;

} // namespace vek::emulator
