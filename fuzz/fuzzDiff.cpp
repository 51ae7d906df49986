// SPDX-License-Identifier: MIT
// Differential fuzz target: the decoded picture must not depend on the kernels, on the number of
// rows per call, or on whether the stream is in memory or in a file; nor must the encoded stream.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "jpg.h"
#include "kernels/jpgKernels.h"
#include "mutator.h"
#include "options.h"
#include "share/jpgShare.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kChoices = 4;
constexpr uint32_t kMaxPixels = 1 << 16;
constexpr int32_t kBand = 16;  // rows, which every sampling divides

void check(bool holds) {
  if (!holds) __builtin_trap();
}

// How a stream is read or pixels are written.
struct Way {
  bool plainKernels;
  bool bands;
  bool file;
};

// The outcome: the first code that isn't success, and all bytes.
struct Outcome {
  uint32_t opened = 0;
  uint32_t result = 0;
  Bytes bytes;
};

// A file without a name.
class Unnamed {
 public:
  explicit Unnamed(const Bytes &content) : file_(memfd_create("fuzz", 0)) {
    check(file_ >= 0);
    check(write(file_, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
  }
  ~Unnamed() { close(file_); }
  Unnamed(const Unnamed &) = delete;
  Unnamed &operator=(const Unnamed &) = delete;

  std::u16string path() const {
    const std::string name = "/proc/self/fd/" + std::to_string(file_);
    return {name.begin(), name.end()};
  }
  Bytes content() const {
    Bytes bytes(static_cast<size_t>(lseek(file_, 0, SEEK_END)));
    check(pread(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    return bytes;
  }

 private:
  int file_;
};

// Which decoder reads a stream, and how.
struct Decoding {
  uint32_t process;
  uint8_t calls;  // as fuzzRead: bits 2 raw, 3 scaled
  int32_t scale;
};

uint32_t readRows(JPGHANDLE h, const Decoding &how, const JpgRect &rect, int32_t rows) {
  if (how.process == JPG_PROCESS_LOSSLESS) return jpgReadSpatialToRect(h, &rect, rows);
  if (how.process == JPG_PROCESS_PROGRESSIVE) return jpgReadProgressiveToRect(h, &rect, rows, 0);
  if ((how.calls & 8) != 0) return jpgReadScaleOutputToRect(h, &rect, rows, how.scale);
  return jpgReadToRect(h, &rect, rows);
}

// Reads all rows at once or in bands. Lossless bands: behind each, a call for the saved row.
void readAll(JPGHANDLE h, const Decoding &how, bool bands, JpgRect rect, Outcome *out) {
  const int32_t step = bands ? kBand : rect.height;
  const bool lossless = how.process == JPG_PROCESS_LOSSLESS;
  auto *first = static_cast<uint8_t *>(rect.bits);
  for (int32_t y = 0; y < rect.height; y += step) {
    const int32_t rows = rect.height - y < step ? rect.height - y : step;
    rect.bits = first + static_cast<ptrdiff_t>(y) * rect.stride;
    out->result = readRows(h, how, rect, rows);
    if (out->result != JPG_OK) return;
    if (!lossless || y + rows >= rect.height) continue;
    rect.bits = first + static_cast<ptrdiff_t>(y + rows - 1) * rect.stride;
    check(jpgReadSpatialToRect(h, &rect, 0) == JPG_OK);
  }
}

void decode(JPGHANDLE h, uint8_t calls, uint8_t scale, bool bands, Outcome *out) {
  uint32_t width = 0, height = 0, channels = 0;
  Decoding how = {0, calls, scale & 3};
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &channels);
  jpgReadGetCodingProcess(h, &how.process);
  if ((calls & 4) != 0) jpgReadSetNoColorConversion(h);
  if ((calls & 8) != 0) jpgReadScaleOutputGetImageSize(h, &width, &height, how.scale);
  // While the height is unknown, the number of rows depends on the size of the bands.
  if (height == 0 || uint64_t{width} * height > kMaxPixels) return;
  const uint32_t pixel = how.process == JPG_PROCESS_LOSSLESS ? 2 * channels : 4;
  out->bytes.assign(size_t{pixel} * (width + 1) * (height + 1), 0x5A);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.height = static_cast<int32_t>(height);
  rect.stride = static_cast<int32_t>(pixel * (width + 1));
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels);
  rect.bits = out->bytes.data();
  readAll(h, how, bands, rect, out);
  // The decoder may use the row behind the last one.
  out->bytes.resize(size_t{pixel} * (width + 1) * height);
}

Outcome read(const Bytes &stream, const uint8_t *choices, const Way &way) {
  Outcome out;
  JPGHANDLE h = nullptr;
  const uint32_t flags = (choices[0] & JPG_READ_COMPLETE) | optionsBy(choices[0] >> 3);
  const auto size = static_cast<int32_t>(stream.size());
  if (way.file) {
    const Unnamed file(stream);
    out.opened = jpgReadPrologFromFile(file.path().c_str(), 0, 0, flags, &h);
    if (h != nullptr) decode(h, choices[1], choices[2], way.bands, &out);
  } else {
    out.opened = jpgReadPrologFromMemory(stream.data(), size, flags, &h);
    if (h != nullptr && way.plainKernels) h->kernels = &jpg::jpgPortableKernels;
    if (h != nullptr) decode(h, choices[1], choices[2], way.bands, &out);
  }
  check(h == nullptr || jpgReadEpilog(h) == JPG_OK);
  return out;
}

// Writes the stream's bytes as pixels.
Outcome writePixels(const Bytes &pixels, const uint8_t *choices, const Way &way) {
  static constexpr uint32_t kSamplings[] = {0x00111111, 0x00211111, 0x00121111, 0x00221111};
  Outcome out;
  const int32_t width = choices[2] % 64 + 1;
  const int32_t channels = (choices[1] & 1) != 0 ? 3 : 1;
  const int32_t height = static_cast<int32_t>(pixels.size()) / (width * channels);
  const bool lossless = (choices[1] & 2) != 0;
  if (height < 1 || height > 200) return out;
  const Unnamed file({});
  JPGHANDLE h = nullptr;
  const uint32_t options = choices[0] >> 1 & 7U;
  const uint32_t flags = options != 0 ? 0x4A500000 | options << 8 : 0;
  out.opened = way.file ? jpgWritePrologToFile(file.path().c_str(), flags, &h)
                        : jpgWritePrologToMemory(flags, &h);
  check(out.opened == JPG_OK);
  if (way.plainKernels) h->kernels = &jpg::jpgPortableKernels;
  jpgWriteSetSubsamplingFactor(h, kSamplings[choices[3] & 3]);
  jpgWriteSetQuantizationFactor(h, choices[3] >> 2);
  jpgWriteSetRestartInterval(h, choices[1] >> 4);
  jpgWriteSetSpatialPredictor(h, choices[3] & 7);
  Bytes copy = pixels;
  JpgRect rect = {width, height, width * channels, 8 * channels, channels, 8, nullptr, 0, 0};
  // Partial MCUs are filled with samples coded before them in the same call, so the stream depends
  // on the bands if there are any.
  const bool whole = lossless || (width % kBand == 0 && height % kBand == 0);
  const int32_t step = way.bands && whole ? kBand : height;
  for (int32_t y = 0; y < height && out.result == JPG_OK; y += step) {
    const auto rows = static_cast<uint32_t>(height - y < step ? height - y : step);
    rect.bits = copy.data() + static_cast<ptrdiff_t>(y) * rect.stride;
    out.result =
        lossless ? jpgWriteSpatialFromRect(h, &rect, rows) : jpgWriteFromRect(h, &rect, rows);
  }
  if (way.file) {
    check(jpgWriteEpilogToFile(h) == JPG_OK || out.result != JPG_OK);
    out.bytes = file.content();
    return out;
  }
  void *data = nullptr;
  uint32_t size = 0;
  check(jpgWriteEpilogToMemory(h, &data, &size) == JPG_OK || out.result != JPG_OK);
  const auto *bytes = static_cast<const uint8_t *>(data);
  out.bytes.assign(bytes, bytes + size);
  jpgWriteFreeBitstream(data);
  return out;
}

template <class Job>
void compareWays(const Job &job) {
  const Outcome expected = job({false, false, false});
  for (const Way &way : {Way{true, false, false}, Way{false, true, false}, Way{false, false, true},
                         Way{true, true, false}}) {
    const Outcome other = job(way);
    check(other.opened == expected.opened && other.result == expected.result);
    check(other.bytes == expected.bytes);
  }
}

}  // namespace

// What is written are pixels.
size_t streamAt(const uint8_t *data, size_t size) {
  return size == 0 || (data[0] & 1) != 0 ? size : kChoices;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size <= kChoices || size > (1 << 16)) return 0;
  const Bytes stream(data + kChoices, data + size);
  if ((data[0] & 1) != 0) {
    compareWays([&](const Way &way) { return writePixels(stream, data, way); });
  } else {
    compareWays([&](const Way &way) { return read(stream, data, way); });
  }
  return 0;
}
