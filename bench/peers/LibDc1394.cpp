// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"
#include "peers/Peers.h"

#include <dc1394/conversions.h>

#include <cstdint>
#include <stdexcept>

namespace vek::bench {
namespace {

template <class T>
SPeer demosaic(const char* operation, const char* name, dc1394bayer_method_t method) {
    return {operation, kBits<T>, name, [=](SSize size) {
                const auto width = static_cast<std::uint32_t>(size.width);
                const auto height = static_cast<std::uint32_t>(size.height);
                return conversionJob<T>(CPicture<T>({size}, 1), size.Pixels() * 3, [=](const T* src, T* dst) {
                    dc1394error_t error = DC1394_SUCCESS;
                    if constexpr (sizeof(T) == 1) {
                        error = dc1394_bayer_decoding_8bit(src, dst, width, height, DC1394_COLOR_FILTER_RGGB, method);
                    } else {
                        error = dc1394_bayer_decoding_16bit(src, dst, width, height, DC1394_COLOR_FILTER_RGGB, method,
                                                            kDepth<T>);
                    }
                    if (error != DC1394_SUCCESS) {
                        throw std::runtime_error("libdc1394 refuses a frame");
                    }
                });
            }};
}

template <class T>
void add(Peers* peers) {
    peers->push_back(demosaic<T>("demosaic NearestNeighbor", "libdc1394 NEAREST", DC1394_BAYER_METHOD_NEAREST));
    peers->push_back(demosaic<T>("demosaic NearestNeighbor2", "libdc1394 SIMPLE", DC1394_BAYER_METHOD_SIMPLE));
    peers->push_back(demosaic<T>("demosaic BilinearSimple", "libdc1394 BILINEAR", DC1394_BAYER_METHOD_BILINEAR));
    peers->push_back(demosaic<T>("demosaic BiCubic", "libdc1394 HQLINEAR", DC1394_BAYER_METHOD_HQLINEAR));
}

} // namespace

SLibrary libDc1394() {
    SLibrary library{"libdc1394 " VEK_BENCH_LIBDC1394, {}};
    add<std::uint8_t>(&library.peers);
    add<std::uint16_t>(&library.peers);
    return library;
}

} // namespace vek::bench
