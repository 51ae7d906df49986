// SPDX-License-Identifier: MIT
// The platform's operations on the device: the system library's own functions.
//
// The device's system header isn't needed to build the library: what the library calls
// is declared here, with the system's names, signatures and values. coredll.def lists it.
#ifndef JPG_PLATFORM_DEVICE_PLATFORM_H
#define JPG_PLATFORM_DEVICE_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#include "jpg.h"

namespace jpg {

using HANDLE = void *;
using HDC = void *;
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

extern "C" {

HANDLE GetProcessHeap();
void *HeapAlloc(HANDLE heap, DWORD flags, size_t bytes);
void *HeapReAlloc(HANDLE heap, DWORD flags, void *block, size_t bytes);
BOOL HeapFree(HANDLE heap, DWORD flags, void *block);

HANDLE CreateFileW(const JpgWChar *name, DWORD access, DWORD share, void *security, DWORD creation,
                   DWORD attributes, HANDLE templateFile);
BOOL ReadFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count, void *overlapped);
BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count, void *overlapped);
DWORD SetFilePointer(HANDLE file, LONG distance, LONG *distanceHigh, DWORD origin);
DWORD GetFileSize(HANDLE file, DWORD *high);
BOOL CloseHandle(HANDLE file);

HDC GetDC(void *window);
DWORD GetSystemPaletteEntries(HDC context, DWORD first, DWORD count, PALETTEENTRY *entries);
LONG ReleaseDC(void *window, HDC context);

}  // extern "C"

}  // namespace jpg

#endif
