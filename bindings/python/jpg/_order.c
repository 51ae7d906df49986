/* SPDX-License-Identifier: MIT */
/* The one inner loop of the module: it exchanges the first and the third of every three bytes,
   which turns pixels from the library's order (blue, green, red) into red, green, blue and back. */
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define EXPORT __declspec(dllexport)
#else
#define EXPORT __attribute__((visibility("default")))
#endif

/* Compilers make the shuffles of SSSE3 of it where they may. */
#if defined(__x86_64__) && defined(__GNUC__) && defined(__linux__) && !defined(__clang__)
#define CLONES __attribute__((target_clones("avx2", "ssse3", "default")))
#else
#define CLONES
#endif

EXPORT CLONES void jpgpySwap(uint8_t *pixels, size_t count);

CLONES void jpgpySwap(uint8_t *pixels, size_t count) {
  size_t i;
  for (i = 0; i < count; i++) {
    const uint8_t first = pixels[3 * i];
    pixels[3 * i] = pixels[3 * i + 2];
    pixels[3 * i + 2] = first;
  }
}

/* So that the build of an extension module links on every system; the module is never imported. */
EXPORT void *PyInit__order(void);
void *PyInit__order(void) { return NULL; }
