// SPDX-License-Identifier: Apache-2.0
#include "client/frames/DngTagNames.h"

#include <tiffio.h>

#include <iterator>

namespace vek::client {

namespace {

// libtiff takes names that it could change.
char forwardMatrix1[] = "ForwardMatrix1";
char forwardMatrix2[] = "ForwardMatrix2";
char opcodeList2[] = "OpcodeList2";
char noiseProfile[] = "NoiseProfile";
char exposureTime[] = "ExposureTime";
char dateTimeOriginal[] = "DateTimeOriginal";

const TIFFFieldInfo kFields[] = {
    {kTagExposureTime, 1, 1, TIFF_RATIONAL, FIELD_CUSTOM, 1, 0, exposureTime},
    {kTagDateTimeOriginal, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1, 0, dateTimeOriginal},
    {kTagForwardMatrix1, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_SRATIONAL, FIELD_CUSTOM, 1, 1, forwardMatrix1},
    {kTagForwardMatrix2, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_SRATIONAL, FIELD_CUSTOM, 1, 1, forwardMatrix2},
    {kTagOpcodeList2, TIFF_VARIABLE2, TIFF_VARIABLE2, TIFF_UNDEFINED, FIELD_CUSTOM, 1, 1, opcodeList2},
    {kTagNoiseProfile, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_DOUBLE, FIELD_CUSTOM, 1, 1, noiseProfile},
};

TIFFExtendProc extendBefore = nullptr;

void extend(TIFF* tiff) {
    TIFFMergeFieldInfo(tiff, kFields, std::size(kFields));
    if (extendBefore != nullptr) {
        extendBefore(tiff);
    }
}

} // namespace

void knowDngTags() {
    static const bool known = (extendBefore = TIFFSetTagExtender(extend), true);
    static_cast<void>(known);
}

} // namespace vek::client
