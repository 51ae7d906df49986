/* SPDX-License-Identifier: MIT */
/* A preview at an eighth of the size, as a JPEG file: preview IN.jpg OUT.jpg */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/paths.h"
#include "jpg/text.h"

int main(int argc, char **argv) {
  JpgRect rect = {0};
  JPGHANDLE in = NULL, out = NULL;
  uint32_t width = 0, height = 0, channels = 0, r = JPG_E_INVALID_PARAMETER;
  if (argc == 3) r = jpgReadPrologFromUtf8(argv[1], JPG_READ_LENIENT, &in);
  if (r == JPG_OK) r = jpgReadGetNumberOfChannels(in, &channels);
  if (r == JPG_OK) r = jpgReadScaleOutputGetImageSize(in, &width, &height, JPG_SCALE_EIGHTH);
  rect.bitsPerSample = 8, rect.channels = channels < 3 ? 1 : 3;
  rect.stride = (rect.width = (int32_t)width) * rect.channels, rect.height = (int32_t)height;
  rect.bits = calloc((size_t)height + 1, (size_t)rect.stride + 1);
  if (r == JPG_OK && rect.bits == NULL) r = JPG_E_OUT_OF_MEMORY;
  if (r == JPG_OK) r = jpgReadScaleOutputToRect(in, &rect, rect.height, JPG_SCALE_EIGHTH);
  if (r == JPG_OK) r = jpgWritePrologToUtf8(argv[2], JPG_WRITE_AVERAGE, &out);
  if (r == JPG_OK) r = jpgWriteFromRect(out, &rect, height);
  if (jpgWriteEpilogToFile(out) != JPG_OK && r == JPG_OK) r = JPG_E_WRITE_FAULT;
  if (r != JPG_OK) fprintf(stderr, "%s\n", jpgTextOf(r));
  return jpgReadEpilog(in), free(rect.bits), r == JPG_OK ? 0 : 1;
}
