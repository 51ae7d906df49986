// SPDX-License-Identifier: MIT
// The provider that fails on demand (src/platform/faulty) over Windows: the system's types, and
// the operations that imports.cpp puts in the place of the system's for the DLL.
#ifndef JPG_TESTS_PLATFORM_WINDOWS_FAULTY_PLATFORM_H
#define JPG_TESTS_PLATFORM_WINDOWS_FAULTY_PLATFORM_H

#include <jpg.h>
#include <stddef.h>
#include <stdint.h>

namespace jpg {

using ::BOOL;
using ::DWORD;
using ::HANDLE;
using ::LONG;

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
BOOL IsProcessorFeaturePresent(DWORD feature);

}  // namespace jpg

#endif  // JPG_TESTS_PLATFORM_WINDOWS_FAULTY_PLATFORM_H
