/* SPDX-License-Identifier: MIT */
/* The README's example: a whole picture in memory of the program's own:
   load IN.jpg OUT.ppm */
#include "jpg.h"
#include "jpg/paths.h"

#include <stdio.h>
#include <stdlib.h>

#include "support.h"

static uint32_t load(const JpgWChar *path, JpgRect *rect, uint32_t *process) {
  JPGHANDLE h;
  uint32_t width, height, components, precision;
  uint32_t r = jpgReadPrologFromFile(path, 0, 0, 0, &h);
  if (r != JPG_OK) return r;
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &components);
  jpgReadGetCodingProcess(h, process);
  jpgReadGetSamplePrecision(h, &precision);
  rect->channels = components < 3 ? 1 : 3; /* grey, or blue, green, red */
  rect->bitsPerSample = 8;
  if (*process == JPG_PROCESS_LOSSLESS) { /* its components in order, words above 8 bits */
    rect->channels = (int32_t)components;
    rect->bitsPerSample = (int32_t)precision;
  }
  rect->width = (int32_t)width;
  rect->height = (int32_t)height;
  rect->stride = rect->width * rect->channels * (rect->bitsPerSample > 8 ? 2 : 1);
  /* The size is what the header claims, right or wrong. The caller frees it. */
  rect->bits =
      (uint64_t)width * height <= MAX_PIXELS ? malloc((size_t)rect->stride * height + 1) : NULL;
  if (rect->bits == NULL) {
    r = JPG_E_OUT_OF_MEMORY;
  } else if (*process == JPG_PROCESS_PROGRESSIVE) {
    r = jpgReadProgressiveToRect(h, rect, rect->height, JPG_PROGRESSIVE_ALL_SCANS);
  } else if (*process == JPG_PROCESS_LOSSLESS) {
    r = jpgReadSpatialToRect(h, rect, rect->height);
  } else {
    r = jpgReadToRect(h, rect, rect->height);
  }
  jpgReadEpilog(h);
  return r;
}

int main(int argc, char **argv) {
  JpgWChar path[JPG_PATH_UNITS];
  JpgRect rect = {0};
  uint32_t r, process;
  if (argc != 3) {
    fprintf(stderr, "usage: load IN.jpg OUT.ppm\n");
    return 2;
  }
  r = jpgPathFromUtf8(argv[1], path);
  if (r == JPG_OK) r = load(path, &rect, &process);
  if (r == JPG_OK) {
    r = process == JPG_PROCESS_LOSSLESS ? saveSamples(argv[2], &rect) : savePnm(argv[2], &rect);
  }
  free(rect.bits);
  return finish(argv[1], r);
}
