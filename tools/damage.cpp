// SPDX-License-Identifier: MIT
#include "damage.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "jpg/segments.hpp"
#include "report.h"

namespace jpgtool {
namespace {

// Limits of the search, which keep it to some seconds: file size, and samples decoded in all.
constexpr uint64_t kMostFile = 64 << 20;
constexpr uint64_t kMostSamples = uint64_t{2} << 30;

constexpr size_t kSampleBytes = 4;  // coded, at most: a code of 16 bits and 15 additional bits

using Stream = std::vector<uint8_t>;

// How far a decoder got: rows of MCUs (lossless: rows), and the code of the one that failed.
struct Outcome {
  uint32_t steps = 0;
  uint32_t code = JPG_OK;
};

bool operator==(const Outcome &a, const Outcome &b) {
  return a.steps == b.steps && a.code == b.code;
}

// True for codes caused by the entropy-coded data; the others are about headers.
bool isOfCodedData(uint32_t code) {
  return code == JPG_E_BAD_DC_CODE || code == JPG_E_BAD_AC_CODE || code == JPG_E_COEF_OVERFLOW ||
         code == JPG_E_END_OF_IMAGE || code == JPG_E_FAIL;
}

// Finds the damaged byte by decoding the file cut off at different lengths.
class Search {
 public:
  explicit Search(const FailedDecode &failed)
      : failed_(failed),
        stream_(failed.input->data(), failed.input->data() + failed.input->size()),
        lossless_(isLossless()) {}

  // Finds the offset of the last byte that the failure needs, or of the file's end if it needs the
  // whole file.
  bool run(uint64_t *place) {
    const bool anyCode = failed_.code == JPG_E_DAMAGED;
    if ((!anyCode && !isOfCodedData(failed_.code)) || !measure()) return false;
    if (decode(startWithZeros(scanData_, 1), 0, 1).code != JPG_OK) return false;
    whole_ = decode(stream_, failed_.intervals, steps_);
    if (anyCode ? !isOfCodedData(whole_.code) : whole_.code != failed_.code) return false;
    size_t without = scanData_, with = stream_.size();
    if (samples() * bitsOf(with - without) > kMostSamples) return false;
    *place = with;
    if (!failsAlike(with)) return true;
    while (with - without > 1) {
      const size_t middle = without + (with - without) / 2;
      (failsAlike(middle) ? with : without) = middle;
    }
    *place = with - 1;
    return true;
  }

 private:
  bool isLossless() const { return failed_.frame.process == JPG_PROCESS_LOSSLESS; }

  // Samples decoded up to the failure.
  uint64_t samples() const { return uint64_t{whole_.steps + 1} * (stepBytes_ / kSampleBytes); }

  // Number of trials of a binary search over that many bytes.
  static uint32_t bitsOf(size_t bytes) {
    uint32_t bits = 0;
    for (; bytes != 0; bytes /= 2) bits++;
    return bits;
  }

  // Determines the rows of a step and the most coded bytes that it may take.
  bool measure() {
    constexpr uint32_t kSide = 8, kSamples = 64;
    JPGHANDLE handle = nullptr;
    const uint32_t r = open(stream_, &handle);
    jpgReadEpilog(handle);
    if (r != JPG_OK) return false;
    const Headers headers = headersOf(*failed_.input);
    if (headers.components.empty() || failed_.frame.width == 0) return false;
    const Segment &scan = headers.segments.back();
    scanData_ = static_cast<size_t>(scan.offset) + 4 + scan.length;
    uint32_t h = 1, v = 1, blocks = 0;
    for (Component c : headers.components) {
      if (headers.components.size() == 1) c.h = c.v = 1;  // a single one counts as 1 x 1
      h = std::max(h, c.h);
      v = std::max(v, c.v);
      blocks += c.h * c.v;
    }
    const uint32_t rows = lossless_ ? 1 : kSide * v, columns = lossless_ ? 1 : kSide * h;
    const size_t units = (failed_.frame.width + columns - 1) / columns;
    steps_ = (failed_.frame.height + rows - 1) / rows;
    lines_ = static_cast<int32_t>(lossless_ ? 1 : v);
    stepBytes_ = units * blocks * (lossless_ ? 1 : kSamples) * kSampleBytes;
    return scanData_ < stream_.size();
  }

  static uint32_t open(const Stream &stream, JPGHANDLE *handle) {
    return jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()),
                                   JPG_READ_COMPLETE, handle);
  }

  uint32_t step(JPGHANDLE handle) {
    JpgRect rect = {};
    rect.stride = static_cast<int32_t>(rowBytes());
    rect.bits = rows_.data();
    return lossless_ ? jpgReadSpatialToRect(handle, &rect, lines_)
                     : jpgReadScaleOutputToRect(handle, &rect, lines_, JPG_SCALE_EIGHTH);
  }
  size_t rowBytes() const {
    return size_t{failed_.frame.width} * failed_.frame.channels * sizeof(uint16_t);
  }

  Outcome decode(const Stream &stream, uint32_t intervals, uint32_t most) {
    Outcome outcome;
    JPGHANDLE handle = nullptr;
    rows_.assign(2 * rowBytes(), 0);
    outcome.code = open(stream, &handle);
    if (outcome.code == JPG_OK && intervals != 0) {
      outcome.code =
          jpgReadSeekRestartMarker(handle, static_cast<int32_t>(intervals), JPG_RESTART_FROM_START);
    }
    while (outcome.code == JPG_OK && outcome.steps < most) {
      outcome.code = step(handle);
      if (outcome.code == JPG_OK) outcome.steps++;
    }
    jpgReadEpilog(handle);
    return outcome;
  }

  // The file's first `size` bytes, then zeros for `steps` steps, then an end marker.
  Stream startWithZeros(size_t size, size_t steps) const {
    Stream start(stream_.begin(), stream_.begin() + static_cast<std::ptrdiff_t>(size));
    start.resize(size + steps * stepBytes_, 0);
    start.push_back(0xFF);
    start.push_back(jpg::marker::kEoi & 0xFFU);
    return start;
  }

  // True if the file's first `size` bytes are enough for the same failure. Appended zeros never
  // turn the start of a valid code into an invalid one, since codes of a length are counted upwards
  // (T.81 annex C). The zeros must suffice for the step that fails; if they run out, twice as many
  // give a different failure.
  bool failsAlike(size_t size) {
    for (size_t steps = 1; steps <= 2; steps++) {
      const Stream start = startWithZeros(size, steps);
      if (!(decode(start, failed_.intervals, whole_.steps + 1) == whole_)) return false;
    }
    return true;
  }

  const FailedDecode &failed_;
  const Stream stream_;
  const bool lossless_;
  Outcome whole_;
  size_t scanData_ = 0;   // offset of the first coded byte
  size_t stepBytes_ = 0;  // coded bytes of a step, at most
  uint32_t steps_ = 0;    // of the whole picture
  int32_t lines_ = 0;     // of a step, as decoded: at an eighth of the size, which is the fastest
  Stream rows_;           // two rows at full size: a step, or a row and the one the decoder saves
};

// Number of scans of a progressive file that can be decoded.
uint32_t goodScans(const FailedDecode &failed) {
  JPGHANDLE handle = nullptr;
  jpgReadPrologFromMemory(failed.input->data(), static_cast<int32_t>(failed.input->size()),
                          JPG_READ_COMPLETE, &handle);
  uint8_t nothing[4] = {};
  JpgRect rect = {};
  rect.bits = nothing;
  uint32_t count = 0;
  while (jpgReadProgressiveToRect(handle, &rect, 0, JPG_PROGRESSIVE_NEXT_SCAN) == JPG_OK) count++;
  jpgReadEpilog(handle);
  return count;
}

std::string scanOfDamage(const FailedDecode &failed) {
  const StreamScan scan = scanStream(*failed.input);
  const std::vector<uint64_t> &offsets = scan.scanOffsets;
  if (offsets.empty()) return "";
  if (failed.frame.process != JPG_PROCESS_PROGRESSIVE) {
    return ", behind the scan header at byte " + std::to_string(offsets[0]);
  }
  const size_t good = goodScans(failed);
  const size_t n = std::min(good, offsets.size() - 1);
  return std::string(good < offsets.size() ? " in scan " : " behind scan ") +
         std::to_string(n + 1) + ", whose header stands at byte " + std::to_string(offsets[n]);
}

}  // namespace

std::string whyFailed(JPGHANDLE handle, const FailedDecode &failed) {
  uint16_t what = 0;
  uint32_t offset = 0;
  const bool told = failed.code == JPG_E_DAMAGED &&
                    jpgReadSeekMarkerSegment(handle, JPG_SEGMENT_DAMAGE, &what, &offset) == JPG_OK;
  if (!told) return meaningOf(failed.code) + placeOfDamage(failed);
  constexpr uint32_t kError = 0x80000000;
  const std::string place = " near byte " + std::to_string(offset);
  if ((kError | what) == JPG_E_DAMAGED) return meaningOf(JPG_E_DAMAGED) + place;
  return std::string(meaningOf(JPG_E_DAMAGED)) + "; " + meaningOf(kError | what) + place;
}

std::string placeOfDamage(const FailedDecode &failed) {
  uint64_t place = 0;
  const bool known = failed.frame.process != JPG_PROCESS_PROGRESSIVE &&
                     failed.input->size() <= kMostFile && Search(failed).run(&place);
  return known ? " near byte " + std::to_string(place) : scanOfDamage(failed);
}

}  // namespace jpgtool
