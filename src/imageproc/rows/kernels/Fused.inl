// SPDX-License-Identifier: Apache-2.0
// Stages that follow one another, in one pass: a block's pixels go from body to body in registers.
//
//   rows of the mosaic  ->  bilinearBlock, edgeBlock  ->  SColors  ->  matrixBlock  ->  dst
//                                                                  ->  linearMatrixBlock  ->  toneBlock  ->  dst
//
// Where a tier has no body for one of them, or a row less than a block, the kernels run one after the other. The
// columns at a row's ends, which blocks do not reach, go through the plain loops.
#pragma once

#include "imageproc/rows/RowTable.h"
#include "imageproc/rows/kernels/DemosaicBilinear.inl"
#include "imageproc/rows/kernels/DemosaicEdge.inl"
#include "imageproc/rows/kernels/LinearMatrix.inl"
#include "imageproc/rows/kernels/Matrix.inl"
#include "imageproc/rows/kernels/Tone.inl"

namespace vek::rows::VEK_ISA {
namespace {

// ---- demosaic methods, by row ----

template <class T, BayerRow Row>
struct SBilinear {
    const T* above;
    const T* row;
    const T* below;

    static constexpr std::size_t reach = 1; ///< columns beyond a block
    /// All columns of a row.
    void Whole(T* dst, std::size_t width) const { bilinearSimple<T, Row, 3>(above, row, below, dst, width); }
    void Span(T* dst, std::size_t from, std::size_t to, std::size_t width) const {
        bilinearSpan<T, Row, 3>(above, row, below, dst, from, to, width);
    }
#if VEK_VECTOR_BYTES != 0
    template <class A>
    VEK_INLINE SColors<A> Block(std::size_t x) const {
        if constexpr (sizeof(T) == 1) {
            return bilinearBlock<A, Row>(above, row, below, x);
        } else {
            return bilinearBlock<A, Row, SMeanOfFewerBits>(above, row, below, x); // of 12 bits
        }
    }
#endif
};

template <BayerRow Row>
struct SEdgeOf12 {
    static constexpr std::uint16_t kMaxValue = 4095;
    SFiveRows<std::uint16_t> rows;

    static constexpr std::size_t reach = 2;
    void Whole(std::uint16_t* dst, std::size_t width) const {
        edgeDirected<std::uint16_t, Row, 3>(rows.above2, rows.above, rows.row, rows.below, rows.below2, dst, width,
                                            kMaxValue);
    }
    void Span(std::uint16_t* dst, std::size_t from, std::size_t to, std::size_t width) const {
        edgeSpan<std::uint16_t, Row, 3>(rows, dst, from, to, width, kMaxValue);
    }
#if VEK_VECTOR_BYTES != 0
    template <class A>
    VEK_INLINE SColors<A> Block(std::size_t x) const {
        return edgeBlock<A, Row>(rows, x, kMaxValue);
    }
#endif
};

#if VEK_VECTOR_BYTES != 0 && VEK_MATRIX_STEPS

/// All columns of a row; false, and nothing done, where it has less than a block.
template <BayerRow Row>
inline bool bilinearMatrixBlocks(const SBilinear<std::uint8_t, Row>& mosaic, std::uint8_t* dst, std::size_t width,
                                 const SMatrixTables& tables) {
    using A = WideV<std::uint8_t>;
    const std::size_t inner = blockColumns<A>(2, mosaic.reach, width);
    if (inner == 0) {
        return false;
    }
    withMatrixSteps(tables, [=](const auto& steps) {
        forBlocks<A, 3>(dst, 2, inner, [=, &steps](std::size_t x) {
            storePixels<3>(dst + 3 * x, matrixBlock(mosaic.template Block<A>(x), steps));
        });
    });
    const auto plain = [&](std::size_t from, std::size_t to) {
        mosaic.Span(dst, from, to, width);
        matrixSpan(dst, from, to, 3, tables, 255);
    };
    plain(0, 2);
    plain(2 + inner, width);
    return true;
}

#endif

#if VEK_VECTOR_BYTES != 0 && VEK_TONE_SEGMENTS

/// The columns from 2 on that are inner.
template <bool Alike, bool Multiplied, class Mosaic>
inline void developBlocks(const Mosaic& mosaic, std::uint8_t* dst, std::size_t inner, const SDevelopment& development) {
    using A = SToneLanes::A;
    using Bytes = V<std::uint8_t, kLanes<A>>;
    const SToneLanes blue(development.tone->curve[0]);
    const SToneLanes green(development.tone->curve[1]);
    const SToneLanes red(development.tone->curve[2]);
    const SMatrixLanes<Like<std::int16_t, A>> matrix(Multiplied ? *development.matrix : SLinearMatrix{});
    forBlocks<Bytes, 3>(dst, 2, inner, [=, &green, &red](std::size_t x) {
        const SColors<A> colors = mosaic.template Block<A>(x);
        SColors<A> levels;
        if constexpr (Multiplied) {
            levels = toneHighBytes<4>(linearMatrixBlock<true>(colors, matrix), blue, Alike ? blue : green,
                                      Alike ? blue : red);
        } else {
            levels = toneHighBytes<0>(colors, blue, Alike ? blue : green, Alike ? blue : red);
        }
        storeHighBytes(dst + 3 * x, levels);
    });
}

template <class Mosaic>
inline bool developInRegisters(const Mosaic& mosaic, std::uint8_t* dst, std::size_t width,
                               const SDevelopment& development, std::uint16_t* scratch) {
    const SToneTables& tone = *development.tone;
    const std::size_t inner = blockColumns<SToneLanes::A>(2, mosaic.reach, width);
    if (inner == 0 || tone.curve[0].segments == nullptr || tone.curve[1].segments == nullptr ||
        tone.curve[2].segments == nullptr) {
        return false;
    }
    if (development.matrix != nullptr) {
        tone.alike ? developBlocks<true, true>(mosaic, dst, inner, development)
                   : developBlocks<false, true>(mosaic, dst, inner, development);
    } else {
        tone.alike ? developBlocks<true, false>(mosaic, dst, inner, development)
                   : developBlocks<false, false>(mosaic, dst, inner, development);
    }
    const auto plain = [&](std::size_t from, std::size_t to) {
        mosaic.Span(scratch, from, to, width);
        if (development.matrix != nullptr) {
            linearMatrixSpan(scratch, from, to, *development.matrix);
        }
        toneSpan<3>(scratch, dst, from, to, tone);
    };
    plain(0, 2);
    plain(2 + inner, width);
    return true;
}

#endif

template <class Mosaic>
inline void develop(const Mosaic& mosaic, std::uint8_t* dst, std::size_t width, const SDevelopment& development,
                    std::uint16_t* scratch) {
#if VEK_VECTOR_BYTES != 0 && VEK_TONE_SEGMENTS
    if (developInRegisters(mosaic, dst, width, development, scratch)) {
        return;
    }
#endif
    mosaic.Whole(scratch, width);
    if (development.matrix != nullptr) {
        linearMatrix(scratch, width, *development.matrix);
    }
    tonePixels(scratch, dst, width, *development.tone);
}

// ---- kernels ----

template <BayerRow Row>
void bilinearMatrix(const std::uint8_t* above, const std::uint8_t* row, const std::uint8_t* below, std::uint8_t* dst,
                    std::size_t width, const SMatrixTables& tables) {
    const SBilinear<std::uint8_t, Row> mosaic = {above, row, below};
#if VEK_VECTOR_BYTES != 0 && VEK_MATRIX_STEPS
    if (tables.steps != nullptr && bilinearMatrixBlocks(mosaic, dst, width, tables)) {
        return;
    }
#endif
    mosaic.Whole(dst, width);
    matrix(dst, width, 3, tables, 255);
}

template <BayerRow Row>
void bilinearToned(const std::uint16_t* above, const std::uint16_t* row, const std::uint16_t* below, std::uint8_t* dst,
                   std::size_t width, const SDevelopment& development, std::uint16_t* scratch) {
    develop(SBilinear<std::uint16_t, Row>{above, row, below}, dst, width, development, scratch);
}

template <BayerRow Row>
void edgeToned(const std::uint16_t* above2, const std::uint16_t* above, const std::uint16_t* row,
               const std::uint16_t* below, const std::uint16_t* below2, std::uint8_t* dst, std::size_t width,
               const SDevelopment& development, std::uint16_t* scratch) {
    develop(SEdgeOf12<Row>{{above2, above, row, below, below2}}, dst, width, development, scratch);
}

constexpr SFusedRows fusedTable() {
    using enum BayerRow;
    return {.bilinearMatrix = {bilinearMatrix<RG>, bilinearMatrix<GR>, bilinearMatrix<GB>, bilinearMatrix<BG>},
            .bilinearToned = {bilinearToned<RG>, bilinearToned<GR>, bilinearToned<GB>, bilinearToned<BG>},
            .edgeToned = {edgeToned<RG>, edgeToned<GR>, edgeToned<GB>, edgeToned<BG>}};
}

} // namespace
} // namespace vek::rows::VEK_ISA
