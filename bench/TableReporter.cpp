// SPDX-License-Identifier: Apache-2.0
#include "TableReporter.h"

#include <cstdio>
#include <optional>

namespace vek::bench {

namespace {

struct SName {
    std::string row; ///< "<operation>/<depth>"
    std::string tier;
};

SName split(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return {name.substr(0, slash), name.substr(slash + 1)};
}

} // namespace

bool CTableReporter::ReportContext(const Context& context) {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void CTableReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) {
            continue;
        }
        const std::string name = run.run_name.function_name;
        const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
        const auto known = mResults.find(name);
        if (known == mResults.end()) {
            mOrder.push_back(name);
            mResults[name] = {seconds, run.counters.at("pixels"), run.counters.at("bytes")};
        } else if (seconds < known->second.seconds) {
            known->second.seconds = seconds;
        }
    }
}

void CTableReporter::Finalize() {
    std::printf("%-34s %-8s %9s %8s %10s %10s\n", "operation / bits", "tier", "ns/pixel", "GB/s", "x memcpy",
                "x scalar");
    const auto secondsOf = [&](const SName& name, const char* tier) -> std::optional<double> {
        const auto it = mResults.find(name.row + '/' + tier);
        return it == mResults.end() ? std::nullopt : std::optional<double>(it->second.seconds);
    };
    const auto ratio = [](double seconds, std::optional<double> base) {
        char text[16] = "-";
        if (base.has_value()) {
            std::snprintf(text, sizeof text, "%.2f", seconds / *base);
        }
        return std::string(text);
    };
    for (const std::string& full : mOrder) {
        const SName name = split(full);
        const SResult& result = mResults[full];
        std::printf("%-34s %-8s %9.4f %8.1f %10s %10s\n", name.row.c_str(), name.tier.c_str(),
                    result.seconds * 1e9 / result.pixels, result.bytes / result.seconds / 1e9,
                    ratio(result.seconds, secondsOf(name, "memcpy")).c_str(),
                    ratio(result.seconds, secondsOf(name, "scalar")).c_str());
    }
}

} // namespace vek::bench
