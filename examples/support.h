/* SPDX-License-Identifier: MIT */
/* Shared by the examples: memory for pictures, and PGM and PPM files. */
#ifndef JPG_EXAMPLES_SUPPORT_H
#define JPG_EXAMPLES_SUPPORT_H

#include "jpg.h"

/* A header of a few bytes may claim thousands of millions of pixels: what a program makes room
   for, it limits first. So many take up to 300 MB, which a size_t of 32 bits holds. */
enum { MAX_PIXELS = 100000000 };

/* Describes memory for a picture of 8-bit samples and gets it. The caller frees `bits`. */
uint32_t makeRect(uint32_t width, uint32_t height, uint32_t channels, JpgRect *rect);
/* The same for the whole image of a handle, as the decoders lay it out. */
uint32_t makeRectFor(JPGHANDLE handle, JpgRect *rect);

/* Reads and writes a binary PGM or PPM file of 8 bits; pixels are blue first in memory. */
uint32_t loadPnm(const char *name, JpgRect *rect);
uint32_t savePnm(const char *name, const JpgRect *rect);
/* Writes samples of 2 to 16 bits as a lossless picture has them: red first. */
uint32_t saveSamples(const char *name, const JpgRect *rect);

/* The end of a program: says what went wrong, if anything, and gives the exit status. */
int finish(const char *name, uint32_t result);

#endif
