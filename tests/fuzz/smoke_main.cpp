// SPDX-License-Identifier: Apache-2.0
// Feeds a fuzz target seeded random inputs of many lengths. The target aborts on a finding.
#include "support/Random.h"

#include <cstdio>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main() {
    constexpr int kInputs = 4000;
    vek::test::CRandom random(2024);
    for (int i = 0; i < kInputs; ++i) {
        std::vector<std::uint8_t> input(random.Below(3000));
        for (std::uint8_t& byte : input) {
            byte = static_cast<std::uint8_t>(random.Next());
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%d inputs\n", kInputs);
    return 0;
}
