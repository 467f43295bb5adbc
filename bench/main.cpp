// SPDX-License-Identifier: Apache-2.0
// usage: vek_bench [--all] [--scaling] [--content NAME,...] [--passes N] [--json FILE] [--benchmark_...]
//   --all      measures operations of less importance as well
//   --scaling  measures the fastest tier over sizes of image, instead of every tier and peer at one size; picture alone
//   --content  measures on these contents alone: picture, flat, noise, clipped; may be given more than once. Peers are
//              measured on the picture. The others are measured once a pass, without repetitions.
//   --passes   goes through all of them so many times: what disturbs the machine for a while does not hit each pass
//   --json     writes the figures to a file instead of printing them
#include "JsonFile.h"
#include "Operations.h"
#include "Runner.h"
#include "peers/Peers.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vek::bench;

struct SOptions {
    bool all = false;
    bool scaling = false;
    int passes = 1;
    Contents contents; ///< in the order of kContents; empty: all
    std::string json;
    std::vector<char*> others; ///< the benchmark library's, behind the program's name
};

/// The contents of a list of names with commas between them, besides those that are there. Throws
/// std::invalid_argument for a name that is none.
Contents withNamed(const Contents& chosen, const std::string& list) {
    std::set<std::string> names;
    std::istringstream words(list + ',');
    for (std::string name; std::getline(words, name, ',');) {
        names.insert(name);
    }
    Contents contents;
    for (const SContentName& known : kContents) {
        if (names.erase(known.name) != 0 || std::find(chosen.begin(), chosen.end(), known.content) != chosen.end()) {
            contents.push_back(known.content);
        }
    }
    if (!names.empty()) {
        throw std::invalid_argument("--content takes picture, flat, noise and clipped, not '" + *names.begin() + '\'');
    }
    return contents;
}

/// Throws std::invalid_argument for a wrong value.
SOptions parse(int argc, char** argv) {
    SOptions options;
    // The benchmark library takes the last of equal options: the user's come behind these.
    static char leastTime[] = "--benchmark_min_time=0.03";
    static char repetitions[] = "--benchmark_repetitions=5";
    options.others = {argv[0], leastTime, repetitions};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--all") == 0) {
            options.all = true;
        } else if (std::strcmp(argv[i], "--scaling") == 0) {
            options.scaling = true;
        } else if (std::strcmp(argv[i], "--json") == 0 && i + 1 < argc) {
            options.json = argv[++i];
        } else if (std::strcmp(argv[i], "--content") == 0 && i + 1 < argc) {
            options.contents = withNamed(options.contents, argv[++i]);
        } else if (std::strcmp(argv[i], "--passes") == 0 && i + 1 < argc) {
            options.passes = std::atoi(argv[++i]);
        } else {
            options.others.push_back(argv[i]); // refused there
        }
    }
    if (options.contents.empty()) {
        for (const SContentName& known : kContents) {
            options.contents.push_back(known.content);
        }
    }
    if (options.passes <= 0) {
        throw std::invalid_argument("--passes takes 1 and more");
    }
    return options;
}

/// In the order of the stages, the depths of an operation together.
Operations operations(bool all) {
    Operations chosen;
    for (const auto& family :
         {colorInterpolationOperations, whiteBalanceOperations, gammaOperations, colorMatrixOperations,
          chromaSuppressOperations, sharpnessOperations, noiseReductionOperations, shadingOperations, flipOperations,
          formatConversionOperations, averageOperations, chainOperations, planOperations}) {
        for (SOperation& operation : family()) {
            if (all || !operation.extra) {
                const auto last = std::find_if(chosen.rbegin(), chosen.rend(),
                                               [&](const SOperation& other) { return other.name == operation.name; });
                chosen.insert(last == chosen.rend() ? chosen.end() : last.base(), std::move(operation));
            }
        }
    }
    return chosen;
}

int run(int argc, char** argv) {
    SOptions options;
    try {
        options = parse(argc, argv);
    } catch (const std::invalid_argument& error) {
        std::fprintf(stderr, "vek_bench: %s\n", error.what());
        return 2;
    }
    int count = static_cast<int>(options.others.size());
    benchmark::Initialize(&count, options.others.data());
    if (benchmark::ReportUnrecognizedArguments(count, options.others.data())) {
        return 2;
    }
    std::vector<std::string> libraries;
    if (options.scaling) {
        registerSizes(operations(options.all));
    } else {
        Peers peers;
        for (const SLibrary& library : peerLibraries()) {
            libraries.push_back(library.version);
            peers.insert(peers.end(), library.peers.begin(), library.peers.end());
        }
        registerTiers(operations(options.all), peers, options.contents);
    }
    CCollector collector;
    for (int pass = 1; pass <= options.passes; ++pass) {
        std::fprintf(stderr, "pass %d of %d\n", pass, options.passes);
        if (benchmark::RunSpecifiedBenchmarks(&collector) == 0) {
            return 1; // the library has said that nothing fits the filter
        }
    }
    benchmark::Shutdown();
    if (options.json.empty()) {
        collector.Print();
    } else {
        writeJson(options.json, collector.Measurements(), libraries);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vek_bench: %s\n", error.what());
        return 1;
    }
}
