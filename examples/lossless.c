/* SPDX-License-Identifier: MIT */
/* Writes raw 16-bit samples of one channel as a lossless JPEG file and reads them back:
   lossless IN.raw WIDTH HEIGHT BITS OUT.jpg BACK.raw (samples in the machine's order) */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

/* Predictor 4 is left + above - above left. */
static uint32_t writeFile(const char *name, const JpgRect *rect) {
  JPGHANDLE handle;
  uint32_t closed;
  uint32_t r = jpgWritePrologToUtf8(name, 0, &handle);
  if (r != JPG_OK) return r;
  r = jpgWriteSetSpatialPredictor(handle, 4);
  if (r == JPG_OK) r = jpgWriteSpatialFromRect(handle, rect, (uint32_t)rect->height);
  closed = jpgWriteEpilogToFile(handle);
  return r == JPG_OK ? closed : r;
}

/* What the library stores follows from the file: rows as wide as the image, of all its channels,
   bytes up to 8 bits of precision, 16-bit words above. It doesn't compare that with the rectangle,
   so the caller does. */
static int fits(JPGHANDLE handle, const JpgRect *rect) {
  uint32_t width = 0, height = 0, channels = 0, bits = 0;
  jpgReadGetImageSize(handle, &width, &height);
  jpgReadGetNumberOfChannels(handle, &channels);
  jpgReadGetSamplePrecision(handle, &bits);
  return width == (uint32_t)rect->width && height == (uint32_t)rect->height &&
         channels == (uint32_t)rect->channels && bits == (uint32_t)rect->bitsPerSample;
}

static uint32_t readFile(const char *name, const JpgRect *rect) {
  JPGHANDLE handle;
  uint32_t r = jpgReadPrologFromUtf8(name, 0, &handle);
  if (r != JPG_OK) return r;
  r = JPG_E_INVALID_PARAMETER;
  if (fits(handle, rect)) r = jpgReadSpatialToRect(handle, rect, rect->height);
  jpgReadEpilog(handle);
  return r;
}

static uint32_t transferRaw(const char *name, const char *mode, const JpgRect *rect) {
  const size_t count = (size_t)rect->stride * (size_t)rect->height;
  FILE *file = fopen(name, mode);
  size_t done;
  if (file == NULL) return JPG_E_OPEN_FAILED;
  done = *mode == 'r' ? fread(rect->bits, 1, count, file) : fwrite(rect->bits, 1, count, file);
  return fclose(file) == 0 && done == count ? JPG_OK : JPG_E_WRITE_FAULT;
}

static uint32_t run(char **argv) {
  JpgRect rect = {0};
  uint32_t r;
  rect.width = (int32_t)strtol(argv[2], NULL, 10);
  rect.height = (int32_t)strtol(argv[3], NULL, 10);
  rect.bitsPerSample = (int32_t)strtol(argv[4], NULL, 10);
  if (rect.width < 1 || rect.width > 65535 || rect.height < 1 || rect.height > 65535 ||
      rect.bitsPerSample < 9) {
    return JPG_E_INVALID_PARAMETER;
  }
  if ((uint64_t)rect.width * (uint64_t)rect.height > MAX_PIXELS) return JPG_E_OUT_OF_MEMORY;
  rect.channels = 1;
  rect.stride = 2 * rect.width;
  rect.bits = malloc((size_t)rect.stride * (size_t)rect.height);
  r = rect.bits != NULL ? transferRaw(argv[1], "rb", &rect) : JPG_E_OUT_OF_MEMORY;
  if (r == JPG_OK) r = writeFile(argv[5], &rect);
  if (r == JPG_OK) r = readFile(argv[5], &rect);
  if (r == JPG_OK) r = transferRaw(argv[6], "wb", &rect);
  free(rect.bits);
  return r;
}

int main(int argc, char **argv) {
  if (argc != 7) {
    fprintf(stderr, "usage: lossless IN.raw WIDTH HEIGHT BITS OUT.jpg BACK.raw\n");
    return 2;
  }
  return finish(argv[1], run(argv));
}
