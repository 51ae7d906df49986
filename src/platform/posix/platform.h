// SPDX-License-Identifier: MIT
// The platform's operations, by their own names, over POSIX.
//
// The core includes "platform.h" and gets the provider that the build has put on
// the include path. Signatures and values are those of the system interface; only
// what the library calls is declared.
#ifndef JPG_PLATFORM_POSIX_PLATFORM_H
#define JPG_PLATFORM_POSIX_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#include "jpg.h"

namespace jpg {

using HANDLE = void *;
using DWORD = uint32_t;
using LONG = int32_t;
using BOOL = int32_t;

// A function, since a constant can't hold a pointer made of an integer.
inline HANDLE invalidHandleValue() { return reinterpret_cast<HANDLE>(intptr_t{-1}); }
#define INVALID_HANDLE_VALUE (::jpg::invalidHandleValue())

constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 128;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;

HANDLE GetProcessHeap();
void *HeapAlloc(HANDLE heap, DWORD flags, size_t bytes);
void *HeapReAlloc(HANDLE heap, DWORD flags, void *block, size_t bytes);
BOOL HeapFree(HANDLE heap, DWORD flags, void *block);

// Paths are UTF-16; a path with a lone surrogate names no file. Directories can't be
// opened. INVALID_HANDLE_VALUE on failure.
HANDLE CreateFileW(const JpgWChar *name, DWORD access, DWORD share, void *security, DWORD creation,
                   DWORD attributes, HANDLE templateFile);

// Reads up to `bytes` bytes; 0 of them at the end of the file.
BOOL ReadFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count, void *overlapped);

// Writes all bytes, unless the file takes no more.
BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count, void *overlapped);

// Signed 32-bit distance; the high part isn't supported and must be null. The new
// position, INVALID_SET_FILE_POINTER when it would be negative or exceed 32 bits.
DWORD SetFilePointer(HANDLE file, LONG distance, LONG *distanceHigh, DWORD origin);

// The low 32 bits of the size, the high ones in *high. With a null `high`, a larger
// size gives the largest value that isn't INVALID_FILE_SIZE.
DWORD GetFileSize(HANDLE file, DWORD *high);

BOOL CloseHandle(HANDLE file);

// Only the features that the library asks for (the first one is SSE2); not 0 when the processor and
// the system support it.
constexpr DWORD PF_XMMI64_INSTRUCTIONS_AVAILABLE = 10;
constexpr DWORD PF_ARM_NEON_INSTRUCTIONS_AVAILABLE = 19;
constexpr DWORD PF_AVX2_INSTRUCTIONS_AVAILABLE = 40;
BOOL IsProcessorFeaturePresent(DWORD feature);

// There is no screen here; its palette is the default one: twenty static colours in
// entries 0 to 9 and 246 to 255, black in between.
using HDC = void *;
HDC GetDC(void *window);
DWORD GetSystemPaletteEntries(HDC context, DWORD first, DWORD count, PALETTEENTRY *entries);
LONG ReleaseDC(void *window, HDC context);

}  // namespace jpg

#endif
