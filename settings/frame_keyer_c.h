#ifndef VELTRANE_SETTINGS_FRAME_KEYER_C_H
#define VELTRANE_SETTINGS_FRAME_KEYER_C_H

/* The keyer for programs in C and whatever can call it, with settings by name and frames in bands
 * of rows. Functions that return an int give one of the numbers below; the others report the same
 * through status, which may be null. */

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    VELTRANE_DONE = 0,
    VELTRANE_FAILED = 1,  /* memory ran out */
    VELTRANE_REFUSED = 2, /* an unknown name, or a value, size or band out of range */
};

/* Every value of the parameter table, at its default. Null where memory runs out. */
typedef struct VeltraneSettings VeltraneSettings;
VeltraneSettings* VeltraneNewSettings(void);
void VeltraneFreeSettings(VeltraneSettings* settings);

/* Sets a slider, a switch (0 or 1) or a choice (its number) under its name in the table, such as
 * "clip-black". */
int VeltraneSetNumber(VeltraneSettings* settings, const char* name, int value);
/* Sets a colour, such as "key-color"; components are display-referred, 0..1. */
int VeltraneSetColor(VeltraneSettings* settings, const char* name, double red, double green,
                     double blue);

/* One frame of 16 or 8 bits a channel: blue, green, red, alpha, straight, packed rows, each side
 * 1..65535. The source must stay until the keyer is freed. Null where it cannot be made. */
typedef struct VeltraneFrameKeyer VeltraneFrameKeyer;
VeltraneFrameKeyer* VeltraneNewFrameKeyer16bit(const VeltraneSettings* settings, int width,
                                               int height, const uint16_t* source, int* status);
VeltraneFrameKeyer* VeltraneNewFrameKeyer8bit(const VeltraneSettings* settings, int width,
                                              int height, const uint8_t* source, int* status);
void VeltraneFreeFrameKeyer(VeltraneFrameKeyer* keyer);

/* Keys the rows from first up to, but without, end into a whole frame's memory, laid out as the
 * source and apart from it. Any band, in any order, by any number of threads at a time: the bits
 * are the same for every split. The depth must be that of the keyer. */
int VeltraneKeyRows16bit(const VeltraneFrameKeyer* keyer, int first, int end,
                         uint16_t* destination);
int VeltraneKeyRows8bit(const VeltraneFrameKeyer* keyer, int first, int end, uint8_t* destination);

#ifdef __cplusplus
}
#endif

#endif
