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

/* Finds the screen, green or blue, in a frame as described below and sets "key-color" and "screen"
 * to it. VELTRANE_REFUSED, with the settings as they were, where no screen is found. */
int VeltraneFindScreen16bit(VeltraneSettings* settings, int width, int height,
                            const uint16_t* source);
int VeltraneFindScreen8bit(VeltraneSettings* settings, int width, int height,
                           const uint8_t* source);

/* What a shot brings along beside its frame, all of the frame's size; null where it brings nothing.
 * They must stay as the source must. */
typedef struct VeltraneInputs16bit {
    const uint16_t* cleanPlate; /* the empty set, laid out as the source: with "smooth-bg" on, keyed
                                 * against instead of a model; its alpha is not used */
    const uint16_t* garbage;    /* what is out: one level a pixel, 0..65535 */
    const uint16_t* core;       /* what is in, unless it is garbage: likewise */
} VeltraneInputs16bit;

/* The same for a frame of 8 bits; the mattes' levels keep their 16. */
typedef struct VeltraneInputs8bit {
    const uint8_t* cleanPlate;
    const uint16_t* garbage;
    const uint16_t* core;
} VeltraneInputs8bit;

/* One frame of 16 or 8 bits a channel: blue, green, red, alpha, straight, packed rows, each side
 * 1..65535. The source must stay until the keyer is freed. inputs may be null. Null where it cannot
 * be made. */
typedef struct VeltraneFrameKeyer VeltraneFrameKeyer;
VeltraneFrameKeyer* VeltraneNewFrameKeyer16bit(const VeltraneSettings* settings, int width,
                                               int height, const uint16_t* source,
                                               const VeltraneInputs16bit* inputs, int* status);
VeltraneFrameKeyer* VeltraneNewFrameKeyer8bit(const VeltraneSettings* settings, int width,
                                              int height, const uint8_t* source,
                                              const VeltraneInputs8bit* inputs, int* status);
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
