/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEK_TRG_CHAIN_H
#define VEK_TRG_CHAIN_H

/**
 * VekTrgChain: a raw frame becomes a picture in one call, in bands of rows, without a copy of the frame.
 *
 * A description says what a frame is, what the picture shall be, and which stages lie between. VekChain_Create checks
 * it once and makes a plan of it, with the settings that a handle has at that moment; VekChain_Run makes rows of a
 * picture. Valid C99 and C++. docs/pipeline.md fixes every stage to the bit.
 *
 *     VekChainFrame frame = {.size = sizeof frame, .width = 2448, .height = 2048,
 *                            .format = VEK_TRANSFER_RAW8, .colorArray = VEK_COLOR_ARRAY_RGGB};
 *     VekChainPicture picture = {.size = sizeof picture, .layout = VEK_CHAIN_BGR};
 *     VekChainDescription description = {.size = sizeof description, .frame = &frame, .picture = &picture,
 *                                        .demosaic = VEK_DEMOSAIC_BILINEAR_SIMPLE,
 *                                        .stages = VEK_CHAIN_WHITE_BALANCE | VEK_CHAIN_SHARPNESS};
 *     VekCam_Handle handle = VekCam_Open(-1); // without a camera: the settings are all that is wanted
 *     char reason[200];
 *     VekChain_Plan plan;
 *     VekChain_Work work;
 *     VekCam_SetWhiteBalanceMode(handle, VEK_WB_MANUAL);
 *     VekCam_SetSharpnessMode(handle, 1, 60, 4);
 *     if (VekChain_Create(handle, &description, &plan, reason, sizeof reason) != VEK_OK) {
 *         fprintf(stderr, "%s\n", reason);
 *         return 1;
 *     }
 *     if (VekChain_CreateWork(plan, &work) == VEK_OK) {
 *         while (next(&raw, bgr)) { // a mapped buffer of the driver, and room for a picture
 *             VekChain_Run(plan, NULL, work, raw, bgr, 0, 2048);
 *         }
 *         VekChain_DestroyWork(work);
 *     }
 *     VekChain_Destroy(plan);
 *     VekCam_Close(handle);
 *
 * Conventions:
 *  - Every struct begins with its size, which the application sets to sizeof. A larger one than the library knows, up
 *    to 65536 bytes, is taken where what it does not know is 0; of a larger one that receives something, that is left
 *    alone. Members of 0 stand for what is most usual.
 *  - A plan never changes, and nothing that is set in its handle later changes it; the handle may be closed. It shares
 *    the dark frame and the shading map with the handle, which replaces them when it gets new ones.
 *  - Any number of threads may run bands of one frame, or of several, with one plan at once, each with a work area of
 *    its own. Plan and state are read, the work area alone is written. To stop, call no more bands.
 *  - Creating uses the handle like any other call, from one thread at a time; updating reads the old plan.
 *  - Running allocates nothing, keeps no pointer, and reads the frame from its first row to its last one.
 *  - The frame may begin at any address, and is never written. A picture of words begins at an even one. Frame and
 *    picture do not overlap.
 *  - Exceptions, output, threads: none.
 *
 * Where a plan has none of the chain's own stages (levels, linear matrix, tone, VEK_CHAIN_DEMOSAIC_EDGE), and picture
 * and working depth are the frame's, its pixels are those that the functions of VekTrgApi.h make of a copy of the frame
 * (of its crop) one after the other, bit for bit.
 */

#include "VekTrgApi.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What VekChain_Create makes: immutable. Null: none. */
typedef const struct CVekChainPlan *VekChain_Plan;
/** Working memory of one thread. Null: none. */
typedef struct CVekChainWork *VekChain_Work;
/** What VekChain_Prepare leaves of a frame, for plans that need it. Null: none. */
typedef struct CVekChainState *VekChain_State;

/** Formats of frames that enum VekTransferFormat does not know, named as in V4L2. */
enum VekChainFormat {
    VEK_CHAIN_CSI2_RAW10 = 0x1000, /**< MIPI CSI-2, as V4L2_PIX_FMT_SRGGB10P (pRAA): 4 pixels in 5 bytes */
    VEK_CHAIN_CSI2_RAW12 = 0x1001, /**< as V4L2_PIX_FMT_SRGGB12P (pRCC): 2 pixels in 3 bytes */
    VEK_CHAIN_CSI2_RAW14 = 0x1002  /**< as V4L2_PIX_FMT_SRGGB14P (pREE): 4 pixels in 7 bytes */
};

/** Order of the two bytes of a word. */
enum VekChainByteOrder { VEK_CHAIN_LITTLE_ENDIAN = 0, VEK_CHAIN_BIG_ENDIAN = 1 };

/** One more demosaic method, besides enum VekDemosaicMethod: edge-directed, from 5 x 5 pixels, depths up to 12. */
enum { VEK_CHAIN_DEMOSAIC_EDGE = 16 };

/**
 * Stages that work with the settings of the handle; bits. Each does what the function of VekTrgApi.h does, and nothing
 * where the handle has it switched off; what it does not go with is refused all the same.
 */
enum VekChainStage {
    VEK_CHAIN_SHADING = 1,       /**< VekCam_ShadingCorrection */
    VEK_CHAIN_WHITE_BALANCE = 2, /**< VekCam_WhiteBalance; bytes alone */
    VEK_CHAIN_RAW_GAMMA = 4,     /**< VekCam_RawColorGamma */
    VEK_CHAIN_COLOR_MATRIX = 8,  /**< VekCam_HueSaturationColorMatrix, chroma suppression with it */
    VEK_CHAIN_LUMA_GAMMA = 16,   /**< VekCam_BGRGamma; bytes alone */
    VEK_CHAIN_SHARPNESS = 32     /**< VekCam_Sharpness; up to 12 bits */
};

/** Layouts of a picture's pixels. Samples are bytes at 8 bits, else words. */
enum VekChainLayout {
    VEK_CHAIN_MONO = 0, /**< grey; with VEK_DEMOSAIC_MONO or mono frames */
    VEK_CHAIN_BGR = 1,
    VEK_CHAIN_RGB = 2,
    VEK_CHAIN_BGRX = 3, /**< and a fourth sample that is neither read nor written */
    VEK_CHAIN_RGBX = 4,
    VEK_CHAIN_BGRA = 5, /**< and a fourth sample of the value fill */
    VEK_CHAIN_RGBA = 6,
    VEK_CHAIN_NV12 =
        7 /**< bytes: height rows of luma, then (height + 1) / 2 of Cb and Cr by turns, 2 x 2 pixels each */
};

/** What luma and chroma of VEK_CHAIN_NV12 are worked out by. */
enum VekChainColorSpace {
    VEK_CHAIN_BT601_FULL = 0, /**< ITU-R BT.601, 0 .. 255 */
    VEK_CHAIN_BT709_VIDEO = 1 /**< ITU-R BT.709, luma 16 .. 235, chroma 16 .. 240 */
};

/** When sharpness runs, where there is a tone stage. */
enum VekChainSharpnessPlace { VEK_CHAIN_SHARPEN_BEFORE_TONE = 0, VEK_CHAIN_SHARPEN_AFTER_TONE = 1 };

/** A raw frame in memory, and the part of it that becomes the picture. */
typedef struct VekChainFrame {
    size_t size;         /**< sizeof this struct */
    uint32_t width;      /**< pixels */
    uint32_t height;     /**< rows */
    size_t pitch;        /**< bytes from row to row; 0: rows without padding, each from a whole byte (group) on */
    uint32_t cropX;      /**< pixels; an odd one shifts the colour array */
    uint32_t cropY;      /**< rows */
    uint32_t cropWidth;  /**< pixels; 0: up to the right edge */
    uint32_t cropHeight; /**< rows; 0: down to the bottom edge */
    uint32_t format;     /**< enum VekTransferFormat, raw or mono, or enum VekChainFormat */
    uint16_t colorArray; /**< enum VekColorArray of the whole frame, 1 .. 5; not looked at for mono formats */
    uint16_t byteOrder;  /**< enum VekChainByteOrder; of formats of words, else 0 */
} VekChainFrame;

/** A picture in memory, as large as the frame's crop. */
typedef struct VekChainPicture {
    size_t size;     /**< sizeof this struct */
    uint32_t layout; /**< enum VekChainLayout */
    /** Bits of a sample, 8 .. 16; 0: 8 with tone and in NV12, else the working depth. Without a tone stage samples are
        shifted: bits below are cut off, missing ones 0. */
    uint32_t depth;
    size_t pitch;  /**< bytes from row to row, of all planes; 0: rows without padding */
    uint16_t fill; /**< fourth sample of VEK_CHAIN_BGRA and VEK_CHAIN_RGBA, at most the largest of the depth; else 0 */
    uint16_t colorSpace; /**< enum VekChainColorSpace of VEK_CHAIN_NV12; else 0 */
    uint32_t reserved;   /**< 0 */
} VekChainPicture;

/**
 * Levels, at 12 bits: by place in the frame's 2 x 2 cell, 2 x (row mod 2) + (column mod 2), a sample s becomes
 * ((s - black) x gain + 2048) >> 12, and pedestal more, within 0 .. 4095. The pedestal keeps what noise there is below
 * black; take it away again with the offsets of the linear matrix, or by the tone curve.
 */
typedef struct VekChainLevels {
    size_t size;          /**< sizeof this struct */
    uint16_t black[4];    /**< 0 .. 4095 */
    uint16_t gain[4];     /**< 1/4096, 0 .. 32767 */
    uint16_t pedestal;    /**< 0 .. 4095 */
    uint16_t reserved[3]; /**< 0 */
} VekChainLevels;

/**
 * Linear matrix, at 12 bits: red, green and blue of the result are (sum of factor x red, green, blue + 2048) >> 12, and
 * offset more, within 0 .. 4095.
 */
typedef struct VekChainLinearMatrix {
    size_t size;          /**< sizeof this struct */
    int16_t factor[3][3]; /**< rows red, green, blue of the result; columns red, green, blue; 1/4096 */
    int16_t offset[3];    /**< levels, -16384 .. 16383 */
} VekChainLinearMatrix;

/** Curves that are known by name. x and the result: 0 .. 1. */
enum VekChainCurve {
    VEK_CHAIN_CURVE_TABLE = 0, /**< the caller's tables */
    VEK_CHAIN_CURVE_LINEAR = 1,
    VEK_CHAIN_CURVE_SRGB = 2,  /**< IEC 61966-2-1 */
    VEK_CHAIN_CURVE_BT709 = 3, /**< ITU-R BT.709 */
    VEK_CHAIN_CURVE_GAMMA = 4  /**< x to the power of 100 / gamma */
};

/** Tone: a curve for each colour, to the picture's depth. */
typedef struct VekChainTone {
    size_t size;    /**< sizeof this struct */
    uint32_t curve; /**< enum VekChainCurve */
    uint32_t gamma; /**< hundredths, 1 and more; VEK_CHAIN_CURVE_GAMMA alone */
    /** VEK_CHAIN_CURVE_TABLE alone: words for red, green and blue (grey: green), copied; null: as the one before it,
        not the first one. Larger samples take the last entry, and larger entries count as the picture's largest
        sample. */
    const uint16_t *table[3];
    size_t entries;     /**< of each table: 256 where the chain has 8 bits in front of the tone stage, else 4096 */
    uint32_t sharpness; /**< enum VekChainSharpnessPlace */
    uint32_t reserved;  /**< 0 */
} VekChainTone;

/**
 * A chain; null or 0: there is no such stage. The order is noise reduction, shading, levels, white balance, raw curves,
 * mirror, demosaic method, colour matrix with chroma suppression or linear matrix, luma curve, sharpness, tone, layout;
 * sharpness comes behind tone where tone says so.
 */
typedef struct VekChainDescription {
    size_t size;                    /**< sizeof this struct */
    const VekChainFrame *frame;     /**< what comes */
    const VekChainPicture *picture; /**< what becomes of it */
    uint32_t noise;                 /**< VEK_NOISE_EASY or VEK_NOISE_COMPLEX; 0: none */
    uint32_t stages;                /**< bits of enum VekChainStage */
    const VekChainLevels *levels;   /**< behind shading; with it and with the next two the chain goes on at 12 bits: 8
                                       and 10 are shifted up, 14 and 16 rounded */
    uint32_t mirror;                /**< enum VekMirror, of the raw frame, in front of the demosaic method. The mirrored
                                       frame counts as of the colour array that VekCam_MirrorRotation tells: with odd
                                       sides it may be another than it has */
    uint32_t demosaic;              /**< enum VekDemosaicMethod or VEK_CHAIN_DEMOSAIC_EDGE; any of a mono frame */
    const VekChainLinearMatrix *linearMatrix; /**< in the place of VEK_CHAIN_COLOR_MATRIX, not besides it; not of
                                                   grey pictures */
    const VekChainTone *tone;                 /**< curves, to the picture's depth */
    uint32_t workingDepth; /**< bits that a frame is demosaiced with. 0: 12 with levels, linear matrix or tone, else the
                                frame's. 8: frames of 8 bits stay there with tone alone. 12: also without these */
    uint32_t statistics;   /**< 1: count samples, see VekChain_TakeStatistics */
} VekChainDescription;

/** What a plan asks of who runs it; bits. */
enum VekChainTrait {
    VEK_CHAIN_SERIAL = 1,     /**< a stage makes each row from those above it: VekChain_Prepare, one thread */
    VEK_CHAIN_FRAME_FIRST = 2 /**< a stage measures the whole frame first: VekChain_Prepare */
};

/** What there is to know of a plan. */
typedef struct VekChainTraits {
    size_t size;           /**< sizeof this struct */
    uint32_t traits;       /**< bits of enum VekChainTrait; with any of them a state is needed */
    uint32_t rowMultiple;  /**< first rows of bands are multiples of it, row counts too, unless the picture ends */
    uint32_t width;        /**< of the picture, pixels */
    uint32_t height;       /**< rows */
    uint32_t depth;        /**< of the picture's samples, bits */
    uint32_t workingDepth; /**< bits of the samples that are demosaiced */
    size_t framePitch;     /**< bytes */
    size_t frameBytes;     /**< from the frame's first byte to the last one that may be read */
    size_t picturePitch;   /**< bytes */
    size_t pictureBytes;   /**< from the picture's first byte to the last one of its last pixel */
    size_t workBytes;      /**< of a work area */
    size_t stateBytes;     /**< of a state, 0: none is needed */
} VekChainTraits;

/** Samples of one kind that were counted. */
typedef struct VekChainCount {
    uint64_t pixels;   /**< how many */
    uint64_t sum;      /**< of the samples */
    uint64_t clipped;  /**< samples of the largest value */
    uint64_t bins[64]; /**< by the highest 6 bits of the depth */
} VekChainCount;

/**
 * What bands have counted. Words above the depth count as clipped, and in the last bin; samples that were shifted up
 * are never the largest.
 */
typedef struct VekChainStatistics {
    size_t size;          /**< sizeof this struct */
    VekChainCount raw[4]; /**< of the crop as it came, at the frame's depth: R, Gr, Gb, B; mono: the first one alone */
    /** Of the picture, at its depth: (77 R + 150 G + 29 B + 128) / 256, cut off, also in front of NV12; grey itself. */
    VekChainCount luma;
} VekChainStatistics;

/**
 * Makes a plan.
 *  handle: its settings and tables as they are now; VekCam_Open(-1) gives one where there is no camera. A shading
 *      calibration that waits for its first frame makes its map, at the frame's depth, where shading is asked for.
 *  plan: receives the plan, null unless the result is 0. The application ends it with VekChain_Destroy.
 *  reason: receives, with VEK_EINVAL for a description, a line of English that names the member and says why, cut to
 *      reasonSize bytes with the 0 behind it; may be null.
 * Refused are, besides values that no comment allows: sides of 0; pitches shorter than a row (of NV12: of whole pairs),
 * odd ones of pictures of words; white balance and luma curve on words; methods that read behind a row or leave samples
 * open at this size (VEK_DEMOSAIC_BILINEAR_SIMPLE at odd widths and heights, NEAREST_NEIGHBOR2 at odd widths);
 * VEK_DEMOSAIC_BICUBIC above 8 bits, colours above 12 in front of tone; sharpness above 12; sizes that a stage does not
 * take (VEK_CHAIN_DEMOSAIC_EDGE: below 2 x 2); a dark frame or a shading map that is missing, of another size than the
 * crop, or, a dark frame, of another colour array, with padding or with samples of another size; shading while it
 * calibrates.
 * Returns 0; VEK_EINVAL for a null handle, description or plan, and for a description that cannot work; VEK_ENOMEM.
 */
VEK_API int VekChain_Create(VekCam_Handle handle, const VekChainDescription *description, VekChain_Plan *plan,
                            char *reason, size_t reasonSize);

/**
 * Makes a plan of an old one's handle settings, as they were then, and a new description. Shares what did not change:
 * quick enough for a slider. Arguments and result as above. A calibration that waited for its first frame when the old
 * plan was made, without shading, has left no map.
 */
VEK_API int VekChain_Update(VekChain_Plan plan, const VekChainDescription *description, VekChain_Plan *newPlan,
                            char *reason, size_t reasonSize);

/** Ends a plan. Work areas and states outlive it. Null is ignored. */
VEK_API void VekChain_Destroy(VekChain_Plan plan);

/**
 * Tells what a plan is like, and what running it takes.
 *  traits: its size is set.
 * Returns 0; VEK_EINVAL for a null plan or traits, and for a size that is too small.
 */
VEK_API int VekChain_Traits(VekChain_Plan plan, VekChainTraits *traits);

/**
 * Makes a work area, which serves this plan and every other one that needs no more bytes.
 *  work: receives the work area, null unless the result is 0.
 * Returns 0; VEK_EINVAL for a null plan or work; VEK_ENOMEM.
 */
VEK_API int VekChain_CreateWork(VekChain_Plan plan, VekChain_Work *work);
/** Ends a work area. Null is ignored. */
VEK_API void VekChain_DestroyWork(VekChain_Work work);

/**
 * Makes a state, which serves this plan and every other one that needs no more bytes.
 *  state: receives the state; null, with 0, where the plan needs none.
 * Returns 0; VEK_EINVAL for a null plan or state; VEK_ENOMEM.
 */
VEK_API int VekChain_CreateState(VekChain_Plan plan, VekChain_State *state);
/** Ends a state. Null is ignored. */
VEK_API void VekChain_DestroyState(VekChain_State state);

/**
 * Does what comes before the first band of a frame: filters it row by row, measures it. Bands of that frame follow; no
 * band runs with the state meanwhile. White balance in VEK_WB_ONCE is measured in the first frame, and anew when the
 * plan of another VekChain_Create comes to use the state; updates of a plan go on with it.
 * Returns 0, also where the plan needs none; VEK_EINVAL for a null plan, work or frame, or a state or work area that is
 * too small or missing.
 */
VEK_API int VekChain_Prepare(VekChain_Plan plan, VekChain_State state, VekChain_Work work, const void *frame);

/**
 * Makes rows firstRow .. firstRow + rowCount - 1 of a picture; other rows, padding and what lies behind are not
 * touched.
 *  state: what VekChain_Prepare of this plan has left of this frame; null where the traits ask for none.
 *  frame: the frame's first row, not its crop's.
 *  picture: the picture's first row, not the band's. In VEK_CHAIN_NV12 the chroma rows of these rows are made, too.
 * Returns 0, also for no rows; VEK_EINVAL, and nothing written, for a null plan, work, frame or picture, rows that the
 * picture does not have or that are no multiples of rowMultiple, a state that is missing or was prepared by another
 * plan, a work area that is too small, an odd address of a picture of words, and a frame that overlaps the picture.
 */
VEK_API int VekChain_Run(VekChain_Plan plan, VekChain_State state, VekChain_Work work, const void *frame, void *picture,
                         uint32_t firstRow, uint32_t rowCount);

/**
 * Adds what a work area has counted since the last call to statistics, and begins anew. Of all bands of a frame
 * together that is the frame's.
 *  statistics: its size is set, the counts are 0 or what other bands have added.
 * Returns 0; VEK_EINVAL for null arguments and a size that is too small.
 */
VEK_API int VekChain_TakeStatistics(VekChain_Work work, VekChainStatistics *statistics);

/**
 * Names an instruction set that the library has row kernels for; those of all give the same bits.
 *  index: 0 for "scalar", plain loops in the instructions that every CPU of the architecture has, then each faster one.
 *  runs: receives 1 for the one that is in use on this CPU, else 0; may be null.
 * Returns the name, such as "avx2", which lasts as long as the program; null behind the last one (runs receives 0).
 */
VEK_API const char *VekChain_Tier(uint32_t index, int *runs);

#ifdef __cplusplus
}
#endif

#endif
