// SPDX-License-Identifier: MIT
#include "platform.h"

#include <stdint.h>
#include <string.h>

#include <unordered_map>

#include "blocks.h"
#include "faulty.h"
#include "platform/undefined.h"
#include "posixFile.h"

namespace jpg {
namespace faulty {
namespace {

constexpr size_t kOperations = static_cast<size_t>(Operation::kCount);

struct State {
  Fault fault[kOperations] = {};
  uint32_t faultAt[kOperations] = {};
  uint32_t calls[kOperations] = {};
  uint32_t struck[kOperations] = {};
  bool happened = false;
  std::unordered_map<void *, size_t> blocks;
  size_t liveBytes = 0;
  size_t peakBytes = 0;
  size_t openFiles = 0;
  size_t wrongFrees = 0;
  OpenArguments lastOpen = {};
  size_t room = SIZE_MAX;  // bytes that files still take
  bool roomOnce = false;
  uint32_t shrinkAt = UINT32_MAX;  // read
  size_t shrunkSize = 0;           // bytes
  bool plainProcessor = false;
  uint32_t freedWord = 0;
};

State &state() {
  static State s;
  return s;
}

size_t index(Operation operation) { return static_cast<size_t>(operation); }

// Counts a call and returns the fault that is armed for it.
Fault strike(Operation operation) {
  State &s = state();
  const size_t i = index(operation);
  s.calls[i]++;
  const bool hit =
      s.fault[i] == Fault::kFailAfter ? s.calls[i] >= s.faultAt[i] : s.calls[i] == s.faultAt[i];
  if (s.fault[i] == Fault::kNone || !hit) return Fault::kNone;
  s.happened = true;
  s.struck[i]++;
  return s.fault[i] == Fault::kCutShort ? Fault::kCutShort : Fault::kFail;
}

bool fails(Operation operation) { return strike(operation) == Fault::kFail; }

void addBlock(void *block, size_t bytes) {
  State &s = state();
  s.blocks[block] = bytes;
  s.liveBytes += bytes;
  if (s.liveBytes > s.peakBytes) s.peakBytes = s.liveBytes;
}

// Filling for a block's undefined bytes: after its allocation and after its release.
struct Filling {
  uint8_t byte = 0xA5;
  size_t most = 1 << 20;  // bytes; large blocks are filled only up to here, to save time
};

Filling &filling() {
  static Filling f;
  return f;
}

void fill(void *block, size_t bytes) {
  const Filling &f = filling();
  memset(block, f.byte, bytes < f.most ? bytes : f.most);
  markUndefined(block, bytes);
}

// How many of these bytes the limit on output still allows.
DWORD takeRoom(DWORD bytes) {
  State &s = state();
  if (bytes <= s.room) {
    s.room -= s.room == SIZE_MAX ? 0 : bytes;
    return bytes;
  }
  const auto taken = static_cast<DWORD>(s.room);
  s.room = s.roomOnce ? SIZE_MAX : 0;
  s.happened = true;
  return taken;
}

// How many of these bytes are still in the file behind its current place.
DWORD bytesLeft(HANDLE file, DWORD bytes) {
  State &s = state();
  if (s.calls[index(Operation::kRead)] < s.shrinkAt) return bytes;
  const size_t at = posix::seekFile(file, 0, FILE_CURRENT);
  const size_t left = at < s.shrunkSize ? s.shrunkSize - at : 0;
  if (bytes <= left) return bytes;
  s.happened = true;
  return static_cast<DWORD>(left);
}

// False for what isn't a live block.
bool removeBlock(void *block, size_t *bytes) {
  State &s = state();
  const auto found = s.blocks.find(block);
  if (found == s.blocks.end()) {
    s.wrongFrees++;
    return false;
  }
  *bytes = found->second;
  s.liveBytes -= found->second;
  s.blocks.erase(found);
  return true;
}

}  // namespace

void reset() { state() = State{}; }

void arm(Operation operation, Fault fault, uint32_t n) {
  state().fault[index(operation)] = fault;
  state().faultAt[index(operation)] = n;
}

void limitOutput(size_t bytes, bool once) {
  state().room = bytes;
  state().roomOnce = once;
}

void shrinkFiles(uint32_t n, size_t bytes) {
  state().shrinkAt = n;
  state().shrunkSize = bytes;
}

void fillWith(uint8_t byte) { filling() = {byte, SIZE_MAX}; }

void usePlainProcessor() { state().plainProcessor = true; }

uint32_t calls(Operation operation) { return state().calls[index(operation)]; }
uint32_t faults(Operation operation) { return state().struck[index(operation)]; }
bool faultHappened() { return state().happened; }
size_t liveBlocks() { return state().blocks.size(); }
size_t liveBytes() { return state().liveBytes; }
size_t peakBytes() { return state().peakBytes; }
size_t openFiles() { return state().openFiles; }
size_t wrongFrees() { return state().wrongFrees; }
uint32_t lastFreedWord() { return state().freedWord; }
OpenArguments lastOpen() { return state().lastOpen; }

}  // namespace faulty

using faulty::Fault;
using faulty::Operation;

HANDLE GetProcessHeap() { return nullptr; }

// The heap's operations have flags, which the library doesn't use: calls with any fail.
void *HeapAlloc(HANDLE /*heap*/, DWORD flags, size_t bytes) {
  if (flags != 0 || faulty::fails(Operation::kAlloc)) return nullptr;
  void *block = faulty::takeBlock(bytes);
  if (block == nullptr) return nullptr;
  faulty::fill(block, bytes);
  faulty::addBlock(block, bytes);
  return block;
}

// The block always moves, so that use of the old address shows.
void *HeapReAlloc(HANDLE /*heap*/, DWORD flags, void *block, size_t bytes) {
  size_t before = 0;
  if (flags != 0 || faulty::fails(Operation::kAlloc) || !faulty::removeBlock(block, &before))
    return nullptr;
  void *moved = faulty::takeBlock(bytes);
  if (moved == nullptr) {
    faulty::addBlock(block, before);
    return nullptr;
  }
  faulty::addBlock(moved, bytes);
  faulty::fill(moved, bytes);
  memcpy(moved, block, before < bytes ? before : bytes);
  faulty::fill(block, before);
  faulty::giveBlock(block, before);
  return moved;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD flags, void *block) {
  const bool fault = faulty::fails(Operation::kFree) || flags != 0;
  size_t bytes = 0;
  if (!faulty::removeBlock(block, &bytes)) return 0;
  uint32_t *word = &faulty::state().freedWord;
  if (bytes >= sizeof(*word)) memcpy(word, block, sizeof(*word));
  faulty::fill(block, bytes);
  faulty::giveBlock(block, bytes);
  return fault ? 0 : 1;
}

HANDLE CreateFileW(const JpgWChar *name, DWORD access, DWORD share, void * /*security*/,
                   DWORD creation, DWORD attributes, HANDLE /*templateFile*/) {
  faulty::state().lastOpen = {access, share, creation, attributes};
  if (faulty::fails(Operation::kOpen)) return INVALID_HANDLE_VALUE;
  HANDLE file = posix::openFile(name, access, creation);
  if (file != INVALID_HANDLE_VALUE) faulty::state().openFiles++;
  return file;
}

BOOL ReadFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count, void * /*overlapped*/) {
  const Fault fault = faulty::strike(Operation::kRead);
  *count = 0;
  if (fault == Fault::kFail) return 0;
  const DWORD wanted = fault == Fault::kCutShort ? bytes / 2 : bytes;
  return posix::readFile(file, buffer, faulty::bytesLeft(file, wanted), count);
}

BOOL WriteFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count, void * /*overlapped*/) {
  const Fault fault = faulty::strike(Operation::kWrite);
  *count = 0;
  if (fault == Fault::kFail) return 0;
  const DWORD wanted = fault == Fault::kCutShort ? bytes / 2 : bytes;
  return posix::writeFile(file, buffer, faulty::takeRoom(wanted), count);
}

DWORD SetFilePointer(HANDLE file, LONG distance, LONG * /*distanceHigh*/, DWORD origin) {
  if (faulty::fails(Operation::kSeek)) return INVALID_SET_FILE_POINTER;
  return posix::seekFile(file, distance, origin);
}

DWORD GetFileSize(HANDLE file, DWORD *high) {
  if (faulty::fails(Operation::kGetSize)) return INVALID_FILE_SIZE;
  return posix::fileSize(file, high);
}

BOOL CloseHandle(HANDLE file) {
  const bool fault = faulty::fails(Operation::kClose);
  const BOOL closed = posix::closeFile(file);
  if (closed != 0) faulty::state().openFiles--;
  return fault ? 0 : closed;
}

BOOL IsProcessorFeaturePresent(DWORD feature) {
  return faulty::state().plainProcessor ? 0 : posix::hasProcessorFeature(feature);
}

}  // namespace jpg
