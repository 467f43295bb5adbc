/* SPDX-License-Identifier: Apache-2.0 */
#ifndef VEK_TRG_API_H
#define VEK_TRG_API_H

/**
 * VekTrgApi: control and software image pipeline of an industrial trigger camera.
 *
 * The application opens the camera's Video4Linux2 node itself, passes the descriptor to VekCam_Open and
 * captures frames in its own way; the functions below work on the buffers it owns. Valid C99 and C++.
 *
 * Conventions that hold for every function:
 *  - A handle belongs to one camera and is used by one thread at a time. Different handles share nothing.
 *  - Every call runs to its end on the caller's thread. No pointer to an image is kept; what is kept of its samples is
 *    the dark frame of VEK_NOISE_STORE_DARK, the mean of shading calibration frames, the combining image of
 *    VekCam_DecodingCombinedMultiROI and, as working memory, the image that VekCam_MirrorRotation turned last.
 *  - A null handle gives VEK_EINVAL at once, nothing else is touched. VekCam_GetlibVersion alone takes any handle.
 *  - Samples: 8-bit data are bytes; deeper data are 16-bit little-endian words with the value in the low bits.
 *  - Colour output is interleaved blue, green, red; a fourth sample of a pixel is not written where nothing else is
 *    said.
 *  - No exception leaves the library, and it prints nothing unless a function says so.
 *
 * What the image functions take. Nothing else is defined; within the table a call gives what its comment says:
 *
 *  function                       depth, bits                      no pixels (a side of 0)
 *  -----------------------------  -------------------------------  ------------------------------------------------
 *  ColorInterpolation             8, 10, 12; others are refused    success
 *  ConvTo8BitsImage,              told by the transfer format      success; dstPitch is written
 *  ConvYUVOrBGRToBGRImage
 *  GetAveragePixelValue           told by the transfer format      success, means of 0
 *  DetectDefectPixel              8                                success, every slot is marked unused
 *  WhiteBalance                   8, 10, 12; others are refused    success; automatic gains become 128
 *  RawColorGamma, BGRGamma        any: above 8 means words         success
 *  Sharpness                      8 to 12; others are refused,     success
 *                                 unless sharpness is off
 *  MirrorRotation                 8                                success; sides and colour array as with pixels
 *  HueSaturationColorMatrix       0 to 16, as the format allows;   success
 *                                 grey formats of words: above 8
 *  NoiseReduction                 any: above 8 means words; with   VEK_NOISE_EASY refuses sides below 2 (mono) or 4;
 *                                 a linePitch of 0 a sample takes  an empty dark frame is stored, and subtracted
 *                                 (depth + 7) / 8 bytes: three     with success
 *                                 and more from 17 bits on
 *  ShadingCorrection              any: above 8 means words         success; a calibration makes an empty map
 *  DecodingCombinedMultiROI       told by the camera               regions with a side of 0 do not count
 *
 *  - Words are aligned to 2 bytes: an image's first sample, and every row, so that pitches of words in bytes are even.
 *    YCrCb and packed data, VEK_TRANSFER_BGR10, multi-ROI frames and the tables of VekCam_SetGammaMode and
 *    VekCam_GetGammaMode may stand anywhere.
 *  - Sizes and offsets are never compared with a buffer, whose length no function knows: it holds every row from its
 *    first sample to its last one, and what a comment says is read beyond. VEK_NOISE_STORE_DARK also reads what lies
 *    between two rows. A pitch is 0 or at least as long as a row; VEK_NOISE_EASY and VEK_NOISE_STORE_DARK refuse
 *    shorter ones.
 *  - Source and destination do not overlap, but for copies of grey or raw images to one channel by ColorInterpolation:
 *    they may be made in place where a row of samples is a multiple of 4 bytes.
 *  - A null buffer gives VEK_EINVAL (1 in ColorInterpolation, in ConvYUVOrBGRToBGRImage of YCrCb and in MirrorRotation)
 *    where it would be touched: after every other refusal, and not where nothing is to be done.
 */

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VEK_API __attribute__((visibility("default")))
#else
#define VEK_API
#endif

/** Opaque camera handle, made by VekCam_Open and ended by VekCam_Close. Null: the open failed. */
typedef struct CVekTrgCamera *VekCam_Handle;

/** Results that several functions share; each function says which it gives. */
enum VekStatus {
    VEK_OK = 0,
    VEK_EINVAL = -22, /**< null handle, rejected argument */
    VEK_ENOMEM = -12  /**< memory ran out */
};

/** Library version that VekCam_GetlibVersion reports; also the shared object's major version. */
#define VEK_LIBRARY_VERSION 2UL

/**
 * Transfer format: how the driver lays pixels out in a transferred frame.
 * Words are 16-bit little-endian, value in the low bits; packed rows are one little-endian bit stream.
 */
enum VekTransferFormat {
    VEK_TRANSFER_RAW8 = 0,            /**< mono or Bayer, one byte a pixel */
    VEK_TRANSFER_RAW10 = 1,           /**< mono or Bayer, 10 bits in a word */
    VEK_TRANSFER_RAW10_PACKED = 2,    /**< mono or Bayer, 4 pixels in 5 bytes */
    VEK_TRANSFER_RAW12 = 3,           /**< mono or Bayer, 12 bits in a word */
    VEK_TRANSFER_RAW12_PACKED = 4,    /**< mono or Bayer, 2 pixels in 3 bytes */
    VEK_TRANSFER_MONO8 = 5,           /**< one byte a pixel */
    VEK_TRANSFER_MONO10 = 6,          /**< 10 bits in a word */
    VEK_TRANSFER_MONO10_PACKED = 7,   /**< 4 pixels in 5 bytes */
    VEK_TRANSFER_MONO12 = 8,          /**< 12 bits in a word */
    VEK_TRANSFER_MONO12_PACKED = 9,   /**< 2 pixels in 3 bytes */
    VEK_TRANSFER_BGR8 = 10,           /**< bytes B, G, R */
    VEK_TRANSFER_BGR10 = 11,          /**< B in bits 0-9, G in 10-19, R in 20-29 */
    VEK_TRANSFER_YCRCB411 = 12,       /**< Y0 Y1 Cb Y2 Y3 Cr, ITU-R BT.601 full range */
    VEK_TRANSFER_YCRCB422 = 13,       /**< Y0 Cb Y1 Cr */
    VEK_TRANSFER_YCRCB444 = 14,       /**< Y Cb Cr */
    VEK_TRANSFER_YCRCB411_BT709 = 15, /**< as 12, ITU-R BT.709 video range */
    VEK_TRANSFER_YCRCB422_BT709 = 16, /**< as 13, ITU-R BT.709 video range */
    VEK_TRANSFER_YCRCB444_BT709 = 17, /**< as 14, ITU-R BT.709 video range */
    VEK_TRANSFER_RAW14 = 18,          /**< mono or Bayer, 14 bits in a word */
    VEK_TRANSFER_RAW16 = 19,          /**< mono or Bayer, 16-bit words */
    VEK_TRANSFER_MONO14 = 20,         /**< 14 bits in a word */
    VEK_TRANSFER_MONO16 = 21          /**< 16-bit words */
};

/** Colour array: the colour layout of pixel data. Bayer names read the top-left 2 x 2 cell row by row. */
enum VekColorArray {
    VEK_COLOR_ARRAY_MONO = 1,
    VEK_COLOR_ARRAY_RGGB = 2,
    VEK_COLOR_ARRAY_GRBG = 3,
    VEK_COLOR_ARRAY_GBRG = 4,
    VEK_COLOR_ARRAY_BGGR = 5,
    VEK_COLOR_ARRAY_YCRCB422 = 6,
    VEK_COLOR_ARRAY_YCRCB444 = 7,
    VEK_COLOR_ARRAY_YCRCB411 = 8,
    VEK_COLOR_ARRAY_YCRCB422_BT709 = 9,
    VEK_COLOR_ARRAY_YCRCB444_BT709 = 10,
    VEK_COLOR_ARRAY_YCRCB411_BT709 = 11
};

/** Destination pixel format: the layout of an output image, and of the images that the functions below work on. */
enum VekDestinationFormat {
    VEK_DESTINATION_MONO8 = 1,   /**< one byte a pixel */
    VEK_DESTINATION_WORDS = 2,   /**< one word a pixel; some functions take it as grey */
    VEK_DESTINATION_BGR24 = 4,   /**< bytes B, G, R */
    VEK_DESTINATION_BGRX32 = 8,  /**< bytes B, G, R and one that stays as it was */
    VEK_DESTINATION_MONO10 = 16, /**< one word a pixel */
    VEK_DESTINATION_MONO12 = 32, /**< one word a pixel */
    VEK_DESTINATION_MONO16 = 64, /**< one word a pixel; some functions take it as grey */
    VEK_DESTINATION_BGR48 = 256, /**< words B, G, R */
    VEK_DESTINATION_BGRX64 = 512 /**< words B, G, R and one that stays as it was */
};

/** Demosaic method of VekCam_ColorInterpolation. */
enum VekDemosaicMethod {
    VEK_DEMOSAIC_MONO = 0,             /**< raw samples as grey */
    VEK_DEMOSAIC_NONE = 1,             /**< own colour only, the other two channels 0 */
    VEK_DEMOSAIC_NEAREST_NEIGHBOR = 2, /**< each 2 x 2 cell shares its samples */
    VEK_DEMOSAIC_BILINEAR_SIMPLE = 3,  /**< separable means of two neighbours */
    VEK_DEMOSAIC_BICUBIC = 4,          /**< separable cubic of four neighbours, which gives 0 to 255 at every depth */
    VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION = 5, /**< bilinear at the centre of each 2 x 2 block */
    VEK_DEMOSAIC_NEAREST_NEIGHBOR2 = 6               /**< the samples of each 2 x 2 block, of green the mean */
};

/** Automatic luminance control: what it moves, and for how long. */
enum VekALCMode {
    VEK_ALC_OFF = 0,
    VEK_ALC_EXPOSURE_AND_GAIN = 1, /**< exposure first when brightening, gain first when darkening */
    VEK_ALC_EXPOSURE = 2,
    VEK_ALC_GAIN = 3,
    VEK_ALC_EXPOSURE_AND_GAIN_ONCE = 4, /**< ends by itself (mode 0) once a step changes nothing */
    VEK_ALC_EXPOSURE_ONCE = 5,
    VEK_ALC_GAIN_ONCE = 6
};

/** What a step of automatic luminance control changed; bits of VekCam_ALC's flags. */
enum VekALCChange { VEK_ALC_EXPOSURE_CHANGED = 1, VEK_ALC_GAIN_CHANGED = 2 };

/** White balance mode; every other value works as VEK_WB_MANUAL. */
enum VekWhiteBalanceMode {
    VEK_WB_OFF = 0,    /**< images pass unchanged */
    VEK_WB_MANUAL = 1, /**< the gains are applied */
    VEK_WB_AUTO = 2,   /**< red and blue gain are worked out from each image, then applied */
    VEK_WB_ONCE = 3    /**< as VEK_WB_AUTO for one image, after which the mode is VEK_WB_MANUAL */
};

/** Tone curves: one for luma, four for the colours of raw images. */
enum VekGammaChannel {
    VEK_GAMMA_Y = 0,
    VEK_GAMMA_R = 1,
    VEK_GAMMA_GR = 2, /**< green on a red row */
    VEK_GAMMA_GB = 3, /**< green on a blue row */
    VEK_GAMMA_B = 4
};

/** What makes a channel's tone curve. */
enum VekGammaMode {
    VEK_GAMMA_OFF = 0,      /**< identity */
    VEK_GAMMA_CURVE = 1,    /**< gamma, brightness and contrast */
    VEK_GAMMA_NEGATIVE = 2, /**< the same, end for end */
    VEK_GAMMA_TABLE = 255   /**< the caller's table */
};

/** Where the colour matrix comes from. */
enum VekColorMatrixMode { VEK_COLOR_MATRIX_IDENTITY = 0, VEK_COLOR_MATRIX_CUSTOM = 255 };

/** Mirror code; bits may be combined. */
enum VekMirror { VEK_MIRROR_NONE = 0, VEK_MIRROR_HORIZONTAL = 1, VEK_MIRROR_VERTICAL = 2 };

/** Rotation code, a quarter turn; the mirror comes first. */
enum VekRotation { VEK_ROTATION_NONE = 0, VEK_ROTATION_CLOCKWISE = 1, VEK_ROTATION_COUNTERCLOCKWISE = 2 };

/** What VekCam_NoiseReduction does. */
enum VekNoiseReductionMode {
    VEK_NOISE_OFF = 0,
    VEK_NOISE_EASY = 1,   /**< pixels brighter than their neighbourhood come down to its median */
    VEK_NOISE_COMPLEX = 2 /**< subtracts the stored dark frame, then repairs pixels that were saturated */
};
/** One more mode of VekCam_NoiseReduction: keeps the image as the dark frame. */
#define VEK_NOISE_STORE_DARK 0x80000000UL

/** What VekCam_ShadingCorrection does with a frame; every other value nothing. */
enum VekShadingMode {
    VEK_SHADING_OFF = 0,
    VEK_SHADING_CALIBRATE_GAIN = 1,   /**< adds the frame to the calibration mean */
    VEK_SHADING_GAIN = 2,             /**< multiplies by the map's gains */
    VEK_SHADING_CALIBRATE_OFFSET = 3, /**< adds the frame to the calibration mean */
    VEK_SHADING_OFFSET = 4,           /**< adds the map's offsets */
    VEK_SHADING_SHOW_MAP = 255        /**< replaces each sample by its entry in the map, which it does not make */
};

/** Pixel formats of the GenICam Pixel Format Naming Convention (PFNC) that the camera's data have. */
enum VekPixelFormat {
    VEK_PFNC_NONE = 0,
    VEK_PFNC_MONO8 = 0x01080001,
    VEK_PFNC_BAYER_GR8 = 0x01080008,
    VEK_PFNC_BAYER_RG8 = 0x01080009,
    VEK_PFNC_BAYER_GB8 = 0x0108000A,
    VEK_PFNC_BAYER_BG8 = 0x0108000B,
    VEK_PFNC_MONO10 = 0x01100003,
    VEK_PFNC_BAYER_GR10 = 0x0110000C,
    VEK_PFNC_BAYER_RG10 = 0x0110000D,
    VEK_PFNC_BAYER_GB10 = 0x0110000E,
    VEK_PFNC_BAYER_BG10 = 0x0110000F,
    VEK_PFNC_MONO12 = 0x01100005,
    VEK_PFNC_BAYER_GR12 = 0x01100010,
    VEK_PFNC_BAYER_RG12 = 0x01100011,
    VEK_PFNC_BAYER_GB12 = 0x01100012,
    VEK_PFNC_BAYER_BG12 = 0x01100013,
    VEK_PFNC_MONO14 = 0x01100025,
    VEK_PFNC_MONO16 = 0x01100007,
    VEK_PFNC_BAYER_GR16 = 0x0110002E,
    VEK_PFNC_BAYER_RG16 = 0x0110002F,
    VEK_PFNC_BAYER_GB16 = 0x01100030,
    VEK_PFNC_BAYER_BG16 = 0x01100031,
    VEK_PFNC_BGR8 = 0x02180015,
    VEK_PFNC_BGR10 = 0x02300019, /**< reported for VEK_TRANSFER_BGR10, though its pixels are not three words */
    VEK_PFNC_YCBCR411_8 = 0x020C005A,
    VEK_PFNC_YCBCR422_8 = 0x0210003B,
    VEK_PFNC_YCBCR8 = 0x0218005B
};

/**
 * Controls of the camera's Video4Linux2 driver: whole ids, from V4L2_CID_PRIVATE_BASE (0x08000000) on. An application
 * may read them with VIDIOC_G_CTRL on its own descriptor; the library reads each anew when it needs it.
 * Gain and exposure are the standard V4L2_CID_GAIN (setting value) and V4L2_CID_EXPOSURE (exposure clocks).
 */
enum VekDriverControl {
    VEK_CID_COLOR_ARRAY = 0x08000000,              /**< sensor's colour array, 1..5 */
    VEK_CID_TRANSFER_FORMAT = 0x08000001,          /**< enum VekTransferFormat */
    VEK_CID_VBLANK = 0x0800000C,                   /**< vertical blanking, lines */
    VEK_CID_MAX_SHORT_EXPOSURE_CLOCK = 0x0800000D, /**< longest exposure that keeps the frame rate, clocks */
    VEK_CID_IMAGE_WIDTH = 0x08000400,              /**< transferred image, pixels */
    VEK_CID_IMAGE_HEIGHT = 0x08000401,             /**< transferred image, rows */
    VEK_CID_TOTAL_H_CLOCK = 0x08000402,            /**< sensor line, blanking included, clocks */
    VEK_CID_TOTAL_V_LINE = 0x08000403,             /**< sensor frame, blanking included, lines */
    VEK_CID_CLOCK = 0x08000404,                    /**< sensor clock, Hz */
    VEK_CID_RAW_IMAGE_SIZE = 0x08000406,           /**< transferred frame, bytes */
    VEK_CID_BINNING_H = 0x08000407,                /**< horizontal binning code */
    VEK_CID_BINNING_V = 0x08000408                 /**< vertical binning code */
};

/**
 * Size of one pixel in the transfer buffer, bits: 8, 12, 16, 24 or 32.
 * 0 for the packed formats and for codes above 21. VEK_TRANSFER_BGR10 counts 32, though
 * VekCam_ConvYUVOrBGRToBGRImage takes 8 bytes a pixel.
 */
static inline unsigned char VekTransferFormatBits(unsigned long transferFormat) {
    static const unsigned char bits[] = {8,  16, 0,  16, 0,  8,  16, 0,  16, 0,  24,
                                         32, 12, 16, 24, 12, 16, 24, 16, 16, 16, 16};
    return transferFormat < sizeof bits ? bits[transferFormat] : (unsigned char)0;
}

/**
 * Colour array of transferred pixels (enum VekColorArray): 6..11 for the YCrCb transfer formats, else the
 * sensor's own code unchanged.
 */
static inline unsigned short VekTransferColorArray(unsigned long transferFormat, unsigned short sensorColorArray) {
    static const unsigned short ycrcb[] = {VEK_COLOR_ARRAY_YCRCB411,       VEK_COLOR_ARRAY_YCRCB422,
                                           VEK_COLOR_ARRAY_YCRCB444,       VEK_COLOR_ARRAY_YCRCB411_BT709,
                                           VEK_COLOR_ARRAY_YCRCB422_BT709, VEK_COLOR_ARRAY_YCRCB444_BT709};
    if (transferFormat < VEK_TRANSFER_YCRCB411 || transferFormat > VEK_TRANSFER_YCRCB444_BT709) {
        return sensorColorArray;
    }
    return ycrcb[transferFormat - VEK_TRANSFER_YCRCB411];
}

/**
 * GenICam pixel format (enum VekPixelFormat) of a transfer format and the colour array of its pixels;
 * VEK_PFNC_NONE where the naming convention has no value that the camera reports: the packed formats, the
 * BT.709 ones, Bayer at 14 bits, colour arrays outside 1..5 of a raw format, and codes above 21.
 */
static inline int VekTransferPixelFormat(unsigned long transferFormat, unsigned short colorArray) {
    static const int raw8[] = {VEK_PFNC_MONO8, VEK_PFNC_BAYER_RG8, VEK_PFNC_BAYER_GR8, VEK_PFNC_BAYER_GB8,
                               VEK_PFNC_BAYER_BG8};
    static const int raw10[] = {VEK_PFNC_MONO10, VEK_PFNC_BAYER_RG10, VEK_PFNC_BAYER_GR10, VEK_PFNC_BAYER_GB10,
                                VEK_PFNC_BAYER_BG10};
    static const int raw12[] = {VEK_PFNC_MONO12, VEK_PFNC_BAYER_RG12, VEK_PFNC_BAYER_GR12, VEK_PFNC_BAYER_GB12,
                                VEK_PFNC_BAYER_BG12};
    static const int raw14[] = {VEK_PFNC_MONO14, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE, VEK_PFNC_NONE};
    static const int raw16[] = {VEK_PFNC_MONO16, VEK_PFNC_BAYER_RG16, VEK_PFNC_BAYER_GR16, VEK_PFNC_BAYER_GB16,
                                VEK_PFNC_BAYER_BG16};
    const int *raw = 0;
    switch (transferFormat) {
    case VEK_TRANSFER_RAW8: raw = raw8; break;
    case VEK_TRANSFER_RAW10: raw = raw10; break;
    case VEK_TRANSFER_RAW12: raw = raw12; break;
    case VEK_TRANSFER_RAW14: raw = raw14; break;
    case VEK_TRANSFER_RAW16: raw = raw16; break;
    case VEK_TRANSFER_MONO8: return VEK_PFNC_MONO8;
    case VEK_TRANSFER_MONO10: return VEK_PFNC_MONO10;
    case VEK_TRANSFER_MONO12: return VEK_PFNC_MONO12;
    case VEK_TRANSFER_MONO14: return VEK_PFNC_MONO14;
    case VEK_TRANSFER_MONO16: return VEK_PFNC_MONO16;
    case VEK_TRANSFER_BGR8: return VEK_PFNC_BGR8;
    case VEK_TRANSFER_BGR10: return VEK_PFNC_BGR10;
    case VEK_TRANSFER_YCRCB411: return VEK_PFNC_YCBCR411_8;
    case VEK_TRANSFER_YCRCB422: return VEK_PFNC_YCBCR422_8;
    case VEK_TRANSFER_YCRCB444: return VEK_PFNC_YCBCR8;
    default: return VEK_PFNC_NONE;
    }
    if (colorArray < VEK_COLOR_ARRAY_MONO || colorArray > VEK_COLOR_ARRAY_BGGR) {
        return VEK_PFNC_NONE;
    }
    return raw[colorArray - VEK_COLOR_ARRAY_MONO];
}

/**
 * Opens a handle on a camera.
 *  fd: descriptor of the camera's Video4Linux2 node, opened by the caller, who keeps it open until VekCam_Close
 *      and closes it afterwards.
 * A descriptor that does not answer the camera's description request still gives a handle: the image functions
 * work on it, the camera's own values read as 0.
 * Returns the handle; null when memory runs out.
 */
VEK_API VekCam_Handle VekCam_Open(int fd);

/** Ends a handle and frees what it holds; the descriptor stays open. Null is ignored. */
VEK_API void VekCam_Close(VekCam_Handle handle);

/**
 * Reports the library's version.
 *  handle: any value, null included; it is not looked at.
 *  version: receives VEK_LIBRARY_VERSION.
 * Returns 1; VEK_EINVAL for a null version.
 */
VEK_API int VekCam_GetlibVersion(VekCam_Handle handle, unsigned long *version);

/**
 * Turns a raw, mono or YCrCb frame into a blue-green-red or grey image.
 *  width, height: pixels; 0 writes nothing and is success once the codes are accepted.
 *  colorArray: layout of the source, enum VekColorArray.
 *  src: height rows without padding: width samples; of YCrCb bytes, 2 x width (4:2:2), 3 x width (4:4:4) or width +
 *      width / 2 (4:1:1), at 10 and 12 bits twice as many (4:1:1: 3 x width). With an odd width
 *      VEK_DEMOSAIC_BILINEAR_SIMPLE and NEAREST_NEIGHBOR2 also read the sample behind a row's last one, which is the
 *      next row's first one. BILINEAR_SIMPLE reads it behind the image's last row, too.
 *  dst: height rows, each channels x width samples, padded to a multiple of 4 bytes. The padding is not written. What
 *      YCrCb gives at 10 and 12 bits, bytes, stands in rows that are as long as if it were words.
 *  method: enum VekDemosaicMethod. VEK_DEMOSAIC_MONO, and any number on a mono image, copies samples to grey, or to
 *      blue, green and red alike; of YCrCb it writes luma bytes, one a pixel whatever the format (of BT.709 stretched
 *      to 0 .. 254), and every other number decodes. Means cut the fraction off.
 *      VEK_DEMOSAIC_NEAREST_NEIGHBOR, BILINEAR_SIMPLE and BICUBIC need 2 x 2 pixels, NEAREST_NEIGHBOR2 and
 *      BILINEAR_FALSE_COLOR_REDUCTION 4 x 4.
 *      VEK_DEMOSAIC_BILINEAR_SIMPLE leaves the third colour of an odd height's last row as dst held it (blue where
 *      that row holds red, red where it holds blue).
 *      VEK_DEMOSAIC_BICUBIC limits what the cubic gives to 0 .. 255 at every depth; copied samples, and the means that
 *      stand for it in the three outermost rows and columns, keep the full range.
 *      YCrCb 4:2:2 of odd width and 4:1:1 of a width that is no multiple of 4, when decoded, write the row's last pixel
 *      in the place of its first one, with the chroma of the last whole group, or grey where the row has none (4:2:2 of
 *      1 pixel, 4:1:1 of 1 to 3), and leave the other places behind the last whole group as they were. 4:1:1 of another
 *      width leaves the row's last four pixels as they were.
 *  destinationPixelFormat: enum VekDestinationFormat: MONO8, BGR24, BGRX32 at 8 bits; MONO10, MONO12, BGR48, BGRX64 at
 *      10 and 12 bits. Grey formats go with VEK_DEMOSAIC_MONO or a mono image only.
 *  bitsPerPixel: depth of the source: 8 (bytes), 10 or 12 (words). YCrCb is bytes at every depth, and so is its result.
 * Returns 0; VEK_EINVAL for a null handle, another depth, or a format that the depth does not allow; 1 for any other
 * refusal (unknown colour array, unknown method of a Bayer image, a grey format that does not go with the method, an
 * image too small for the method, a null buffer). Nothing is written unless the result is 0.
 */
VEK_API int VekCam_ColorInterpolation(VekCam_Handle handle, unsigned long width, unsigned long height,
                                      unsigned short colorArray, const void *src, void *dst, unsigned char method,
                                      unsigned long destinationPixelFormat, unsigned short bitsPerPixel);

/**
 * Turns a raw or mono frame into one of bytes: the upper 8 bits of each sample. Bits above the depth drop out.
 *  width, height: pixels.
 *  srcPitch: from row to row: samples for bytes and words, bytes for packed data; 0 means rows without padding.
 *  transferFormat: enum VekTransferFormat, raw or mono.
 *  dstPitch: bytes from row to row of dst. Where it points to 0 it receives the pitch that is used, width rounded up to
 *      a multiple of 4, which is also that of a null dstPitch. Packed data is written without padding whatever it
 *      points to, and it receives width.
 * Returns 0; VEK_EINVAL for a null handle, another format, or a null src or dst that would be touched (dstPitch is then
 * left alone).
 */
VEK_API int VekCam_ConvTo8BitsImage(VekCam_Handle handle, unsigned long width, unsigned long height,
                                    unsigned long srcPitch, unsigned long transferFormat, const void *src,
                                    unsigned long *dstPitch, unsigned char *dst);

/**
 * Turns a frame of any transfer format into a display image of 8 bits a sample: the upper 8 of deeper ones.
 *  width, height: pixels.
 *  transferFormat: enum VekTransferFormat. Raw and mono become grey pixels, YCrCb is decoded as by
 *      VekCam_ColorInterpolation, of blue-green-red MONO8 takes green. For packed formats and codes above 21 nothing is
 *      written, and the result is 0.
 *  src: rows without padding. VEK_TRANSFER_BGR10 takes 8 bytes a pixel.
 *  destinationPixelFormat: VEK_DESTINATION_MONO8, BGR24 or BGRX32.
 *  dst: rows padded to a multiple of 4 bytes; without padding where the source is VEK_TRANSFER_BGR8 or BGR10.
 * Returns 0; VEK_EINVAL for a null handle, another destination format, or a null src or dst that would be touched. The
 * YCrCb formats give what VekCam_ColorInterpolation gives: 1 for a null src or dst.
 */
VEK_API int VekCam_ConvYUVOrBGRToBGRImage(VekCam_Handle handle, unsigned long width, unsigned long height,
                                          unsigned long transferFormat, const void *src,
                                          unsigned long destinationPixelFormat, unsigned char *dst);

/*
 * Unit conversions. The camera counts gain as setting values, exposure in exposure clocks (rows, lines, microseconds,
 * sensor clocks or clocks of a time base, by model) and vertical blanking in lines; docs/units.md has the formulas.
 * Clock, line length and image size are asked of the driver on each call. Where the driver reports a clock of 0, times
 * in seconds come out infinite or not a number on cameras that need it; with a line length of 0, those of cameras that
 * count lines are 0, a constant part alone, or not a number. Counts become the largest number of their type where they
 * would be infinite, and 0 where they would be not a number or, but for digital gain, negative, before the stated
 * limits apply. Cameras that count lines from an offset on use clock and line length beyond the offset alone: where one
 * of the two is 0, every longer time gives the offset's clocks. On these cameras so does a time that is not a number. A
 * null output gives VEK_EINVAL.
 */

/**
 * Vertical blanking for a frame rate.
 *  fps: frames per second, above 0. 0 gives the largest number, less than 0 gives 0.
 *  vblank: receives lines, rounded; 0 where the camera cannot be that fast.
 * Returns 0; VEK_EINVAL for a null handle, on a camera without a blanking setting (vblank is left alone), and when the
 * driver reports a clock or line length of 0 (vblank receives 0). Of cameras that count exposure in rows (product ids
 * 0x111 and 0x211) the line length is worked out: with a clock of 0 the result is 0, and vblank receives 0.
 */
VEK_API int VekCam_GetVBlankFromFPS(VekCam_Handle handle, float fps, unsigned long *vblank);

/**
 * Digital gain factor of a setting value, which is first limited to the camera's maximum.
 *  times: receives value / 64, or 1 + value / 64 on cameras that count from a factor of 1; 1 without a digital gain.
 * Returns 1; VEK_EINVAL for a null handle.
 */
VEK_API int VekCam_GetDigitalGainTimesFromSettingValue(VekCam_Handle handle, unsigned short value, float *times);

/**
 * Digital gain setting value for a factor, the nearest within the camera's range for factors of 0 to 1023.
 *  value: receives 0 .. the camera's maximum; 0 without a digital gain. 64 x times, rounded, counts modulo 65536: most
 *      factors below 0 give the maximum, those of 1024 and more anything. On cameras that count from a factor of 1, a
 *      rounded number of 64 and less gives 0. Not a number gives 0.
 * Returns 1; VEK_EINVAL for a null handle.
 */
VEK_API int VekCam_GetDigitalGainSettingValueFromGainTimes(VekCam_Handle handle, float times, unsigned short *value);

/**
 * Exposure clocks for an exposure time.
 *  seconds: 0 and more.
 *  clock: receives 1 .. the camera's maximum, by model rounded or with the fraction cut off. Where the maximum is 0 it
 *      receives 1 for a time that comes to less than a clock, else 0; cameras whose shortest time is a clock or more
 *      always give 0 then.
 * Returns 1; VEK_EINVAL for a null handle. 0 is kept for a row length that cannot be computed, which does not happen.
 */
VEK_API int VekCam_GetExposureClockFromTime(VekCam_Handle handle, float seconds, unsigned long *clock);

/**
 * Exposure time of exposure clocks.
 *  clock: limited to the camera's maximum; 0 stands for the longest exposure that keeps the frame rate.
 *  seconds: receives the time; no sensible one where a camera that counts rows is left with 0 clocks.
 * Returns 1; VEK_EINVAL for a null handle. 0 is kept as above.
 */
VEK_API int VekCam_GetExposureTimeFromClock(VekCam_Handle handle, unsigned long clock, float *seconds);

/**
 * Analogue gain of a setting value.
 *  value: not limited to the camera's maximum.
 *  dB: receives the gain on the camera's curve.
 * Returns 0; VEK_EINVAL for a null handle.
 */
VEK_API int VekCam_GetGainDBFromSettingValue(VekCam_Handle handle, unsigned short value, float *dB);

/*
 * Automatic luminance control. The application measures the level of each frame, for example with
 * VekCam_GetAveragePixelValue, and hands it to VekCam_ALC, which moves exposure and gain. The settings below return 1,
 * or VEK_EINVAL for a null handle or a null output; none of them checks its value. With the limits of a pair in the
 * wrong order the control stays between them but never comes to rest.
 */

/**
 * What automatic luminance control moves, and for how long.
 *  mode: enum VekALCMode, of which the low four bits are kept; other values do nothing. Off when a handle is opened.
 */
VEK_API int VekCam_SetALCMode(VekCam_Handle handle, unsigned char mode);
VEK_API int VekCam_GetALCMode(VekCam_Handle handle, unsigned char *mode);

/**
 * Target of automatic luminance control.
 *  level: the average to reach, in the units in which VekCam_ALC is given it. 128 when a handle is opened.
 */
VEK_API int VekCam_SetALCTargetLevel(VekCam_Handle handle, unsigned short level);
VEK_API int VekCam_GetALCTargetLevel(VekCam_Handle handle, unsigned short *level);

/**
 * Largest gain of automatic luminance control.
 *  gain: setting value. The camera's maximum gain when a handle is opened.
 */
VEK_API int VekCam_SetAGCMaxGain(VekCam_Handle handle, unsigned short gain);
VEK_API int VekCam_GetAGCMaxGain(VekCam_Handle handle, unsigned short *gain);

/**
 * Smallest gain of automatic luminance control.
 *  gain: setting value. The camera's initial gain when a handle is opened.
 */
VEK_API int VekCam_SetAGCMinGain(VekCam_Handle handle, unsigned short gain);
VEK_API int VekCam_GetAGCMinGain(VekCam_Handle handle, unsigned short *gain);

/**
 * Longest exposure of automatic luminance control.
 *  clock: exposure clocks; 0 stands for the longest exposure that keeps the frame rate. 0 when a handle is opened. With
 *      one above the camera's maximum, steps towards brighter stay at the camera's maximum without end: each tells of a
 *      changed exposure, the gain is not raised, and a one-shot mode does not end.
 */
VEK_API int VekCam_SetAEMaxExposureClock(VekCam_Handle handle, unsigned long clock);
VEK_API int VekCam_GetAEMaxExposureClock(VekCam_Handle handle, unsigned long *clock);

/**
 * Shortest exposure of automatic luminance control.
 *  clock: exposure clocks; 0 stands for the longest exposure that keeps the frame rate. 1 when a handle is opened.
 */
VEK_API int VekCam_SetAEMinExposureClock(VekCam_Handle handle, unsigned long clock);
VEK_API int VekCam_GetAEMinExposureClock(VekCam_Handle handle, unsigned long *clock);

/**
 * One step of automatic luminance control. At rest it acts on levels more than 10 off the target, and then until the
 * level is within 5. Towards brighter a step at most doubles the exposure; gain rises by at least one setting value and
 * is meant to double at most, of which the camera's curve makes anything from that one value to a factor of 2.4.
 * Towards darker it is not limited. It writes both to the camera, the gain first, and the exposure if the camera took
 * the gain: an exposure of 0, as above, where it comes to the longest that keeps the frame rate. What the mode moves
 * and is outside its limits is first brought back, at once, to the limit as it was set; such a step does nothing else.
 * Where both are moved, a gain above its minimum counts as outside while the exposure is not at its maximum, whatever
 * the level is. Exposure and gain are read from the camera when the handle is opened; from then on the control goes by
 * what it wrote itself, and what the application sets in between is overwritten.
 *  average: level of the last frame.
 *  flags: receives bits of enum VekALCChange; 0 when nothing changed: the level is reached, or the limits are, or the
 *      exposure is to become longer but has fewer clocks than average / (target - average), a step of less than one
 *      clock (the gain is not raised instead). A one-shot mode then ends.
 * Returns 1; 0 when the camera did not take the new values (flags tell of them all the same, and the next step goes on
 * from them); VEK_EINVAL for a null handle or null flags.
 */
VEK_API int VekCam_ALC(VekCam_Handle handle, unsigned short average, unsigned long *flags);

/*
 * Measurements.
 */

/**
 * Mean raw value of a region, for each place in the 2 x 2 cell or, mono, for all pixels together.
 *  width, height: the image, pixels.
 *  pitch: from row to row: samples for bytes and words, bytes for packed data; 0 means rows without padding.
 *  colorMode: enum VekColorArray, mono or Bayer. Bayer codes do not reorder the result.
 *  transferFormat: VEK_TRANSFER_RAW8, RAW10, RAW10_PACKED, RAW12, RAW12_PACKED, RAW14 or RAW16.
 *  src: the image. Not read where the region is empty.
 *  x, y, w, h: the region, cut at the image's edge. Packed rows are read from their first pixel on, wherever the region
 *      starts: x sets the number of pixels and which columns count as odd.
 *  average: four floats, by 2 x (row mod 2) + (column mod 2); mono: the mean and three zeros. In units of the samples;
 *      0 for a place without pixels.
 * Returns 0; VEK_EINVAL for a null handle, another colour mode or transfer format, a null average, or a null src
 * where the region is not empty.
 */
VEK_API int VekCam_GetAveragePixelValue(VekCam_Handle handle, unsigned long width, unsigned long height,
                                        unsigned long pitch, unsigned short colorMode, unsigned long transferFormat,
                                        const void *src, unsigned long x, unsigned long y, unsigned long w,
                                        unsigned long h, float *average);

/**
 * Finds the brightest pixels of a dark frame and programs the camera's defect correction with them, one slot each in
 * the order in which they were found; the remaining slots are marked unused. Once there is one for each slot, the
 * first of the darkest drops out for a brighter pixel, and one as bright as the darkest is not taken.
 * Coordinates count modulo 65536, slots modulo 256.
 *  width, height: pixels; image: bytes, rows without padding, not read when the camera has no slots.
 *  threshold: pixels of this value and above are candidates.
 * Returns 0, also when the camera has no slots or refuses one (the rest are left alone); VEK_EINVAL for a null handle,
 * or a null image that would have to be read; VEK_ENOMEM when memory runs out.
 */
VEK_API int VekCam_DetectDefectPixel(VekCam_Handle handle, unsigned long width, unsigned long height,
                                     const unsigned char *image, int threshold);

/*
 * Image stages. Each works in place on an image that the application owns, and keeps its settings and tables in the
 * handle. Rows have no padding unless a function says otherwise. A setting function changes nothing when it refuses; an
 * image function that gives anything but 0 leaves the image as it was, unless it says otherwise. An image of no pixels
 * is success once the other arguments are accepted; a null image of some pixels, a null output or a null table, where
 * it would be touched, give VEK_EINVAL. Samples above what a table covers take its last entry.
 *
 * docs/pipeline.md tells what each stage does to a picture, and in which order they are meant to run.
 */

/**
 * White balance of raw Bayer images.
 *  mode: enum VekWhiteBalanceMode, not checked. VEK_WB_OFF when a handle is opened.
 * Returns 0; VEK_EINVAL for a null handle or a null output.
 */
VEK_API int VekCam_SetWhiteBalanceMode(VekCam_Handle handle, unsigned char mode);
VEK_API int VekCam_GetWhiteBalanceMode(VekCam_Handle handle, unsigned char *mode);

/**
 * White balance gains of red, green on red rows, green on blue rows and blue.
 *  r, gr, gb, b: 128 is a gain of 1, 65535 the largest; 0 makes black. Not checked. 256, 128, 128, 217 when a handle is
 *      opened. VEK_WB_AUTO and VEK_WB_ONCE replace r and b.
 * Returns 0; VEK_EINVAL for a null handle, or a null output (nothing is then written).
 */
VEK_API int VekCam_SetWhiteBalanceGain(VekCam_Handle handle, unsigned short r, unsigned short gr, unsigned short gb,
                                       unsigned short b);
VEK_API int VekCam_GetWhiteBalanceGain(VekCam_Handle handle, unsigned short *r, unsigned short *gr, unsigned short *gb,
                                       unsigned short *b);

/**
 * Largest white balance gains that the camera's own balance takes. VekCam_SetWhiteBalanceGain takes larger ones, too.
 *  r, gr, gb, b: receive gains in the unit of VekCam_SetWhiteBalanceGain: 640, a gain of 5.
 * Returns 0; VEK_EINVAL for a null handle or a null output.
 */
VEK_API int VekCam_GetWhiteBalanceMaxGain(VekCam_Handle handle, unsigned short *r, unsigned short *gr,
                                          unsigned short *gb, unsigned short *b);

/**
 * Applies the white balance to a raw image: each sample becomes sample x gain / 128, the fraction cut off, at most the
 * largest value of the depth.
 *  width, height: pixels.
 *  lineBytes: bytes from row to row; 0 means the samples of a row, rounded up to a multiple of 4.
 *  colorArray: enum VekColorArray, mono or Bayer. Mono images pass unchanged, and are not the one of VEK_WB_ONCE.
 *  bits: depth: 8 (bytes), 10 or 12 (words). Words are looked up where the tables for bytes begin, two bytes to an
 *      entry, each colour 256 bytes behind the one before, and on into the tables for words: at 10 and 12 bits the
 *      result is not sample x gain / 128, may be any word, and depends on the last image of bytes that was balanced,
 *      before which the tables for bytes are 0.
 * In VEK_WB_AUTO and VEK_WB_ONCE the gains of red and blue are worked out first, from all pixels, so that their means
 * equal that of the greens; what saturation takes away is made up for up to a gain of 640. A colour that is all 0 gets
 * 128. In images of one row or column the green that has no pixels counts as 0: the mean to reach is half of the other
 * green's.
 * Returns 0; VEK_EINVAL for a null handle, another depth, or another colour array (gains and mode then stay as they
 * were). Where the mode is VEK_WB_OFF, or VEK_WB_MANUAL with all gains at 128, every colour array gives 0.
 */
VEK_API int VekCam_WhiteBalance(VekCam_Handle handle, unsigned long width, unsigned long height,
                                unsigned long lineBytes, unsigned short colorArray, void *image, unsigned short bits);

/**
 * Tone curve of a channel.
 *  channel: enum VekGammaChannel; mode: enum VekGammaMode.
 *  gamma: hundredths, 1 and more; the curve's exponent is 100 / gamma.
 *  brightness: levels added to the input.
 *  contrast: how many levels, brightness added, become black besides the darkest, and white besides the brightest one,
 *      2^(bits - 1) - 1 at most; the steepness between them follows 255 / (255 - 2 x contrast) at every depth: at more
 *      than 8 bits it is negative from 128 on, and levels between the ends then become anything up to 65535. Inputs
 *      that brightness lifts above the largest level become 255 at every depth, those that it takes below 0 black.
 *      Modes VEK_GAMMA_OFF and VEK_GAMMA_TABLE keep 100, 0 and 0 instead of the three.
 *  table: 2^bits entries, bytes at 8 bits and less, else words. Read in VEK_GAMMA_TABLE alone.
 *  bits: depth of the curve, 12 at most. Input levels above the depth: mode VEK_GAMMA_OFF gives the largest level, the
 *      other modes leave what an earlier curve gave.
 * Every channel is off, at 8 bits, when a handle is opened.
 * Returns 0; VEK_EINVAL for a null handle, another channel or mode, more than 12 bits, a gamma of 0 in
 * VEK_GAMMA_CURVE or VEK_GAMMA_NEGATIVE, or a null table that would be read.
 */
VEK_API int VekCam_SetGammaMode(VekCam_Handle handle, unsigned char channel, unsigned char mode, unsigned short gamma,
                                short brightness, unsigned short contrast, const void *table, unsigned short bits);

/**
 * Reads a channel's tone curve back. Every output may be null.
 *  bits: on entry the depth of contrast and table, on return the depth of the curve. Entry depths below 8, and a null
 *      bits, count as 8, those above 12 as 12.
 *  contrast: receives its low byte at 8 bits, else a word.
 *  table: receives 256 bytes (the low byte of each entry) at 8 bits, else 2^bits words.
 * Returns 0; VEK_EINVAL for a null handle or another channel.
 */
VEK_API int VekCam_GetGammaMode(VekCam_Handle handle, unsigned char channel, unsigned char *mode, unsigned short *gamma,
                                short *brightness, void *contrast, void *table, unsigned short *bits);

/**
 * Applies the four tone curves of the colours to a raw Bayer image. An image passes unchanged when all four are off.
 *  width, height: pixels.
 *  colorArray: enum VekColorArray. Mono images pass unchanged, other codes than Bayer count as VEK_COLOR_ARRAY_RGGB.
 *  bits: above 8 the image is words, else bytes, which receive the low byte of what a deeper curve gives. A channel's
 *      curve has the depth it was set with: at more than 8 bits all four have to be set, since a channel that was never
 *      set cuts samples off at 255.
 * Returns 0; VEK_EINVAL for a null handle.
 */
VEK_API int VekCam_RawColorGamma(VekCam_Handle handle, unsigned long width, unsigned long height,
                                 unsigned short colorArray, void *image, unsigned short bits);

/**
 * Applies the luma curve to a grey or colour image. Of a colour pixel the luma's change is added to blue, green and red
 * (0 .. 255, or 0 .. 4095 in words); it counts as a signed number of 16 bits, so that raising luma by 32768 and more
 * darkens. An image passes unchanged, whatever its format, when the curve is off.
 *  pixelFormat: enum VekDestinationFormat: MONO8, BGR24, BGRX32 with bytes; MONO10, MONO12, BGR48, BGRX64 with words.
 *  image: rows are a multiple of 4 bytes apart: the samples of a row rounded up; with words 4 x width bytes for grey,
 *      12 x width or 16 x width for BGR48 and BGRX64. In a colour image of words the pixels stand 6 or 8 words apart,
 *      twice their size.
 *  bits: above 8 the image is words, else bytes; grey ones receive the low byte of what a deeper curve gives.
 * Returns 0; VEK_EINVAL for a null handle, or a format that does not go with the samples.
 */
VEK_API int VekCam_BGRGamma(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pixelFormat,
                            void *image, unsigned short bits);

/**
 * Sharpness.
 *  mode: 0 off (when a handle is opened), else on.
 *  gain: per cent; coring: differences up to this one are left alone. Not checked.
 * With mode 0 gain and coring are kept, and take effect once they are set with another mode.
 * Returns 0; VEK_EINVAL for a null handle or a null output.
 */
VEK_API int VekCam_SetSharpnessMode(VekCam_Handle handle, unsigned char mode, unsigned short gain,
                                    unsigned char coring);
VEK_API int VekCam_GetSharpnessMode(VekCam_Handle handle, unsigned char *mode, unsigned short *gain,
                                    unsigned char *coring);

/**
 * Sharpens an image: a pixel that differs from the mean of its eight neighbours by more than the coring moves away from
 * it by (difference - coring) x gain / 100, 4095 at most, up to the ends 0 and 2^bits - 1. Mean and move are rounded;
 * moves of a half, or near one, go up or down: within 0.01 of it at 8 bits; of words within 0.05 in grey images and 0.2
 * in colour ones. Of a colour image luma is compared, and blue, green and red move alike. The outermost rows and
 * columns stay as they are.
 *  pixelFormat: enum VekDestinationFormat: MONO8, BGR24, BGRX32 at 8 bits; WORDS, MONO10, MONO12, MONO16, BGR48, BGRX64
 *      above.
 *  image: rows padded to a multiple of 4 bytes.
 *  bits: 8 (bytes) to 12 (words). What pixels near samples above the depth become is not defined.
 * At 8 bits moves of more than 255 count modulo 256 in grey images; in colour images those towards brighter do: a
 * sample below 255 - move, modulo 256, becomes sample + move, modulo 256, and any other 255.
 * Returns 0, also for images below 3 x 3, which it leaves alone, and, whatever the depth and the format, when sharpness
 * is off; VEK_EINVAL for a null handle, another depth or format; VEK_ENOMEM when memory runs out.
 */
VEK_API int VekCam_Sharpness(VekCam_Handle handle, unsigned long width, unsigned long height, unsigned long pixelFormat,
                             void *image, unsigned short bits);

/**
 * Mirrors a raw 8-bit image and rotates it by a quarter turn, in place.
 *  mirror: enum VekMirror, bits combined. Comes before the rotation, with which only the two low bits count. Without
 *      one, values 4 to 7 mean: clockwise, counter-clockwise, horizontal then clockwise, horizontal then
 *      counter-clockwise; larger ones nothing.
 *  rotation: enum VekRotation, other values mean none.
 *  width, height: pixels, in and out: exchanged by a quarter turn.
 *  colorArray: in and out: the Bayer phase of the result, for even widths and heights; other codes stay.
 *  image: rows of width bytes.
 * Returns 0; VEK_EINVAL for a null handle; 1 for a null width, height or colorArray (nothing is changed), and for a
 * null image that would be touched or when memory runs out (by a quarter turn width and height are then exchanged
 * already, image and colorArray are not changed).
 */
VEK_API int VekCam_MirrorRotation(VekCam_Handle handle, unsigned char mirror, unsigned char rotation,
                                  unsigned long *width, unsigned long *height, unsigned short *colorArray, void *image);

/**
 * Colour matrix.
 *  mode: VEK_COLOR_MATRIX_IDENTITY (when a handle is opened; matrix is not read) or VEK_COLOR_MATRIX_CUSTOM.
 *  matrix: 12 numbers: rows for red, green and blue output, each with the coefficients of red, green and blue input in
 *      hundredths (100 is 1.0) and an offset in hundredths of a level. Either output of GetColorMatrix may be null.
 * Returns 0; VEK_EINVAL for a null handle, another mode, or a null matrix that would be read.
 */
VEK_API int VekCam_SetColorMatrix(VekCam_Handle handle, unsigned char mode, const short *matrix);
VEK_API int VekCam_GetColorMatrix(VekCam_Handle handle, unsigned char *mode, short *matrix);

/**
 * Hue and saturation.
 *  mode: 0 off (when a handle is opened; keeps hue 0 and saturation 100), 1 on.
 *  hue: tenths of a degree. saturation: per cent, 100 leaves it, 0 makes grey.
 * Returns 0; VEK_EINVAL for a null handle, another mode or a null output.
 */
VEK_API int VekCam_SetHueSaturationMode(VekCam_Handle handle, unsigned char mode, short hue, unsigned short saturation);
VEK_API int VekCam_GetHueSaturationMode(VekCam_Handle handle, unsigned char *mode, short *hue,
                                        unsigned short *saturation);

/**
 * Applies colour matrix, hue and saturation to a colour image, then chroma suppression. With matrix and hue/saturation
 * both off the first step changes nothing; otherwise every sample counts as one more than it is, so that even the
 * identity raises each sample by 1, and samples above 4095 count as 4095 at every depth. Hue and saturation come after
 * the matrix and leave its offsets alone; the fraction of each product is cut off. Products are running sums in single
 * precision: they may be 1 off, and more at coefficients above 4.0 (words) or 1000 (bytes). Sums of three products
 * count modulo 2^32, which makes negative ones large; from 2^28 on they give 0.
 *  pixelFormat: enum VekDestinationFormat: BGR24 and BGRX32 up to 8 bits, BGR48 and BGRX64 from 8 to 16 (at 8 the first
 *      step takes the image for bytes, the second refuses it). Grey formats change nothing; MONO8 above 8 bits, and the
 *      others up to 8, give VEK_EINVAL all the same.
 *  image: rows padded to a multiple of 4 bytes.
 *  bits: above 8 the image is words, else bytes; the first step's results are 0 .. 2^bits - 1, the second does not
 *      look at the depth.
 * Returns 0; VEK_EINVAL for a null handle or another format or depth; and after the first step has been applied for the
 * formats that the second one refuses.
 */
VEK_API int VekCam_HueSaturationColorMatrix(VekCam_Handle handle, unsigned long width, unsigned long height,
                                            unsigned long pixelFormat, void *image, unsigned short bits);

/**
 * Chroma suppression, part of VekCam_HueSaturationColorMatrix: blue and red of pixels whose luma is above (High) or
 * below (Low) the start level are pulled towards green.
 *  startLevel: luma of the image's own samples, 0 .. 4095 at 12 bits. 255 (High) and 0 (Low, which switches the part
 *      off) when a handle is opened.
 *  slope: 1/16384 of full suppression for each level beyond and once more: twice the slope one level beyond. 0, as when
 *      a handle is opened, switches the part off. Where both parts apply the stronger one counts.
 * Either output of the getters may be null.
 * Returns 0; VEK_EINVAL for a null handle.
 */
VEK_API int VekCam_SetHighChromaSuppression(VekCam_Handle handle, unsigned short startLevel, unsigned short slope);
VEK_API int VekCam_GetHighChromaSuppression(VekCam_Handle handle, unsigned short *startLevel, unsigned short *slope);
VEK_API int VekCam_SetLowChromaSuppression(VekCam_Handle handle, unsigned short startLevel, unsigned short slope);
VEK_API int VekCam_GetLowChromaSuppression(VekCam_Handle handle, unsigned short *startLevel, unsigned short *slope);

/**
 * Noise reduction on a raw or mono image, in place.
 *  mode: enum VekNoiseReductionMode or VEK_NOISE_STORE_DARK.
 *      VEK_NOISE_EASY: a pixel becomes the median of itself and its neighbours (of an even number the mean of the
 *      middle two, the fraction cut off) where that is darker. Neighbours are, for mono and green, the four diagonal
 *      ones; for red and blue, the four that are two away in the same row or column. At the edge those inside the image
 *      count; mono pixels have those to the left and right, above and below there instead. In Bayer images neighbours
 *      in the rows above count as already filtered, and so do those to the left in the same row, but for the first row.
 *      In GRBG and GBRG images greens one column from the left edge, or from the right edge of an even width, have the
 *      two diagonal neighbours towards the middle alone, and the first pixel has one diagonal neighbour and the next
 *      green of its row. Bayer images have 4 x 4 pixels and more, mono ones 2 x 2 and more, and sides are below 2^31.
 *      VEK_NOISE_STORE_DARK: the image is kept, less its own floor (the least sample of each place in the 2 x 2 cell,
 *      an odd side's last row or column aside), and is not changed. Any colour array is taken.
 *      VEK_NOISE_COMPLEX: the dark frame is subtracted (0 at least). Then pixels that were saturated before and no
 *      longer are become the median of themselves and their neighbours where that is brighter, but for the outermost
 *      row and column of mono images and the two outermost of Bayer ones. Neighbours are those of VEK_NOISE_EASY; the
 *      ones in the rows above, and to the left in the same row, are repaired already.
 *      Saturated are samples of 2^bits - 2^(bits - 7) - 1 and more: 253 at 8 bits, 4063 at 12; modulo 65536 above 16.
 *      Size, pitch and colour array as when the dark frame was stored, and rows without padding; the depth is not
 *      compared.
 *  width, height: pixels.
 *  linePitch: bytes from row to row; 0 means width x ((bitsPerPixel + 7) / 8): 1 byte a sample, 2 above 8 bits, but 3
 *      and more above 16, and 0, which is too short, at a depth of 0.
 *  colorArray: enum VekColorArray, mono or Bayer; its low 16 bits count.
 *  bitsPerPixel: depth; above 8 the image is words, else bytes. Its low 16 bits count.
 * Returns 0; VEK_EINVAL for a null handle, another mode or colour array (in VEK_NOISE_COMPLEX the dark frame has then
 * been subtracted already), a size or pitch that the mode does not take, or no matching dark frame; VEK_ENOMEM when
 * memory runs out (VEK_NOISE_STORE_DARK has then dropped the dark frame before). In VEK_NOISE_EASY that is 0, too, and
 * the image stays as it was. VEK_NOISE_OFF gives 0 whatever the other arguments are.
 */
VEK_API int VekCam_NoiseReduction(VekCam_Handle handle, unsigned long mode, unsigned long width, unsigned long height,
                                  unsigned long linePitch, int colorArray, void *image, int bitsPerPixel);

/**
 * Shading correction mode. Takes over the camera's colour array as well: a colour sensor is measured for each place in
 * the 2 x 2 cell, a mono one as a whole. A driver that does not answer counts as one of a colour sensor, every sensor
 * as mono before the first call.
 *  mode: enum VekShadingMode, not checked. VEK_SHADING_OFF when a handle is opened. The calibrating modes start anew.
 * Returns 0; VEK_EINVAL for a null handle. A null mode is ignored.
 */
VEK_API int VekCam_SetShadingCorrectionMode(VekCam_Handle handle, unsigned long mode);
VEK_API int VekCam_GetShadingCorrectionMode(VekCam_Handle handle, unsigned long *mode);

/**
 * Level that calibrated images come to.
 *  target: level, its low 16 bits count; 0, as when a handle is opened, stands for the mean of the calibration image's
 *      centre, a square of a quarter of the shorter side, or of all of it where that is below 4. The fraction of the
 *      mean is cut off. Of a colour sensor each place in the 2 x 2 cell has its own mean, or 128 where the square has
 *      none of its pixels: it is a single pixel at shorter sides of 1 and of 4 to 7.
 * Returns 0; VEK_EINVAL for a null handle or a null output.
 */
VEK_API int VekCam_SetShadingCorrectionTarget(VekCam_Handle handle, int target);
VEK_API int VekCam_GetShadingCorrectionTarget(VekCam_Handle handle, unsigned short *target);

/**
 * Calibrates with a raw or mono frame, or corrects one in place, by the mode.
 *  width, height: pixels. Frames of another size than the map pass unchanged.
 *  linePitch: bytes from row to row; 0 means rows without padding.
 *  bitsPerPixel: depth; above 8 the image is words, else bytes. Its low 16 bits count. Results are at most 2^bits - 1;
 *      above 16 bits they count modulo 65536.
 * Calibration keeps the mean of frames while linePitch is 4 x width. A frame with another pitch, or of another size
 * than the one before it, replaces what was calibrated before. The first frame of a calibration drops the map that was
 * there. Gains are target / mean in 1/128, fractions cut off, and 16 where the mean is target / 16, cut to a whole
 * number, or less. Means that are less than 1 above that may give more than 16: up to 31 at targets from 16 on, without
 * limit at smaller ones. Offsets are target - mean, the mean without its fraction. The first frame after it makes the
 * map, of gains in VEK_SHADING_GAIN and of offsets in VEK_SHADING_OFFSET, also where that frame is null or of another
 * size: the other mode then works with the same numbers, so calibrate anew to change over. In VEK_SHADING_SHOW_MAP that
 * frame uses the calibration up and leaves a map of 0, with which VEK_SHADING_GAIN makes frames black. So does setting
 * a calibrating mode again before the map is made, if no frame is calibrated after it. Negative entries show as the
 * largest value.
 * Returns 0; VEK_EINVAL for a null handle, or a null image that would be touched; 1 when memory for the mean of a
 * calibration runs out. There is no map then, as there is none, with a result of 0, when memory for the map runs out:
 * frames pass unchanged until a calibration succeeds.
 */
VEK_API int VekCam_ShadingCorrection(VekCam_Handle handle, unsigned long width, unsigned long height,
                                     unsigned long linePitch, void *image, int bitsPerPixel);

/*
 * Multi-ROI frames.
 */

/** Selects the combining image in VekCam_DecodingCombinedMultiROI. */
#define VEK_COMBINING_IMAGE 0x80000000UL

/**
 * Finds a region of interest in a transferred multi-ROI frame, or puts all of them together: the combining image is the
 * sensor area that some region covers, with the columns and rows that none covers squeezed out. The layout is asked of
 * the driver on each call.
 *  roiSelector: number of an enabled region, the first being 0, or VEK_COMBINING_IMAGE. A region that the driver does
 *      not answer for counts as not enabled, and when memory runs out while the layout is read the regions found so far
 *      stand: then there are fewer regions, with other numbers, than were set.
 *  frame: the frame as transferred, in the camera's pixel format and size. Of several regions a pixel takes what its
 *      GenICam pixel format says: transfer formats that have none (VEK_PFNC_NONE) give a pitch of 0 and regions that
 *      all begin where the frame does, VEK_TRANSFER_BGR10 counts 48 bits. Choose another transfer format then. With a
 *      single region, both selectors give the frame itself and the image width and height that the driver reports, and
 *      VekTransferFormatBits counts: packed formats give a pitch of 0.
 *  outImage: receives where the result begins: in frame, or in a buffer of the handle that lasts until the next call.
 *      Cameras with 8 region slots transfer the regions one after the other, as blocks. A region gives null where its
 *      block, or one in front of it, ends beyond the frame size that the driver reports. The combining image leaves out
 *      a block that ends beyond it: its place is 0, and the next block is taken from where it begins. It is null where
 *      no block ends within the frame size, where memory runs out, and until the handle has met as many blocks that end
 *      within it as there are regions, counted over all calls for the combining image.
 *      All other cameras combine the regions themselves: the place in their frame is not compared with any size.
 *      A null frame gives null, or VEK_EINVAL as below; that of blocks with a pitch of 0 that are put together is not
 *      noticed. A null outImage: nothing is done, but for a camera with a single region.
 *  outWidth, outHeight, outLinePitch: receive pixels, rows, and bytes from row to row. Each may be null. For a single
 *      region out of several only the low 32 bits are written, and nothing where it, or one in front of it, ends beyond
 *      the frame size: clear them first. Where outImage receives null for a combining image of blocks, the pitch may be
 *      0 or that of an earlier call.
 * Returns 0; VEK_EINVAL for a null handle, no enabled region, a driver that reports a frame size of 0, a selector that
 * is none of the above, or a null frame whose pixels would be copied; VEK_ENOMEM when memory for the layout runs out.
 */
VEK_API int VekCam_DecodingCombinedMultiROI(VekCam_Handle handle, unsigned long roiSelector, unsigned char *frame,
                                            unsigned char **outImage, unsigned long *outWidth, unsigned long *outHeight,
                                            unsigned long *outLinePitch);

/*
 * Settings of a handle in a text file: a key, a blank and a decimal number a line. docs/settings.md lists the keys.
 * The colour matrix, the depth and the tables of tone curves, the dark frame and the shading map are not in the file.
 */

/**
 * Writes every setting.
 *  path: created, or emptied first, and written at once. A full disk leaves part of the text, or nothing. Null counts
 *      as a file that cannot be opened.
 * Returns 0; VEK_EINVAL for a null handle, where not everything could be written, and, after "file open error!!" on
 * standard output, where the file cannot be opened.
 */
VEK_API int VekCam_WriteSettingFile(VekCam_Handle handle, const char *path);

/**
 * Reads settings back and applies them in a fixed order.
 *  path: a regular file, which has to be writable, too; anything else, null included, counts as one that cannot be
 *      opened. The first 1048576 bytes are read. Unknown keys are ignored, the last one of equal keys counts, settings
 *      whose key is missing stay as they are. Numbers are cut to the width of their setting. Tone curves keep their
 *      depth, and, in VEK_GAMMA_TABLE, their table. A shading calibration starts anew where its mode is a calibrating
 *      one afterwards; the camera's colour array is not asked for, other than by VekCam_SetShadingCorrectionMode.
 * Returns 0; VEK_EINVAL for a null handle, where the file cannot be read (nothing is applied), for a setting that is
 * refused (the ones before it are applied, the ones after it are not), and, after "file open error!!" on standard
 * output, where the file cannot be opened; VEK_ENOMEM when memory runs out (nothing is applied).
 */
VEK_API int VekCam_ReadSettingFile(VekCam_Handle handle, const char *path);

/*
 * Constant tables. Read-only, shared by all handles.
 */

/** Entries of each luma table: components of up to 12 bits, and 100 more. */
#define VEK_LUMA_TABLE_SIZE 4196

/**
 * Shares of blue, green and red in the luma of a pixel, ITU-R BT.601 weights: entry i is i x 0.114, i x 0.587 and
 * i x 0.299, rounded. Luma is the sum of the three entries: 0 .. 255 for 8-bit components, 0 .. 4095 for 12-bit ones.
 */
VEK_API extern const unsigned short gpwB2Y[VEK_LUMA_TABLE_SIZE];
VEK_API extern const unsigned short gpwG2Y[VEK_LUMA_TABLE_SIZE];
VEK_API extern const unsigned short gpwR2Y[VEK_LUMA_TABLE_SIZE];

/** Entries of each product table: samples of up to 12 bits. */
#define VEK_PRODUCT_TABLE_SIZE 4096

/** Products 3 x i and 9 x i, the weights of VEK_DEMOSAIC_BILINEAR_FALSE_COLOR_REDUCTION. */
VEK_API extern const unsigned short pwMul3[VEK_PRODUCT_TABLE_SIZE];
VEK_API extern const unsigned short pwMul9[VEK_PRODUCT_TABLE_SIZE];

/** Entries of each cubic table: sums of two samples of up to 12 bits. */
#define VEK_CUBIC_TABLE_SIZE 8192

/**
 * Shares of the two inner and of the two outer neighbours in VEK_DEMOSAIC_BICUBIC, by the sum of the two: 5/8 and -1/8
 * of it, the weights of cubic convolution with a = -1 at distances 0.5 and 1.5, each rounded away from 0 at a half.
 */
VEK_API extern const short pshtTable_05[VEK_CUBIC_TABLE_SIZE];
VEK_API extern const short pshtTable_15[VEK_CUBIC_TABLE_SIZE];

/**
 * Shares of luma and chroma in blue, green and red, by byte, in 1/4194304 of a level, rounded: rows Y, Cr to red, Cb to
 * green, Cr to green, Cb to blue. The weights have five decimals: 1, 1.402, -0.34414, -0.71414 and 1.772 for ITU-R
 * BT.601 of full range; 1.16438, 1.79274, -0.21325, -0.53291 and 2.1124 for ITU-R BT.709 of video range, in which bytes
 * outside 16 .. 235 (luma) and 16 .. 240 (chroma) count as the nearest inside.
 */
VEK_API extern const int pnYCrCbConvTable[5][256];
VEK_API extern const int pnYCrCbConvTable709[5][256];

#ifdef __cplusplus
}
#endif

#endif
