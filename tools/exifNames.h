// SPDX-License-Identifier: MIT
// Names of Exif tags, types and directories.
#ifndef JPGTOOL_EXIFNAMES_H
#define JPGTOOL_EXIFNAMES_H

#include <cstdint>

#include "jpg/exif.hpp"

namespace jpgtool {

// The name of a tag in a directory, as Exif 2.2 and TIFF 6 call it (without spaces); null for one
// that they don't know.
const char *exifTagName(jpg::ExifDirectory directory, uint16_t tag);

// "ASCII", "SHORT" and so on; null for an unknown type.
const char *exifTypeName(jpg::ExifType type);

// "0th", "1st", "Exif", "GPS", "Interoperability".
const char *exifDirectoryName(jpg::ExifDirectory directory);

}  // namespace jpgtool

#endif
