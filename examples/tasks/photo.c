/* SPDX-License-Identifier: MIT */
/* A photograph of a sequential file in colour as a PPM file: photo IN.jpg OUT.ppm */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "jpg/text.h"

int main(int argc, char **argv) {
  JpgWChar path[JPG_PATH_UNITS];
  JpgRect rect = {0};
  JPGHANDLE h = NULL;
  FILE *out = argc == 3 ? fopen(argv[2], "wb") : NULL;
  uint32_t width = 0, height = 0, i, r = out ? jpgPathFromUtf8(argv[1], path) : JPG_E_OPEN_FAILED;
  if (r == JPG_OK) r = jpgReadPrologFromFile(path, 0, 0, 0, &h);
  if (r == JPG_OK) r = jpgReadGetImageSize(h, &width, &height);
  rect.stride = 3 * (rect.width = (int32_t)width);
  uint8_t *p = rect.bits = calloc((size_t)width * height + 1, 3); /* blue, green, red */
  if (r == JPG_OK && p == NULL) r = JPG_E_OUT_OF_MEMORY;
  if (r == JPG_OK) r = jpgReadToRect(h, &rect, (int32_t)height);
  if (r == JPG_OK) fprintf(out, "P6\n%u %u\n255\n", (unsigned)width, (unsigned)height);
  for (i = 0; r == JPG_OK && i < width * height; i++, p += 3)
    fprintf(out, "%c%c%c", p[2], p[1], p[0]);
  if (r != JPG_OK) fprintf(stderr, "%s\n", jpgTextOf(r));
  return free(rect.bits), jpgReadEpilog(h), out != NULL && fclose(out) == 0 && r == JPG_OK ? 0 : 1;
}
