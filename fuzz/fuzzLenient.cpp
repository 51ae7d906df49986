// SPDX-License-Identifier: MIT
// Fuzz target of lenient reading: whatever the stream, the picture is the same by every way that
// gives it, and all of its rows are stored. The first bytes choose options and calls, the rest is
// the stream.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpg.h"
#include "mutator.h"
#include "options.h"

namespace {

constexpr uint64_t kMaxPixels = 1 << 17;  // keeps a run short
constexpr size_t kChoices = 4;
constexpr size_t kGuardBytes = 32;
constexpr uint8_t kGuard = 0xA5;

void check(bool holds) {
  if (!holds) __builtin_trap();
}

bool stored(uint32_t r) { return r == JPG_OK || r == JPG_E_DAMAGED; }

// What is read, and how.
struct Job {
  const std::vector<uint8_t> &stream;
  uint32_t flags;
  int32_t scale;
  bool raw, walks;
  int32_t band;
  uint32_t width, height, process, pixelBytes;
};

class Handle {
 public:
  explicit Handle(const Job &job) {
    const auto size = static_cast<int32_t>(job.stream.size());
    result = jpgReadPrologFromMemory(job.stream.data(), size, job.flags, &h);
    if (result == JPG_OK && job.raw) jpgReadSetNoColorConversion(h);
  }
  ~Handle() {
    if (result == JPG_OK) check(jpgReadEpilog(h) == JPG_OK);
  }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  JPGHANDLE h = nullptr;
  uint32_t result;
};

// Memory for a picture, with guards.
struct Memory {
  Memory(const Job &job, uint8_t fill)
      : bytes(size_t{job.width} * job.height * job.pixelBytes + 2 * kGuardBytes, fill) {
    for (size_t i = 0; i < kGuardBytes; i++) bytes[i] = bytes[bytes.size() - 1 - i] = kGuard;
    rect.width = static_cast<int32_t>(job.width);
    rect.stride = static_cast<int32_t>(job.width * job.pixelBytes);
    rect.bitsPerPixel = static_cast<int32_t>(8 * job.pixelBytes);
    rect.bitsPerSample = 8;
  }
  const JpgRect *from(uint32_t row) {
    rect.bits = bytes.data() + kGuardBytes + row * static_cast<size_t>(rect.stride);
    return &rect;
  }
  void checkGuards() const {
    for (size_t i = 0; i < kGuardBytes; i++) {
      check(bytes[i] == kGuard && bytes[bytes.size() - 1 - i] == kGuard);
    }
  }
  std::vector<uint8_t> bytes;
  JpgRect rect = {};
};

void walkSegments(JPGHANDLE h, uint32_t steps) {
  uint16_t marker = 0;
  uint32_t length = 0;
  for (uint32_t i = 0; i < steps; i++) {
    const int32_t mode = i == 0 ? JPG_SEGMENT_FIRST : JPG_SEGMENT_NEXT;
    if (jpgReadSeekMarkerSegment(h, mode, &marker, &length) != JPG_OK) break;
    uint8_t data[5];
    jpgReadReadMarkerData(h, data, sizeof(data), nullptr);
  }
}

uint32_t readRows(JPGHANDLE h, const Job &job, const JpgRect *rect, int32_t rows) {
  return job.scale < JPG_SCALE_FULL ? jpgReadScaleOutputToRect(h, rect, rows, job.scale)
                                    : jpgReadToRect(h, rect, rows);
}

// The whole picture in one call; no bytes if it isn't served.
std::vector<uint8_t> readWhole(const Job &job, uint32_t *result) {
  const Handle handle(job);
  Memory memory(job, 0x00);
  *result = readRows(handle.h, job, memory.from(0), static_cast<int32_t>(job.height));
  memory.checkGuards();
  if (!stored(*result)) memory.bytes.clear();
  return memory.bytes;
}

// In bands, between which the segments may be walked.
void readInBands(const Job &job, const std::vector<uint8_t> &whole, uint32_t expected) {
  const Handle handle(job);
  Memory memory(job, 0xFF);
  uint32_t r = JPG_OK;
  for (uint32_t row = 0; row < job.height; row += static_cast<uint32_t>(job.band)) {
    if (job.walks) walkSegments(handle.h, row % 7);
    r = readRows(handle.h, job, memory.from(row), job.band);
    check(stored(r));
  }
  check(r == expected);
  check(memory.bytes == whole);
}

// Scan by scan, to the last one.
void readInScans(const Job &job, const std::vector<uint8_t> &whole) {
  const Handle handle(job);
  Memory memory(job, 0xFF);
  uint32_t r = JPG_OK;
  while (stored(r)) {
    const auto rows = static_cast<int32_t>(job.height);
    r = jpgReadProgressiveToRect(handle.h, memory.from(0), rows, JPG_PROGRESSIVE_NEXT_SCAN);
  }
  check(r == JPG_NO_DATA);
  check(memory.bytes == whole);
}

// From some restart interval on.
void readFromIntervals(const Job &job, const std::vector<uint8_t> &whole) {
  const Handle handle(job);
  for (int32_t interval = 3; interval >= 0; interval--) {
    if (jpgReadSeekRestartMarker(handle.h, interval, JPG_RESTART_FROM_START) != JPG_OK) continue;
    Memory memory(job, 0xFF);
    const JpgRect *rect = memory.from(0);
    check(stored(readRows(handle.h, job, rect, static_cast<int32_t>(job.height))));
    // The rows end with the picture's last one.
    size_t rows = job.height;
    const auto stride = static_cast<size_t>(rect->stride);
    const uint8_t *ours = memory.bytes.data() + kGuardBytes;
    const uint8_t *end = whole.data() + kGuardBytes + job.height * stride;
    const auto same = [&](size_t n) {
      for (size_t i = 0; i < n * stride; i++) {
        if (ours[i] != end[static_cast<ptrdiff_t>(i) - static_cast<ptrdiff_t>(n * stride)]) {
          return false;
        }
      }
      return true;
    };
    while (rows > 0 && !same(rows)) rows--;
    check(rows > 0 || stride == 0);
  }
}

bool measure(const Handle &handle, Job *job) {
  uint32_t channels = 0, precision = 0;
  check(jpgReadGetImageSize(handle.h, &job->width, &job->height) == JPG_OK);
  check(jpgReadGetNumberOfChannels(handle.h, &channels) == JPG_OK);
  check(jpgReadGetSamplePrecision(handle.h, &precision) == JPG_OK);
  check(jpgReadGetCodingProcess(handle.h, &job->process) == JPG_OK);
  check(job->height != 0);
  if (uint64_t{job->width} * job->height > kMaxPixels) return false;
  if (job->process == JPG_PROCESS_LOSSLESS) job->scale = JPG_SCALE_FULL;
  if (job->scale < JPG_SCALE_FULL) {
    check(jpgReadScaleOutputGetImageSize(handle.h, &job->width, &job->height, job->scale) ==
          JPG_OK);
  }
  job->pixelBytes = job->raw ? channels : channels < 3 ? 1 : 3;
  return true;
}

}  // namespace

size_t streamAt(const uint8_t *, size_t) { return kChoices; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size <= kChoices || size > (1 << 18)) return 0;
  // An exact copy, so that the sanitizer detects a read behind the end.
  const std::vector<uint8_t> stream(data + kChoices, data + size);
  Job job = {stream,
             JPG_READ_LENIENT | optionsBy(data[0]),
             data[0] >> 2 & 3,
             (data[0] & 0x40) != 0,
             (data[0] & 0x80) != 0,
             data[2] % 40 + 1,
             0,
             0,
             0,
             0};
  {
    const Handle handle(job);
    if (handle.result != JPG_OK || !measure(handle, &job)) return 0;
  }
  uint32_t result = 0;
  const std::vector<uint8_t> whole = readWhole(job, &result);
  if (whole.empty()) return 0;
  readInBands(job, whole, result);
  const bool full = job.scale == JPG_SCALE_FULL;
  if (full && job.process == JPG_PROCESS_PROGRESSIVE) readInScans(job, whole);
  if (job.process != JPG_PROCESS_LOSSLESS) readFromIntervals(job, whole);
  return 0;
}
