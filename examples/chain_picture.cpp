// SPDX-License-Identifier: Apache-2.0
// A raw frame of a file becomes a picture, a PPM file on standard output.
// Usage: chain_picture FILE WIDTH HEIGHT BLACK, of RGGB samples of 14 bits in words.
#include <VekTrgChain.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <type_traits>
#include <vector>

namespace {

struct SEnd {
    void operator()(CVekTrgCamera* handle) const { VekCam_Close(handle); }
    void operator()(const CVekChainPlan* plan) const { VekChain_Destroy(plan); }
    void operator()(CVekChainWork* work) const { VekChain_DestroyWork(work); }
};
template <class Pointer>
using Owner = std::unique_ptr<std::remove_pointer_t<Pointer>, SEnd>;

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "Usage: chain_picture FILE WIDTH HEIGHT BLACK\n";
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<char> raw(std::istreambuf_iterator<char>(file), {});

    VekChainFrame frame{};
    frame.size = sizeof frame;
    frame.width = static_cast<std::uint32_t>(std::atoi(argv[2]));
    frame.height = static_cast<std::uint32_t>(std::atoi(argv[3]));
    frame.format = VEK_TRANSFER_RAW14;
    frame.colorArray = VEK_COLOR_ARRAY_RGGB;
    VekChainPicture picture{};
    picture.size = sizeof picture;
    picture.layout = VEK_CHAIN_RGB;
    VekChainLevels levels{};
    levels.size = sizeof levels;
    for (unsigned place = 0; place < 4; ++place) {
        levels.black[place] = static_cast<std::uint16_t>(std::atoi(argv[4]) / 4); // levels count at 12 bits
        levels.gain[place] = place == 0 ? 8400 : place == 3 ? 6400 : 4096;        // red, green, green, blue
    }
    VekChainTone tone{};
    tone.size = sizeof tone;
    tone.curve = VEK_CHAIN_CURVE_SRGB;
    VekChainDescription description{};
    description.size = sizeof description;
    description.frame = &frame;
    description.picture = &picture;
    description.levels = &levels;
    description.demosaic = VEK_CHAIN_DEMOSAIC_EDGE;
    description.tone = &tone;

    const Owner<VekCam_Handle> handle(VekCam_Open(-1)); // no camera: its settings are not used either
    char reason[200] = "";
    VekChain_Plan made = nullptr;
    if (VekChain_Create(handle.get(), &description, &made, reason, sizeof reason) != VEK_OK) {
        std::cerr << reason << '\n';
        return 1;
    }
    const Owner<VekChain_Plan> plan(made);
    VekChainTraits traits{};
    traits.size = sizeof traits;
    VekChain_Traits(made, &traits);
    VekChain_Work area = nullptr;
    VekChain_CreateWork(made, &area);
    const Owner<VekChain_Work> work(area);
    std::vector<char> pixels(traits.pictureBytes);
    if (raw.size() < traits.frameBytes ||
        VekChain_Run(made, nullptr, area, raw.data(), pixels.data(), 0, traits.height) != VEK_OK) {
        std::cerr << argv[1] << ": no frame of this size\n";
        return 1;
    }
    std::cout << "P6\n" << traits.width << ' ' << traits.height << "\n255\n";
    std::cout.write(pixels.data(), static_cast<std::streamsize>(pixels.size()));
    return std::cout.flush() ? 0 : 1;
}
