/* SPDX-License-Identifier: MIT */
/* Decodes what there is of a JPEG file that may be cut off or damaged, and says what is wrong:
   errors IN.jpg OUT.ppm */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "support.h"

/* What to do about a code. Most other codes mean a mistake of the caller. */
static const char *advice(uint32_t r) {
  switch (r) {
    case JPG_OK:
      return "complete";
    case JPG_E_END_OF_IMAGE:
    case JPG_E_BAD_DC_CODE:
    case JPG_E_BAD_AC_CODE:
    case JPG_E_COEF_OVERFLOW:
      return "damaged: the rows above the damage are good";
    case JPG_E_NOT_JPEG:
      return "not a JPEG file";
    case JPG_E_UNSUPPORTED:
      return "a kind of JPEG file that isn't supported";
    case JPG_E_OUT_OF_MEMORY:
      return "too large for the memory left: try a band, or a smaller scale";
    case JPG_E_OPEN_FAILED:
      return "there is no such file, or it may not be read";
    default:
      return "failed";
  }
}

/* A file without an end marker is refused, unless the caller says that it wants it. */
static uint32_t openWhatThereIs(const char *name, JPGHANDLE *handle) {
  const uint32_t r = jpgReadPrologFromUtf8(name, 0, handle);
  return r == JPG_E_NOT_JPEG ? jpgReadPrologFromUtf8(name, JPG_READ_COMPLETE, handle) : r;
}

int main(int argc, char **argv) {
  JPGHANDLE handle;
  JpgRect rect = {0};
  uint32_t r, saved = JPG_OK;
  if (argc != 3) {
    fprintf(stderr, "usage: errors IN.jpg OUT.ppm\n");
    return 2;
  }
  r = openWhatThereIs(argv[1], &handle);
  if (r == JPG_OK) r = makeRectFor(handle, &rect); /* black: missing rows stay so */
  if (r == JPG_OK) r = jpgReadToRect(handle, &rect, rect.height);
  if (rect.bits != NULL) saved = savePnm(argv[2], &rect);
  jpgReadEpilog(handle); /* always close the handle */
  free(rect.bits);
  printf("%s: %s (0x%08lX)\n", argv[1], advice(r), (unsigned long)r);
  return finish(argv[2], saved);
}
