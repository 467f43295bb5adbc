// SPDX-License-Identifier: Apache-2.0
// Which tiers this build has, and that each of them has kernels of its own.
#include "imageproc/rows/RowDispatch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

namespace vek::test {
namespace {

using rows::SRowTable;

/// A kernel's place in the table, by name and index, and its address.
struct SKernel {
    std::string name;
    const void* address;
};

/// A kernel, or every kernel of a nested array.
template <class Kernels>
void append(std::vector<SKernel>& list, const std::string& name, const Kernels& kernels) {
    if constexpr (std::is_array_v<Kernels>) {
        for (std::size_t i = 0; i < std::size(kernels); ++i) {
            append(list, name + "[" + std::to_string(i) + "]", kernels[i]);
        }
    } else {
        list.push_back({name, reinterpret_cast<const void*>(kernels)});
    }
}

template <class T>
void appendDemosaic(std::vector<SKernel>& list, const std::string& prefix, const rows::SDemosaicRows<T>& rows) {
    append(list, prefix + "gray", rows.gray);
    append(list, prefix + "none", rows.none);
    append(list, prefix + "nearestNeighbor", rows.nearestNeighbor);
    append(list, prefix + "bilinearSimple", rows.bilinearSimple);
    append(list, prefix + "bilinearSimpleOpen", rows.bilinearSimpleOpen);
    append(list, prefix + "nearestNeighbor2", rows.nearestNeighbor2);
    append(list, prefix + "bilinearFalseColorReduction", rows.bilinearFalseColorReduction);
    append(list, prefix + "edgeDirected", rows.edgeDirected);
    append(list, prefix + "biCubic", rows.biCubic);
    append(list, prefix + "biCubicThird", rows.biCubicThird);
    append(list, prefix + "meanThird", rows.meanThird);
    append(list, prefix + "pixels", rows.pixels);
}

template <class T>
void appendColors(std::vector<SKernel>& list, const std::string& prefix, const rows::SColorRows<T>& rows) {
    append(list, prefix + "lumaCurve", rows.lumaCurve);
    append(list, prefix + "matrix", rows.matrix);
    append(list, prefix + "suppressChroma", rows.suppressChroma);
    append(list, prefix + "luma", rows.luma);
    append(list, prefix + "sum3", rows.sum3);
    append(list, prefix + "sharpenGray", rows.sharpenGray);
    append(list, prefix + "sharpenColor", rows.sharpenColor);
}

template <class T>
void appendCorrections(std::vector<SKernel>& list, const std::string& bits, const SRowTable& table) {
    const rows::SNoiseRows<T>& noise = rows::noiseRows<T>(table);
    append(list, "noise" + bits + ".easyMono", noise.easyMono);
    append(list, "noise" + bits + ".easyBayer", noise.easyBayer);
    append(list, "noise" + bits + ".subtract", noise.subtract);
    append(list, "noise" + bits + ".repairMono", noise.repairMono);
    append(list, "noise" + bits + ".repairBayer", noise.repairBayer);
    const rows::SShadingRows<T>& shading = rows::shadingRows<T>(table);
    append(list, "shading" + bits + ".gain", shading.gain);
    append(list, "shading" + bits + ".gain16", shading.gain16);
    append(list, "shading" + bits + ".offset", shading.offset);
    append(list, "shading" + bits + ".show", shading.show);
    append(list, "shading" + bits + ".addToMean", shading.addToMean);
}

template <class In, class Out>
void appendTone(std::vector<SKernel>& list, const std::string& prefix, const rows::SToneRows<In, Out>& rows) {
    append(list, prefix + "pixels", rows.pixels);
    append(list, prefix + "samples", rows.samples);
}

std::vector<SKernel> kernelsOf(const SRowTable& table) {
    std::vector<SKernel> list;
    appendDemosaic(list, "demosaic8.", table.demosaic8);
    appendDemosaic(list, "demosaic16.", table.demosaic16);
    append(list, "sums.samples8", table.sums.samples8);
    append(list, "sums.samples16", table.sums.samples16);
    append(list, "sums.packed10", table.sums.packed10);
    append(list, "sums.packed12", table.sums.packed12);
    append(list, "curves8.lookUp", table.curves8.lookUp);
    append(list, "curves16.lookUp", table.curves16.lookUp);
    append(list, "wordCurves.lookUp", table.wordCurves.lookUp);
    append(list, "gains.bytes", table.gains.bytes);
    append(list, "gains.words", table.gains.words);
    appendColors(list, "colors8.", table.colors8);
    appendColors(list, "colors16.", table.colors16);
    append(list, "flips.reverse", table.flips.reverse);
    append(list, "flips.reverseInPlace", table.flips.reverseInPlace);
    append(list, "flips.exchangeReversed", table.flips.exchangeReversed);
    append(list, "flips.transpose", table.flips.transpose);
    append(list, "yCrCb.toBgr", table.yCrCb.toBgr);
    append(list, "yCrCb.toGray", table.yCrCb.toGray);
    append(list, "bytes.shift8", table.bytes.shift8);
    append(list, "bytes.shift16", table.bytes.shift16);
    append(list, "bytes.unpack10", table.bytes.unpack10);
    append(list, "bytes.unpack12", table.bytes.unpack12);
    appendCorrections<std::uint8_t>(list, "8", table);
    appendCorrections<std::uint16_t>(list, "16", table);
    append(list, "unpack.stream10", table.unpack.stream10);
    append(list, "unpack.stream12", table.unpack.stream12);
    append(list, "unpack.csi10", table.unpack.csi10);
    append(list, "unpack.csi12", table.unpack.csi12);
    append(list, "unpack.csi14", table.unpack.csi14);
    append(list, "unpack.swapped", table.unpack.swapped);
    append(list, "unpack.bytesToDepth12", table.unpack.bytesToDepth12);
    append(list, "unpack.toDepth12", table.unpack.toDepth12);
    append(list, "linear.levels", table.linear.levels);
    append(list, "linear.matrix", table.linear.matrix);
    appendTone(list, "tone8.", table.tone8);
    appendTone(list, "tone8To16.", table.tone8To16);
    appendTone(list, "tone16To8.", table.tone16To8);
    appendTone(list, "tone16.", table.tone16);
    append(list, "layout8.arrange", table.layout8.arrange);
    append(list, "layout16.arrange", table.layout16.arrange);
    append(list, "nv12.luma", table.nv12.luma);
    append(list, "nv12.chroma", table.nv12.chroma);
    append(list, "counts8.samples", table.counts8.samples);
    append(list, "counts8.luma", table.counts8.luma);
    append(list, "counts16.samples", table.counts16.samples);
    append(list, "counts16.luma", table.counts16.luma);
    append(list, "takeCounts", table.takeCounts);
    append(list, "fused.bilinearMatrix", table.fused.bilinearMatrix);
    append(list, "fused.bilinearToned", table.fused.bilinearToned);
    append(list, "fused.edgeToned", table.fused.edgeToned);
    return list;
}

std::vector<std::string> tierNames() {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        names.emplace_back(rows::tier(i).table->name);
    }
    return names;
}

TEST(Dispatch, BuildHasTheArchitecturesTiers) {
#if defined(__x86_64__)
    EXPECT_EQ(tierNames(), (std::vector<std::string>{"scalar", "sse42", "avx2", "avx512"}));
#elif defined(__aarch64__)
    EXPECT_EQ(tierNames(), (std::vector<std::string>{"scalar", "neon"}));
#else
    EXPECT_EQ(tierNames(), (std::vector<std::string>{"scalar"}));
#endif
}

TEST(Dispatch, KernelsFillTheirTables) {
    // Nothing in a table but what kernelsOf lists: a kernel that is added must be added there, too.
    const std::size_t pointers = kernelsOf(*rows::tier(0).table).size();
    EXPECT_EQ(sizeof(SRowTable) - offsetof(SRowTable, demosaic8), pointers * sizeof(void*));
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        for (const SKernel& kernel : kernelsOf(*rows::tier(i).table)) {
            EXPECT_NE(kernel.address, nullptr) << rows::tier(i).table->name << ' ' << kernel.name;
        }
    }
}

TEST(Dispatch, NoTierFallsBackToAnotherOnesKernel) {
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            const std::vector<SKernel> a = kernelsOf(*rows::tier(i).table);
            const std::vector<SKernel> b = kernelsOf(*rows::tier(j).table);
            for (std::size_t k = 0; k < a.size(); ++k) {
                EXPECT_NE(a[k].address, b[k].address)
                    << a[k].name << " of " << rows::tier(i).table->name << " is that of " << rows::tier(j).table->name;
            }
        }
    }
}

TEST(Dispatch, BestTableIsTheLastUsableTier) {
    const char* best = nullptr;
    for (std::size_t i = 0; i < rows::tierCount(); ++i) {
        if (rows::tier(i).usable) {
            best = rows::tier(i).table->name;
        }
    }
    EXPECT_STREQ(rows::bestTable().name, best);
    RecordProperty("tier", best);
}

} // namespace
} // namespace vek::test
