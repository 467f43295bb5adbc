// SPDX-License-Identifier: Apache-2.0
#include "peers/Peers.h"

namespace vek::bench {

std::vector<SLibrary> peerLibraries() {
    std::vector<SLibrary> libraries;
#ifdef VEK_BENCH_OPENCV
    libraries.push_back(openCv());
#endif
#ifdef VEK_BENCH_LIBYUV
    libraries.push_back(libYuv());
#endif
#ifdef VEK_BENCH_LIBDC1394
    libraries.push_back(libDc1394());
#endif
    return libraries;
}

} // namespace vek::bench
