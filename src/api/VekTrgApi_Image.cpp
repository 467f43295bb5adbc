// SPDX-License-Identifier: Apache-2.0
// Exports of the stages that work on images in place: settings and processing.
#include "VekTrgApi.h"

#include "api/Export.h"
#include "common/PixelFormat.h"
#include "common/Status.h"
#include "imageproc/IChromaSuppress.h"
#include "imageproc/IColorMatrix.h"
#include "imageproc/IFlip.h"
#include "imageproc/IGamma.h"
#include "imageproc/ISharpness.h"
#include "imageproc/IWB.h"

#include <algorithm>

namespace {

using vek::bytes;
using vek::runExport;
using vek::statusCode;
using vek::words;

/// Whether the colour stage takes a format at a depth. Grey formats go with any: there is nothing to do.
bool colorStageTakes(unsigned long pixelFormat, unsigned short bits) {
    if (vek::isGray(pixelFormat)) {
        return true;
    }
    const bool color = vek::colorSamples(pixelFormat) != 0;
    return color && (vek::isOfWords(pixelFormat) ? bits >= 8 && bits <= 16 : bits <= 8);
}

using LevelSetter = unsigned long (vek::IChromaSuppress::*)(unsigned short);
using LevelGetter = unsigned long (vek::IChromaSuppress::*)(unsigned short*);

int setSuppression(VekCam_Handle handle, LevelSetter setStart, unsigned short startLevel, LevelSetter setSlope,
                   unsigned short slope) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::IChromaSuppress& module = camera.ChromaSuppress();
        const unsigned long status = (module.*setStart)(startLevel);
        return statusCode(status == vek::kOk ? (module.*setSlope)(slope) : status);
    });
}

/// Either output may be null.
int getSuppression(VekCam_Handle handle, LevelGetter getStart, unsigned short* startLevel, LevelGetter getSlope,
                   unsigned short* slope) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::IChromaSuppress& module = camera.ChromaSuppress();
        unsigned long status = vek::kOk;
        if (startLevel != nullptr) {
            status = (module.*getStart)(startLevel);
        }
        if (slope != nullptr && status == vek::kOk) {
            status = (module.*getSlope)(slope);
        }
        return statusCode(status);
    });
}

} // namespace

// ---- white balance ----

int VekCam_SetWhiteBalanceMode(VekCam_Handle handle, unsigned char mode) {
    return runExport(handle, [&](const CVekTrgCamera& camera) { return statusCode(camera.WB().SetWBMode(mode)); });
}

int VekCam_GetWhiteBalanceMode(VekCam_Handle handle, unsigned char* mode) {
    return runExport(handle, [&](const CVekTrgCamera& camera) { return statusCode(camera.WB().GetWBMode(mode)); });
}

int VekCam_SetWhiteBalanceGain(VekCam_Handle handle, unsigned short r, unsigned short gr, unsigned short gb,
                               unsigned short b) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        const unsigned short gains[] = {r, gr, gb, b};
        return statusCode(camera.WB().SetWBGain(gains));
    });
}

int VekCam_GetWhiteBalanceGain(VekCam_Handle handle, unsigned short* r, unsigned short* gr, unsigned short* gb,
                               unsigned short* b) {
    return runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        if (r == nullptr || gr == nullptr || gb == nullptr || b == nullptr) {
            return VEK_EINVAL;
        }
        unsigned short gains[4] = {};
        const unsigned long status = camera.WB().GetWBGain(gains);
        *r = gains[0];
        *gr = gains[1];
        *gb = gains[2];
        *b = gains[3];
        return statusCode(status);
    });
}

int VekCam_GetWhiteBalanceMaxGain(VekCam_Handle handle, unsigned short* r, unsigned short* gr, unsigned short* gb,
                                  unsigned short* b) {
    return runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        if (r == nullptr || gr == nullptr || gb == nullptr || b == nullptr) {
            return VEK_EINVAL;
        }
        camera.GetWhiteBalanceMaxGain(r, gr, gb, b);
        return VEK_OK;
    });
}

int VekCam_WhiteBalance(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long lineBytes,
                        unsigned short colorArray, void* image, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        if (bits != 8 && bits != 10 && bits != 12) {
            return VEK_EINVAL;
        }
        if (colorArray == VEK_COLOR_ARRAY_MONO) {
            return VEK_OK;
        }
        vek::IWB& module = camera.WB();
        return statusCode(bits > 8 ? module.WBProcW(width, height, lineBytes, colorArray, words(image), bits)
                                   : module.WBProcB(width, height, lineBytes, colorArray, bytes(image), bits));
    });
}

// ---- gamma ----

int VekCam_SetGammaMode(VekCam_Handle handle, unsigned char channel, unsigned char mode, unsigned short gamma,
                        short brightness, unsigned short contrast, const void* table, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.Gamma().SetMode(channel, mode, gamma, brightness, contrast, table, bits));
    });
}

int VekCam_GetGammaMode(VekCam_Handle handle, unsigned char channel, unsigned char* mode, unsigned short* gamma,
                        short* brightness, void* contrast, void* table, unsigned short* bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.Gamma().GetMode(channel, mode, gamma, brightness, contrast, table, bits));
    });
}

int VekCam_RawColorGamma(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned short colorArray,
                         void* image, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::IGamma& module = camera.Gamma();
        return statusCode(bits > 8 ? module.ProcColorRawW(width, height, 2 * width, colorArray, words(image))
                                   : module.ProcColorRawB(width, height, width, colorArray, bytes(image)));
    });
}

int VekCam_BGRGamma(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pixelFormat,
                    void* image, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::IGamma& module = camera.Gamma();
        return statusCode(bits > 8 ? module.ProcBGROrGrayW(width, height, 0, pixelFormat, words(image))
                                   : module.ProcBGROrGrayB(width, height, 0, pixelFormat, bytes(image)));
    });
}

// ---- sharpness ----

int VekCam_SetSharpnessMode(VekCam_Handle handle, unsigned char mode, unsigned short gain, unsigned char coring) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.Sharpness().SetMode(mode, gain, coring));
    });
}

int VekCam_GetSharpnessMode(VekCam_Handle handle, unsigned char* mode, unsigned short* gain, unsigned char* coring) {
    return runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        if (coring == nullptr) {
            return VEK_EINVAL;
        }
        unsigned short wideCoring = 0;
        const unsigned long status = camera.Sharpness().GetMode(mode, gain, &wideCoring);
        if (status == vek::kOk) {
            *coring = static_cast<unsigned char>(std::min<unsigned short>(wideCoring, 255));
        }
        return statusCode(status);
    });
}

int VekCam_Sharpness(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pixelFormat,
                     void* image, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        vek::ISharpness& module = camera.Sharpness();
        return statusCode(bits > 8 ? module.ProcessW(width, height, 0, pixelFormat, words(image), bits)
                                   : module.ProcessB(width, height, 0, pixelFormat, bytes(image), bits));
    });
}

// ---- mirror and rotation ----

int VekCam_MirrorRotation(VekCam_Handle handle, unsigned char mirror, unsigned char rotation, unsigned long* width,
                          unsigned long* height, unsigned short* colorArray, void* image) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        const unsigned long status =
            camera.Flip().FlipRawB(mirror, rotation, width, height, bytes(image), bytes(image), colorArray);
        return vek::oneIfFailed(status);
    });
}

// ---- colour matrix, hue and saturation, chroma suppression ----

int VekCam_SetColorMatrix(VekCam_Handle handle, unsigned char mode, const short* matrix) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ColorMatrix().SetColorMatrix(mode, matrix));
    });
}

int VekCam_GetColorMatrix(VekCam_Handle handle, unsigned char* mode, short* matrix) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ColorMatrix().GetColorMatrix(mode, matrix));
    });
}

int VekCam_SetHueSaturationMode(VekCam_Handle handle, unsigned char mode, short hue, unsigned short saturation) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ColorMatrix().SetHueSaturation(mode, hue, saturation));
    });
}

int VekCam_GetHueSaturationMode(VekCam_Handle handle, unsigned char* mode, short* hue, unsigned short* saturation) {
    return runExport(handle, [&](const CVekTrgCamera& camera) {
        return statusCode(camera.ColorMatrix().GetHueSaturation(mode, hue, saturation));
    });
}

int VekCam_HueSaturationColorMatrix(VekCam_Handle handle, unsigned long width, unsigned long height,
                                    unsigned long pixelFormat, void* image, unsigned short bits) {
    return runExport(handle, [&](const CVekTrgCamera& camera) -> int {
        if (!colorStageTakes(pixelFormat, bits)) {
            return VEK_EINVAL;
        }
        vek::IColorMatrix& matrix = camera.ColorMatrix();
        vek::IChromaSuppress& suppress = camera.ChromaSuppress();
        const bool wide = bits > 8;
        unsigned long status = wide ? matrix.ProcessW(width, height, 0, pixelFormat, words(image), bits)
                                    : matrix.ProcessB(width, height, 0, pixelFormat, bytes(image), bits);
        if (status == vek::kOk) {
            status = wide ? suppress.ProcessW(width, height, 0, pixelFormat, words(image))
                          : suppress.ProcessB(width, height, 0, pixelFormat, bytes(image));
        }
        return statusCode(status);
    });
}

int VekCam_SetHighChromaSuppression(VekCam_Handle handle, unsigned short startLevel, unsigned short slope) {
    return setSuppression(handle, &vek::IChromaSuppress::SetHighStartLevel, startLevel,
                          &vek::IChromaSuppress::SetHighSlope, slope);
}

int VekCam_GetHighChromaSuppression(VekCam_Handle handle, unsigned short* startLevel, unsigned short* slope) {
    return getSuppression(handle, &vek::IChromaSuppress::GetHighStartLevel, startLevel,
                          &vek::IChromaSuppress::GetHighSlope, slope);
}

int VekCam_SetLowChromaSuppression(VekCam_Handle handle, unsigned short startLevel, unsigned short slope) {
    return setSuppression(handle, &vek::IChromaSuppress::SetLowStartLevel, startLevel,
                          &vek::IChromaSuppress::SetLowSlope, slope);
}

int VekCam_GetLowChromaSuppression(VekCam_Handle handle, unsigned short* startLevel, unsigned short* slope) {
    return getSuppression(handle, &vek::IChromaSuppress::GetLowStartLevel, startLevel,
                          &vek::IChromaSuppress::GetLowSlope, slope);
}
