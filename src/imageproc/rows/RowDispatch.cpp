// SPDX-License-Identifier: Apache-2.0
#include "imageproc/rows/RowDispatch.h"

namespace vek::rows {

namespace scalar {
extern const SRowTable kTable;
}
#if defined(__x86_64__)
namespace sse42 {
extern const SRowTable kTable;
}
namespace avx2 {
extern const SRowTable kTable;
}
namespace avx512 {
extern const SRowTable kTable;
}
#elif defined(__aarch64__)
namespace neon {
extern const SRowTable kTable;
}
#endif

namespace {

// Each test names exactly the features that the tier's object file is compiled for. The compiler's run-time
// support also asks the operating system whether it saves the wide registers.
bool isUsable(Isa isa) {
    switch (isa) {
    case Isa::Scalar:
        return true;
#if defined(__x86_64__)
    case Isa::Sse42:
        return __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("popcnt") != 0;
    case Isa::Avx2:
        return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
               __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("popcnt") != 0;
    case Isa::Avx512:
        return isUsable(Isa::Avx2) && __builtin_cpu_supports("avx512f") != 0 &&
               __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512dq") != 0 &&
               __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi") != 0 &&
               __builtin_cpu_supports("avx512vnni") != 0;
#elif defined(__aarch64__)
    case Isa::Neon:
        return true; // part of the architecture's baseline
#endif
    default:
        return false;
    }
}

constexpr const SRowTable* kTables[] = {
    &scalar::kTable,
#if defined(__x86_64__)
    &sse42::kTable,
    &avx2::kTable,
    &avx512::kTable,
#elif defined(__aarch64__)
    &neon::kTable,
#endif
};

} // namespace

std::size_t tierCount() {
    return sizeof kTables / sizeof kTables[0];
}

STier tier(std::size_t i) {
    return {kTables[i], isUsable(kTables[i]->isa)};
}

const SRowTable& bestTable() {
    std::size_t best = tierCount() - 1;
    while (!isUsable(kTables[best]->isa)) {
        --best;
    }
    return *kTables[best];
}

} // namespace vek::rows
