/* SPDX-License-Identifier: MIT */
/* Lists the marker segments of a JPEG file and its comments: segments IN.jpg */
#include <stdio.h>

#include "jpg/paths.h"
#include "support.h"

#define MARKER_COM 0xFFFE
#define MARKER_SOS 0xFFDA

static void printText(JPGHANDLE handle) {
  char text[64];
  uint32_t count;
  while (jpgReadReadMarkerData(handle, text, sizeof(text), &count) == JPG_OK) {
    printf("%.*s", (int)count, text);
  }
}

/* Data of a segment that aren't read are skipped on the way to the next one. Coded data follow
   SOS. */
static uint32_t list(JPGHANDLE handle) {
  uint16_t marker;
  uint32_t length;
  uint32_t r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_FIRST, &marker, &length);
  while (r == JPG_OK && marker != 0) {
    printf("%04X %5lu ", (unsigned)marker, (unsigned long)length);
    if (marker == MARKER_COM) printText(handle);
    printf("\n");
    if (marker == MARKER_SOS) break;
    r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_NEXT, &marker, &length);
  }
  return r;
}

int main(int argc, char **argv) {
  JPGHANDLE handle;
  uint32_t r;
  if (argc != 2) {
    fprintf(stderr, "usage: segments IN.jpg\n");
    return 2;
  }
  r = jpgReadPrologFromUtf8(argv[1], 0, &handle);
  if (r == JPG_OK) r = list(handle);
  jpgReadEpilog(handle);
  return finish(argv[1], r);
}
