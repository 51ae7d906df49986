// SPDX-License-Identifier: MIT
// Heap blocks that end where a page without access begins: reading or writing behind a
// block stops the program there. Blocks are aligned to 4 bytes, no more than the device's
// heap promises; the 0 to 3 bytes between a block's end and the page's, and the bytes
// ahead of the block, are checked when it is given back. Blocks given back stay without
// access for a while.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <deque>

#include "blocks.h"

namespace jpg {
namespace faulty {
namespace {

constexpr size_t kPage = 4096;
constexpr size_t kAlignment = 4;
constexpr uint8_t kUnwritten = 0xA7;  // contents of a new block and of its surroundings
constexpr size_t kQuarantine = 64;    // blocks given back that stay without access

struct Range {
  uint8_t *start;
  size_t bytes;  // the guard page included
};

Range rangeOf(const void *block, size_t bytes) {
  const size_t pages = (bytes + kPage - 1) / kPage + (bytes == 0 ? 1 : 0);
  const auto address = reinterpret_cast<uintptr_t>(block);
  const uintptr_t end = (address + bytes + kPage - 1) & ~uintptr_t{kPage - 1};
  return {reinterpret_cast<uint8_t *>(end - pages * kPage), (pages + 1) * kPage};
}

void expectUnwritten(const uint8_t *from, const uint8_t *to, const char *where) {
  for (; from < to; from++) {
    if (*from == kUnwritten) continue;
    fprintf(stderr, "loader: a byte %s a heap block was written\n", where);
    abort();
  }
}

void quarantine(const Range &range) {
  static std::deque<Range> waiting;
  mprotect(range.start, range.bytes, PROT_NONE);
  waiting.push_back(range);
  if (waiting.size() <= kQuarantine) return;
  munmap(waiting.front().start, waiting.front().bytes);
  waiting.pop_front();
}

}  // namespace

void *takeBlock(size_t bytes) {
  if (bytes > SIZE_MAX / 2) return nullptr;
  const size_t pages = (bytes + kPage - 1) / kPage + (bytes == 0 ? 1 : 0);
  const size_t total = (pages + 1) * kPage;
  void *memory = mmap(nullptr, total, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  auto *start = static_cast<uint8_t *>(memory);
  uint8_t *guard = start + pages * kPage;
  memset(start, kUnwritten, pages * kPage);
  mprotect(guard, kPage, PROT_NONE);
  // A block of no bytes has an address of its own too.
  return guard - (bytes + kAlignment - 1) / kAlignment * kAlignment - (bytes == 0 ? kAlignment : 0);
}

void giveBlock(void *block, size_t bytes) {
  const Range range = rangeOf(block, bytes);
  auto *data = static_cast<uint8_t *>(block);
  expectUnwritten(range.start, data, "ahead of");
  expectUnwritten(data + bytes, range.start + range.bytes - kPage, "behind");
  quarantine(range);
}

}  // namespace faulty
}  // namespace jpg
