/* SPDX-License-Identifier: MIT */
/* Decodes 16 rows from the middle of a JPEG file without decoding those above, by its restart
   intervals, each of which must be one row of MCUs 16 pixels high:
   restart_rows IN.jpg INTERVAL OUT.ppm */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

#define MCU_ROWS 16

/* Room for a row of MCUs, or for the rows of a picture that has fewer. */
static uint32_t makeRows(JPGHANDLE handle, JpgRect *rect) {
  uint32_t width, height, components;
  uint32_t r = jpgReadGetImageSize(handle, &width, &height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(handle, &components);
  if (r != JPG_OK) return r;
  if (height == 0 || height > MCU_ROWS) height = MCU_ROWS; /* 0: the height follows the rows */
  return makeRect(width, height, components < 3 ? 1 : 3, rect);
}

/* After a seek the library doesn't limit the rows, so the caller asks only for those that it has
   room for. */
static uint32_t decodeFrom(JPGHANDLE handle, int32_t interval, const JpgRect *rect) {
  uint32_t r = jpgReadSeekRestartMarker(handle, interval, JPG_RESTART_FROM_START);
  if (r == JPG_OK) r = jpgReadToRect(handle, rect, rect->height);
  return r;
}

int main(int argc, char **argv) {
  JPGHANDLE handle;
  JpgRect rect = {0};
  uint32_t r;
  if (argc != 4) {
    fprintf(stderr, "usage: restart_rows IN.jpg INTERVAL OUT.ppm\n");
    return 2;
  }
  r = jpgReadPrologFromUtf8(argv[1], 0, &handle);
  if (r == JPG_OK) r = makeRows(handle, &rect);
  if (r == JPG_OK) r = decodeFrom(handle, (int32_t)strtol(argv[2], NULL, 10), &rect);
  if (r == JPG_OK) r = savePnm(argv[3], &rect);
  jpgReadEpilog(handle);
  free(rect.bits);
  return finish(argv[1], r);
}
