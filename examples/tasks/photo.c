/* SPDX-License-Identifier: MIT */
/* A photograph as a PPM file, by the library's best decoder: photo IN.jpg OUT.ppm */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "jpg/text.h"

int main(int argc, char **argv) {
  const uint32_t best = JPG_READ_LENIENT | JPG_READ_ACCURATE | JPG_READ_SMOOTH;
  JPGHANDLE h = NULL;
  uint32_t w = 0, height = 0, n = 0, i, r = JPG_E_INVALID_PARAMETER;
  if (argc == 3) r = jpgReadPrologFromUtf8(argv[1], best, &h);
  if (r == JPG_OK) r = jpgReadGetImageSize(h, &w, &height);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(h, &n);
  n = n < 3 ? 1 : 3; /* bytes a pixel: grey, or blue, green, red */
  uint8_t *p = calloc((size_t)w * height + 1, n);
  JpgRect rect = {(int32_t)w, 0, (int32_t)(n * w), (int32_t)(8 * n), 0, 8, p, 0, 0};
  if (r == JPG_OK) r = p != NULL ? jpgReadToRect(h, &rect, (int32_t)height) : JPG_E_OUT_OF_MEMORY;
  FILE *out = r == JPG_OK ? fopen(argv[2], "wb") : NULL;
  if (out != NULL) fprintf(out, "P6\n%u %u\n255\n", (unsigned)w, (unsigned)height);
  for (i = 0; out != NULL && i < w * height; i++)
    fprintf(out, "%c%c%c", p[n * i + n - 1], p[n * i + n / 2], p[n * i]);
  if (r != JPG_OK) fprintf(stderr, "%s\n", jpgTextOf(r));
  return free(p), jpgReadEpilog(h), out != NULL && fclose(out) == 0 ? 0 : 1;
}
