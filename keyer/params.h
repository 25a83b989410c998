#ifndef VELTRANE_KEYER_PARAMS_H
#define VELTRANE_KEYER_PARAMS_H

/// Everything that the pipeline needs for one 16-bit frame. The record owns nothing. Of each pair
/// the stages read element 0. A zeroed record with frames, size and hues set is a valid one.
struct VELTRANE_Param16bit {
    const unsigned short* src;  ///< blue, green, red, alpha; packed rows; de-blocking rewrites
                                ///< its colour, so the memory itself must be writable then
    unsigned short* dst;        ///< same layout; receives the keyed colour and the matte
    void* reservedPtr;          ///< null
    unsigned short width;       ///< pixels a row
    unsigned short height;      ///< rows
    unsigned short keyR[2];     ///< key colour, red first, 0..65535
    unsigned short keyG[2];
    unsigned short keyB[2];
    unsigned short screenGain[2];      ///< 0..30
    unsigned short shadow[2];          ///< 0..100
    unsigned short skinHue[2];         ///< degrees, 120..170
    unsigned short blueHue[2];         ///< degrees, 250..330
    unsigned short despillGray[2];     ///< 0..100
    unsigned short despillSkin[2];     ///< 0..50
    unsigned short despillBlue[2];     ///< 0..50
    unsigned short reservedPair[2];    ///< 0
    unsigned short deblockValue;       ///< chroma blur radius in pixels, 0 off
    unsigned short contractMask;       ///< contraction passes, 0 off
    unsigned short contractThreshold;  ///< 0..255 on the 8-bit scale
    unsigned int smoothBG;             ///< nonzero keys against a modelled clean plate
    unsigned int reservedInt1;         ///< 0
    unsigned int reservedInt2;         ///< 0
    unsigned short reservedWords[4];   ///< 0
    unsigned short maskBlurRadius;     ///< pixels, 0 off
    unsigned short maskBlurValue;      ///< per cent, 0..100
    unsigned short maskBlurMode;       ///< offset of the mask blur in matte units, 0 from the entry
};

/// The same for one 8-bit frame; only the frames and the key colour have another type.
struct VELTRANE_Param {
    const unsigned char* src;
    unsigned char* dst;
    void* reservedPtr;
    unsigned short width;
    unsigned short height;
    unsigned char keyR[2];  ///< 0..255
    unsigned char keyG[2];
    unsigned char keyB[2];
    unsigned short screenGain[2];
    unsigned short shadow[2];
    unsigned short skinHue[2];
    unsigned short blueHue[2];
    unsigned short despillGray[2];
    unsigned short despillSkin[2];
    unsigned short despillBlue[2];
    unsigned short reservedPair[2];
    unsigned short deblockValue;
    unsigned short contractMask;
    unsigned short contractThreshold;
    unsigned int smoothBG;
    unsigned int reservedInt1;
    unsigned int reservedInt2;
    unsigned short reservedWords[4];
    unsigned short maskBlurRadius;
    unsigned short maskBlurValue;
    unsigned short maskBlurMode;
};

/// The same for a blue screen, whose neighbour is green.
struct VELTRANE_ParamBlue16bit {
    const unsigned short* src;
    unsigned short* dst;
    void* reservedPtr;
    unsigned short width;
    unsigned short height;
    unsigned short keyR[2];
    unsigned short keyG[2];
    unsigned short keyB[2];
    unsigned short screenGain[2];
    unsigned short shadow[2];
    unsigned short skinHue[2];   ///< degrees, 70..150
    unsigned short greenHue[2];  ///< degrees, 220..300
    unsigned short despillGray[2];
    unsigned short despillSkin[2];
    unsigned short despillGreen[2];
    unsigned short reservedPair[2];
    unsigned short deblockValue;
    unsigned short contractMask;
    unsigned short contractThreshold;
    unsigned int smoothBG;
    unsigned int reservedInt1;
    unsigned int reservedInt2;
    unsigned short reservedWords[4];
    unsigned short maskBlurRadius;
    unsigned short maskBlurValue;
    unsigned short maskBlurMode;
};

/// The same for one 8-bit frame.
struct VELTRANE_ParamBlue {
    const unsigned char* src;
    unsigned char* dst;
    void* reservedPtr;
    unsigned short width;
    unsigned short height;
    unsigned char keyR[2];
    unsigned char keyG[2];
    unsigned char keyB[2];
    unsigned short screenGain[2];
    unsigned short shadow[2];
    unsigned short skinHue[2];
    unsigned short greenHue[2];
    unsigned short despillGray[2];
    unsigned short despillSkin[2];
    unsigned short despillGreen[2];
    unsigned short reservedPair[2];
    unsigned short deblockValue;
    unsigned short contractMask;
    unsigned short contractThreshold;
    unsigned int smoothBG;
    unsigned int reservedInt1;
    unsigned int reservedInt2;
    unsigned short reservedWords[4];
    unsigned short maskBlurRadius;
    unsigned short maskBlurValue;
    unsigned short maskBlurMode;
};

/// Describes the frame beside the key record.
struct KORMADEL_Param {
    unsigned int interlaced;  ///< nonzero keys the two fields apart
};

#endif
