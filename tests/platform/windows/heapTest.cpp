// SPDX-License-Identifier: MIT
// The DLL in the process: its exports, its blocks on the process heap.
#include <gtest/gtest.h>

#include "platform/windows/picture.h"

namespace {

using windows_test::Bytes;

constexpr int kRounding = 4;

// Blocks of the process heap in use, and their bytes.
struct Usage {
  size_t blocks = 0;
  size_t bytes = 0;
};

Usage heapUsage() {
  Usage usage;
  PROCESS_HEAP_ENTRY entry = {};
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  while (HeapWalk(heap, &entry) != 0) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
    usage.blocks++;
    usage.bytes += entry.cbData;
  }
  HeapUnlock(heap);
  return usage;
}

TEST(WindowsDll, EveryFunctionIsFoundByItsUndecoratedName) {
  const HMODULE module = LoadLibraryW(L"jpg.dll");
  ASSERT_NE(module, nullptr);
  const char *const kNames[] = {
#define EXPORT(name) #name,
#include "exports.inc"
#undef EXPORT
  };
  EXPECT_EQ(sizeof(kNames) / sizeof(kNames[0]), 43u);
  for (const char *name : kNames) EXPECT_NE(GetProcAddress(module, name), nullptr) << name;
  EXPECT_NE(FreeLibrary(module), 0);
}

TEST(WindowsDll, AFunctionCalledByItsAddressAnswers) {
  const HMODULE module = LoadLibraryW(L"jpg.dll");
  ASSERT_NE(module, nullptr);
  using Function = uint32_t(__cdecl *)(JPGHANDLE);
  Function epilog;
  const FARPROC address = GetProcAddress(module, "jpgReadEpilog");
  static_assert(sizeof(epilog) == sizeof(address), "both are addresses");
  memcpy(&epilog, &address, sizeof(epilog));
  EXPECT_EQ(epilog(nullptr), JPG_E_INVALID_HANDLE);
  EXPECT_NE(FreeLibrary(module), 0);
}

TEST(WindowsDll, AStreamInMemoryComesBack) {
  Bytes stream;
  ASSERT_EQ(windows_test::writeMemory(&stream), JPG_OK);
  const Bytes read = windows_test::readMemory(stream);
  EXPECT_LE(windows_test::distance(read, windows_test::gradient()), kRounding);
}

TEST(WindowsDll, BlocksHandedOverComeFromTheProcessHeap) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  EXPECT_NE(HeapValidate(GetProcessHeap(), 0, h), 0);
  void *data = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  EXPECT_GE(HeapSize(GetProcessHeap(), 0, data), SIZE_T{size});
  EXPECT_EQ(jpgWriteFreeBitstream(data), JPG_OK);
}

TEST(WindowsDll, NothingStaysOnTheProcessHeap) {
  Bytes stream;
  ASSERT_EQ(windows_test::writeMemory(&stream), JPG_OK);
  stream.resize(stream.size() / 2);  // reading ends in the middle
  stream.reserve(100000);
  const auto work = [&stream] {
    Bytes again;
    windows_test::writeMemory(&again);
    windows_test::readMemory(again);
    windows_test::readMemory(stream);
  };
  work();
  const Usage before = heapUsage();
  ASSERT_GT(before.blocks, 0u);
  for (int i = 0; i < 50; i++) work();
  const Usage after = heapUsage();
  // Buffers of the C runtime's own may come along; 50 lost records would be 3 MB.
  EXPECT_LE(after.blocks, before.blocks + 10);
  EXPECT_LE(after.bytes, before.bytes + 100000);
  EXPECT_NE(HeapValidate(GetProcessHeap(), 0, nullptr), 0);
}

}  // namespace
