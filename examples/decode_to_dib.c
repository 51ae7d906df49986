/* SPDX-License-Identifier: MIT */
/* Decodes a sequential JPEG file into a bitmap of 24 bits and writes the bitmap's rows, lowest
   first, as they lie in memory: decode_to_dib IN.jpg OUT.dib */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

/* First without bits: the library describes the bitmap. Then with room for its rows. */
static uint32_t decode(JPGHANDLE handle, BITMAPINFO *info, void **bits, size_t *size) {
  uint32_t r = jpgReadToWinDIBits(handle, 1, NULL, info);
  const BITMAPINFOHEADER *header = &info->bmiHeader;
  if (r != JPG_OK) return r;
  if ((uint64_t)header->biWidth * (uint64_t)header->biHeight > MAX_PIXELS)
    return JPG_E_OUT_OF_MEMORY;
  *size = ((size_t)header->biWidth * 3 + 3) / 4 * 4 * (size_t)header->biHeight;
  *bits = malloc(*size);
  if (*bits == NULL) return JPG_E_OUT_OF_MEMORY;
  return jpgReadToWinDIBits(handle, header->biHeight, *bits, info);
}

static uint32_t save(const char *name, const void *bits, size_t size) {
  FILE *file = fopen(name, "wb");
  size_t done;
  if (file == NULL) return JPG_E_OPEN_FAILED;
  done = fwrite(bits, 1, size, file);
  return fclose(file) == 0 && done == size ? JPG_OK : JPG_E_WRITE_FAULT;
}

int main(int argc, char **argv) {
  JPGHANDLE handle;
  BITMAPINFO info = {{sizeof(BITMAPINFOHEADER), 0, 0, 1, 24, BI_RGB, 0, 0, 0, 0, 0},
                     {{0, 0, 0, 0}}};
  void *bits = NULL;
  size_t size = 0;
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: decode_to_dib IN.jpg OUT.dib\n");
    return 2;
  }
  r = jpgReadPrologFromUtf8(argv[1], 0, &handle);
  if (r == JPG_OK) r = decode(handle, &info, &bits, &size);
  if (r == JPG_OK) r = save(argv[2], bits, size);
  jpgReadEpilog(handle);
  free(bits);
  return finish(argv[1], r);
}
