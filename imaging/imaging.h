#ifndef VELTRANE_IMAGING_IMAGING_H
#define VELTRANE_IMAGING_IMAGING_H

/// A colour of three whole-number components, on the scale of the call that made it.
struct RGB {
    int R;
    int G;
    int B;
};

/// Luma and the two NTSC colour differences, always on the 8-bit scale: Y 0..255, I and Q signed.
struct YIQ {
    float Y;
    float I;
    float Q;
};

/// Polar form of the colour differences R - Y and B - Y: H hue in degrees 0..360, L luma (equal to
/// Y), S the length of the difference vector. Not the textbook hue, lightness and saturation.
struct HLS {
    float H;
    float L;
    float S;
};

/// Throws std::bad_alloc; the one exit of the resampling routines when memory runs out.
[[noreturn]] void AfxThrowMemoryException();

/// Stateless image operations of the keyer.
///
/// Frames are row-major pixels of four elements in the order blue, green, red, alpha (the matte);
/// "64bit" names take 16-bit elements (full scale 65535), "32bit" names 8-bit elements (full scale
/// 255). Unless a pitch is passed, rows are packed: width x 4 elements. Dimensions and buffer sizes
/// are trusted. Where memory runs out, std::bad_alloc is thrown.
class CImagingORV {
public:
    // Colour conversions. The weights are the NTSC ones (luma 0.299, 0.587, 0.114). Nothing is
    // clamped; a float that no int can hold, or that is not a number, converts to INT_MIN.

    /// Integer form: 16-bit fixed-point weights, each sum shifted right by 16 (floor).
    YIQ RGBtoYIQ(unsigned char R, unsigned char G, unsigned char B) const;
    /// Single-precision form for 8-bit components.
    YIQ RGBtoYIQ2(unsigned char R, unsigned char G, unsigned char B) const;
    YIQ RGBtoYIQ2(RGB color) const;
    /// For 16-bit components; each is divided by 257 first, so the result is on the 8-bit scale.
    YIQ RGBtoYIQ2_16bit(unsigned short R, unsigned short G, unsigned short B) const;
    /// Back to 8-bit components, rounded, not clamped.
    RGB YIQtoRGB2(YIQ color) const;
    /// Back to 16-bit components (x 257), rounded, not clamped.
    RGB YIQtoRGB2_16bit(YIQ color) const;
    HLS RGBtoHLS(unsigned char R, unsigned char G, unsigned char B) const;
    HLS RGBtoHLS_16bit(unsigned short R, unsigned short G, unsigned short B) const;
    YIQ HLStoYIQ(HLS color) const;

    // Interpolation on the segment x0..x1: y0 at or below x0, y1 at or above x1 (or when x is not a
    // number), a straight ramp between. A segment with x1 <= x0 is a step just above x0.

    float LinerInter(int x, int x0, int x1, float y0, float y1) const;
    float LinerInter(float x, float x0, float x1, float y0, float y1) const;
    int LinerInter(int x, int x0, int x1, int y0, int y1) const;
    /// Integer arithmetic only, in 1/256 steps of the segment.
    int LinerInter2(int x, int x0, int x1, int y0, int y1) const;

    /// Rounds n up to a multiple of 4 (not 8, in spite of the name).
    int Align8(int n) const;
    /// Length in bytes of a row of n three-byte pixels, padded to a multiple of 4.
    int AlignX(int n) const;
    int Align(int n) const;

    // Lanczos resampling of elements 0..2; element 3 of the target keeps what it held. Kernel type
    // 1 narrows the sinc to 0.85, every other value is plain; lobes is the kernel's half width. All
    // arithmetic is at 8-bit precision: 16-bit sources are reduced by 257 with rounding, 16-bit
    // targets receive multiples of 257. Pitches are in elements.

    void DF_WH64bitTo32bit5_1(unsigned short* source, int sourceWidth, int sourceHeight,
                              int sourcePitch, unsigned char* target, int targetWidth,
                              int targetHeight, int targetPitch, int kernelType, int lobes) const;
    void DF_WH32bitTo64bit5_1(unsigned char* source, int sourceWidth, int sourceHeight,
                              int sourcePitch, unsigned short* target, int targetWidth,
                              int targetHeight, int targetPitch, int kernelType, int lobes) const;
    void DF_WH32bit5_1(unsigned char* source, int sourceWidth, int sourceHeight, int sourcePitch,
                       unsigned char* target, int targetWidth, int targetHeight, int targetPitch,
                       int kernelType, int lobes) const;

    // Box blurs, in place. The window of radius r is clipped at the borders and averaged over the
    // samples that exist.

    /// All four elements of an 8-bit frame, rounded; pitch in bytes, of which only width x 4 of
    /// each row are touched. A negative radius does nothing.
    void AverageBlurCore32bit6(unsigned char* frame, int width, int height, int pitch,
                               int radius) const;
    /// One plane (pitch = width), truncated after the gain; the radius is truncated to an int.
    void AverageBlurA64(int width, int height, unsigned short* plane, float radius,
                        float gain) const;
    void AverageBlurA(int width, int height, unsigned char* plane, float radius, float gain) const;

    /// Softens the matte in element 3: lowers it by up to amount per cent where its blurred inverse
    /// is strong, less offset (in matte units), and never raises it. Returns 0 for a negative
    /// radius, else 1.
    int MaskBlur64(int width, int height, unsigned short* frame, int radius, int amount,
                   int offset) const;
    int MaskBlur(int width, int height, unsigned char* frame, int radius, int amount,
                 int offset) const;

    /// Box-blurs the two colour differences of the frame in place and keeps luma; element 3 stays.
    /// work is a second frame of the same size. A radius below 1 still converts there and back,
    /// which is not exact.
    void ChromaBlur64bit(int width, int height, unsigned short* frame, unsigned short* work,
                         int radius) const;
    void ChromaBlur32bit(int width, int height, unsigned char* frame, unsigned char* work,
                         int radius) const;
    /// The blur alone, on a frame that holds Y, Cb, Cr in elements 0..2. A radius below 1 does
    /// nothing.
    void ChromaBlurCore3_64bit(int width, int height, unsigned short* frame, unsigned short* work,
                               int radius) const;
    void ChromaBlurCore3_32bit(int width, int height, unsigned char* frame, unsigned char* work,
                               int radius) const;

    /// Writes one byte a pixel: the 3 x 3 Laplacian's strength 1..255 where its mean over the
    /// colours reaches the threshold, else 0. The map's width and height are not used. Pitches are
    /// in bytes.
    void Laplacian32bit8(unsigned char* source, int width, int height, int sourcePitch,
                         unsigned char* map, int mapWidth, int mapHeight, int mapPitch,
                         int threshold) const;

    /// Contracts the matte in element 3 by passes that alternate a cross and a square
    /// neighbourhood; each lowers a value to at most the threshold (8-bit scale, 0..255) above its
    /// darkest neighbour. Returns 0 for a null frame, else 1.
    int ContGray7_64(int width, int height, unsigned short* frame, int iterations,
                     int threshold) const;
    int ContGray7(int width, int height, unsigned char* frame, int iterations, int threshold) const;
    /// One pass over the cross (4) or the square (8); the threshold is on the frame's own scale.
    int ContGrayCore4_64(int width, int height, unsigned short* frame, int threshold) const;
    int ContGrayCore8_64(int width, int height, unsigned short* frame, int threshold) const;
    int ContGrayCore4(int width, int height, unsigned char* frame, int threshold) const;
    int ContGrayCore8(int width, int height, unsigned char* frame, int threshold) const;

    /// Splits a frame into its odd rows and its even rows (row 0 is even), packed. Returns 1.
    int SepareteField64bit(int width, int height, unsigned short* frame, unsigned short* oddRows,
                           unsigned short* evenRows) const;
    int SepareteField32bit(int width, int height, unsigned char* frame, unsigned char* oddRows,
                           unsigned char* evenRows) const;
    /// The inverse: interleaves the two field frames into frame. Returns 1.
    int CompositeField64bit(int width, int height, unsigned short* frame, unsigned short* oddRows,
                            unsigned short* evenRows) const;
    int CompositeField32bit(int width, int height, unsigned char* frame, unsigned char* oddRows,
                            unsigned char* evenRows) const;
};

#endif
