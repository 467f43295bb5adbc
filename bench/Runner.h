// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Operation.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace vek::bench {

/// A copy of as many bytes as an operation reads and writes stands beside its tiers and its peers.
enum class EKind { Copy, Tier, Peer };

/// What a registered benchmark measures, and what came out.
struct SMeasurement {
    std::string operation;
    unsigned bits;
    SSize size;
    double bytesPerPixel;
    EContent content; ///< the picture where it does not matter
    EKind kind;
    std::string name;               ///< of the tier or peer; "memcpy"
    double seconds = 0;             ///< of one call, the smallest; 0: not measured
    bool leavesUpperHalves = false; ///< in use; only tiers are asked
    const char* ContentName() const;
    double NsPerPixel() const { return seconds * 1e9 / static_cast<double>(size.Pixels()); }
    double GigabytesPerSecond() const { return bytesPerPixel / NsPerPixel(); }
};

using Contents = std::vector<EContent>;

/// Every tier of the operations on each of the contents at 2448 x 2048, with copies, and with peers where the picture
/// is among the contents. Contents other than the picture are measured once, however many repetitions there are. Throws
/// std::invalid_argument for a peer whose operation does not exist.
void registerTiers(const Operations& operations, const Peers& peers, const Contents& contents);

/// The fastest tier of the operations on the picture, and copies, from 64 x 64 to 100 megapixels.
void registerSizes(const Operations& operations);

/// Keeps the smallest time of all calls: what the machine does when nothing else disturbs it.
class CCollector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    /// In the order of registration; those that a filter left out are missing.
    std::vector<SMeasurement> Measurements() const;
    /// A line for each measurement: time, its multiple of memcpy's for the same traffic and of the scalar tier's.
    void Print() const;
};

} // namespace vek::bench
