/* SPDX-License-Identifier: MIT */
/* 16 bits without loss, from a PGM file: deep IN.pgm OUT.jpg */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "jpg/text.h"

int main(int argc, char **argv) {
  JPGHANDLE handle = NULL;
  FILE *in = argc == 3 ? fopen(argv[1], "rb") : NULL;
  unsigned w = 0, h = 0;
  uint32_t i, r = JPG_E_INVALID_PARAMETER;
  if (in == NULL || fscanf(in, "P5 %5u %5u 65535", &w, &h) != 2) return 64;
  uint16_t *samples = calloc((size_t)w * h + 1, 2);
  const uint8_t *bytes = (const uint8_t *)samples; /* the file's high bytes come first */
  JpgRect rect = {(int32_t)w, (int32_t)h, 2 * (int32_t)w, 16, 1, 16, samples, 0, 0};
  if (fgetc(in) != EOF && samples && fread(samples, 2 * (size_t)w, h, in) == h) r = JPG_OK;
  for (i = 0; r == JPG_OK && i < w * h; i++)
    samples[i] = (uint16_t)(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  if (r == JPG_OK) r = jpgWritePrologToUtf8(argv[2], JPG_WRITE_OPTIMIZE, &handle);
  if (r == JPG_OK) r = jpgWriteSpatialFromRect(handle, &rect, h);
  if (jpgWriteEpilogToFile(handle) != JPG_OK && r == JPG_OK) r = JPG_E_WRITE_FAULT;
  if (r != JPG_OK) fprintf(stderr, "%s\n", jpgTextOf(r));
  return free(samples), fclose(in), r == JPG_OK ? 0 : 1;
}
