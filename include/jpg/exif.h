/* SPDX-License-Identifier: MIT */
/**
 * @file exif.h
 * @brief Exif attributes by directory and tag: for C and C++, header only. In C++ jpg/exif.hpp has
 * more.
 *
 * @code
 *   static uint8_t tiff[JPG_EXIF_BYTES];
 *   uint32_t size, r = jpgExifLoad(handle, tiff, &size);
 *   JpgExifEntry date;
 *   if (r == JPG_OK) r = jpgExifFind(tiff, size, JPG_EXIF_PHOTO, 36867, &date);
 *   if (r == JPG_OK) printf("%.*s\n", (int)date.size, (const char *)date.data);
 * @endcode
 */
#ifndef JPG_EXIF_H
#define JPG_EXIF_H

#include <string.h>

#include "jpg.h"

/** @def JPG_EXIF_CAST
 *  A conversion, in the form that either language wants. */
/** @def JPG_EXIF_NULL
 *  A null pointer, likewise. */
#if defined(__cplusplus)
#define JPG_EXIF_CAST(type, value) static_cast<type>(value)
#define JPG_EXIF_NULL nullptr
#else
#define JPG_EXIF_CAST(type, value) ((type)(value))
#define JPG_EXIF_NULL NULL
#endif

/** Room of any Exif segment. */
#define JPG_EXIF_BYTES 65533U

/** @name Directories: by the tag of the entry that leads to them
 *  @{ */
#define JPG_EXIF_ZEROTH 0U      /**< of the picture: orientation, maker, ... */
#define JPG_EXIF_FIRST 1U       /**< of the thumbnail */
#define JPG_EXIF_PHOTO 34665U   /**< of the exposure: dates, lens, ... */
#define JPG_EXIF_GPS 34853U     /**< of the place */
#define JPG_EXIF_INTEROP 40965U /**< of interoperability */
/** @} */

/** An entry of a directory. */
typedef struct JpgExifEntry {
  uint32_t type;       /**< of the values (TIFF 6.0, section 2): 1 BYTE, 2 ASCII, 3 SHORT, ... */
  uint32_t count;      /**< values */
  const uint8_t *data; /**< the values, in the byte order of the file; within the structure */
  uint32_t size;       /**< bytes of them all */
  uint32_t bigEndian;  /**< 1: high bytes first */
} JpgExifEntry;

/** @cond */
/* A number of up to 4 bytes; 0 for one that isn't within the structure. */
static inline uint32_t jpgExifWord(const uint8_t *tiff, uint32_t size, uint32_t at,
                                   uint32_t bytes) {
  uint32_t i, word = 0;
  if (at > size || bytes > size - at) return 0;
  for (i = 0; i < bytes; i++) word = word << 8 | tiff[tiff[0] == 'M' ? at + i : at + bytes - 1 - i];
  return word;
}

/* The first entry with a tag, of the directory at an offset, which must lie within the structure.
 */
static inline uint32_t jpgExifFindAt(const uint8_t *tiff, uint32_t size, uint32_t at, uint32_t tag,
                                     JpgExifEntry *entry) {
  static const uint8_t sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  const uint32_t count = jpgExifWord(tiff, size, at, 2);
  uint32_t i, each, place;
  if (at == 0 || at > size || count > (size - at) / 12) return JPG_E_NOT_FOUND;
  for (i = 0, place = at + 2; i < count; i++, place += 12) {
    if (jpgExifWord(tiff, size, place, 2) != tag) continue;
    entry->type = jpgExifWord(tiff, size, place + 2, 2);
    entry->count = jpgExifWord(tiff, size, place + 4, 4);
    each = entry->type < sizeof(sizes) ? sizes[entry->type] : 0;
    if (each == 0 || entry->count > size / each) return JPG_E_NOT_FOUND;
    entry->size = each * entry->count;
    place = entry->size <= 4 ? place + 8 : jpgExifWord(tiff, size, place + 8, 4);
    if (place > size || entry->size > size - place) return JPG_E_NOT_FOUND;
    entry->data = tiff + place;
    entry->bigEndian = tiff[0] == 'M' ? 1 : 0;
    return JPG_OK;
  }
  return JPG_E_NOT_FOUND;
}

/* Where the directory begins to which an entry of another one leads; 0 without it. */
static inline uint32_t jpgExifLink(const uint8_t *tiff, uint32_t size, uint32_t at, uint32_t tag) {
  JpgExifEntry link;
  const uint32_t r = jpgExifFindAt(tiff, size, at, tag, &link);
  if (r != JPG_OK || link.size != 4) return 0;
  return jpgExifWord(tiff, size, JPG_EXIF_CAST(uint32_t, link.data - tiff), 4);
}
/** @endcond */

/**
 * Copies the first Exif segment of a stream. It walks the marker segments, so call it before the
 * first decode call, which finds its place again.
 *
 * @param handle read handle
 * @param tiff   receives the TIFF structure, #JPG_EXIF_BYTES of room
 * @param size   receives its bytes, 0 on failure
 * @retval JPG_OK          copied
 * @retval JPG_E_NOT_FOUND there is none, or it is too short to hold attributes
 * @return otherwise as jpgReadSeekMarkerSegment() says
 */
static inline uint32_t jpgExifLoad(JPGHANDLE handle, uint8_t *tiff, uint32_t *size) {
  uint16_t marker = 0;
  uint32_t length = 0;
  uint32_t r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_FIRST, &marker, &length);
  *size = 0;
  while (r == JPG_OK && marker != 0 && marker != 0xFFDA) {
    if (marker == 0xFFE1 && length > 6) {
      r = jpgReadReadMarkerData(handle, tiff, 6, JPG_EXIF_NULL);
      if (r == JPG_OK && memcmp(tiff, "Exif", 5) == 0)
        return length < 14 ? JPG_E_NOT_FOUND
                           : jpgReadReadMarkerData(handle, tiff, length - 6, size);
    }
    if (r == JPG_OK) r = jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_NEXT, &marker, &length);
  }
  return r == JPG_OK ? JPG_E_NOT_FOUND : r;
}

/**
 * Finds an entry.
 *
 * @param tiff      a TIFF structure, from its byte order on; it outlives the use of `entry`
 * @param size      its bytes
 * @param directory which one: #JPG_EXIF_ZEROTH and so on
 * @param tag       of the entry; the first one with it counts
 * @param entry     receives it
 * @retval JPG_OK          found
 * @retval JPG_E_NOT_FOUND there is no such entry or directory, it isn't whole within the structure,
 *                         or its type is unknown
 */
static inline uint32_t jpgExifFind(const uint8_t *tiff, uint32_t size, uint32_t directory,
                                   uint32_t tag, JpgExifEntry *entry) {
  uint32_t at = jpgExifWord(tiff, size, 4, 4);
  if (directory == JPG_EXIF_FIRST)
    at = at < size ? jpgExifWord(tiff, size, at + 2 + 12 * jpgExifWord(tiff, size, at, 2), 4) : 0;
  if (directory == JPG_EXIF_INTEROP) at = jpgExifLink(tiff, size, at, JPG_EXIF_PHOTO);
  if (directory > JPG_EXIF_FIRST) at = jpgExifLink(tiff, size, at, directory);
  return jpgExifFindAt(tiff, size, at, tag, entry);
}

/**
 * Takes a number of an entry.
 *
 * @param entry as found
 * @param i     which, counted from 0
 * @param value receives it; it stays as it is on failure
 * @retval JPG_OK          taken
 * @retval JPG_E_NOT_FOUND there aren't so many, the type is no whole number or fraction, or the
 *                         denominator is 0
 */
static inline uint32_t jpgExifNumber(const JpgExifEntry *entry, uint32_t i, double *value) {
  const uint32_t fraction = entry->type == 5 || entry->type == 10 ? 1 : 0;
  const uint32_t each = entry->count != 0 ? entry->size / entry->count : 0;
  const uint32_t bytes = fraction ? 4 : each, isSigned = entry->type >= 6 ? 1 : 0;
  double parts[2] = {0, 1};
  uint32_t k, n;
  if (i >= entry->count || entry->type == 2 || entry->type == 7 || entry->type > 10)
    return JPG_E_NOT_FOUND;
  for (n = 0; n <= fraction; n++) {
    uint32_t word = 0;
    for (k = 0; k < bytes; k++)
      word = word << 8 | entry->data[i * each + n * bytes + (entry->bigEndian ? k : bytes - 1 - k)];
    parts[n] = word;
    if (isSigned && word >> (8 * bytes - 1) != 0)
      parts[n] -= bytes == 4 ? 4294967296.0 : bytes == 2 ? 65536.0 : 256.0;
  }
  if (!(parts[1] > 0 || parts[1] < 0)) return JPG_E_NOT_FOUND;
  *value = parts[0] / parts[1];
  return JPG_OK;
}

/**
 * Tells how to show the picture.
 *
 * @param tiff a TIFF structure, as for jpgExifFind()  @param size its bytes
 * @return 1 to 8; 1 as it is, also where the attributes don't say
 */
static inline uint32_t jpgExifOrientation(const uint8_t *tiff, uint32_t size) {
  JpgExifEntry entry;
  double told = 1;
  if (jpgExifFind(tiff, size, JPG_EXIF_ZEROTH, 274, &entry) != JPG_OK) return 1;
  (void)jpgExifNumber(&entry, 0, &told);
  return told >= 1 && told <= 8 ? JPG_EXIF_CAST(uint32_t, told) : 1;
}

/** @cond */
/* Degrees, minutes and seconds; negative at one of the letters that the entry ahead may have. */
static inline uint32_t jpgExifAngle(const uint8_t *tiff, uint32_t size, uint32_t tag, char negative,
                                    double *angle) {
  JpgExifEntry entry, side;
  double part = 0, sum = 0, scale = 1;
  uint32_t i;
  uint32_t r = jpgExifFind(tiff, size, JPG_EXIF_GPS, tag, &entry);
  if (r == JPG_OK) r = jpgExifFind(tiff, size, JPG_EXIF_GPS, tag - 1, &side);
  if (r == JPG_OK && (side.type != 2 || side.size == 0)) r = JPG_E_NOT_FOUND;
  for (i = 0; i < 3 && r == JPG_OK; i++, scale /= 60) {
    r = jpgExifNumber(&entry, i, &part);
    sum += part * scale;
  }
  if (r == JPG_OK) *angle = side.data[0] == negative ? -sum : sum;
  return r;
}
/** @endcond */

/**
 * Tells where the picture was taken.
 *
 * @param tiff      a TIFF structure, as for jpgExifFind()
 * @param size      its bytes
 * @param latitude  receives degrees, negative in the south
 * @param longitude receives degrees, negative in the west
 * @retval JPG_OK          told
 * @retval JPG_E_NOT_FOUND it isn't there, or not in degrees, minutes and seconds
 */
static inline uint32_t jpgExifPosition(const uint8_t *tiff, uint32_t size, double *latitude,
                                       double *longitude) {
  const uint32_t r = jpgExifAngle(tiff, size, 2, 'S', latitude);
  return r == JPG_OK ? jpgExifAngle(tiff, size, 4, 'W', longitude) : r;
}

#endif /* JPG_EXIF_H */
