// SPDX-License-Identifier: MIT
// Fuzz target of the interface as a whole: the input is a program of calls, each with a
// handle of any kind and any arguments that a caller may pass, and a stream that read handles
// are opened on.
//
// The conditions that the library can't check are kept: buffers have room for what is asked for.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "jpg.h"
#include "mutator.h"
#include "options.h"
#include "support/stored.h"

namespace {

using jpgtest::expectStored;

constexpr unsigned kSlots = 3;            // handles of each kind
constexpr unsigned kMaxCalls = 64;        // of a program
constexpr uint32_t kMaxPixels = 1 << 19;  // of a progressive store or a thumbnail
constexpr int32_t kMaxWidth = 300;        // pixels that are written
constexpr int32_t kMaxLines = 48;         // rows of a call

void check(bool holds) {
  if (!holds) __builtin_trap();
}

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

// The program's bytes, 0 behind their end.
class Program {
 public:
  Program(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  bool ended() const { return size_ == 0; }
  uint8_t byte() {
    if (size_ == 0) return 0;
    size_--;
    return *data_++;
  }
  uint32_t below(uint32_t limit) {
    const uint32_t low = byte();
    return (low | byte() * 256U) % limit;
  }
  // Small numbers, large ones, negative ones.
  int32_t number() {
    static constexpr int32_t kEdges[] = {0,   1,     -1,    2,         3,        16,
                                         255, 65535, 65536, INT32_MAX, INT32_MIN};
    const uint8_t choice = byte();
    return choice < 11 ? kEdges[choice] : choice / 4;
  }

 private:
  const uint8_t *data_;
  size_t size_;
};

class Machine {
 public:
  Machine(Program program, const uint8_t *stream, size_t size)
      : in_(program), stream_(stream, stream + size), samples_(size_t{kMaxWidth} * 5 + 64) {
    for (size_t i = 0; i < samples_.size(); i++) samples_[i] = static_cast<uint16_t>(i * 7919);
  }
  ~Machine() {
    for (JPGHANDLE h : readers_) check(h == nullptr || jpgReadEpilog(h) == JPG_OK);
    for (JPGHANDLE h : writers_) {
      if (h != nullptr) jpgWriteEpilogToFile(h);
    }
    for (JPGEXIFHANDLE h : exifs_) {
      check(h == nullptr || jpgReadExifReadAttributeEpilog(h) == JPG_OK);
    }
  }
  Machine(const Machine &) = delete;
  Machine &operator=(const Machine &) = delete;

  void run() {
    for (unsigned i = 0; i < kMaxCalls && !in_.ended(); i++) call(in_.byte() % 43);
  }

 private:
  void call(unsigned function);
  void callReader(unsigned function);
  void callSettings(unsigned function);
  void callWriter(unsigned function);

  // A handle of any kind; mostly of the right one.
  JPGHANDLE any(JPGHANDLE const *meant) {
    const uint8_t choice = in_.byte();
    if (choice < 200) return meant[choice % kSlots];
    if (choice < 220) return readers_[choice % kSlots];
    if (choice < 240) return writers_[choice % kSlots];
    return reinterpret_cast<JPGHANDLE>(exifs_[choice % kSlots]);
  }
  JPGEXIFHANDLE anyExif() {
    const uint8_t choice = in_.byte();
    return choice < 230 ? exifs_[choice % kSlots] : reinterpret_cast<JPGEXIFHANDLE>(any(readers_));
  }
  // Removes a handle that an epilog has closed.
  void closed(JPGHANDLE h) {
    for (JPGHANDLE &r : readers_) r = r == h ? nullptr : r;
    for (JPGHANDLE &w : writers_) w = w == h ? nullptr : w;
  }
  // The prologs' own flags, and a quarter of the time options with them.
  uint32_t prologFlags() {
    const uint8_t choice = in_.byte();
    return choice < 192 ? choice : (choice & 6U) | allOptionsBy(choice >> 3);
  }
  const JpgWChar *path() {
    static constexpr JpgWChar kSink[] = u"/dev/null";
    if (in_.byte() < 200) return kSink;
    const size_t units = in_.below(260);
    path_.assign(units, static_cast<JpgWChar>(0xD7FF + units * 13));
    path_.push_back(0);
    return path_.data();
  }
  JpgRect readRect(JPGHANDLE h);
  JpgRect writeRect();
  void readBitmap(JPGHANDLE h, unsigned function);
  void writeBitmap();
  void thumbnail();
  void openReader(JPGHANDLE *slot);
  bool isCostly(JPGHANDLE h) const;

  Program in_;
  std::vector<uint8_t> stream_;
  std::vector<uint16_t> samples_;  // what is written
  std::vector<uint8_t> row_;       // what is read: every row goes to the same place
  std::vector<JpgWChar> path_;
  JPGHANDLE readers_[kSlots] = {};
  JPGHANDLE writers_[kSlots] = {};
  JPGEXIFHANDLE exifs_[kSlots] = {};
};

// True for large frames, which would make runs slow.
bool Machine::isCostly(JPGHANDLE h) const {
  uint32_t width = 0, height = 0;
  if (jpgReadGetImageSize(h, &width, &height) != JPG_OK) return false;
  return width > 4096 || uint64_t{width} * height > kMaxPixels;
}

void Machine::openReader(JPGHANDLE *slot) {
  if (*slot != nullptr) return;
  const size_t begin = in_.byte() < 230 ? 0 : in_.below(static_cast<uint32_t>(stream_.size()) + 1);
  const auto size = static_cast<int32_t>(stream_.size() - begin);
  const uint32_t r = jpgReadPrologFromMemory(stream_.data() + begin, size, prologFlags(), slot);
  check((r == JPG_OK) == (*slot != nullptr));
  if (*slot == nullptr || !isCostly(*slot)) return;
  check(jpgReadEpilog(*slot) == JPG_OK);
  *slot = nullptr;
}

JpgRect Machine::readRect(JPGHANDLE h) {
  uint32_t width = 0, height = 0;
  jpgReadGetImageSize(h, &width, &height);
  row_.assign(size_t{8} * (width + 16), 0);
  JpgRect rect = {};
  rect.width = in_.number();
  rect.height = in_.number();
  rect.bitsPerPixel = 8 * (in_.byte() % 5);
  rect.bits = in_.byte() == 255 ? nullptr : row_.data();
  // Pixels beyond the image's width belong to its last MCUs.
  const auto widest = static_cast<int32_t>(width + 15);
  if (rect.width > widest) rect.width = widest;
  return rect;
}

JpgRect Machine::writeRect() {
  JpgRect rect = {};
  rect.width = in_.number();
  if (rect.width > kMaxWidth) rect.width %= kMaxWidth;
  rect.height = in_.number();
  rect.bitsPerPixel = 24;
  rect.channels = static_cast<int32_t>(in_.byte() % 7) - 1;
  rect.bitsPerSample = in_.byte() % 4 != 0 ? 8 : in_.byte() % 18;
  rect.bits = in_.byte() == 255 ? nullptr : samples_.data();
  return rect;
}

void Machine::readBitmap(JPGHANDLE h, unsigned function) {
  uint32_t width = 0, height = 0;
  jpgReadGetImageSize(h, &width, &height);
  Bitmap bitmap = {};
  bitmap.header.biWidth = static_cast<int32_t>(width) + in_.byte() % 6 - 1;
  bitmap.header.biHeight = in_.number();
  bitmap.header.biBitCount = static_cast<uint16_t>(in_.byte() % 40);
  const int32_t lines = in_.byte() % kMaxLines;
  const auto bytes = static_cast<size_t>(bitmap.header.biWidth + 4) * 5;
  row_.assign(bytes * static_cast<size_t>(lines + 1), 0);
  void *bits = in_.byte() < 60 ? nullptr : row_.data();
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  const int32_t argument = in_.number();
  if (function == 0) jpgReadToWinDIBits(h, lines, bits, bmi);
  if (function == 1) jpgReadProgressiveToWinDIBits(h, lines, bits, bmi, argument);
  if (function == 2) jpgReadScaleOutputToWinDIBits(h, lines, bits, bmi, argument);
}

void Machine::thumbnail() {
  JPGEXIFHANDLE exif = anyExif();
  Bitmap bitmap = {};
  bitmap.header.biBitCount = static_cast<uint16_t>(in_.byte() % 40);
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  if (jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi) != JPG_OK) return;
  const auto width = static_cast<uint64_t>(bitmap.header.biWidth);
  const auto height = static_cast<uint64_t>(bitmap.header.biHeight);
  if (width > kMaxPixels || height > kMaxPixels || width * height > kMaxPixels) return;
  row_.assign(static_cast<size_t>((width + 4) * 4 * height) + 4, 0);
  jpgExifReadThumbnailToWinDIBits(exif, row_.data(), bmi);
  expectStored(row_.data(), row_.size());
}

void Machine::writeBitmap() {
  static constexpr uint16_t kDepths[] = {1, 4, 8, 16, 24, 32, 2, 0};
  Bitmap bitmap = {};
  bitmap.header.biSize = 40;
  bitmap.header.biWidth = static_cast<int32_t>(in_.below(kMaxWidth)) - 1;
  bitmap.header.biHeight = static_cast<int32_t>(in_.below(64)) - 8;
  bitmap.header.biBitCount = kDepths[in_.byte() % 8];
  bitmap.header.biCompression = in_.byte() % 5;
  bitmap.header.biClrUsed = in_.below(257);
  std::vector<uint8_t> bits(size_t{kMaxWidth + 4} * 4 * 64);
  for (size_t i = 0; i < bits.size(); i++)
    bits[i] = stream_.empty() ? 0 : stream_[i % stream_.size()];
  bitmap.header.biSizeImage = static_cast<uint32_t>(bits.size());
  jpgWriteFromWinDIBits(any(writers_), in_.byte() % 64, bits.data(),
                        reinterpret_cast<BITMAPINFO *>(&bitmap));
}

void Machine::callReader(unsigned function) {
  JPGHANDLE h = any(readers_);
  uint32_t word = 0, second = 0;
  uint16_t marker = 0;
  uint8_t data[64];
  jpgtest::markUnstored(data, sizeof(data));
  switch (function) {
    case 5:
      jpgReadGetCodingProcess(h, &word);
      break;
    case 6:
      jpgReadGetImageSize(h, &word, &second);
      break;
    case 7:
      jpgReadGetNumberOfChannels(h, in_.byte() == 255 ? nullptr : &word);
      break;
    case 8:
      jpgReadGetSamplePrecision(h, &word);
      break;
    case 9:
      jpgReadSetNoColorConversion(h);
      break;
    case 10:
      jpgReadSeekMarkerSegment(h, in_.number(), &marker, &word);
      break;
    case 11: {
      const uint32_t size = in_.below(sizeof(data) + 1);
      if (jpgReadReadMarkerData(h, data, size, &word) == JPG_OK) {
        check(word >= 1 && word <= size);
        expectStored(data, word);
      }
      break;
    }
    case 12:
      jpgReadSeekMarkerData(h);
      break;
    case 13:
      jpgReadSeekRestartMarker(h, in_.number(), in_.byte() % 3);
      break;
    case 14: {
      const auto begin = in_.below(static_cast<uint32_t>(stream_.size()) + 1);
      const auto size = static_cast<uint32_t>(stream_.size()) - begin;
      jpgReadSetPartialBitstream(h, stream_.data() + begin, size);
      break;
    }
    case 15: {
      const JpgRect rect = readRect(h);
      jpgReadToRect(h, &rect, in_.number() % kMaxLines);
      break;
    }
    case 16: {
      const JpgRect rect = readRect(h);
      jpgReadProgressiveToRect(h, &rect, in_.number() % kMaxLines, in_.byte() % 4);
      break;
    }
    case 17: {
      const int32_t scale = in_.number();
      jpgReadScaleOutputGetImageSize(h, &word, &second, scale);
      break;
    }
    case 18: {
      const JpgRect rect = readRect(h);
      jpgReadScaleOutputToRect(h, &rect, in_.number() % kMaxLines, in_.byte() % 5);
      break;
    }
    case 19: {
      const JpgRect rect = readRect(h);
      jpgReadSpatialToRect(h, &rect, in_.number() % kMaxLines);
      break;
    }
    default:
      readBitmap(h, function - 20);
      break;
  }
  expectStored(word);
  expectStored(second);
  expectStored(marker);
  // Nothing that was read from the library's own memory may be undefined.
  expectStored(row_.data(), row_.size());
}

void Machine::callSettings(unsigned function) {
  JPGHANDLE h = any(writers_);
  const int32_t number = in_.number();
  switch (function) {
    case 23:
      jpgWriteSetImageSize(h, static_cast<uint32_t>(number), in_.below(70000));
      break;
    case 24:
      jpgWriteSetNoColorConversion(h);
      break;
    case 25: {
      static constexpr uint32_t kSamplings[] = {0x00111111, 0x00211111, 0x00121111, 0x00221111,
                                                0x11111111, 0x00212212, 0x00112211, 0};
      jpgWriteSetSubsamplingFactor(h, kSamplings[in_.byte() % 8] ^ (in_.byte() >> 5));
      break;
    }
    case 26:
      jpgWriteSetNumberOfComponents(h, number);
      break;
    case 27:
      jpgWriteSetQuantizationFactor(h, number);
      break;
    case 28:
      jpgWriteSetRestartInterval(h, number);
      break;
    default:
      jpgWriteSetSpatialPredictor(h, number);
      break;
  }
}

void Machine::callWriter(unsigned function) {
  JPGHANDLE h = any(writers_);
  void *data = nullptr;
  uint32_t size = 0;
  const auto length = in_.below(static_cast<uint32_t>(stream_.size()) + 1);
  switch (function) {
    case 30:
      jpgWriteWriteMarkerCode(h, 0xFF00U + in_.byte(), in_.below(70000));
      break;
    case 31:
      jpgWriteWriteMarkerData(h, stream_.data(), length, &size);
      break;
    case 32:
      jpgWriteWriteMarkerSegment(h, 0xFF00U + in_.byte(), stream_.data(), length);
      break;
    case 33: {
      const JpgRect rect = writeRect();
      jpgWriteFromRect(h, &rect, in_.below(kMaxLines));
      break;
    }
    case 34: {
      const JpgRect rect = writeRect();
      jpgWriteSpatialFromRect(h, &rect, in_.below(kMaxLines));
      break;
    }
    case 35:
      writeBitmap();
      break;
    case 36:
      if (jpgWriteGetPartialBitstream(h, &data, &size) == JPG_OK) {
        expectStored(data, size);
        jpgWriteFreeBitstream(data);
      }
      break;
    case 37:
      if (jpgWriteEpilogToFile(h) != JPG_E_INVALID_HANDLE) closed(h);
      break;
    default:
      if (jpgWriteEpilogToMemory(h, &data, &size) == JPG_E_INVALID_HANDLE) break;
      closed(h);
      expectStored(data, size);
      if (data != nullptr) check(jpgWriteFreeBitstream(data) == JPG_OK);
      break;
  }
}

void Machine::call(unsigned function) {
  const unsigned slot = in_.byte() % kSlots;
  switch (function) {
    case 0:
      openReader(&readers_[slot]);
      break;
    case 1: {
      JPGHANDLE h = nullptr;
      if (jpgReadPrologFromFile(path(), in_.number(), in_.number(), prologFlags(), &h) == JPG_OK) {
        check(jpgReadEpilog(h) == JPG_OK);
      }
      break;
    }
    case 2:
      if (writers_[slot] == nullptr) jpgWritePrologToMemory(in_.byte(), &writers_[slot]);
      break;
    case 3:
      if (writers_[slot] == nullptr) jpgWritePrologToFile(path(), in_.byte(), &writers_[slot]);
      break;
    case 4: {
      JPGHANDLE h = any(readers_);
      if (jpgReadEpilog(h) != JPG_E_INVALID_HANDLE) closed(h);
      break;
    }
    case 39:
      if (exifs_[slot] == nullptr) jpgReadExifReadAttributeProlog(any(readers_), &exifs_[slot]);
      break;
    case 40: {
      JPGEXIFHANDLE exif = anyExif();
      if (jpgReadExifReadAttributeEpilog(exif) == JPG_E_INVALID_HANDLE) break;
      for (JPGEXIFHANDLE &e : exifs_) e = e == exif ? nullptr : e;
      break;
    }
    case 41:
      thumbnail();
      break;
    case 42:
      check(jpgWriteFreeBitstream(nullptr) == JPG_E_INVALID_HANDLE);
      break;
    default:
      if (function < 23)
        callReader(function);
      else if (function < 30)
        callSettings(function);
      else
        callWriter(function);
  }
}

}  // namespace

size_t streamAt(const uint8_t *data, size_t size) { return size == 0 ? 0 : size_t{1} + data[0]; }

// A length, a program of that many bytes, and a stream.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 3 || size > (1 << 20)) return 0;
  const size_t rest = size - 1;
  const size_t length = data[0] < rest ? data[0] : rest;
  Machine({data + 1, length}, data + 1 + length, rest - length).run();
  return 0;
}
