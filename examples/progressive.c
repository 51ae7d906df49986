/* SPDX-License-Identifier: MIT */
/* Decodes a progressive JPEG file scan by scan, into a file for each state of the picture:
   progressive IN.jpg OUT (writes OUT1.ppm, OUT2.ppm, ...) */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

static uint32_t show(const char *prefix, int scan, const JpgRect *rect) {
  char name[256];
  if (snprintf(name, sizeof(name), "%s%d.ppm", prefix, scan) >= (int)sizeof(name)) {
    return JPG_E_OPEN_FAILED;
  }
  return savePnm(name, rect);
}

/* Each call decodes one more scan and then the whole picture; JPG_NO_DATA says that there are
   no more, so that the picture shown last is the final one. */
static uint32_t grow(JPGHANDLE handle, const JpgRect *rect, const char *prefix) {
  const int32_t rows = rect->height;
  int scan;
  for (scan = 1;; scan++) {
    uint32_t r = jpgReadProgressiveToRect(handle, rect, rows, JPG_PROGRESSIVE_NEXT_SCAN);
    if (r == JPG_NO_DATA) return JPG_OK;
    if (r == JPG_OK) r = show(prefix, scan, rect);
    if (r != JPG_OK) return r;
  }
}

int main(int argc, char **argv) {
  JPGHANDLE handle;
  JpgRect rect = {0};
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: progressive IN.jpg OUT\n");
    return 2;
  }
  r = jpgReadPrologFromUtf8(argv[1], 0, &handle);
  if (r == JPG_OK) r = makeRectFor(handle, &rect);
  if (r == JPG_OK) r = grow(handle, &rect, argv[2]);
  jpgReadEpilog(handle);
  free(rect.bits);
  return finish(argv[1], r);
}
