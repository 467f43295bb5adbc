// SPDX-License-Identifier: Apache-2.0
// usage: vek_bench [--all] [--scaling] [--json FILE] [--benchmark_...]
//   --all      measures operations of less importance as well
//   --scaling  measures the fastest tier over sizes of image, instead of every tier and peer at one size
//   --json     writes the figures to a file
#include "JsonFile.h"
#include "Runner.h"
#include "imageproc/Operations.h"
#include "peers/Peers.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace vek::bench;

struct SOptions {
    bool all = false;
    bool scaling = false;
    std::string json;
    std::vector<char*> others; ///< the benchmark library's, behind the program's name
};

/// False for an option without its value.
bool parse(int argc, char** argv, SOptions* options) {
    // The benchmark library takes the last of equal options: the user's come behind these.
    static char leastTime[] = "--benchmark_min_time=0.03";
    static char repetitions[] = "--benchmark_repetitions=5";
    options->others = {argv[0], leastTime, repetitions};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--all") == 0) {
            options->all = true;
        } else if (std::strcmp(argv[i], "--scaling") == 0) {
            options->scaling = true;
        } else if (std::strcmp(argv[i], "--json") != 0) {
            options->others.push_back(argv[i]);
        } else if (++i < argc) {
            options->json = argv[i];
        } else {
            return false;
        }
    }
    return true;
}

Operations operations(bool all) {
    Operations chosen;
    for (const auto& family :
         {colorInterpolationOperations, whiteBalanceOperations, gammaOperations, colorMatrixOperations,
          chromaSuppressOperations, sharpnessOperations, noiseReductionOperations, shadingOperations, flipOperations,
          formatConversionOperations, averageOperations, chainOperations}) {
        for (SOperation& operation : family()) {
            if (all || !operation.extra) {
                chosen.push_back(std::move(operation));
            }
        }
    }
    return chosen;
}

int run(int argc, char** argv) {
    SOptions options;
    if (!parse(argc, argv, &options)) {
        std::fprintf(stderr, "vek_bench: --json needs a file\n");
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
        registerTiers(operations(options.all), peers);
    }
    CTableReporter table;
    benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::Shutdown();
    if (!options.json.empty()) {
        writeJson(options.json, table.Measurements(), libraries);
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
