/* SPDX-License-Identifier: MIT */
/* The header alone, as C: it compiles without a warning and lays its records out as it
   says. */
#include "jpg.h"
#include "jpg/exif.h"
#include "jpg/paths.h"
#include "jpg/text.h"

#include <stddef.h>

#define CHECK(name, condition) typedef char check_##name[(condition) ? 1 : -1]

CHECK(header, sizeof(BITMAPINFOHEADER) == 40);
CHECK(quad, sizeof(RGBQUAD) == 4);
CHECK(palette, sizeof(PALETTEENTRY) == 4);
CHECK(info, sizeof(BITMAPINFO) == 44);
CHECK(width, offsetof(JpgRect, width) == 0);
CHECK(height, offsetof(JpgRect, height) == 4);
CHECK(stride, offsetof(JpgRect, stride) == 8);
CHECK(bits_per_pixel, offsetof(JpgRect, bitsPerPixel) == 12);
CHECK(channels, offsetof(JpgRect, channels) == 16);
CHECK(bits_per_sample, offsetof(JpgRect, bitsPerSample) == 20);
CHECK(bits, offsetof(JpgRect, bits) == 24);
CHECK(size, offsetof(JpgRect, size) == 24 + sizeof(void *));
CHECK(reserved, offsetof(JpgRect, reserved) == 28 + sizeof(void *));
CHECK(unit, sizeof(JpgWChar) == 2);

int main(void) {
  JPGHANDLE handle = NULL;
  return jpgReadEpilog(handle) == JPG_E_INVALID_HANDLE ? 0 : 1;
}
