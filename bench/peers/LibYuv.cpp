// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"
#include "peers/Peers.h"

#include <libyuv.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace vek::bench {
namespace {

using Byte = std::uint8_t;
using Word = std::uint16_t;

/// Most functions give 0, some nothing.
template <class Call, class... Arguments>
void succeed(const Call& call, Arguments... arguments) {
    if constexpr (std::is_void_v<std::invoke_result_t<Call, Arguments...>>) {
        call(arguments...);
    } else if (call(arguments...) != 0) {
        throw std::runtime_error("libyuv refuses an image");
    }
}

/// A plane of so many bytes a pixel to one of other bytes a pixel: call(src, srcPitch, dst, dstPitch, width, height).
template <class Call>
SPeer bytes(const char* operation, const char* name, int srcBytes, int dstBytes, Call call) {
    return {operation, 8, name, [=](SSize size) {
                const int width = static_cast<int>(size.width);
                const int height = static_cast<int>(size.height);
                const std::size_t dstSamples = size.Pixels() * static_cast<std::size_t>(dstBytes);
                return conversionJob<Byte>(CPicture<Byte>({size}, static_cast<std::size_t>(srcBytes)), dstSamples,
                                           [=](const Byte* src, Byte* dst) {
                                               succeed(call, src, srcBytes * width, dst, dstBytes * width, width,
                                                       height);
                                           });
            }};
}

/// The picture's luma and chroma as three planes.
SPeer planar444() {
    return {"YCrCb 4:4:4 to BGR", 8, "libyuv I444ToRGB24", [](SSize size) {
                const int width = static_cast<int>(size.width);
                const int height = static_cast<int>(size.height);
                const std::size_t plane = size.Pixels();
                return conversionJob<Byte>(CPicture<Byte>({size}, 3), plane * 3, [=](const Byte* src, Byte* dst) {
                    succeed(libyuv::I444ToRGB24, src, width, src + plane, width, src + 2 * plane, width, dst, 3 * width,
                            width, height);
                });
            }};
}

SPeer wordsToBytes() {
    return {"words to 8 bit", 16, "libyuv Convert16To8Plane", [](SSize size) {
                const int width = static_cast<int>(size.width);
                const int height = static_cast<int>(size.height);
                return conversionJob<Byte>(CPicture<Word>({size}, 1), size.Pixels(), [=](const Word* src, Byte* dst) {
                    constexpr int upperEightOf12 = 4096;
                    libyuv::Convert16To8Plane(src, width, dst, width, upperEightOf12, width, height);
                });
            }};
}

SPeer rotateWords() {
    return {"rotation", 16, "libyuv RotatePlane_16", [](SSize size) {
                const int width = static_cast<int>(size.width);
                const int height = static_cast<int>(size.height);
                return conversionJob<Word>(CPicture<Word>({size}, 1), size.Pixels(), [=](const Word* src, Word* dst) {
                    succeed(libyuv::RotatePlane_16, src, width, dst, height, width, height, libyuv::kRotate90);
                });
            }};
}

/// A curve for each luma: 128 tables of 256 entries.
std::vector<Byte> lumaTable() {
    std::vector<Byte> table(32768);
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<Byte>(255 - i % 256);
    }
    return table;
}

} // namespace

SLibrary libYuv() {
    using namespace libyuv;
    // Rows of B, G, R and alpha in 1/64.
    static constexpr std::int8_t matrix[16] = {96, -25, -6, 0, -22, 102, -16, 0, -12, -19, 96, 0, 0, 0, 0, 64};
    return {
        "libyuv " + std::to_string(LIBYUV_VERSION),
        {bytes("YCrCb 4:2:2 to BGR", "libyuv YUY2ToARGB", 2, 4, YUY2ToARGB), planar444(),
         bytes("luma gamma BGR", "libyuv ARGBLumaColorTable", 4, 4,
               [table = lumaTable()](const Byte* src, int srcPitch, Byte* dst, int dstPitch, int width, int height) {
                   return ARGBLumaColorTable(src, srcPitch, dst, dstPitch, table.data(), width, height);
               }),
         bytes("colour matrix BGR", "libyuv ARGBColorMatrix", 4, 4,
               [](const Byte* src, int srcPitch, Byte* dst, int dstPitch, int width, int height) {
                   return ARGBColorMatrix(src, srcPitch, dst, dstPitch, matrix, width, height);
               }),
         bytes("mirror H", "libyuv MirrorPlane", 1, 1, MirrorPlane),
         bytes("mirror HV", "libyuv RotatePlane180", 1, 1, RotatePlane180),
         bytes("mirror V", "libyuv CopyPlane, height < 0", 1, 1,
               [](const Byte* src, int srcPitch, Byte* dst, int dstPitch, int width, int height) {
                   CopyPlane(src, srcPitch, dst, dstPitch, width, -height);
               }),
         bytes("rotation", "libyuv RotatePlane90", 1, 1,
               [](const Byte* src, int srcPitch, Byte* dst, int, int width, int height) {
                   RotatePlane90(src, srcPitch, dst, height, width, height);
               }),
         rotateWords(), wordsToBytes()}};
}

} // namespace vek::bench
