// SPDX-License-Identifier: Apache-2.0
#include "JsonFile.h"

#include "imageproc/rows/RowDispatch.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <ctime>
#include <fstream>
#include <map>
#include <stdexcept>

namespace vek::bench {

namespace {

// Keys stay in the order in which they are put in.
using Json = nlohmann::ordered_json;

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        const std::size_t colon = line.find(": ");
        if (line.starts_with("model name") && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown";
}

std::string date() {
    const std::time_t now = std::time(nullptr);
    char text[32] = "";
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

const char* compiler() {
#ifdef __clang__
    return __VERSION__;
#else
    return "g++ " __VERSION__;
#endif
}

Json context(const std::vector<std::string>& peers) {
    Json caches = Json::array();
    const benchmark::CPUInfo& cpu = benchmark::CPUInfo::Get();
    for (const benchmark::CPUInfo::CacheInfo& cache : cpu.caches) {
        caches.push_back({{"level", cache.level}, {"type", cache.type}, {"bytes", cache.size}});
    }
    return {{"library_version", VEKCAM_VERSION},
            {"date", date()},
            {"cpu", processor()},
            {"cpus", cpu.num_cpus},
            {"caches", caches},
            {"compiler", compiler()},
            {"best_tier", rows::bestTable().name},
            {"peers", peers}};
}

/// Six decimals are far below what two runs differ by.
double rounded(double number) {
    return std::round(number * 1e6) / 1e6;
}

} // namespace

void writeJson(const std::string& path, const std::vector<SMeasurement>& measurements,
               const std::vector<std::string>& peers) {
    Json rows = Json::array();
    std::map<std::string, std::size_t> indices;
    for (const SMeasurement& measurement : measurements) {
        const Json head = {{"operation", measurement.operation},
                           {"bits", measurement.bits},
                           {"width", measurement.size.width},
                           {"height", measurement.size.height},
                           {"bytes_per_pixel", measurement.bytesPerPixel}};
        const auto [place, isNew] = indices.try_emplace(head.dump(), rows.size());
        if (isNew) {
            rows.push_back(head);
            rows.back()["memcpy"] = nullptr;
            rows.back()["tiers"] = Json::object();
            rows.back()["peers"] = Json::object();
        }
        Json& row = rows[place->second];
        const double nsPerPixel = rounded(measurement.NsPerPixel());
        switch (measurement.kind) {
        case EKind::Copy:
            row["memcpy"] = nsPerPixel;
            break;
        case EKind::Tier:
            row["tiers"][measurement.name][measurement.ContentName()] = nsPerPixel;
            break;
        case EKind::Peer:
            row["peers"][measurement.name] = nsPerPixel;
            break;
        }
    }
    std::ofstream file(path);
    file << Json{{"context", context(peers)}, {"rows", rows}}.dump(1) << '\n';
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace vek::bench
