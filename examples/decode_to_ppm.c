/* SPDX-License-Identifier: MIT */
/* Decodes a whole sequential JPEG file into a PPM or PGM file:
   decode_to_ppm IN.jpg OUT.ppm (names in ASCII) */
#include <stdio.h>
#include <stdlib.h>

#include "jpg.h"
#include "jpg/paths.h"

/* A header of a few bytes may claim thousands of millions of pixels. */
enum { MAX_PIXELS = 100000000 };

/* Pixels come blue first; the file wants red first. */
static int writePicture(const char *name, uint8_t *pixels, uint32_t width, uint32_t height,
                        uint32_t channels) {
  const size_t count = (size_t)width * height;
  FILE *file = fopen(name, "wb");
  size_t i;
  int ok;
  if (file == NULL) return 0;
  for (i = 0; channels == 3 && i < count; i++) {
    const uint8_t blue = pixels[3 * i];
    pixels[3 * i] = pixels[3 * i + 2];
    pixels[3 * i + 2] = blue;
  }
  fprintf(file, "P%c\n%lu %lu\n255\n", channels == 3 ? '6' : '5', (unsigned long)width,
          (unsigned long)height);
  ok = fwrite(pixels, channels, count, file) == count;
  return fclose(file) == 0 && ok;
}

static uint32_t decode(JPGHANDLE handle, const char *out) {
  uint32_t width, height, components, channels, r;
  JpgRect rect = {0};
  r = jpgReadGetImageSize(handle, &width, &height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
  if (r != JPG_OK) return r;
  if ((uint64_t)width * height > MAX_PIXELS) return JPG_E_OUT_OF_MEMORY;
  channels = components < 3 ? 1 : 3;
  rect.width = (int32_t)width;
  rect.stride = (int32_t)(width * channels);
  rect.bitsPerPixel = (int32_t)(8 * channels);
  rect.bits = malloc((size_t)width * height * channels + 1);
  if (rect.bits == NULL) return JPG_E_OUT_OF_MEMORY;
  r = jpgReadToRect(handle, &rect, (int32_t)height);
  if (r == JPG_OK && !writePicture(out, rect.bits, width, height, channels)) r = JPG_E_WRITE_FAULT;
  free(rect.bits);
  return r;
}

int main(int argc, char **argv) {
  JpgWChar path[JPG_PATH_UNITS];
  JPGHANDLE handle;
  uint32_t r;
  if (argc != 3 || jpgPathFromUtf8(argv[1], path) != JPG_OK) {
    fprintf(stderr, "usage: decode_to_ppm IN.jpg OUT.ppm\n");
    return 2;
  }
  r = jpgReadPrologFromFile(path, 0, 0, 0, &handle);
  if (r == JPG_OK) {
    r = decode(handle, argv[2]);
    jpgReadEpilog(handle);
  }
  if (r != JPG_OK) fprintf(stderr, "%s: error 0x%08lX\n", argv[1], (unsigned long)r);
  return r == JPG_OK ? 0 : 1;
}
