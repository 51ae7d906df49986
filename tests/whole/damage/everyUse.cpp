// SPDX-License-Identifier: MIT
#include "whole/damage/everyUse.h"

#include <jpg.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "support/stored.h"

namespace jpgtest {
namespace {

constexpr size_t kGuardBytes = 16;
constexpr uint8_t kGuard = 0xA5;
constexpr int kMaxSegments = 40;    // of a walk
constexpr size_t kMaxRowBytes = 8;  // bytes of a pixel in any kind of row

// Memory of this size alone with guards around it; what the library stores there must be defined.
class Buffer {
 public:
  explicit Buffer(size_t size) : size_(size), all_(new uint8_t[size + 2 * kGuardBytes]) {
    std::memset(all_.get(), kGuard, kGuardBytes);
    std::memset(bits() + size, kGuard, kGuardBytes);
  }
  uint8_t *bits() { return all_.get() + kGuardBytes; }
  bool whole() {
    expectStored(bits(), size_);
    const auto guard = [](uint8_t b) { return b == kGuard; };
    return std::all_of(all_.get(), bits(), guard) &&
           std::all_of(bits() + size_, bits() + size_ + kGuardBytes, guard);
  }

 private:
  size_t size_;
  std::unique_ptr<uint8_t[]> all_;
};

struct Bitmap {
  BITMAPINFOHEADER header;
  RGBQUAD colors[256];
};

// A read handle over a stream; every use of it writes into what became of the stream.
class Use {
 public:
  Use(const uint8_t *data, size_t size, uint32_t flags, Used *used) : used_(used) {
    handle_ = reinterpret_cast<JPGHANDLE>(used);  // must be replaced
    const uint32_t r = jpgReadPrologFromMemory(data, static_cast<int32_t>(size), flags, &handle_);
    if ((r == JPG_OK) != (handle_ != nullptr)) used->handlesClosed = false;
    if (handle_ == nullptr) return;
    jpgReadGetImageSize(handle_, &width_, &height_);
    jpgReadGetNumberOfChannels(handle_, &channels_);
    jpgReadGetCodingProcess(handle_, &process_);
    used->width = std::max(used->width, width_);
    used->height = std::max(used->height, height_);
    used->channels = std::max(used->channels, channels_);
    used->process |= process_;
  }
  ~Use() {
    if (handle_ != nullptr && jpgReadEpilog(handle_) != JPG_OK) used_->handlesClosed = false;
  }
  Use(const Use &) = delete;
  Use &operator=(const Use &) = delete;

  bool isOpen() const { return handle_ != nullptr; }
  JPGHANDLE handle() const { return handle_; }

  void walkSegments();
  void readExif();
  // Rows by the decoder of the process. Every row goes to the same place.
  void decode(int32_t mode);
  void decodeScaled();
  void decodeBitmap(uint16_t depth, int32_t scale);
  void seekIntervals();
  bool isProgressive() const { return process_ == JPG_PROCESS_PROGRESSIVE; }
  bool isLossless() const { return process_ == JPG_PROCESS_LOSSLESS; }

 private:
  uint32_t readBand(const JpgRect &rect, int32_t lines, int32_t mode);
  void readThumbnail(JPGEXIFHANDLE exif, uint16_t depth);
  void keep(bool guardsWhole) { used_->guardsWhole = used_->guardsWhole && guardsWhole; }

  Used *used_;
  JPGHANDLE handle_ = nullptr;
  uint32_t width_ = 0, height_ = 0, channels_ = 0, process_ = 0;
};

void Use::walkSegments() {
  uint8_t data[24];
  int32_t mode = JPG_SEGMENT_FIRST;
  for (int i = 0; i < kMaxSegments; i++, mode = JPG_SEGMENT_NEXT) {
    uint16_t marker = 0;
    uint32_t length = 0, count = 0;
    if (jpgReadSeekMarkerSegment(handle_, mode, &marker, &length) != JPG_OK) break;
    jpgReadReadMarkerData(handle_, data, sizeof(data), &count);
    expectStored(data, count);
    keep(count <= sizeof(data) && count <= length);
  }
}

void Use::readThumbnail(JPGEXIFHANDLE exif, uint16_t depth) {
  Bitmap bitmap = {};
  bitmap.header.biBitCount = depth;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  if (jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi) != JPG_OK) return;
  if (bitmap.header.biWidth < 1 || bitmap.header.biHeight < 1) return;
  const auto width = static_cast<uint64_t>(bitmap.header.biWidth);
  const auto height = static_cast<uint64_t>(bitmap.header.biHeight);
  if (width > kMaxPixels || height > kMaxPixels || width * height > kMaxPixels) return;
  const uint64_t row = (width * depth / 8 + 3) / 4 * 4;
  Buffer pixels(static_cast<size_t>(row * height));
  if (jpgExifReadThumbnailToWinDIBits(exif, pixels.bits(), bmi) == JPG_OK) used_->thumbnail = true;
  keep(pixels.whole());
}

void Use::readExif() {
  auto *exif = reinterpret_cast<JPGEXIFHANDLE>(used_);
  const uint32_t r = jpgReadExifReadAttributeProlog(handle_, &exif);
  if ((r == JPG_OK) != (exif != nullptr)) used_->handlesClosed = false;
  if (exif == nullptr) return;
  for (const uint16_t depth : {uint16_t{8}, uint16_t{16}, uint16_t{24}}) {
    readThumbnail(exif, depth);
  }
  if (jpgReadExifReadAttributeEpilog(exif) != JPG_OK) used_->handlesClosed = false;
}

uint32_t Use::readBand(const JpgRect &rect, int32_t lines, int32_t mode) {
  if (isLossless()) return jpgReadSpatialToRect(handle_, &rect, lines);
  if (isProgressive()) return jpgReadProgressiveToRect(handle_, &rect, lines, mode);
  return jpgReadToRect(handle_, &rect, lines);
}

void Use::decode(int32_t mode) {
  Buffer row(kMaxRowBytes * width_);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width_);
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels_);
  rect.bits = row.bits();
  for (int32_t y = 0; y < kMaxRows; y += kBand) {
    if (readBand(rect, kBand, mode) != JPG_OK) break;
    used_->decoded = true;
  }
  keep(row.whole());
}

void Use::decodeScaled() {
  for (const int32_t scale : {JPG_SCALE_EIGHTH, JPG_SCALE_QUARTER, JPG_SCALE_HALF}) {
    uint32_t width = 0, height = 0;
    if (jpgReadScaleOutputGetImageSize(handle_, &width, &height, scale) != JPG_OK) return;
    Buffer row(kMaxRowBytes * width);
    JpgRect rect = {};
    rect.bits = row.bits();
    for (int32_t y = 0; y < kMaxRows; y += kBand) {
      if (jpgReadScaleOutputToRect(handle_, &rect, kBand, scale) != JPG_OK) break;
    }
    keep(row.whole());
  }
}

void Use::decodeBitmap(uint16_t depth, int32_t scale) {
  Bitmap bitmap = {};
  bitmap.header.biBitCount = depth;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&bitmap);
  const auto read = [&](void *bits) {
    if (isProgressive()) return jpgReadProgressiveToWinDIBits(handle_, kBand, bits, bmi, 0);
    return jpgReadScaleOutputToWinDIBits(handle_, kBand, bits, bmi, scale);
  };
  if (read(nullptr) != JPG_OK || bitmap.header.biWidth < 1) return;
  const auto width = static_cast<size_t>(bitmap.header.biWidth);
  bitmap.header.biHeight = kBand;
  Buffer pixels((width * depth / 8 + 3) / 4 * 4 * kBand);
  read(pixels.bits());
  keep(pixels.whole());
}

void Use::seekIntervals() {
  for (const int32_t intervals : {0, 1, 3, 1}) {
    jpgReadSeekRestartMarker(handle_, intervals, JPG_RESTART_FROM_START);
    decode(0);
    jpgReadSeekRestartMarker(handle_, intervals, JPG_RESTART_FROM_CURRENT);
  }
}

void useInPieces(const uint8_t *data, size_t size, Used *used) {
  const size_t half = size / 2;
  if (half == 0) return;
  Use use(data, half, JPG_READ_PARTIAL_BITSTREAM, used);
  if (!use.isOpen()) return;
  use.decode(0);
  jpgReadSetPartialBitstream(use.handle(), data + half, static_cast<uint32_t>(size - half));
  use.decode(0);
}

}  // namespace

// One handle at a time, so that the heap's peak is that of one.
Used useStream(const uint8_t *data, size_t size) {
  Used used;
  // What an ordinary caller does; a stream without an end is opened by the next one.
  Use(data, size, 0, &used);
  {
    Use use(data, size, JPG_READ_COMPLETE, &used);
    if (!use.isOpen()) return used;
    use.walkSegments();
    use.readExif();
    use.decode(JPG_PROGRESSIVE_ALL_SCANS);
    use.decodeScaled();
  }
  for (const uint16_t depth : {uint16_t{8}, uint16_t{16}, uint16_t{24}}) {
    Use use(data, size, JPG_READ_COMPLETE, &used);
    if (!use.isLossless()) use.decodeBitmap(depth, depth == 16 ? JPG_SCALE_HALF : JPG_SCALE_FULL);
  }
  {
    Use use(data, size, JPG_READ_COMPLETE, &used);
    jpgReadSetNoColorConversion(use.handle());
    if (use.isProgressive()) {
      use.decode(JPG_PROGRESSIVE_NEXT_SCAN);
    } else {
      use.seekIntervals();
    }
  }
  {
    Use use(data, size, JPG_READ_COMPLETE | JPG_READ_ACCURATE | JPG_READ_SMOOTH, &used);
    use.decode(JPG_PROGRESSIVE_ALL_SCANS);
    use.decodeScaled();
    use.seekIntervals();
  }
  useInPieces(data, size, &used);
  return used;
}

Used useLeniently(const uint8_t *data, size_t size) {
  Used used;
  const uint32_t flags = JPG_READ_LENIENT | JPG_READ_ACCURATE | JPG_READ_SMOOTH;
  {
    Use use(data, size, JPG_READ_LENIENT, &used);
    if (!use.isOpen()) return used;
    use.walkSegments();
    use.readExif();
    use.decode(JPG_PROGRESSIVE_NEXT_SCAN);
    use.decodeScaled();
    use.seekIntervals();
  }
  {
    Use use(data, size, flags, &used);
    if (!use.isLossless()) use.decodeBitmap(24, JPG_SCALE_FULL);
    use.decodeScaled();
  }
  return used;
}

}  // namespace jpgtest
