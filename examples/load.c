/* The README's example: a whole picture in memory of the program's own:
   load IN.jpg OUT.ppm */
#include "jpg.h"

#include <stdio.h>
#include <stdlib.h>

#include "support.h"

static uint32_t load(const JpgWChar *path, JpgRect *rect) {
  JPGHANDLE h;
  uint32_t width, height, components, process;
  uint32_t r = jpgReadPrologFromFile(path, 0, 0, 0, &h);
  if (r != JPG_OK) return r;
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &components);
  jpgReadGetCodingProcess(h, &process);
  rect->channels = components < 3 ? 1 : 3; /* grey, or blue, green, red */
  rect->width = (int32_t)width;
  rect->height = (int32_t)height;
  rect->stride = rect->width * rect->channels;
  /* The size is what the header claims, right or wrong. The caller frees it. */
  rect->bits =
      (uint64_t)width * height <= MAX_PIXELS ? malloc((size_t)rect->stride * height + 1) : NULL;
  if (rect->bits == NULL) {
    r = JPG_E_OUT_OF_MEMORY;
  } else if (process == JPG_PROCESS_PROGRESSIVE) {
    r = jpgReadProgressiveToRect(h, rect, rect->height, JPG_PROGRESSIVE_ALL_SCANS);
  } else {
    r = jpgReadToRect(h, rect, rect->height);
  }
  jpgReadEpilog(h);
  return r;
}

int main(int argc, char **argv) {
  JpgWChar path[256] = {0};
  JpgRect rect = {0};
  uint32_t r;
  size_t i;
  if (argc != 3) {
    fprintf(stderr, "usage: load IN.jpg OUT.ppm\n");
    return 2;
  }
  for (i = 0; i < 255 && argv[1][i] != '\0'; i++) path[i] = (unsigned char)argv[1][i];
  r = load(path, &rect);
  if (r == JPG_OK) r = savePnm(argv[2], &rect);
  free(rect.bits);
  return finish(argv[1], r);
}
