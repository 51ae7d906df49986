/* SPDX-License-Identifier: MIT */
/* Decodes a sequential JPEG file of any size band by band, in the memory of one band, into a
   PPM or PGM file: decode_bands IN.jpg OUT.ppm (names in ASCII) */
#include <stdio.h>
#include <stdlib.h>

#include "jpg.h"
#include "jpg/paths.h"

/* Rows of a call. A call decodes whole rows of MCUs, which are 8 or 16 pixels high, and drops
   the rows that it wasn't asked for: only the last band may be other than a multiple of 16. */
#define BAND_ROWS 16

typedef struct Band {
  JpgRect rect;
  uint32_t width, height, channels; /* of the picture */
  uint8_t *row;                     /* one row with red first */
} Band;

/* Learns the picture's size and makes room for a band. */
static uint32_t prepare(JPGHANDLE handle, Band *band) {
  uint32_t components;
  uint32_t r = jpgReadGetImageSize(handle, &band->width, &band->height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
  if (r != JPG_OK) return r;
  band->channels = components < 3 ? 1 : 3;
  band->rect.width = (int32_t)band->width;
  band->rect.stride = (int32_t)(band->width * band->channels);
  band->rect.bitsPerPixel = (int32_t)(8 * band->channels);
  band->rect.bits = malloc((size_t)band->rect.stride * BAND_ROWS + 1);
  band->row = malloc((size_t)band->rect.stride + 1);
  return band->rect.bits != NULL && band->row != NULL ? JPG_OK : JPG_E_OUT_OF_MEMORY;
}

/* Pixels come blue first; the file wants red first. */
static int writeRow(FILE *file, const Band *band, uint32_t y) {
  const size_t count = (size_t)band->width * band->channels;
  const uint8_t *pixels = (const uint8_t *)band->rect.bits + count * y;
  size_t i;
  if (band->channels == 1) return fwrite(pixels, 1, count, file) == count;
  for (i = 0; i < count; i += 3) {
    band->row[i] = pixels[i + 2];
    band->row[i + 1] = pixels[i + 1];
    band->row[i + 2] = pixels[i];
  }
  return fwrite(band->row, 1, count, file) == count;
}

static void writeHead(FILE *file, const Band *band) {
  fprintf(file, "P%c\n%lu %lu\n255\n", band->channels == 3 ? '6' : '5', (unsigned long)band->width,
          (unsigned long)band->height);
}

static uint32_t decodeBands(JPGHANDLE handle, Band *band, FILE *file) {
  uint32_t y, rows, i;
  for (y = 0; y < band->height; y += rows) {
    uint32_t r;
    rows = band->height - y < BAND_ROWS ? band->height - y : BAND_ROWS;
    r = jpgReadToRect(handle, &band->rect, (int32_t)rows);
    if (r != JPG_OK) return r;
    for (i = 0; i < rows; i++) {
      if (!writeRow(file, band, i)) return JPG_E_WRITE_FAULT;
    }
  }
  return JPG_OK;
}

static uint32_t decode(JPGHANDLE handle, const char *out) {
  Band band = {0};
  FILE *file = NULL;
  uint32_t r = prepare(handle, &band);
  if (r == JPG_OK && (file = fopen(out, "wb")) == NULL) r = JPG_E_OPEN_FAILED;
  if (r == JPG_OK) writeHead(file, &band);
  if (r == JPG_OK) r = decodeBands(handle, &band, file);
  if (file != NULL && fclose(file) != 0 && r == JPG_OK) r = JPG_E_WRITE_FAULT;
  if (file != NULL && r != JPG_OK) remove(out);
  free(band.rect.bits);
  free(band.row);
  return r;
}

int main(int argc, char **argv) {
  JpgWChar path[JPG_PATH_UNITS];
  JPGHANDLE handle;
  uint32_t r;
  if (argc != 3 || jpgPathFromUtf8(argv[1], path) != JPG_OK) {
    fprintf(stderr, "usage: decode_bands IN.jpg OUT.ppm\n");
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
