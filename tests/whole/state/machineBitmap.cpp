// SPDX-License-Identifier: MIT
// Calls that read into bitmaps, and those of Exif.
#include <algorithm>
#include <cstring>

#include "whole/state/arguments.h"
#include "whole/state/machine.h"

namespace jpgtest {
namespace {

constexpr size_t kMargin = 64;

// A bitmap of so many rows, its description and its pixels guarded.
struct Target {
  BitmapInfo info;
  Bytes memory;
  uint8_t *bits() { return &memory[kMargin]; }
};

Target makeTarget(int32_t width, int32_t rows, int32_t depth, bool bottomUp) {
  Target t;
  t.info.header.biSize = 40;
  t.info.header.biWidth = width;
  t.info.header.biHeight = bottomUp ? rows : -rows;
  t.info.header.biPlanes = 1;
  t.info.header.biBitCount = static_cast<uint16_t>(depth);
  for (RGBQUAD &color : t.info.colors) color = {1, 2, 3, 4};
  const int32_t row = (depth / 8 * std::max(width, 0) + 3) / 4 * 4;
  t.memory.assign(2 * kMargin + static_cast<size_t>(row) * static_cast<size_t>(rows), 0xA5);
  return t;
}

Bytes bytesOf(const BitmapInfo &info) {
  Bytes bytes(sizeof(info));
  std::memcpy(bytes.data(), &info, sizeof(info));
  return bytes;
}

// The lower rows of the image as they are there.
void copyLowerRows(int32_t count, int32_t pixels, Target *to, const Target &from) {
  const BITMAPINFOHEADER &h = to->info.header;
  const int32_t depth = h.biBitCount / 8;
  const auto row = static_cast<size_t>((depth * h.biWidth + 3) / 4 * 4);
  const int32_t rows = std::abs(h.biHeight);
  for (int32_t y = rows - count; y < rows; y++) {
    const auto place = static_cast<size_t>(h.biHeight > 0 ? rows - 1 - y : y);
    const size_t at = kMargin + place * row;
    std::memcpy(&to->memory[at], &from.memory[at], static_cast<size_t>(pixels * depth));
  }
}

}  // namespace

bool Machine::bitmaps(const Call &call) {
  switch (call.op) {
    case Op::kReadToWinDIBits:
    case Op::kReadProgressiveToWinDIBits:
    case Op::kReadScaleOutputToWinDIBits:
      toBitmap(call);
      return true;
    case Op::kReadExifReadAttributeProlog:
      exifProlog(call);
      return true;
    case Op::kReadExifReadAttributeEpilog:
      exifEpilog(call.a[0]);
      return true;
    case Op::kExifReadThumbnailToWinDIBits:
      thumbnail(call);
      return true;
    default:
      return false;
  }
}

void Machine::toBitmap(const Call &call) {
  ReaderState *r = reader(call.a[0]);
  const int32_t lines = std::clamp(call.a[1], 0, 64), nulls = call.a[5], extra = call.a[6];
  uint32_t width = 20, height = 20;
  if (r != nullptr) {
    width = r->width();
    if (call.op == Op::kReadScaleOutputToWinDIBits) r->getScaledSize(&width, &height, extra);
  }
  const auto wide = static_cast<int32_t>(width) + call.a[3];
  Target want = makeTarget(wide, lines, call.a[2], call.a[4] != 0);
  Target have = makeTarget(wide, lines, call.a[2], call.a[4] != 0);
  const bool known = r != nullptr && !bit(nulls, 1);
  const BitmapSource source = call.op == Op::kReadToWinDIBits ? BitmapSource::kSequential
                              : call.op == Op::kReadProgressiveToWinDIBits
                                  ? BitmapSource::kProgressive
                                  : BitmapSource::kScaled;
  uint32_t expected = JPG_E_INVALID_HANDLE;
  int32_t unknownRows = 0;
  if (known) {
    expected = readBitmap(r, source, extra, lines, orNull(want.bits(), nulls, 0), want.info.bmi(),
                          &unknownRows);
  }
  JPGHANDLE h = handle(call.a[0]);
  uint8_t *bits = orNull(have.bits(), nulls, 0);
  BITMAPINFO *bmi = orNull(have.info.bmi(), nulls, 1);
  const uint32_t got = source == BitmapSource::kSequential ? jpgReadToWinDIBits(h, lines, bits, bmi)
                       : source == BitmapSource::kProgressive
                           ? jpgReadProgressiveToWinDIBits(h, lines, bits, bmi, extra)
                           : jpgReadScaleOutputToWinDIBits(h, lines, bits, bmi, extra);
  if (known && r->lostItsWay()) lost_ = true;
  if (lost_) return;
  sameResult(expected, got);
  if (expected == JPG_OK) copyLowerRows(unknownRows, static_cast<int32_t>(width), &want, have);
  sameBytes("bitmap", want.memory, have.memory);
  sameBytes("description", bytesOf(want.info), bytesOf(have.info));
}

void Machine::exifProlog(const Call &call) {
  const int32_t slot = call.a[1], nulls = call.a[2];
  if (slot < 0 || slot >= kExifSlots || exif_[slot].handle != nullptr) return;
  ReaderState *r = reader(call.a[0]);
  auto model = std::make_unique<ExifState>();
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (r != nullptr && !bit(nulls, 0)) expected = model->open(r);
  auto h = reinterpret_cast<JPGEXIFHANDLE>(this);
  sameResult(expected, jpgReadExifReadAttributeProlog(handle(call.a[0]), orNull(&h, nulls, 0)));
  if (bit(nulls, 0)) return;
  same("attribute handle is null", expected != JPG_OK, h == nullptr);
  if (expected != JPG_OK || h == nullptr) return;
  exif_[slot].handle = h;
  exif_[slot].model = std::move(model);
}

void Machine::exifEpilog(int32_t slot) {
  const bool open = slot >= 0 && slot < kExifSlots && exif_[slot].handle != nullptr;
  sameResult(open ? JPG_OK : JPG_E_INVALID_HANDLE,
             jpgReadExifReadAttributeEpilog(exifHandle(slot)));
  if (open) exif_[slot] = ExifSlot();
}

void Machine::thumbnail(const Call &call) {
  const int32_t slot = call.a[0], nulls = call.a[4];
  const bool open = slot >= 0 && slot < kExifSlots && exif_[slot].handle != nullptr;
  ExifState *e = open ? exif_[slot].model.get() : nullptr;
  uint32_t width = 9, height = 9;
  if (e != nullptr && e->parse() == JPG_OK) {
    width = e->width();
    height = e->height();
  }
  const auto wide = static_cast<int32_t>(width) + call.a[2];
  Target want = makeTarget(wide, static_cast<int32_t>(height), call.a[1], call.a[3] != 0);
  Target have = makeTarget(wide, static_cast<int32_t>(height), call.a[1], call.a[3] != 0);
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (e != nullptr && !bit(nulls, 1)) {
    expected = readThumbnail(e, orNull(want.bits(), nulls, 0), want.info.bmi());
  }
  sameResult(expected,
             jpgExifReadThumbnailToWinDIBits(exifHandle(slot), orNull(have.bits(), nulls, 0),
                                             orNull(have.info.bmi(), nulls, 1)));
  sameBytes("bitmap", want.memory, have.memory);
  sameBytes("description", bytesOf(want.info), bytesOf(have.info));
}

}  // namespace jpgtest
