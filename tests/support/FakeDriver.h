// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace vek::test {

/// Request numbers of the driver, written out so that the library's own constants are checked against them.
constexpr unsigned long kGetDescription = 0x802056E0UL;
constexpr unsigned long kGetControl = 0xC008561BUL;
constexpr unsigned long kSetControl = 0xC008561CUL;
constexpr unsigned long kGetRoi = 0xC00A56C6UL;
constexpr unsigned long kSetDefectPixel = 0x400556CBUL;

constexpr std::uint32_t kCidGain = 0x00980913;
constexpr std::uint32_t kCidExposure = 0x00980911;
constexpr std::uint32_t kCidColorArray = 0x08000000;
constexpr std::uint32_t kCidTransferFormat = 0x08000001;

/// One request as the driver saw it. The size is the one that the request number carries.
struct SRequest {
    int fd = -1;
    unsigned long number = 0;
    std::vector<std::uint8_t> sent;     ///< argument bytes before the driver answered
    std::vector<std::uint8_t> answered; ///< and after

    /// Little-endian number of size bytes at an offset of the sent bytes.
    std::uint64_t Sent(std::size_t offset, std::size_t size) const;
    std::uint32_t Id() const { return static_cast<std::uint32_t>(Sent(0, 4)); }
    std::uint32_t Value() const { return static_cast<std::uint32_t>(Sent(4, 4)); }
};

/// How a request ends instead of being answered.
struct SFailure {
    int result = -1;   ///< what ioctl returns
    int error = 0;     ///< errno
    bool fill = false; ///< fill the argument as if the request succeeded
};

/// Scripted stand-in for the camera's driver. While one exists, every ioctl of the program goes to it; otherwise
/// to the system.
class CFakeDriver {
public:
    CFakeDriver();
    ~CFakeDriver();
    CFakeDriver(const CFakeDriver&) = delete;
    CFakeDriver& operator=(const CFakeDriver&) = delete;

    std::array<std::uint8_t, 32> mDescription{};
    std::map<std::uint32_t, std::int32_t> mControls;               ///< an id that is missing is refused
    std::map<std::uint8_t, std::array<std::uint8_t, 10>> mRegions; ///< an index that is missing is refused

    /// Little-endian number into the description.
    void Describe(std::size_t offset, std::size_t size, std::uint64_t value);
    /// The n-th request from now on, counted from 0, ends like this.
    void FailNth(std::size_t n, SFailure failure) { mFailures[mLog.size() + n] = failure; }
    /// Every request ends like this.
    void FailAll(SFailure failure) { mFailAll = failure; }

    const std::vector<SRequest>& Log() const { return mLog; }
    void ClearLog();

    int Answer(int fd, unsigned long number, void* argument);
    /// Some driver is at work: what the program does meanwhile is not the library's doing.
    static bool Answering();

private:
    bool Fill(unsigned long number, std::uint8_t* bytes);

    std::vector<SRequest> mLog;
    std::map<std::size_t, SFailure> mFailures;
    std::optional<SFailure> mFailAll;
};

} // namespace vek::test
