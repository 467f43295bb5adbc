// SPDX-License-Identifier: Apache-2.0
// Feeds a fuzz target seeded random inputs of many lengths, or the files of a folder that is named, each as it is and
// with changes. The target aborts on a finding.
#include "support/Random.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

/// Sorted by name, so that a run can be repeated.
std::vector<Input> filesOf(const char* folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    std::vector<Input> inputs;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return inputs;
}

/// Bytes replaced, left out or put in again, or an end cut off.
Input changed(Input input, vek::test::CRandom& random) {
    for (std::size_t i = random.Below(4) + 1; i > 0 && !input.empty(); --i) {
        const auto at = input.begin() + static_cast<std::ptrdiff_t>(random.Below(input.size()));
        switch (random.Below(8)) {
        case 0:
            input.resize(random.Below(input.size() + 1));
            break;
        case 1:
            input.erase(at);
            break;
        case 2:
            input.insert(at, static_cast<std::uint8_t>(*at));
            break;
        case 3:
            *at = input[random.Below(input.size())];
            break;
        default:
            *at = static_cast<std::uint8_t>(random.Next());
        }
    }
    return input;
}

} // namespace

int main(int argc, char** argv) {
    constexpr std::size_t kInputs = 4000;
    vek::test::CRandom random(2024);
    const std::vector<Input> saved = argc > 1 ? filesOf(argv[1]) : std::vector<Input>();
    for (const Input& input : saved) {
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    for (std::size_t i = 0; i < kInputs; ++i) {
        Input input(random.Below(3000));
        if (saved.empty()) {
            for (std::uint8_t& byte : input) {
                byte = static_cast<std::uint8_t>(random.Next());
            }
        } else {
            input = changed(saved[i % saved.size()], random);
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%zu inputs\n", saved.size() + kInputs);
    return 0;
}
