#ifndef VELTRANE_KEYER_PIPELINE_H
#define VELTRANE_KEYER_PIPELINE_H

#include "imaging/imaging.h"
#include "keyer/params.h"

/// Thrown by pointer to report exhausted memory; the drivers answer 3 and leave the object to
/// whoever threw it.
class CMemoryException {};

/// The stages of the keying pipeline. Stages return 0, or 2 for a bad argument; running out of
/// memory throws std::bad_alloc. No state is kept.
class CVELTRANE : public CImagingORV {
public:
    using CImagingORV::ChromaBlur32bit;
    using CImagingORV::ChromaBlur64bit;

    /// Copies every field but src, dst and reservedPtr. Returns 1, or 0 when a pointer is null.
    int CopyParamVeltraneGreen(const VELTRANE_Param16bit* source,
                               VELTRANE_Param16bit* target) const;
    int CopyParamVeltraneGreen(const VELTRANE_Param* source, VELTRANE_Param* target) const;

    /// Smooths the chroma of the frame behind src in place, with radius deblockValue.
    void ChromaBlur64bit(VELTRANE_Param16bit* p) const;
    void ChromaBlur32bit(VELTRANE_Param* p) const;

    /// Models a clean plate of the screen and keys every pixel against it. Returns 2 for a null
    /// record or an empty frame, else 0.
    unsigned int MakeMask64bit008_1(VELTRANE_Param16bit* p) const;
    unsigned int MakeMask32bit008_1(VELTRANE_Param* p) const;

    /// Keys every pixel against the record's key colour. Returns 2 for a null record, else 0.
    unsigned int MakeMask64bit007_2(VELTRANE_Param16bit* p) const;
    unsigned int MakeMask32bit007_2(VELTRANE_Param* p) const;

    /// Keys every pixel against the pixel of plate (the size and layout of src) behind it. Returns
    /// 2 for a null record, else 0.
    unsigned int MakeChromaKeyMaskX9Core64bit14(VELTRANE_Param16bit* p,
                                                unsigned short* plate) const;
    unsigned int MakeChromaKeyMaskX9Core32bit14(VELTRANE_Param* p, unsigned char* plate) const;

    /// Keeps the pixels of an 8-bit frame (pitch in bytes) that show the bare screen and empties
    /// the others (elements 0..2 become 0). map, one byte a pixel with rows of Align8(width) bytes,
    /// receives 255 for foreground of a screen-like hue, else 0. The hue bounds are in degrees.
    /// Returns 1, or 0 when image or map is null.
    unsigned int ExtractBack32bit(unsigned char* image, unsigned char* map, int width, int height,
                                  int pitch, unsigned char keyR, unsigned char keyG,
                                  unsigned char keyB, int lowerHue, int upperHue) const;

    /// Predicts the screen's I and Q at every whole luma 0..255 as it darkens; each table has 256
    /// entries. Returns 1, or 0 when a table is null.
    unsigned int MakeBCCorrect(unsigned char keyR, unsigned char keyG, unsigned char keyB, YIQ key,
                               float* tableI, float* tableQ) const;

    /// Widens the empty areas of an 8-bit frame by steps of 3 x 3. Pitch in bytes. Returns 1.
    unsigned int ContractBack32bit(unsigned char* image, int width, int height, int pitch,
                                   int steps) const;

    /// Fills every empty pixel of an 8-bit frame from the screen around it; the given colour serves
    /// where the whole frame is empty. Pitch in bytes. Returns 1, or 0 for a null image.
    unsigned int ExpandBack32bit8(unsigned char* image, int width, int height, int pitch,
                                  unsigned char red, unsigned char green, unsigned char blue) const;
};

extern "C" {

/// Runs the whole pipeline on the frame that the record describes. Returns 0 when done, 2 for an
/// invalid record (nothing is written), 1 when memory or anything else failed, 3 when a
/// CMemoryException pointer was thrown; after 1 and 3 the destination may be partly written. The
/// third argument is not read.
unsigned int VELTRANE_MakeMaskGreenBack64bit(VELTRANE_Param16bit* param, KORMADEL_Param* frame,
                                             unsigned int reserved);
unsigned int VELTRANE_MakeMaskGreenBack32bit(VELTRANE_Param* param, KORMADEL_Param* frame,
                                             unsigned int reserved);

/// The same pipeline for a blue screen.
unsigned int VELTRANE_MakeMaskBlueBack64bit(VELTRANE_ParamBlue16bit* param, KORMADEL_Param* frame,
                                            unsigned int reserved);
unsigned int VELTRANE_MakeMaskBlueBack32bit(VELTRANE_ParamBlue* param, KORMADEL_Param* frame,
                                            unsigned int reserved);
}

#endif
