// SPDX-License-Identifier: MIT
// Differential fuzz target: compares the library with the slow models of the tests. Every call must
// give the same result, and every byte of the pixels must be the same.
//
// Sequential streams are the input's own bytes, headers included, with any calls in any order:
// marker access, restart seeks, pieces of the bitstream, bands. The models of progressive and
// lossless decoding need valid headers, so these are generated from the input's first bytes; the
// rest are the coded data.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "jpg.h"
#include "model/reader.h"
#include "mutator.h"
#include "options.h"
#include "support/canvas.h"
#include "support/progressiveStream.h"
#include "support/streamBuilder.h"

namespace {

using jpgtest::Bytes;
using jpgtest::Canvas;

constexpr size_t kMaxInput = 1 << 14;
constexpr uint64_t kMaxPixels = 1 << 13;  // the models are slow
constexpr int32_t kMaxLines = 64;         // of a call, and the rows there is room for
constexpr size_t kCalls = 8;              // bytes that choose calls

void check(bool holds) {
  if (!holds) __builtin_trap();
}

// Reads bytes of the input, 0 after its end.
class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  uint8_t byte() {
    if (size_ == 0) return 0;
    size_--;
    return *data_++;
  }
  uint8_t below(uint32_t limit) { return static_cast<uint8_t>(byte() % limit); }
  Bytes take(size_t n) {
    n = std::min(n, size_);
    const Bytes bytes(data_, data_ + n);
    data_ += n;
    size_ -= n;
    return bytes;
  }
  Bytes rest() { return take(size_); }
  size_t left() const { return size_; }

 private:
  const uint8_t *data_;
  size_t size_;
};

// ---- Sequential streams ----------------------------------------------------

// The library and the model, opened on the same bytes.
class Pair {
 public:
  Pair(const Bytes &stream, uint32_t flags) : stream_(stream) {
    const auto size = static_cast<int32_t>(stream_.size());
    const uint32_t r = jpgReadPrologFromMemory(stream_.data(), size, flags, &handle_);
    check(model_.openMemory(stream_, flags) == r);
    compareGetters();
  }
  ~Pair() { check(handle_ == nullptr || jpgReadEpilog(handle_) == JPG_OK); }
  Pair(const Pair &) = delete;
  Pair &operator=(const Pair &) = delete;

  // True if the model supports the stream.
  bool isComparable() const {
    return handle_ != nullptr && process_ >= JPG_PROCESS_EXTENDED &&
           uint64_t{width_} * std::max(height_, 1U) <= kMaxPixels && model_.knowsPixels();
  }

  // False when the model can't follow any longer.
  bool call(uint8_t choice) {
    const int32_t number = choice / 8;  // 0 to 31
    switch (choice % 8) {
      case 0:
        return decode(kMaxLines);
      case 1:
        return decode(number);
      case 2:
        return decode(8 * number - 16);
      case 3:
        seekSegment(number);
        return true;
      case 4:
        readData(static_cast<uint32_t>(number) * 5);
        return true;
      case 5:
        return seekRestart(number);
      case 6:
        setPartial(static_cast<size_t>(number));
        return true;
      default:
        if (number == 0) {
          check(jpgReadSetNoColorConversion(handle_) == model_.setNoColorConversion());
        }
        return true;
    }
  }

 private:
  void compareGetters() {
    check(model_.isOpen() == (handle_ != nullptr));
    if (handle_ == nullptr) return;
    uint32_t expected[4] = {}, channels = 0, precision = 0;
    model_.getCodingProcess(&expected[0]);
    model_.getImageSize(&expected[1], &expected[2]);
    check(jpgReadGetCodingProcess(handle_, &process_) == JPG_OK && process_ == expected[0]);
    check(jpgReadGetImageSize(handle_, &width_, &height_) == JPG_OK);
    check(width_ == expected[1] && height_ == expected[2]);
    model_.getNumberOfChannels(&expected[0]);
    model_.getSamplePrecision(&expected[1]);
    check(jpgReadGetNumberOfChannels(handle_, &channels) == JPG_OK && channels == expected[0]);
    check(jpgReadGetSamplePrecision(handle_, &precision) == JPG_OK && precision == expected[1]);
    channels_ = static_cast<int32_t>(channels);
  }

  bool decode(int32_t lines) {
    const auto width = static_cast<int32_t>(width_);
    const int32_t pixelBytes = std::max(channels_, 3);
    Canvas expected(width, kMaxLines + 16, pixelBytes), canvas = expected;
    JpgRect rect = expected.rect();
    rect.bitsPerPixel = 8 * channels_;
    const uint32_t r = model_.readToRect(rect, std::min(lines, kMaxLines));
    if (!model_.knowsPixels()) return false;  // the seek has passed a scan header
    const void *bits = canvas.rect().bits;
    rect.bits = const_cast<void *>(bits);
    check(jpgReadToRect(handle_, &rect, std::min(lines, kMaxLines)) == r);
    check(canvas.memory() == expected.memory());
    compareGetters();
    return isComparable();
  }

  void seekSegment(int32_t number) {
    static constexpr int32_t kModes[] = {0, 1, 1, 2};
    uint16_t marker = 1, expectedMarker = 1;
    uint32_t length = 1, expectedLength = 1;
    const int32_t mode = kModes[number & 3];
    const uint32_t r = model_.seekMarkerSegment(mode, &expectedMarker, &expectedLength);
    check(jpgReadSeekMarkerSegment(handle_, mode, &marker, &length) == r);
    check(marker == expectedMarker && length == expectedLength);
  }

  void readData(uint32_t size) {
    uint8_t data[160] = {}, expected[160] = {};
    uint32_t count = 1, expectedCount = 1;
    const uint32_t r = model_.readMarkerData(expected, size, &expectedCount);
    check(jpgReadReadMarkerData(handle_, data, size, &count) == r && count == expectedCount);
    check(std::equal(std::begin(data), std::end(data), std::begin(expected)));
  }

  bool seekRestart(int32_t number) {
    const int32_t intervals = number / 4 - 1;
    const auto mode = static_cast<uint32_t>(number % 3);
    const uint32_t r = model_.seekRestartMarker(intervals, mode);
    check(jpgReadSeekRestartMarker(handle_, intervals, mode) == r);
    return model_.knowsPixels();
  }

  // A piece of the stream, beginning at a multiple of 1/32 of its length.
  void setPartial(size_t number) {
    const size_t begin = stream_.size() * number / 32;
    const size_t size = std::min(stream_.size() - begin, size_t{1} + stream_.size() / 5);
    const auto from = stream_.begin() + static_cast<std::ptrdiff_t>(begin);
    pieces_.push_back(std::make_unique<Bytes>(from, from + static_cast<std::ptrdiff_t>(size)));
    const Bytes &piece = *pieces_.back();
    const uint32_t r = model_.setPartialBitstream(piece);
    const auto length = static_cast<uint32_t>(piece.size());
    check(jpgReadSetPartialBitstream(handle_, piece.data(), length) == r);
  }

  Bytes stream_;
  std::vector<std::unique_ptr<Bytes>> pieces_;
  jpgtest::Model model_;
  JPGHANDLE handle_ = nullptr;
  uint32_t width_ = 0, height_ = 0, process_ = 0;
  int32_t channels_ = 0;
};

void sequential(Input &in) {
  const uint8_t choice = in.byte();
  const uint32_t flags =
      (choice & (JPG_READ_COMPLETE | JPG_READ_PARTIAL_BITSTREAM)) | optionsBy(choice >> 3);
  const Bytes calls = in.take(kCalls);
  if (in.left() == 0) return;
  Pair pair(in.rest(), flags);
  for (size_t i = 0; i < calls.size() && pair.isComparable(); i++) {
    if (!pair.call(calls[i])) return;
  }
}

// ---- Generated headers -----------------------------------------------------

// A table by the input: codes of each length use the room that the shorter ones leave.
jpgtest::HuffTable anyTable(Input &in, bool categories) {
  jpgtest::HuffTable table;
  uint32_t room = 1, sum = 0;
  for (uint8_t &count : table.counts) {
    room *= 2;
    count = static_cast<uint8_t>(std::min({uint32_t{in.byte()}, room, 255 - sum}));
    room = std::min(room - count, 1U << 16);
    sum += count;
  }
  for (uint32_t i = 0; i < sum; i++) {
    table.values.push_back(categories ? in.below(18) : in.byte());
  }
  return table;
}

// One of a few tables, or one by the input.
jpgtest::HuffTable chooseTable(Input &in, bool categories) {
  const uint8_t choice = in.below(4);
  if (choice == 0) return anyTable(in, categories);
  std::vector<uint8_t> values;
  for (uint8_t v = 0; v < (categories ? 17 : 255); v++) values.push_back(v);
  if (choice == 1) return jpgtest::longTailTable(values);
  return jpgtest::evenTable(values, categories ? 5 : 8);
}

// Coded data: an FF is stuffed unless it begins an RST or EOI. Other markers would begin new
// headers, which the models don't support.
Bytes codedData(const Bytes &bytes) {
  Bytes data;
  for (size_t i = 0; i < bytes.size(); i++) {
    data.push_back(bytes[i]);
    if (bytes[i] != 0xFF) continue;
    const uint8_t next = i + 1 < bytes.size() ? bytes[i + 1] : uint8_t{0};
    const bool kept = next == 0 || (next >= 0xD0 && next <= 0xD7) || next == 0xD9;
    data.push_back(kept ? next : uint8_t{0});
    i += kept ? 1 : 0;
  }
  return data;
}

// ---- Progressive streams ---------------------------------------------------

const std::vector<std::vector<uint8_t>> kLayouts = {{0x11},
                                                    {0x22},
                                                    {0x11, 0x11},
                                                    {0x22, 0x11},
                                                    {0x11, 0x11, 0x11},
                                                    {0x22, 0x11, 0x11},
                                                    {0x21, 0x11, 0x11},
                                                    {0x12, 0x11, 0x11},
                                                    {0x11, 0x22, 0x12},
                                                    {0x22, 0x11, 0x11, 0x22}};

struct Progressive {
  int32_t width, height;
  size_t components;
  Bytes stream;
};

jpgtest::Script chooseScript(Input &in, size_t components) {
  const uint8_t choice = in.below(4);
  if (choice == 0) return jpgtest::spectralScript(components);
  if (choice == 1) return jpgtest::partedScript(components);
  jpgtest::Script script = jpgtest::refiningScript(components);
  // Scans with any values, valid or not.
  for (int i = 0; choice == 3 && i < 4; i++) {
    jpgtest::ScanScript scan = {{in.below(static_cast<uint32_t>(components))},
                                in.below(64),
                                in.below(64),
                                in.below(14),
                                in.below(14)};
    if (scan.ss > scan.se) std::swap(scan.ss, scan.se);
    script.insert(script.begin() + in.below(static_cast<uint32_t>(script.size())), scan);
  }
  return script;
}

Progressive makeProgressive(Input &in) {
  const std::vector<uint8_t> &layout = kLayouts[in.below(static_cast<uint32_t>(kLayouts.size()))];
  Progressive p = {1 + in.below(40), 1 + in.below(40), layout.size(), {}};
  const uint16_t interval = in.below(4) == 0 ? in.below(9) : 0;
  const jpgtest::Script script = chooseScript(in, layout.size());
  jpgtest::StreamBuilder s;
  s.soi().dqt(0, jpgtest::flatQuant(1 + in.byte()));
  std::vector<jpgtest::FrameComponent> components;
  for (const uint8_t sampling : layout) {
    components.push_back({static_cast<uint8_t>(components.size() + 1), sampling, 0});
  }
  s.sof(jpgtest::kSof2, 8, static_cast<uint16_t>(p.height), static_cast<uint16_t>(p.width),
        components);
  s.dht(0x00, chooseTable(in, true)).dht(0x10, chooseTable(in, false));
  if (interval != 0) s.dri(interval);
  const size_t each = in.left() / script.size() + 1;
  for (const jpgtest::ScanScript &scan : script) {
    std::vector<jpgtest::ScanComponent> selected;
    for (const unsigned i : scan.components) selected.push_back({components[i].id, 0});
    s.sos(selected, scan.ss, scan.se, static_cast<uint8_t>(scan.ah << 4 | scan.al));
    s.raw(codedData(in.take(each)));
  }
  s.eoi();
  p.stream = s.bytes();
  return p;
}

void progressive(Input &in) {
  const Bytes calls = in.take(4);
  const Progressive p = makeProgressive(in);
  JPGHANDLE h = nullptr;
  jpgtest::Model model;
  const auto size = static_cast<int32_t>(p.stream.size());
  const uint32_t flags = JPG_READ_COMPLETE | optionsBy(calls.empty() ? 0U : calls[0] >> 6);
  const uint32_t opened = jpgReadPrologFromMemory(p.stream.data(), size, flags, &h);
  check(model.openMemory(p.stream, flags) == opened);
  for (size_t i = 0; opened == JPG_OK && i < calls.size() && !model.lostItsWay(); i++) {
    const int32_t lines = (calls[i] & 2) != 0 ? 16 : p.height;
    Canvas expected(p.width, kMaxLines, p.components < 3 ? 1 : 3), canvas = expected;
    const uint32_t r = model.progressiveToRect(expected.rect(), lines, calls[i] & 1);
    if (model.lostItsWay()) break;
    const JpgRect rect = canvas.rect();
    check(jpgReadProgressiveToRect(h, &rect, lines, calls[i] & 1) == r);
    check(canvas.memory() == expected.memory());
    // After a refused scan header the stream's position is undefined.
    if (r == JPG_E_UNSUPPORTED || r == JPG_E_NOT_JPEG) break;
  }
  check(h == nullptr || jpgReadEpilog(h) == JPG_OK);
}

// ---- Lossless streams ------------------------------------------------------

Bytes makeLossless(Input &in) {
  const uint16_t width = 1 + in.below(40), height = 1 + in.below(40);
  const uint8_t precision = 2 + in.below(15), count = 1 + in.below(4), predictor = in.below(9);
  const uint8_t point = in.below(16), rows = in.below(4);
  jpgtest::StreamBuilder s;
  s.soi();
  std::vector<jpgtest::FrameComponent> frame;
  std::vector<jpgtest::ScanComponent> scan;
  for (uint8_t i = 0; i < count; i++) {
    const uint8_t table = in.below(2);
    frame.push_back({i, 0x11, 0});
    scan.push_back({i, static_cast<uint8_t>(table << 4)});
  }
  for (uint8_t t = 0; t < 2; t++) s.dht(t, chooseTable(in, true));
  if (rows != 0) s.dri(static_cast<uint16_t>(width * rows));
  s.sof(jpgtest::kSof3, precision, height, width, frame).sos(scan, predictor, 0, point);
  s.raw(codedData(in.rest())).eoi();
  return s.bytes();
}

void lossless(Input &in) {
  const Bytes stream = makeLossless(in);
  jpgtest::Model model;
  check(model.openMemory(stream, JPG_READ_COMPLETE) == JPG_OK);
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(stream.size());
  check(jpgReadPrologFromMemory(stream.data(), size, JPG_READ_COMPLETE, &h) == JPG_OK);
  const auto lines = static_cast<int32_t>(model.height());
  Bytes expected(model.rowBytes() * (model.height() + 1), 0xEE), samples = expected;
  JpgRect rect = {};
  rect.stride = static_cast<int32_t>(model.rowBytes());
  rect.bits = expected.data();
  const uint32_t r = model.spatialToRect(rect, lines);
  rect.bits = samples.data();
  check(jpgReadSpatialToRect(h, &rect, lines) == r);
  check(samples == expected);
  check(jpgReadEpilog(h) == JPG_OK);
}

}  // namespace

// Generated headers have no bytes in the input.
size_t streamAt(const uint8_t *data, size_t size) {
  return size == 0 || data[0] % 4 >= 2 ? size : 2 + kCalls;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  Input in(data, size);
  switch (in.below(4)) {
    case 2:
      progressive(in);
      break;
    case 3:
      lossless(in);
      break;
    default:
      sequential(in);
      break;
  }
  return 0;
}
