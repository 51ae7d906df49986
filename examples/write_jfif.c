/* SPDX-License-Identifier: MIT */
/* Writes a baseline JPEG file with a JFIF segment: write_jfif IN.ppm OUT.jpg */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

/* The segment of ITU-T T.871 10.1. */
static uint32_t writeJfif(JPGHANDLE handle) {
  /* Version 1.2; 300 by 300 dots an inch, high bytes first; no thumbnail, by the last zeros. */
  static const uint8_t data[] = "JFIF\0\1\2\1\1\x2C\1\x2C\0";
  return jpgWriteWriteMarkerSegment(handle, 0xFFE0, data, sizeof(data));
}

/* The segment goes ahead of the headers, which the first lines bring. 4:2:0 sampling. */
static uint32_t encode(JPGHANDLE handle, const JpgRect *rect) {
  uint32_t r = writeJfif(handle);
  if (r == JPG_OK) r = jpgWriteSetQuantizationFactor(handle, 85);
  if (r == JPG_OK) r = jpgWriteSetSubsamplingFactor(handle, 0x00221111);
  if (r == JPG_OK) r = jpgWriteFromRect(handle, rect, (uint32_t)rect->height);
  return r;
}

/* A full disk may show only when the file is completed. */
static uint32_t writeFile(const char *name, const JpgRect *rect) {
  JPGHANDLE handle;
  uint32_t closed;
  uint32_t r = jpgWritePrologToUtf8(name, 0, &handle);
  if (r != JPG_OK) return r;
  r = encode(handle, rect);
  closed = jpgWriteEpilogToFile(handle);
  if (r == JPG_OK) r = closed;
  if (r != JPG_OK) remove(name);
  return r;
}

int main(int argc, char **argv) {
  JpgRect rect = {0};
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: write_jfif IN.ppm OUT.jpg\n");
    return 2;
  }
  r = loadPnm(argv[1], &rect);
  if (r == JPG_OK) r = writeFile(argv[2], &rect);
  free(rect.bits);
  return finish(argv[2], r);
}
