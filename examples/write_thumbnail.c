/* SPDX-License-Identifier: MIT */
/* Writes a JPEG file with a thumbnail in an Exif segment: write_thumbnail IN.ppm SMALL.ppm
   OUT.jpg */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jpg/paths.h"
#include "support.h"

/* "Exif", a TIFF header, an empty 0th directory and a 1st one with the length of a JPEG thumbnail
   at byte 56 of the TIFF structure. Little-endian. */
#define EXIF_BYTES 6
#define TIFF_BYTES 56
static const uint8_t kHead[EXIF_BYTES + TIFF_BYTES] = {
    'E', 'x', 'i', 'f', 0, 0,       /* identifier */
    'I', 'I', '*', 0,   8, 0, 0, 0, /* order, 42, offset of the 0th directory */
    0,   0,   14,  0,   0, 0,       /* no entries; the 1st directory's offset */
    3,   0,                         /* three entries */
    3,   1,   3,   0,   1, 0, 0, 0, 6,          0, 0, 0, /* Compression: JPEG */
    1,   2,   4,   0,   1, 0, 0, 0, TIFF_BYTES, 0, 0, 0, /* JPEGInterchangeFormat */
    2,   2,   4,   0,   1, 0, 0, 0, 0,          0, 0, 0, /* ...Length; filled in */
};

static uint32_t encodeSmall(const JpgRect *rect, void **data, uint32_t *size) {
  JPGHANDLE handle;
  uint32_t r = jpgWritePrologToMemory(0, &handle), closed;
  if (r != JPG_OK) return r;
  r = jpgWriteFromRect(handle, rect, (uint32_t)rect->height);
  closed = jpgWriteEpilogToMemory(handle, data, size); /* also after a failure */
  return r == JPG_OK ? closed : r;
}

/* Writes the segment in pieces: its marker and length first, then its data in two calls. */
static uint32_t writeExif(JPGHANDLE handle, const void *thumbnail, uint32_t size) {
  uint8_t head[sizeof(kHead)];
  uint32_t r = jpgWriteWriteMarkerCode(handle, 0xFFE1, (uint32_t)sizeof(kHead) + size);
  memcpy(head, kHead, sizeof(kHead));
  head[sizeof(kHead) - 8] = (uint8_t)(size & 0xFF);
  head[sizeof(kHead) - 7] = (uint8_t)(size >> 8);
  if (r == JPG_OK) r = jpgWriteWriteMarkerData(handle, head, sizeof(head), NULL);
  if (r == JPG_OK) r = jpgWriteWriteMarkerData(handle, thumbnail, size, NULL);
  return r;
}

static uint32_t writeFile(const char *name, const JpgRect *rect, const void *small, uint32_t size) {
  JPGHANDLE handle;
  uint32_t closed;
  uint32_t r = jpgWritePrologToUtf8(name, 0, &handle);
  if (r != JPG_OK) return r;
  r = writeExif(handle, small, size);
  if (r == JPG_OK) r = jpgWriteFromRect(handle, rect, (uint32_t)rect->height);
  closed = jpgWriteEpilogToFile(handle);
  return r == JPG_OK ? closed : r;
}

int main(int argc, char **argv) {
  JpgRect rect = {0}, small = {0};
  void *data = NULL;
  uint32_t size = 0, r;
  if (argc != 4) {
    fprintf(stderr, "usage: write_thumbnail IN.ppm SMALL.ppm OUT.jpg\n");
    return 2;
  }
  r = loadPnm(argv[1], &rect);
  if (r == JPG_OK) r = loadPnm(argv[2], &small);
  if (r == JPG_OK) r = encodeSmall(&small, &data, &size);
  if (r == JPG_OK) r = writeFile(argv[3], &rect, data, size);
  jpgWriteFreeBitstream(data); /* null is only refused */
  free(rect.bits);
  free(small.bits);
  return finish(argv[3], r);
}
