// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "VekTrgChain.h"
#include "imageproc/rows/RowTable.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vek {

/// Entry i of count, 2 or more: largest x curve(i / (count - 1)), rounded, where largest has outBits bits. curve: one
/// with a name. gamma: of VEK_CHAIN_CURVE_GAMMA, above 0.
void toneEntries(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits, std::uint16_t* entries);

/// Tone curves of blue, green and red as the row kernels take them. Made once; after that it is read alone.
class CToneCurves {
public:
    /// Tables of count entries, 256 for bytes or 4096 for words, which are copied; any of them may be the same.
    /// outBits, 8 to 16: entries above its largest number become that.
    CToneCurves(const std::uint16_t* blue, const std::uint16_t* green, const std::uint16_t* red, std::size_t count,
                unsigned outBits);
    /// The same curve for all three.
    CToneCurves(VekChainCurve curve, double gamma, std::size_t count, unsigned outBits);
    ~CToneCurves();
    CToneCurves(CToneCurves&& other) noexcept;
    CToneCurves& operator=(CToneCurves&& other) noexcept;

    const rows::SToneTables& Tables() const { return mTables; }

private:
    struct SCurve;
    static rows::SToneCurve Fit(SCurve& curve, std::size_t count, unsigned outBits);

    std::unique_ptr<SCurve[]> mCurves; ///< what the tables point to
    rows::SToneTables mTables{};
};

} // namespace vek
