/* SPDX-License-Identifier: MIT */
/* Decodes whatever there is of a JPEG file, of any kind, and says where it is damaged:
   lenient IN.jpg OUT.ppm */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

static void whereDamaged(JPGHANDLE handle) {
  uint16_t what;
  uint32_t offset;
  if (jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_DAMAGE, &what, &offset) == JPG_OK) {
    printf("damaged at byte %lu (%04X)\n", (unsigned long)offset, (unsigned)what);
  }
}

int main(int argc, char **argv) {
  const uint32_t options = JPG_READ_LENIENT | JPG_READ_ACCURATE | JPG_READ_SMOOTH;
  JPGHANDLE handle;
  JpgRect rect = {0};
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: lenient IN.jpg OUT.ppm\n");
    return 2;
  }
  r = jpgReadPrologFromUtf8(argv[1], options, &handle);
  if (r == JPG_OK) r = makeRectFor(handle, &rect);
  if (r == JPG_OK) r = jpgReadToRect(handle, &rect, rect.height);
  if (r == JPG_E_DAMAGED) {
    whereDamaged(handle);
    r = JPG_OK; /* all rows are there */
  }
  if (r == JPG_OK) r = savePnm(argv[2], &rect);
  jpgReadEpilog(handle);
  free(rect.bits);
  return finish(argv[2], r);
}
