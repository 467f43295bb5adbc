// SPDX-License-Identifier: Apache-2.0
#include "client/recording/FrameRecord.h"

#include "client/recording/ByteOrder.h"

#ifdef VEKCAM_ISAL
#include <isa-l/crc.h>
#else
#include <zlib.h>
#endif
#define XXH_STATIC_LINKING_ONLY // the state's size
#include <xxhash.h>

#include <algorithm>

namespace vek::client {

namespace {

constexpr std::uint32_t kMark = 0x31434556; // "VEC1"

// Where the values of a record begin; docs/recording.md has the same table.
enum Place : std::size_t {
    kAtMark = 0,
    kAtFlags = 4,
    kAtNumber = 8,
    kAtPosition = 16,
    kAtSequence = 24,
    kAtDriverFlags = 28,
    kAtTime = 32,
    kAtArrival = 40,
    kAtWall = 48,
    kAtLost = 56,
    kAtClock = 60,
    kAtMoment = 61,
    kAtExposure = 64,
    kAtGain = 68,
    kAtExposureNs = 72,
    kAtGainMilliDb = 80,
    kAtBytes = 88,
    kAtHash = 96,
    kAtCrc = 104,
    kAtRecordCrc = kRecordBytes - 4,
};

enum Flag : std::uint32_t {
    kHasExposure = 1,
    kHasGain = 2,
    kHasExposureNs = 4,
    kHasGainMilliDb = 8,
    kSettled = 16,
};

/// What the first and second level cache hold: both sums go over the same bytes.
constexpr std::size_t kPiece = std::size_t{64} << 10;

template <class T>
std::uint64_t bitsOf(T value) {
    return static_cast<std::uint64_t>(value);
}

} // namespace

std::uint32_t crc32Of(std::span<const std::uint8_t> bytes, std::uint32_t before) {
#ifdef VEKCAM_ISAL
    return crc32_gzip_refl(before, bytes.data(), bytes.size());
#else
    return static_cast<std::uint32_t>(crc32_z(before, bytes.data(), bytes.size()));
#endif
}

struct CFrameSummer::SState {
    XXH3_state_t hash{};
    std::uint32_t crc = 0;
};

CFrameSummer::CFrameSummer() : mState(std::make_unique<SState>()) {
    XXH3_64bits_reset(&mState->hash);
}

CFrameSummer::~CFrameSummer() = default;

void CFrameSummer::Add(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const auto piece = bytes.first(std::min(bytes.size(), kPiece));
        mState->crc = crc32Of(piece, mState->crc);
        XXH3_64bits_update(&mState->hash, piece.data(), piece.size());
        bytes = bytes.subspan(piece.size());
    }
}

SFrameSums CFrameSummer::Sums() const {
    return {mState->crc, XXH3_64bits_digest(&mState->hash)};
}

SFrameSums sumsOf(std::span<const std::uint8_t> bytes) {
    CFrameSummer summer;
    summer.Add(bytes);
    return summer.Sums();
}

RecordBytes recordBytes(const SFrameRecord& record) {
    const SFrameMeta& meta = record.meta;
    RecordBytes bytes{};
    const auto put = [&](Place at, std::uint64_t value, std::size_t size) {
        putLittle(bytes.data() + at, value, size);
    };
    std::uint32_t flags = meta.settled ? std::uint32_t{kSettled} : 0;
    const auto putKnown = [&](Place at, const auto& value, Flag flag, std::size_t size) {
        flags |= value ? std::uint32_t{flag} : 0;
        put(at, bitsOf(value.value_or(0)), size);
    };
    put(kAtMark, kMark, 4);
    put(kAtNumber, record.number, 8);
    put(kAtPosition, meta.position, 8);
    put(kAtSequence, meta.sequence, 4);
    put(kAtDriverFlags, meta.driverFlags, 4);
    put(kAtTime, bitsOf(meta.timeNs), 8);
    put(kAtArrival, bitsOf(meta.arrivalNs), 8);
    put(kAtWall, bitsOf(meta.wallNs), 8);
    put(kAtLost, meta.lostBefore, 4);
    put(kAtClock, bitsOf(meta.clock), 1);
    put(kAtMoment, bitsOf(meta.moment), 1);
    putKnown(kAtExposure, meta.exposure, kHasExposure, 4);
    putKnown(kAtGain, meta.gain, kHasGain, 4);
    putKnown(kAtExposureNs, meta.exposureNs, kHasExposureNs, 8);
    putKnown(kAtGainMilliDb, meta.gainMilliDb, kHasGainMilliDb, 4);
    put(kAtBytes, record.bytes, 8);
    put(kAtHash, record.sums.hash, 8);
    put(kAtCrc, record.sums.crc, 4);
    put(kAtFlags, flags, 4);
    put(kAtRecordCrc, crc32Of(std::span(bytes).first(kAtRecordCrc)), 4);
    return bytes;
}

ERecordState readRecord(std::span<const std::uint8_t, kRecordBytes> bytes, std::uint64_t number, SFrameRecord& record) {
    const auto get = [&](Place at, std::size_t size) { return getLittle(bytes.data() + at, size); };
    if (get(kAtMark, 4) != kMark || get(kAtRecordCrc, 4) != crc32Of(bytes.first(kAtRecordCrc))) {
        const bool empty = std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0; });
        return empty ? ERecordState::Empty : ERecordState::Damaged;
    }
    const std::uint64_t clock = get(kAtClock, 1);
    const std::uint64_t moment = get(kAtMoment, 1);
    if (clock > bitsOf(ERecordClock::Copied) || moment > bitsOf(ERecordMoment::StartOfExposure)) {
        return ERecordState::Damaged;
    }
    if (get(kAtNumber, 8) != number) {
        return ERecordState::Astray;
    }
    const std::uint64_t flags = get(kAtFlags, 4);
    const auto getKnown = [&]<class T>(Place at, std::optional<T>& value, Flag flag) {
        value = (flags & flag) != 0 ? std::optional(static_cast<T>(get(at, sizeof(T)))) : std::nullopt;
    };
    record.number = number;
    record.bytes = get(kAtBytes, 8);
    record.sums = {static_cast<std::uint32_t>(get(kAtCrc, 4)), get(kAtHash, 8)};
    SFrameMeta& meta = record.meta;
    meta.position = get(kAtPosition, 8);
    meta.sequence = static_cast<std::uint32_t>(get(kAtSequence, 4));
    meta.driverFlags = static_cast<std::uint32_t>(get(kAtDriverFlags, 4));
    meta.timeNs = static_cast<std::int64_t>(get(kAtTime, 8));
    meta.arrivalNs = static_cast<std::int64_t>(get(kAtArrival, 8));
    meta.wallNs = static_cast<std::int64_t>(get(kAtWall, 8));
    meta.lostBefore = static_cast<std::uint32_t>(get(kAtLost, 4));
    meta.clock = static_cast<ERecordClock>(clock);
    meta.moment = static_cast<ERecordMoment>(moment);
    getKnown(kAtExposure, meta.exposure, kHasExposure);
    getKnown(kAtGain, meta.gain, kHasGain);
    getKnown(kAtExposureNs, meta.exposureNs, kHasExposureNs);
    getKnown(kAtGainMilliDb, meta.gainMilliDb, kHasGainMilliDb);
    meta.settled = (flags & kSettled) != 0;
    return ERecordState::Good;
}

} // namespace vek::client
