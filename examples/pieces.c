/* SPDX-License-Identifier: MIT */
/* Sends a picture in pieces and decodes it as they come, in little memory on both sides:
   pieces IN.ppm OUT.ppm */
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include "support.h"

#define BAND_ROWS 64 /* a multiple of 16 */

typedef struct Receiver {
  JPGHANDLE handle;
  void *first, *current; /* the first piece has the headers and lives as long as the handle */
  JpgRect rect;
  int32_t row;
} Receiver;

static JpgRect below(const JpgRect *rect, int32_t row) {
  JpgRect rest = *rect;
  rest.bits = (uint8_t *)rect->bits + (ptrdiff_t)rect->stride * row;
  rest.height -= row;
  return rest;
}

/* Takes a piece over and decodes the rows in it. */
static uint32_t receive(Receiver *to, void *piece, uint32_t size, int32_t rows) {
  JpgRect band;
  uint32_t r;
  if (to->handle == NULL) {
    to->first = piece;
    r = jpgReadPrologFromMemory(piece, (int32_t)size, JPG_READ_PARTIAL_BITSTREAM, &to->handle);
    if (r == JPG_OK) r = makeRectFor(to->handle, &to->rect);
  } else {
    jpgWriteFreeBitstream(to->current); /* all of it was decoded */
    to->current = piece;
    r = jpgReadSetPartialBitstream(to->handle, piece, size);
  }
  if (r != JPG_OK) return r;
  band = below(&to->rect, to->row);
  to->row += rows;
  return jpgReadToRect(to->handle, &band, rows);
}

static uint32_t sendBands(JPGHANDLE handle, const JpgRect *rect, Receiver *to) {
  int32_t y, rows;
  for (y = 0; y < rect->height; y += rows) {
    const JpgRect band = below(rect, y);
    void *piece;
    uint32_t size, r;
    rows = band.height < BAND_ROWS ? band.height : BAND_ROWS;
    r = jpgWriteFromRect(handle, &band, (uint32_t)rows);
    if (r == JPG_OK) r = jpgWriteGetPartialBitstream(handle, &piece, &size);
    if (r == JPG_OK) r = receive(to, piece, size, rows);
    if (r != JPG_OK) return r;
  }
  return JPG_OK;
}

static uint32_t transfer(const JpgRect *rect, Receiver *to) {
  JPGHANDLE handle;
  void *rest = NULL;
  uint32_t size;
  uint32_t r = jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &handle);
  if (r != JPG_OK) return r;
  r = jpgWriteSetImageSize(handle, (uint32_t)rect->width, (uint32_t)rect->height);
  if (r == JPG_OK) r = sendBands(handle, rect, to);
  jpgWriteEpilogToMemory(handle, &rest, &size); /* an end marker alone: all rows are sent */
  jpgWriteFreeBitstream(rest);
  return r;
}

int main(int argc, char **argv) {
  JpgRect rect = {0};
  Receiver to = {0};
  uint32_t r;
  if (argc != 3) {
    fprintf(stderr, "usage: pieces IN.ppm OUT.ppm\n");
    return 2;
  }
  r = loadPnm(argv[1], &rect);
  if (r == JPG_OK) r = transfer(&rect, &to);
  if (r == JPG_OK) r = savePnm(argv[2], &to.rect);
  jpgReadEpilog(to.handle);
  jpgWriteFreeBitstream(to.first);
  jpgWriteFreeBitstream(to.current);
  free(rect.bits);
  free(to.rect.bits);
  return finish(argv[1], r);
}
