// Measures the heap at the peak of a call, less that at its beginning, for the library and for the
// independent codec, and prints a Markdown table. Replaces the C library's heap functions.
#include <malloc.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

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
double peakOf(const std::function<bool()> &call) {
  if (!call()) return -1;
  const size_t before = live;
  peak = before;
  if (!call()) return -1;
  return static_cast<double>(peak - before) / 1024;
}

}  // namespace

int main() {
  const char *corpus = std::getenv("JPG_CORPUS");
  const auto workloads =
      jpgbench::makeWorkloads(corpus != nullptr ? corpus : JPG_CORPUS_DIR, {0.3, 12});
  std::printf("| workload | size | ours, KiB | theirs, KiB |\n|---|---|---:|---:|\n");
  for (const jpgbench::Workload &w : workloads) {
    if (!w.prepare()) return 1;
    const double ours = peakOf(w.ours), theirs = peakOf(w.theirs);
    if (ours < 0 || theirs < 0) return 1;
    std::printf("| %s | %s | %.0f | %.0f |\n", w.name.c_str(), w.size.c_str(), ours, theirs);
  }
  return 0;
}
