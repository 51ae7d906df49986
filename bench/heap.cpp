// SPDX-License-Identifier: MIT
// Measures the heap at the peak of a call, less that at its beginning, for the library and the
// other codecs: a line "workload|size|codec|KiB" each. Replaces the C library's heap functions.
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "workloads.h"

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}

namespace {

std::atomic<size_t> live{0}, peak{0};

void *taken(void *block) {
  if (block == nullptr) return nullptr;
  const size_t now = live += malloc_usable_size(block);
  if (now > peak) peak = now;
  return block;
}

void given(void *block) {
  if (block != nullptr) live -= malloc_usable_size(block);
}

}  // namespace

extern "C" {
void *malloc(size_t size) noexcept { return taken(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) noexcept { return taken(__libc_calloc(count, size)); }
void *memalign(size_t alignment, size_t size) noexcept {
  return taken(__libc_memalign(alignment, size));
}
void *aligned_alloc(size_t alignment, size_t size) noexcept { return memalign(alignment, size); }
int posix_memalign(void **block, size_t alignment, size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block != nullptr ? 0 : 12;  // ENOMEM
}
void *realloc(void *block, size_t size) noexcept {
  given(block);
  return taken(__libc_realloc(block, size));
}
void free(void *block) noexcept {
  given(block);
  __libc_free(block);
}
}

namespace {

// The peak in KiB; negative when the call fails. A first call allocates the output buffer, which
// isn't counted: the caller of either codec provides it.
double peakOf(const jpgbench::Workload &w, jpgbench::Side *side) {
  if (!w.call(side)) return -1;
  const size_t before = live;
  peak = before;
  if (!w.call(side)) return -1;
  return static_cast<double>(peak - before) / 1024;
}

std::string valueOf(const char *variable, const char *other) {
  const char *value = std::getenv(variable);
  return value != nullptr ? value : other;
}

}  // namespace

int main() {
  auto workloads =
      jpgbench::makeWorkloads(valueOf("JPG_CORPUS", JPG_CORPUS_DIR),
                              valueOf("JPG_BENCH_PICTURES", ""), jpgbench::Choice::kAll);
  for (jpgbench::Workload &w : workloads) {
    if (!w.prepare()) return 1;
    for (jpgbench::Side &side : w.sides()) {
      const double peakKib = peakOf(w, &side);
      if (peakKib < 0) return 1;
      std::printf("%s|%s|%s|%.0f\n", w.name().c_str(), w.size().c_str(), side.codec->name, peakKib);
    }
    w.release();
  }
  return 0;
}
