/* SPDX-License-Identifier: MIT */
/* Orientation, date and place of a photograph: attributes IN.jpg */
#include <stdio.h>

#include "jpg/exif.h"
#include "jpg/paths.h"
#include "jpg/text.h"

int main(int argc, char **argv) {
  static uint8_t tiff[JPG_EXIF_BYTES];
  JPGHANDLE handle = NULL;
  JpgExifEntry date;
  double latitude, longitude;
  uint32_t size = 0, r = JPG_E_INVALID_PARAMETER;
  if (argc == 2) r = jpgReadPrologFromUtf8(argv[1], JPG_READ_LENIENT, &handle);
  if (r == JPG_OK) r = jpgExifLoad(handle, tiff, &size);
  jpgReadEpilog(handle);
  if (r != JPG_OK) return fprintf(stderr, "no attributes: %s\n", jpgTextOf(r)), 1;
  printf("orientation %u\n", (unsigned)jpgExifOrientation(tiff, size));
  if (jpgExifFind(tiff, size, JPG_EXIF_PHOTO, 36867, &date) == JPG_OK)
    printf("date %.*s\n", (int)date.size, (const char *)date.data);
  if (jpgExifPosition(tiff, size, &latitude, &longitude) == JPG_OK)
    printf("place %.5f %.5f\n", latitude, longitude);
  return 0;
}
