/* SPDX-License-Identifier: MIT */
/* Decodes the thumbnail of a JPEG file's Exif segment: thumbnail IN.jpg OUT.ppm */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

/* A bitmap's header with room for any colour table. */
typedef union Dib {
  BITMAPINFO info;
  uint8_t bytes[sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD)];
} Dib;

/* The rows of a bitmap are padded to 4 bytes and the lowest comes first: a rectangle that
   begins with the top row and goes up in memory describes them. */
static uint32_t decode(JPGEXIFHANDLE exif, void **bits, JpgRect *rect) {
  Dib dib = {{{sizeof(BITMAPINFOHEADER), 0, 0, 1, 24, BI_RGB, 0, 0, 0, 0, 0}, {{0, 0, 0, 0}}}};
  uint32_t r = jpgExifReadThumbnailToWinDIBits(exif, NULL, &dib.info);
  if (r != JPG_OK) return r;
  if (dib.info.bmiHeader.biWidth < 1 || dib.info.bmiHeader.biHeight < 1) return JPG_E_UNSUPPORTED;
  rect->width = dib.info.bmiHeader.biWidth;
  rect->height = dib.info.bmiHeader.biHeight;
  if ((uint64_t)rect->width * (uint64_t)rect->height > MAX_PIXELS) return JPG_E_OUT_OF_MEMORY;
  rect->channels = 3;
  rect->stride = -((3 * rect->width + 3) / 4 * 4);
  *bits = malloc((size_t)-rect->stride * (size_t)rect->height);
  if (*bits == NULL) return JPG_E_OUT_OF_MEMORY;
  rect->bits = (uint8_t *)*bits - (ptrdiff_t)rect->stride * (rect->height - 1);
  return jpgExifReadThumbnailToWinDIBits(exif, *bits, &dib.info);
}

/* The attributes are a copy: the file is closed ahead of them. */
static uint32_t openThumbnail(const char *name, JPGEXIFHANDLE *exif) {
  JPGHANDLE handle;
  uint32_t r = jpgReadPrologFromUtf8(name, 0, &handle);
  if (r != JPG_OK) return r;
  r = jpgReadExifReadAttributeProlog(handle, exif);
  jpgReadEpilog(handle);
  return r;
}

int main(int argc, char **argv) {
  JPGEXIFHANDLE exif = NULL;
  JpgRect rect = {0};
  void *bits = NULL;
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: thumbnail IN.jpg OUT.ppm\n");
    return 2;
  }
  r = openThumbnail(argv[1], &exif);
  if (r == JPG_OK) r = decode(exif, &bits, &rect);
  jpgReadExifReadAttributeEpilog(exif);
  if (r == JPG_OK) r = savePnm(argv[2], &rect);
  free(bits);
  return finish(argv[1], r);
}
