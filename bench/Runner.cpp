// SPDX-License-Identifier: Apache-2.0
#include "Runner.h"

#include "imageproc/rows/RowDispatch.h"

#ifdef __x86_64__
#include <cpuid.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <utility>

namespace vek::bench {

namespace {

constexpr SSize kSizes[] = {{64, 64}, {256, 256}, {1024, 1024}, kFrame, {5120, 4880}, {10240, 9760}};

/// A clock takes as long as a small image: images are measured together until they have so many pixels.
constexpr std::size_t kLeastPixels = 1 << 16;

std::vector<SMeasurement>& measurements() {
    static std::vector<SMeasurement> all;
    return all;
}

/// Index into measurements() by the benchmark's name.
std::map<std::string, std::size_t>& indices() {
    static std::map<std::string, std::size_t> all;
    return all;
}

struct SAtHand {
    std::size_t index = std::numeric_limits<std::size_t>::max();
    std::vector<SJob> jobs;
};

/// The jobs of the benchmark that runs. Its repetitions share them: large images take long to make.
template <class Make>
std::vector<SJob>& jobsOf(std::size_t index, const Make& make) {
    static SAtHand atHand;
    if (atHand.index != index) {
        atHand = {};
        const std::size_t count = std::max<std::size_t>(kLeastPixels / measurements()[index].size.Pixels(), 1);
        for (std::size_t i = 0; i < count; ++i) {
            atHand.jobs.push_back(make());
        }
        atHand.index = index;
    }
    return atHand.jobs;
}

/// Code of the baseline and of SSE4.2 runs several times slower, on some processors, while the upper halves of vector
/// registers are in use, and whoever ran before may have left them so.
void releaseUpperHalves() {
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx")) {
        __asm__ volatile("vzeroupper");
    }
#endif
}

/// The upper halves are in use. False where the processor does not tell.
bool upperHalvesInUse() {
#ifdef __x86_64__
    static const bool tells = [] {
        unsigned registers[4] = {};
        return __builtin_cpu_supports("avx") != 0 &&
               __get_cpuid_count(13, 1, &registers[0], &registers[1], &registers[2], &registers[3]) != 0 &&
               (registers[0] & 4) != 0; // XGETBV with ECX = 1
    }();
    if (tells) {
        unsigned low = 0;
        unsigned high = 0;
        __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(1));
        return (low & 4) != 0;
    }
#endif
    return false;
}

/// Each call is measured by itself: an average would have everything in it that disturbs the machine now and then. The
/// call before it leaves the caches warm, a restored image is written in the same order as by a call. A tier that
/// leaves upper halves in use slows the application down, and is told of.
void measure(benchmark::State& state, std::vector<SJob>& jobs, EKind kind) {
    using Clock = std::chrono::steady_clock;
    double smallest = std::numeric_limits<double>::max();
    bool leavesInUse = false;
    for (auto _ : state) {
        for (const SJob& job : jobs) {
            if (job.restore) {
                job.restore();
            }
        }
        releaseUpperHalves();
        const bool released = !upperHalvesInUse();
        const Clock::time_point start = Clock::now();
        for (const SJob& job : jobs) {
            job.run();
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        leavesInUse |= kind == EKind::Tier && released && upperHalvesInUse();
        state.SetIterationTime(seconds);
        smallest = std::min(smallest, seconds);
    }
    state.counters["smallest"] = smallest / static_cast<double>(jobs.size());
    state.counters["in use"] = leavesInUse ? 1 : 0;
}

template <class Make>
void add(const SMeasurement& measurement, Make make) {
    std::string name = measurement.operation + '/' + std::to_string(measurement.bits) + '/' + measurement.name;
    if (measurement.kind == EKind::Tier) {
        name += std::string("/") + measurement.ContentName();
    }
    if (measurement.size.Pixels() != kFrame.Pixels()) {
        name += '/' + std::to_string(measurement.size.width) + 'x' + std::to_string(measurement.size.height);
    }
    const std::size_t index = measurements().size();
    measurements().push_back(measurement);
    indices()[name] = index;
    benchmark::internal::Benchmark* const added =
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            measure(state, jobsOf(index, make), measurements()[index].kind);
        });
    added->UseManualTime();
    if (measurement.content != EContent::Picture) {
        added->Repetitions(1);
    }
}

/// The yardstick of an operation that moves so many bytes: a copy of half of them reads and writes as much.
SJob copyJob(std::size_t bytes) {
    const std::vector<std::uint8_t> src(bytes / 2, 1);
    return {[src, dst = std::vector<std::uint8_t>(bytes / 2)]() mutable {
                std::memcpy(dst.data(), src.data(), src.size());
                benchmark::ClobberMemory();
            },
            {}};
}

SMeasurement describe(const SOperation& operation, SInput input, EKind kind, std::string name) {
    return {operation.name, operation.bits, input.size, operation.bytesPerPixel, input.content, kind, std::move(name)};
}

void addCopy(const SOperation& operation, SSize size) {
    const auto bytes = static_cast<std::size_t>(operation.bytesPerPixel * static_cast<double>(size.Pixels()));
    add(describe(operation, {size}, EKind::Copy, "memcpy"), [=] { return copyJob(bytes); });
}

void addTier(const SOperation& operation, SInput input, const rows::SRowTable& table) {
    const rows::SRowTable* const pointer = &table;
    add(describe(operation, input, EKind::Tier, table.name),
        [make = operation.make, pointer, input] { return make(*pointer, input); });
}

/// The time of the same operation and size, of a tier on the same content, too; 0 where it was not measured.
double secondsOf(const SMeasurement& of, EKind kind, const std::string& name) {
    for (const SMeasurement& other : measurements()) {
        if (other.operation == of.operation && other.bits == of.bits && other.size.Pixels() == of.size.Pixels() &&
            other.kind == kind && other.name == name && (kind != EKind::Tier || other.content == of.content)) {
            return other.seconds;
        }
    }
    return 0;
}

std::string ratio(double seconds, double base) {
    char text[16] = "-";
    if (base > 0) {
        std::snprintf(text, sizeof text, "%.2f", seconds / base);
    }
    return text;
}

} // namespace

const char* SMeasurement::ContentName() const {
    return std::find_if(std::begin(kContents), std::end(kContents),
                        [this](const SContentName& known) { return known.content == content; })
        ->name;
}

void registerTiers(const Operations& operations, const Peers& peers, const Contents& contents) {
    for (const SPeer& peer : peers) {
        if (std::none_of(operations.begin(), operations.end(), [&](const SOperation& operation) {
                return operation.name == peer.operation && operation.bits == peer.bits;
            })) {
            throw std::invalid_argument(peer.name + " is no peer of any operation");
        }
    }
    const bool withPicture = std::find(contents.begin(), contents.end(), EContent::Picture) != contents.end();
    for (const SOperation& operation : operations) {
        addCopy(operation, kFrame);
        for (std::size_t i = 0; i < rows::tierCount(); ++i) {
            if (rows::tier(i).usable) {
                for (const EContent content : contents) {
                    addTier(operation, {kFrame, content}, *rows::tier(i).table);
                }
            }
        }
        for (const SPeer& peer : peers) {
            if (withPicture && peer.operation == operation.name && peer.bits == operation.bits) {
                add(describe(operation, {kFrame}, EKind::Peer, peer.name), [make = peer.make] { return make(kFrame); });
            }
        }
    }
}

void registerSizes(const Operations& operations) {
    for (const SOperation& operation : operations) {
        for (const SSize size : kSizes) {
            addCopy(operation, size);
            addTier(operation, {size}, rows::bestTable());
        }
    }
}

void CCollector::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        const auto known = indices().find(run.run_name.function_name);
        if (run.run_type == Run::RT_Iteration && !run.error_occurred && known != indices().end()) {
            SMeasurement& measured = measurements()[known->second];
            if (run.counters.at("in use") != 0 && !measured.leavesUpperHalves) {
                std::fprintf(stderr, "%s leaves the upper halves of vector registers in use\n", known->first.c_str());
                measured.leavesUpperHalves = true;
            }
            const double seconds = run.counters.at("smallest");
            measured.seconds = measured.seconds > 0 ? std::min(measured.seconds, seconds) : seconds;
        }
    }
}

std::vector<SMeasurement> CCollector::Measurements() const {
    std::vector<SMeasurement> done;
    std::copy_if(measurements().begin(), measurements().end(), std::back_inserter(done),
                 [](const SMeasurement& measurement) { return measurement.seconds > 0; });
    return done;
}

void CCollector::Print() const {
    std::printf("%-52s %-11s %-34s %-8s %9s %8s %9s %9s\n", "operation / bits", "size", "tier or peer", "content",
                "ns/pixel", "GB/s", "x memcpy", "x scalar");
    for (const SMeasurement& measured : Measurements()) {
        const std::string row = measured.operation + '/' + std::to_string(measured.bits);
        const std::string size = std::to_string(measured.size.width) + 'x' + std::to_string(measured.size.height);
        std::printf("%-52s %-11s %-34s %-8s %9.4f %8.1f %9s %9s\n", row.c_str(), size.c_str(), measured.name.c_str(),
                    measured.kind == EKind::Copy ? "" : measured.ContentName(), measured.NsPerPixel(),
                    measured.GigabytesPerSecond(),
                    ratio(measured.seconds, secondsOf(measured, EKind::Copy, "memcpy")).c_str(),
                    ratio(measured.seconds, secondsOf(measured, EKind::Tier, "scalar")).c_str());
    }
}

} // namespace vek::bench
