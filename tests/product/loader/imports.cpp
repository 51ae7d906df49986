// SPDX-License-Identifier: MIT
#include "imports.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform.h"

// On 32-bit x86 the system's functions clear their arguments from the stack themselves,
// and are called with a stack aligned to 4 bytes only.
#if defined(__i386__)
#define SYSTEM_CALL __attribute__((stdcall, force_align_arg_pointer))
#else
#define SYSTEM_CALL
#endif

namespace loader {
namespace {

using jpg::BOOL;
using jpg::DWORD;
using jpg::HANDLE;
using jpg::HDC;
using jpg::LONG;

// Handles that only have to come back as they were given out.
char heapHandle, screenHandle;
size_t contexts;

void expect(bool fact, const char *what) {
  if (fact) return;
  fprintf(stderr, "loader: %s\n", what);
  abort();
}

void expectHeap(HANDLE heap, DWORD flags) {
  expect(heap == &heapHandle, "a heap function was called with another heap");
  expect(flags == 0, "a heap function was called with flags");
}

SYSTEM_CALL HANDLE getProcessHeap() { return &heapHandle; }

SYSTEM_CALL void *heapAlloc(HANDLE heap, DWORD flags, size_t bytes) {
  expectHeap(heap, flags);
  return jpg::HeapAlloc(nullptr, 0, bytes);
}

SYSTEM_CALL void *heapReAlloc(HANDLE heap, DWORD flags, void *block, size_t bytes) {
  expectHeap(heap, flags);
  return jpg::HeapReAlloc(nullptr, 0, block, bytes);
}

SYSTEM_CALL BOOL heapFree(HANDLE heap, DWORD flags, void *block) {
  expectHeap(heap, flags);
  return jpg::HeapFree(nullptr, 0, block);
}

SYSTEM_CALL HANDLE createFile(const JpgWChar *name, DWORD access, DWORD share, void *security,
                              DWORD creation, DWORD attributes, HANDLE templateFile) {
  expect(security == nullptr && templateFile == nullptr, "CreateFileW: unexpected arguments");
  return jpg::CreateFileW(name, access, share, nullptr, creation, attributes, nullptr);
}

SYSTEM_CALL BOOL readFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count, void *overlapped) {
  expect(overlapped == nullptr, "ReadFile: overlapped");
  return jpg::ReadFile(file, buffer, bytes, count, nullptr);
}

SYSTEM_CALL BOOL writeFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count,
                           void *overlapped) {
  expect(overlapped == nullptr, "WriteFile: overlapped");
  return jpg::WriteFile(file, buffer, bytes, count, nullptr);
}

SYSTEM_CALL DWORD setFilePointer(HANDLE file, LONG distance, LONG *high, DWORD origin) {
  expect(high == nullptr, "SetFilePointer: a distance of 64 bits");
  return jpg::SetFilePointer(file, distance, nullptr, origin);
}

SYSTEM_CALL DWORD getFileSize(HANDLE file, DWORD *high) { return jpg::GetFileSize(file, high); }

SYSTEM_CALL BOOL closeHandle(HANDLE file) { return jpg::CloseHandle(file); }

// Desktop DLLs alone ask. The answer is the processor's, so that they take their best kernels.
SYSTEM_CALL BOOL isProcessorFeaturePresent(DWORD feature) {
  expect(feature == jpg::PF_AVX2_INSTRUCTIONS_AVAILABLE ||
             feature == jpg::PF_XMMI64_INSTRUCTIONS_AVAILABLE,
         "an unknown feature was asked for");
#if defined(__i386__)
  if (feature == jpg::PF_XMMI64_INSTRUCTIONS_AVAILABLE)
    return __builtin_cpu_supports("sse2") ? 1 : 0;
  return __builtin_cpu_supports("avx2") ? 1 : 0;
#else
  return 0;
#endif
}

SYSTEM_CALL HDC getDC(void *window) {
  expect(window == nullptr, "GetDC: of a window");
  contexts++;
  return &screenHandle;
}

SYSTEM_CALL DWORD getSystemPaletteEntries(HDC context, DWORD first, DWORD count,
                                          PALETTEENTRY *entries) {
  expect(context == &screenHandle && contexts > 0, "GetSystemPaletteEntries: no screen");
  return jpg::GetSystemPaletteEntries(nullptr, first, count, entries);
}

SYSTEM_CALL LONG releaseDC(void *window, HDC context) {
  expect(window == nullptr && context == &screenHandle && contexts > 0, "ReleaseDC: no screen");
  contexts--;
  return 1;
}

struct Import {
  const char *library;  // on the desktop; the device has one for all
  const char *function;
  const void *address;
};

template <typename Function>
const void *addressOf(Function *function) {
  return reinterpret_cast<const void *>(function);
}

const Import *imports(size_t *count) {
  static const Import table[] = {
      {"kernel32.dll", "GetProcessHeap", addressOf(getProcessHeap)},
      {"kernel32.dll", "HeapAlloc", addressOf(heapAlloc)},
      {"kernel32.dll", "HeapReAlloc", addressOf(heapReAlloc)},
      {"kernel32.dll", "HeapFree", addressOf(heapFree)},
      {"kernel32.dll", "CreateFileW", addressOf(createFile)},
      {"kernel32.dll", "ReadFile", addressOf(readFile)},
      {"kernel32.dll", "WriteFile", addressOf(writeFile)},
      {"kernel32.dll", "SetFilePointer", addressOf(setFilePointer)},
      {"kernel32.dll", "GetFileSize", addressOf(getFileSize)},
      {"kernel32.dll", "CloseHandle", addressOf(closeHandle)},
      {"kernel32.dll", "IsProcessorFeaturePresent", addressOf(isProcessorFeaturePresent)},
      {"user32.dll", "GetDC", addressOf(getDC)},
      {"user32.dll", "ReleaseDC", addressOf(releaseDC)},
      {"gdi32.dll", "GetSystemPaletteEntries", addressOf(getSystemPaletteEntries)},
      {"msvcrt.dll", "memcpy", addressOf(memcpy)},
      {"msvcrt.dll", "memset", addressOf(memset)},
  };
  *count = sizeof(table) / sizeof(table[0]);
  return table;
}

}  // namespace

const void *findImport(const char *library, const char *function) {
  size_t count = 0;
  const Import *table = imports(&count);
  for (size_t i = 0; i < count; i++) {
    const bool sameLibrary =
        strcasecmp(library, "coredll.dll") == 0 || strcasecmp(library, table[i].library) == 0;
    if (sameLibrary && strcmp(function, table[i].function) == 0) return table[i].address;
  }
  return nullptr;
}

size_t openContexts() { return contexts; }

}  // namespace loader
