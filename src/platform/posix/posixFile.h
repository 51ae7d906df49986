// SPDX-License-Identifier: MIT
// POSIX behind the platform's operations; the provider for tests is built on it too.
#ifndef JPG_PLATFORM_POSIX_POSIXFILE_H
#define JPG_PLATFORM_POSIX_POSIXFILE_H

#include "platform.h"

namespace jpg {
namespace posix {

// Longest path in UTF-8 bytes, terminator included: what the system calls take.
constexpr size_t kMaxPath = 4096;

// Converts a zero-terminated UTF-16 path. False for a lone surrogate or a path that
// doesn't fit.
bool toUtf8(const JpgWChar *name, char *out, size_t size);

HANDLE openFile(const JpgWChar *name, DWORD access, DWORD creation);
BOOL readFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count);
BOOL writeFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count);
DWORD seekFile(HANDLE file, LONG distance, DWORD origin);
DWORD fileSize(HANDLE file, DWORD *high);
BOOL closeFile(HANDLE file);

BOOL hasProcessorFeature(DWORD feature);

}  // namespace posix
}  // namespace jpg

#endif
