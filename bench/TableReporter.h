// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace vek::bench {

/// Prints, at the end of a run, one line per operation, depth and tier: ns per pixel, GB/s, and the time as a
/// multiple of memcpy's for the same traffic ("memcpy" tier) and of the scalar rows'. Times are the smallest of the
/// repetitions: what the machine does when nothing else disturbs it.
class CTableReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct SResult {
        double seconds;
        double pixels;
        double bytes;
    };
    std::vector<std::string> mOrder; ///< names in the order of their first report
    std::map<std::string, SResult> mResults;
};

} // namespace vek::bench
