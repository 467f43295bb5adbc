// SPDX-License-Identifier: Apache-2.0
// The records of a recording's index.bin: what is known of each frame, 128 bytes, little-endian.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace vek::client {

/// Clock of a frame's time stamp.
enum class ERecordClock : unsigned char { Unknown, Monotonic, Copied };
/// What a frame's time stamp is the moment of.
enum class ERecordMoment : unsigned char { EndOfFrame, StartOfExposure };

/// What is known of a frame.
struct SFrameMeta {
    std::uint64_t position = 0;    ///< among those that the camera sent since streaming began
    std::uint32_t sequence = 0;    ///< as the driver counts
    std::uint32_t driverFlags = 0; ///< V4L2_BUF_FLAG_...
    std::int64_t timeNs = 0;       ///< time stamp, of its clock
    ERecordClock clock = ERecordClock::Unknown;
    ERecordMoment moment = ERecordMoment::EndOfFrame;
    std::int64_t arrivalNs = 0;                   ///< when it was taken from the driver, CLOCK_MONOTONIC
    std::int64_t wallNs = 0;                      ///< the time since 1970-01-01 UTC
    std::uint32_t lostBefore = 0;                 ///< frames lost between this one and the one before
    std::optional<std::int32_t> exposure = {};    ///< setting in force, clocks
    std::optional<std::int32_t> gain = {};        ///< setting in force
    std::optional<std::uint64_t> exposureNs = {}; ///< the same as a time
    std::optional<std::int32_t> gainMilliDb = {}; ///< the same in thousandths of a decibel
    bool settled = true;                          ///< nothing was set that the frame does not show yet

    bool operator==(const SFrameMeta&) const = default;
};

/// Sums over the bytes of a frame.
struct SFrameSums {
    std::uint32_t crc = 0;  ///< CRC-32 of IEEE 802.3, as zlib computes it
    std::uint64_t hash = 0; ///< XXH3, 64 bits, seed 0

    bool operator==(const SFrameSums&) const = default;
};
SFrameSums sumsOf(std::span<const std::uint8_t> bytes);
/// Sums up a frame piece by piece.
class CFrameSummer {
public:
    CFrameSummer();
    ~CFrameSummer();
    CFrameSummer(const CFrameSummer&) = delete;
    CFrameSummer& operator=(const CFrameSummer&) = delete;

    void Add(std::span<const std::uint8_t> bytes);
    SFrameSums Sums() const;

private:
    struct SState;

    std::unique_ptr<SState> mState;
};
/// The CRC alone, which goes on from the one of the bytes in front.
std::uint32_t crc32Of(std::span<const std::uint8_t> bytes, std::uint32_t before = 0);

/// A record of the index.
struct SFrameRecord {
    std::uint64_t number = 0; ///< of the frame's place in frames.raw, from 0; the record has the same in index.bin
    std::uint64_t bytes = 0;  ///< of the frame, behind which its place is filled with zeros
    SFrameSums sums = {};
    SFrameMeta meta = {};

    bool operator==(const SFrameRecord&) const = default;
};

inline constexpr std::size_t kRecordBytes = 128;
using RecordBytes = std::array<std::uint8_t, kRecordBytes>;

RecordBytes recordBytes(const SFrameRecord& record);

/// What the bytes of a record are.
enum class ERecordState : unsigned char {
    Good,
    Empty,   ///< zeros: it was never written
    Damaged, ///< its own CRC is another, or it is no record
    Astray   ///< a good one of another place
};
/// number: of the place where the bytes lie. record: is set where the state is ERecordState::Good.
ERecordState readRecord(std::span<const std::uint8_t, kRecordBytes> bytes, std::uint64_t number, SFrameRecord& record);

} // namespace vek::client
