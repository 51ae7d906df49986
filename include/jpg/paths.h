/* SPDX-License-Identifier: MIT */
/**
 * @file paths.h
 * @brief File names in UTF-8 to the library's UTF-16 paths and back: for C and C++, header only.
 *
 * @code
 *   JPGHANDLE h;
 *   uint32_t r = jpgReadPrologFromUtf8(argv[1], 0, &h);
 * @endcode
 */
#ifndef JPG_PATHS_H
#define JPG_PATHS_H

#include <stddef.h>

#include "jpg.h"

/** Room of a path: the 255 units that the library takes, and the zero behind them. */
#define JPG_PATH_UNITS 256
/** Room of a path in UTF-8: at most three bytes a unit. */
#define JPG_PATH_BYTES (3 * JPG_PATH_UNITS)

/** @def JPG_PATHS_CAST
 *  A conversion, in the form that either language wants. */
/** @def JPG_PATHS_NULL
 *  A null pointer, likewise. */
#if defined(__cplusplus)
#define JPG_PATHS_CAST(type, value) static_cast<type>(value)
#define JPG_PATHS_NULL nullptr
#else
#define JPG_PATHS_CAST(type, value) ((type)(value))
#define JPG_PATHS_NULL NULL
#endif

/** @cond */
/* One code point of valid UTF-8: shortest form, no surrogates. Bytes taken, 0 for anything else. */
static inline size_t jpgPathPoint(const char *text, uint32_t *point) {
  static const uint32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
  const uint32_t lead = JPG_PATHS_CAST(unsigned char, text[0]);
  const size_t bytes = lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  size_t i;
  if (bytes == 0 || lead > 0xF4) return 0;
  *point = bytes == 1 ? lead : lead & (0x7FU >> bytes);
  for (i = 1; i < bytes; i++) {
    const uint32_t tail = JPG_PATHS_CAST(unsigned char, text[i]);
    if ((tail & 0xC0U) != 0x80U) return 0;
    *point = *point << 6 | (tail & 0x3FU);
  }
  if (*point < lowest[bytes] || *point > 0x10FFFF || (*point >= 0xD800 && *point < 0xE000))
    return 0;
  return bytes;
}
/** @endcond */

/**
 * Makes a path of a file name.
 *
 * @param name zero-terminated UTF-8
 * @param path receives zero-terminated UTF-16, #JPG_PATH_UNITS of room; empty on failure
 * @retval JPG_OK             made
 * @retval JPG_E_OPEN_FAILED  not valid UTF-8, empty, or longer than 255 units
 */
static inline uint32_t jpgPathFromUtf8(const char *name, JpgWChar *path) {
  size_t n = 0;
  while (*name != '\0') {
    uint32_t point = 0;
    const size_t bytes = jpgPathPoint(name, &point);
    const size_t units = point > 0xFFFF ? 2 : 1;
    if (bytes == 0 || n + units >= JPG_PATH_UNITS) {
      n = 0;
      break;
    }
    if (units == 2) path[n++] = JPG_PATHS_CAST(JpgWChar, 0xD7C0U + (point >> 10));
    path[n++] = JPG_PATHS_CAST(JpgWChar, units == 2 ? 0xDC00U + (point & 0x3FFU) : point);
    name += bytes;
  }
  path[n] = 0;
  return n != 0 ? JPG_OK : JPG_E_OPEN_FAILED;
}

/**
 * Makes a file name of a path.
 *
 * @param path zero-terminated UTF-16, at most 255 units
 * @param name receives zero-terminated UTF-8, #JPG_PATH_BYTES of room; empty on failure
 * @retval JPG_OK             made
 * @retval JPG_E_OPEN_FAILED  empty, too long, or a surrogate without a partner
 */
static inline uint32_t jpgPathToUtf8(const JpgWChar *path, char *name) {
  size_t i = 0, n = 0;
  while (path[i] != 0 && i < JPG_PATH_UNITS) {
    uint32_t point = path[i++];
    size_t bytes, k;
    if (point >= 0xD800 && point < 0xE000) {
      const uint32_t second = point < 0xDC00 ? path[i] : 0;
      if (second < 0xDC00 || second > 0xDFFF) {
        n = 0;
        break;
      }
      i++;
      point = 0x10000U + ((point & 0x3FFU) << 10 | (second & 0x3FFU));
    }
    bytes = point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
    for (k = bytes; k-- > 1; point >>= 6)
      name[n + k] = JPG_PATHS_CAST(char, 0x80U | (point & 0x3FU));
    name[n] = JPG_PATHS_CAST(char, bytes == 1 ? point : (0xF00U >> bytes & 0xFFU) | point);
    n += bytes;
  }
  if (i == JPG_PATH_UNITS) n = 0;
  name[n] = '\0';
  return n != 0 ? JPG_OK : JPG_E_OPEN_FAILED;
}

/**
 * Opens a file for reading by its name in UTF-8.
 *
 * @param name   zero-terminated UTF-8
 * @param flags  as for jpgReadPrologFromFile()
 * @param handle receives the handle, null on failure
 * @return as jpgPathFromUtf8() and jpgReadPrologFromFile() say
 */
static inline uint32_t jpgReadPrologFromUtf8(const char *name, uint32_t flags, JPGHANDLE *handle) {
  JpgWChar path[JPG_PATH_UNITS];
  const uint32_t r = jpgPathFromUtf8(name, path);
  *handle = JPG_PATHS_NULL;
  return r == JPG_OK ? jpgReadPrologFromFile(path, 0, 0, flags, handle) : r;
}

/**
 * Creates a file by its name in UTF-8, or empties it.
 *
 * @param name   zero-terminated UTF-8
 * @param flags  as for jpgWritePrologToFile()
 * @param handle receives the handle, null on failure
 * @return as jpgPathFromUtf8() and jpgWritePrologToFile() say
 */
static inline uint32_t jpgWritePrologToUtf8(const char *name, uint32_t flags, JPGHANDLE *handle) {
  JpgWChar path[JPG_PATH_UNITS];
  const uint32_t r = jpgPathFromUtf8(name, path);
  *handle = JPG_PATHS_NULL;
  return r == JPG_OK ? jpgWritePrologToFile(path, flags, handle) : r;
}

#endif /* JPG_PATHS_H */
