// SPDX-License-Identifier: MIT
// The platform provider for tests: POSIX underneath, with faults on demand and a
// count of everything that is alive.
//
// A test resets it, arms a fault (the n-th call of an operation, from 1), runs the
// library and reads the counts. One test process, one thread.
#ifndef JPG_PLATFORM_FAULTY_FAULTY_H
#define JPG_PLATFORM_FAULTY_FAULTY_H

#include <stddef.h>
#include <stdint.h>

namespace jpg {
namespace faulty {

enum class Operation {
  kAlloc,    // HeapAlloc, and HeapReAlloc (which counts as one too)
  kFree,     // HeapFree: the block is released, but the call reports failure
  kOpen,     // CreateFileW, the size probe's included
  kRead,     // ReadFile
  kWrite,    // WriteFile
  kSeek,     // SetFilePointer
  kGetSize,  // GetFileSize
  kClose,    // CloseHandle: the file is closed, but the call reports failure
  kCount
};

enum class Fault {
  kNone,
  kFail,       // the call fails
  kCutShort,   // kRead, kWrite: the call moves half of the bytes asked for
  kFailAfter,  // every call from the n-th on fails
};

// What CreateFileW was last called with.
struct OpenArguments {
  uint32_t access;
  uint32_t share;
  uint32_t creation;
  uint32_t attributes;
};

// Clears faults and counts. Live blocks and files stay alive but are no longer counted.
void reset();

// Arms `fault` for the n-th call of `operation` after reset(), from 1.
void arm(Operation operation, Fault fault, uint32_t n);

// All files together accept `bytes` more bytes. The write that exceeds them is cut short; later
// ones write nothing or, with `once`, all of their bytes.
void limitOutput(size_t bytes, bool once);

// From the n-th read since reset() on, counted from 1, every file ends at `bytes`.
void shrinkFiles(uint32_t n, size_t bytes);

// From now on, also after reset(), heap blocks are filled with this byte when they are allocated
// and when they are freed. (Before the first call it is A5, in the first 1 MB of a block.)
void fillWith(uint8_t byte);

// Until reset(), the processor reports none of the optional features.
void usePlainProcessor();

uint32_t calls(Operation operation);   // since reset()
uint32_t faults(Operation operation);  // of these, those that an armed fault has struck
bool faultHappened();                  // an armed fault was reached

size_t liveBlocks();  // blocks allocated and not freed
size_t liveBytes();
size_t peakBytes();
size_t openFiles();
size_t wrongFrees();  // frees of what isn't a live block; the block is left alone

// The first word of the block that was freed last, as it was ahead of its release.
uint32_t lastFreedWord();

OpenArguments lastOpen();

}  // namespace faulty
}  // namespace jpg

#endif
