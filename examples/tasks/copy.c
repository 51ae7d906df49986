/* SPDX-License-Identifier: MIT */
/* A copy of quality 85 at 4:2:0 with the Exif segment: copy IN.jpg OUT.jpg */
#include <stdio.h>
#include <stdlib.h>

#include "jpg/exif.h"
#include "jpg/paths.h"

int main(int argc, char **argv) {
  static uint8_t exif[6 + JPG_EXIF_BYTES] = "Exif\0";
  JPGHANDLE in, out;
  uint32_t w, h, n, r, size = 0;
  if (argc != 3 || jpgReadPrologFromUtf8(argv[1], JPG_READ_LENIENT, &in) != JPG_OK) return 1;
  if (jpgReadGetImageSize(in, &w, &h) || jpgReadGetNumberOfChannels(in, &n)) return 1;
  void *bits = calloc((size_t)w * h + 1, n = n < 3 ? 1 : 3); /* n bytes a pixel */
  JpgRect rect = {(int32_t)w, (int32_t)h, (int32_t)(n * w), 0, (int32_t)n, 8, bits, 0, 0};
  jpgExifLoad(in, exif + 6, &size); /* 0 without attributes */
  if (bits == NULL || jpgReadToRect(in, &rect, rect.height) != JPG_OK) return 1;
  if (jpgWritePrologToUtf8(argv[2], JPG_WRITE_AVERAGE | JPG_WRITE_OPTIMIZE, &out)) return 1;
  r = jpgWriteSetQuantizationFactor(out, 85);
  if (!r) r = jpgWriteSetSubsamplingFactor(out, 0x00221111);
  if (!r && size != 0) r = jpgWriteWriteMarkerSegment(out, 0xFFE1, exif, 6 + size);
  if (!r) r = jpgWriteFromRect(out, &rect, h);
  if (jpgWriteEpilogToFile(out) != JPG_OK) r = JPG_E_WRITE_FAULT;
  return jpgReadEpilog(in), free(bits), r == JPG_OK ? 0 : 1;
}
