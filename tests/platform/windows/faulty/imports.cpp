// SPDX-License-Identifier: MIT
// Ahead of main, the DLL's imports of operations that can fail are led to the provider that
// fails on demand: their addresses in the DLL's import table are replaced. On 64-bit Windows all
// functions are called alike. A DLL without one of them stops the program.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform.h"

namespace {

struct Import {
  const char *name;
  const void *replacement;
};

template <typename Function>
const void *addressOf(Function *function) {
  return reinterpret_cast<const void *>(function);
}

const Import kImports[] = {
    {"GetProcessHeap", addressOf(jpg::GetProcessHeap)},
    {"HeapAlloc", addressOf(jpg::HeapAlloc)},
    {"HeapReAlloc", addressOf(jpg::HeapReAlloc)},
    {"HeapFree", addressOf(jpg::HeapFree)},
    {"CreateFileW", addressOf(jpg::CreateFileW)},
    {"ReadFile", addressOf(jpg::ReadFile)},
    {"WriteFile", addressOf(jpg::WriteFile)},
    {"SetFilePointer", addressOf(jpg::SetFilePointer)},
    {"GetFileSize", addressOf(jpg::GetFileSize)},
    {"CloseHandle", addressOf(jpg::CloseHandle)},
};

// Structures of the image at an offset in it.
class Image {
 public:
  explicit Image(HMODULE module) : base_(reinterpret_cast<uint8_t *>(module)) {}

  template <typename T>
  T *at(uint64_t offset) const {
    return reinterpret_cast<T *>(base_ + offset);
  }
  const IMAGE_IMPORT_DESCRIPTOR *imports() const {
    const auto *headers =
        at<IMAGE_NT_HEADERS>(static_cast<uint64_t>(at<IMAGE_DOS_HEADER>(0)->e_lfanew));
    const IMAGE_DATA_DIRECTORY &directory =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    return at<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
  }

 private:
  uint8_t *base_;
};

void setAddress(IMAGE_THUNK_DATA *thunk, const void *address) {
  DWORD before = 0;
  VirtualProtect(thunk, sizeof(*thunk), PAGE_READWRITE, &before);
  thunk->u1.Function = reinterpret_cast<uintptr_t>(address);
  VirtualProtect(thunk, sizeof(*thunk), before, &before);
}

bool replace(const Image &image, const Import &import) {
  for (const auto *d = image.imports(); d->Name != 0; d++) {
    const auto *names = image.at<IMAGE_THUNK_DATA>(d->OriginalFirstThunk);
    auto *addresses = image.at<IMAGE_THUNK_DATA>(d->FirstThunk);
    for (; names->u1.AddressOfData != 0; names++, addresses++) {
      const auto *name = image.at<IMAGE_IMPORT_BY_NAME>(names->u1.AddressOfData)->Name;
      if (std::strcmp(reinterpret_cast<const char *>(name), import.name) != 0) continue;
      setAddress(addresses, import.replacement);
      return true;
    }
  }
  return false;
}

struct Replaced {
  Replaced() {
    const Image image(GetModuleHandleW(L"jpg.dll"));
    for (const Import &import : kImports) {
      if (replace(image, import)) continue;
      std::fprintf(stderr, "jpg.dll doesn't import %s\n", import.name);
      std::abort();
    }
  }
};
const Replaced replaced;

}  // namespace
