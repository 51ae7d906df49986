/* SPDX-License-Identifier: MIT */
/* Encodes a grey picture and decodes it again: reaches into most of the library. */
#include <jpg.h>
#include <stddef.h>
#include <string.h>

enum { kSide = 16, kGrey = 200 };

static uint32_t encode(uint8_t *pixels, void **data, uint32_t *size) {
  JPGHANDLE h;
  JpgRect rect = {kSide, kSide, kSide, 8, 1, 8, pixels, kSide * kSide, 0};
  uint32_t r = jpgWritePrologToMemory(0, &h);
  if (r == JPG_OK) r = jpgWriteFromRect(h, &rect, kSide);
  if (r == JPG_OK) r = jpgWriteEpilogToMemory(h, data, size);
  return r;
}

static uint32_t decode(const void *data, uint32_t size, uint8_t *pixels) {
  JPGHANDLE h;
  JpgRect rect = {kSide, kSide, kSide, 8, 1, 8, pixels, kSide * kSide, 0};
  uint32_t r = jpgReadPrologFromMemory(data, (int32_t)size, 0, &h);
  if (r == JPG_OK) r = jpgReadToRect(h, &rect, kSide);
  if (r == JPG_OK) r = jpgReadEpilog(h);
  return r;
}

int main(void) {
  uint8_t pixels[kSide * kSide];
  void *data = NULL;
  uint32_t size = 0;
  int i;
  memset(pixels, kGrey, sizeof(pixels));
  if (encode(pixels, &data, &size) != JPG_OK) return 1;
  memset(pixels, 0, sizeof(pixels));
  if (decode(data, size, pixels) != JPG_OK) return 2;
  for (i = 0; i < kSide * kSide; i++) {
    if (pixels[i] < kGrey - 2 || pixels[i] > kGrey + 2) return 3;
  }
  return jpgWriteFreeBitstream(data) == JPG_OK ? 0 : 4;
}
