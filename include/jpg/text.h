/* SPDX-License-Identifier: MIT */
/**
 * @file text.h
 * @brief Result codes in words: for C and C++, header only.
 */
#ifndef JPG_TEXT_H
#define JPG_TEXT_H

#include "jpg.h"

/** @def JPG_TEXT_INLINE
 *  How the function is declared: it can be evaluated by a C++ compiler. */
#if defined(__cplusplus)
#define JPG_TEXT_INLINE constexpr
#else
#define JPG_TEXT_INLINE static inline
#endif

/**
 * Says what a result code means.
 *
 * @param code a result code of jpg.h
 * @return the meaning in English, in lower case and without a full stop; never null
 */
JPG_TEXT_INLINE const char *jpgTextOf(uint32_t code) {
  switch (code) {
    case JPG_OK:
      return "success";
    case JPG_NO_DATA:
      return "nothing there to deliver";
    case JPG_E_FAIL:
      return "general failure, or no rows remain";
    case JPG_E_INVALID_FUNCTION:
      return "call not possible on this handle";
    case JPG_E_OUT_OF_MEMORY:
      return "out of memory";
    case JPG_E_INVALID_HANDLE:
      return "invalid handle or null pointer";
    case JPG_E_SEEK:
      return "positioning the stream failed";
    case JPG_E_WRITE_FAULT:
      return "the output accepted too few bytes";
    case JPG_E_INVALID_PARAMETER:
      return "bad number, mode or range";
    case JPG_E_UNSUPPORTED:
      return "valid, but not served";
    case JPG_E_NOT_JPEG:
      return "not a JPEG stream, or cut off";
    case JPG_E_NOT_FOUND:
      return "no such entry";
    case JPG_E_OPEN_FAILED:
      return "the file could not be opened";
    case JPG_E_END_OF_IMAGE:
      return "the image ended before the rows asked for";
    case JPG_E_BAD_DC_CODE:
      return "damaged data: no such DC code";
    case JPG_E_BAD_AC_CODE:
      return "damaged data: no such AC code";
    case JPG_E_COEF_OVERFLOW:
      return "damaged data: a run leads past coefficient 63";
    case JPG_E_DNL_CONFLICT:
      return "a DNL segment although the height was known";
    case JPG_E_BAD_SEGMENT_LENGTH:
      return "a DRI or DNL segment of a wrong length";
    case JPG_E_DAMAGED:
      return "damaged data: some rows are guessed";
    default:
      return "unknown result code";
  }
}

#endif /* JPG_TEXT_H */
