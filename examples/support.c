/* SPDX-License-Identifier: MIT */
#include "support.h"

#include "jpg/text.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

uint32_t makeRect(uint32_t width, uint32_t height, uint32_t channels, JpgRect *rect) {
  memset(rect, 0, sizeof(*rect));
  if ((uint64_t)width * height > MAX_PIXELS) return JPG_E_OUT_OF_MEMORY;
  rect->width = (int32_t)width;
  rect->height = (int32_t)height;
  rect->stride = (int32_t)(width * channels);
  rect->bitsPerPixel = (int32_t)(8 * channels);
  rect->channels = (int32_t)channels;
  rect->bitsPerSample = 8;
  rect->bits = calloc((size_t)width * height + 1, channels);
  return rect->bits != NULL ? JPG_OK : JPG_E_OUT_OF_MEMORY;
}

uint32_t makeRectFor(JPGHANDLE handle, JpgRect *rect) {
  uint32_t width, height, components;
  uint32_t r = jpgReadGetImageSize(handle, &width, &height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
  return r == JPG_OK ? makeRect(width, height, components < 3 ? 1 : 3, rect) : r;
}

/* Blue first to red first and back. */
static void swapPixels(uint8_t *pixels, size_t count) {
  size_t i;
  for (i = 0; i < count; i++, pixels += 3) {
    const uint8_t first = pixels[0];
    pixels[0] = pixels[2];
    pixels[2] = first;
  }
}

uint32_t loadPnm(const char *name, JpgRect *rect) {
  FILE *file = fopen(name, "rb");
  unsigned long width, height;
  char kind = 0;
  uint32_t r = JPG_E_NOT_FOUND;
  size_t count;
  memset(rect, 0, sizeof(*rect));
  if (file == NULL) return JPG_E_OPEN_FAILED;
  if (fscanf(file, "P%c %5lu %5lu 255", &kind, &width, &height) == 3 && fgetc(file) != EOF &&
      (kind == '5' || kind == '6')) {
    r = makeRect((uint32_t)width, (uint32_t)height, kind == '6' ? 3 : 1, rect);
  }
  if (r == JPG_OK) {
    count = (size_t)width * height;
    if (fread(rect->bits, (size_t)rect->channels, count, file) != count) r = JPG_E_NOT_FOUND;
    if (rect->channels == 3) swapPixels(rect->bits, count);
  }
  fclose(file);
  return r;
}

/* Samples of a lossless picture: red first, words with the high byte first. */
static int writeSamples(FILE *file, const JpgRect *rect) {
  const uint8_t *bytes = (const uint8_t *)rect->bits;
  const size_t count = (size_t)rect->width * (size_t)rect->height * (size_t)rect->channels;
  const int wide = rect->bitsPerSample > 8;
  size_t i;
  for (i = 0; i < count; i++) {
    uint16_t word = bytes[i];
    if (wide) memcpy(&word, bytes + 2 * i, sizeof(word));
    if (wide && fputc(word >> 8, file) == EOF) return 0;
    if (fputc(word & 0xFF, file) == EOF) return 0;
  }
  return 1;
}

uint32_t saveSamples(const char *name, const JpgRect *rect) {
  FILE *file = fopen(name, "wb");
  int ok;
  if (file == NULL) return JPG_E_OPEN_FAILED;
  fprintf(file, "P%c\n%ld %ld\n%ld\n", rect->channels == 3 ? '6' : '5', (long)rect->width,
          (long)rect->height, (1L << rect->bitsPerSample) - 1);
  ok = writeSamples(file, rect);
  return fclose(file) == 0 && ok ? JPG_OK : JPG_E_WRITE_FAULT;
}

uint32_t savePnm(const char *name, const JpgRect *rect) {
  const size_t width = (size_t)rect->width;
  FILE *file = fopen(name, "wb");
  int32_t y;
  int ok = 1;
  if (file == NULL) return JPG_E_OPEN_FAILED;
  fprintf(file, "P%c\n%ld %ld\n255\n", rect->channels == 3 ? '6' : '5', (long)rect->width,
          (long)rect->height);
  for (y = 0; y < rect->height && ok; y++) {
    uint8_t *row = (uint8_t *)rect->bits + (ptrdiff_t)rect->stride * y;
    if (rect->channels == 3) swapPixels(row, width);
    ok = fwrite(row, (size_t)rect->channels, width, file) == width;
    if (rect->channels == 3) swapPixels(row, width);
  }
  return fclose(file) == 0 && ok ? JPG_OK : JPG_E_WRITE_FAULT;
}

int finish(const char *name, uint32_t result) {
  if (result != JPG_OK) {
    fprintf(stderr, "%s: %s (0x%08lX)\n", name, jpgTextOf(result), (unsigned long)result);
  }
  return result == JPG_OK ? 0 : 1;
}
