// SPDX-License-Identifier: MIT
/**
 * @file jpg.hpp
 * @brief The JPEG codec library for C++17: handles that close themselves, spans, results.
 *
 * A layer of inline functions over jpg.h; brings in the files of jpg/. It throws nothing,
 * needs no run-time type information and allocates only pictures, bands and bitmaps, without
 * exceptions. Every function gives a jpg::Status or a jpg::Result, whose codes are those of
 * jpg.h:
 *
 * @code
 *   jpg::Result<jpg::Picture> picture = jpg::read("photo.jpg");
 *   if (!picture) return picture.status();
 *   show(picture->row(0), picture->layout());
 * @endcode
 *
 * What jpg.h says about threads, memory that must outlive a handle and the order of calls
 * holds here too. The classes can be moved, not copied. A function called on an object that
 * holds no handle (default-made, moved from, finished) gives #JPG_E_INVALID_HANDLE.
 */
#ifndef JPG_HPP
#define JPG_HPP

#include "jpg.h"
#include "jpg/exif.hpp"
#include "jpg/exifEntry.hpp"
#include "jpg/height.hpp"
#include "jpg/memory.hpp"
#include "jpg/picture.hpp"
#include "jpg/reader.hpp"
#include "jpg/result.hpp"
#include "jpg/segments.hpp"
#include "jpg/simple.hpp"
#include "jpg/text.h"
#include "jpg/writer.hpp"

/** The library's C++ face. */
namespace jpg {
/** Keeps its symbols apart from the library's own, and from those of other versions. */
inline namespace v0 {}
}  // namespace jpg

#endif  // JPG_HPP
