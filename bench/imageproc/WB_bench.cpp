// SPDX-License-Identifier: Apache-2.0
#include "imageproc/WB.h"

#include "Operations.h"
#include "imageproc/Stages.h"

#include <memory>

namespace vek::bench {
namespace {

template <class T>
SOperation operation(const char* name, unsigned char mode, bool extra) {
    return {name, kBits<T>, 2.0 * sizeof(T),
            [=](const rows::SRowTable& table, SInput input) {
                const auto module = std::make_shared<CWB>(table);
                setBalance(*module, mode);
                return inPlaceJob(CPicture<T>(input, 1), [=](T* image) { process(*module, input.size, image); });
            },
            extra};
}

} // namespace

Operations whiteBalanceOperations() {
    return {operation<std::uint8_t>("white balance", VEK_WB_MANUAL, false),
            operation<std::uint16_t>("white balance", VEK_WB_MANUAL, false),
            operation<std::uint8_t>("white balance, automatic", VEK_WB_AUTO, true),
            operation<std::uint16_t>("white balance, automatic", VEK_WB_AUTO, true)};
}

} // namespace vek::bench
