// SPDX-License-Identifier: MIT
// Calls on read handles but those of bitmaps and Exif.
#include <algorithm>
#include <cstring>

#include "whole/state/arguments.h"
#include "whole/state/machine.h"
#include "whole/state/material.h"

namespace jpgtest {
namespace {

constexpr int32_t kMostLines = 64;  // that a surface has room for
constexpr int32_t kMostColumns = 64;

}  // namespace

bool Machine::opening(const Call &call) {
  if (call.op == Op::kReadPrologFromFile) {
    readFromFile(call);
  } else if (call.op == Op::kReadPrologFromMemory) {
    readFromMemory(call);
  } else if (call.op == Op::kReadEpilog) {
    readEpilog(call.a[0]);
  } else {
    return false;
  }
  return true;
}

void Machine::readFromFile(const Call &call) {
  Slot *s = slotOf(call.a[0]);
  if (s == nullptr || s->handle != nullptr) return;
  const int32_t nulls = call.a[5], offset = call.a[2], length = call.a[3];
  const auto flags = static_cast<uint32_t>(call.a[4]);
  const Material &m = material(call.a[1]);
  // The stream stands behind so many bytes of something else.
  Bytes content(static_cast<size_t>(std::clamp(offset, 0, 1000)), 0x55);
  append(content, m.stream);
  s->file = std::make_unique<TempFile>(content);
  s->pieces = m.pieces;
  auto model = std::make_unique<ReaderState>();
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if ((nulls & 3) == 0) expected = model->openFile(content, offset, length, flags);
  const auto path = widePath(s->file->path());
  JPGHANDLE h = reinterpret_cast<JPGHANDLE>(this);
  const uint32_t got = jpgReadPrologFromFile(orNull(path.c_str(), nulls, 0), offset, length, flags,
                                             orNull(&h, nulls, 1));
  sameResult(expected, got);
  if ((nulls & 3) != 0) return;
  if (got == JPG_OK) s->handle = h;
  if (got != JPG_OK && (expected != JPG_E_INVALID_PARAMETER || offset >= 0)) {
    same("handle of a failed prolog is null", 1, h == nullptr);
  }
  if (expected == JPG_OK) s->reader = std::move(model);
}

void Machine::readFromMemory(const Call &call) {
  Slot *s = slotOf(call.a[0]);
  if (s == nullptr || s->handle != nullptr) return;
  const int32_t nulls = call.a[4];
  const auto flags = static_cast<uint32_t>(call.a[3]);
  const Material &m = material(call.a[1]);
  s->data = m.stream;
  s->pieces = m.pieces;
  // A positive size is that of a shorter block.
  int32_t size = static_cast<int32_t>(s->data.size());
  if (call.a[2] > 0) size = std::min(size, call.a[2]);
  if (call.a[2] < 0) size = call.a[2] + 1;
  Bytes block = s->data;
  block.resize(static_cast<size_t>(std::max(size, 0)));
  auto model = std::make_unique<ReaderState>();
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if ((nulls & 3) == 0) expected = model->openMemory(block, flags);
  model->openedFromMemory(flags);
  JPGHANDLE h = reinterpret_cast<JPGHANDLE>(this);
  const uint32_t got =
      jpgReadPrologFromMemory(orNull(s->data.data(), nulls, 0), size, flags, orNull(&h, nulls, 1));
  sameResult(expected, got);
  if ((nulls & 3) != 0) return;
  if (got == JPG_OK) s->handle = h;
  if (got != JPG_OK && size > 0) same("handle of a failed prolog is null", 1, h == nullptr);
  if (expected == JPG_OK) s->reader = std::move(model);
}

void Machine::readEpilog(int32_t slot) {
  Slot *s = slotOf(slot);
  const bool open = reader(slot) != nullptr;
  const uint32_t got = jpgReadEpilog(handle(slot));
  sameResult(open ? JPG_OK : JPG_E_INVALID_HANDLE, got);
  if (open || (s != nullptr && got == JPG_OK)) *s = Slot();
}

bool Machine::walking(const Call &call) {
  const int32_t slot = call.a[0];
  ReaderState *r = reader(slot);
  constexpr uint32_t kNone = JPG_E_INVALID_HANDLE;
  switch (call.op) {
    case Op::kReadSetNoColorConversion:
      sameResult(r != nullptr ? r->setNoColorConversion() : kNone,
                 jpgReadSetNoColorConversion(handle(slot)));
      return true;
    case Op::kReadSeekMarkerSegment:
      seekSegment(call);
      return true;
    case Op::kReadReadMarkerData:
      readData(call);
      return true;
    case Op::kReadSeekMarkerData:
      sameResult(r != nullptr ? r->seekMarkerData() : kNone, jpgReadSeekMarkerData(handle(slot)));
      return true;
    case Op::kReadSeekRestartMarker: {
      const auto mode = static_cast<uint32_t>(call.a[2]);
      sameResult(r != nullptr ? r->seekRestartMarker(call.a[1], mode) : kNone,
                 jpgReadSeekRestartMarker(handle(slot), call.a[1], mode));
      return true;
    }
    case Op::kReadSetPartialBitstream:
      setPartial(call);
      return true;
    default:
      return false;
  }
}

void Machine::seekSegment(const Call &call) {
  ReaderState *r = reader(call.a[0]);
  uint16_t marker[2] = {0x1111, 0x1111};
  uint32_t length[2] = {kPattern, kPattern};
  const int32_t nulls = call.a[2];
  const auto seek = [&](size_t i) {
    return std::make_pair(orNull(&marker[i], nulls, 0), orNull(&length[i], nulls, 1));
  };
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (r != nullptr) expected = r->seekMarkerSegment(call.a[1], seek(0).first, seek(0).second);
  const uint32_t got =
      jpgReadSeekMarkerSegment(handle(call.a[0]), call.a[1], seek(1).first, seek(1).second);
  sameResult(expected, got);
  same("marker", marker[0], marker[1]);
  same("length", length[0], length[1]);
}

void Machine::readData(const Call &call) {
  ReaderState *r = reader(call.a[0]);
  const auto size = static_cast<uint32_t>(call.a[1]);
  const int32_t nulls = call.a[2];
  Bytes want(size + 8, 0xA5), have = want;
  uint32_t counts[2] = {kPattern, kPattern};
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (r != nullptr) {
    expected = r->readMarkerData(orNull(want.data(), nulls, 0), size, orNull(&counts[0], nulls, 1));
  }
  sameResult(expected, jpgReadReadMarkerData(handle(call.a[0]), orNull(have.data(), nulls, 0), size,
                                             orNull(&counts[1], nulls, 1)));
  same("count", counts[0], counts[1]);
  sameBytes("data", want, have);
}

void Machine::setPartial(const Call &call) {
  Slot *s = slotOf(call.a[0]);
  ReaderState *r = reader(call.a[0]);
  Bytes piece = {0xFF, 0xD9};
  if (s != nullptr && !s->pieces.empty()) {
    piece = s->pieces[static_cast<size_t>(call.a[1]) % s->pieces.size()];
    const uint8_t behind[] = {0xD9, 0xD0, 0xD3};
    append(piece, {0xFF, behind[call.a[1] % 3]});
  }
  const bool empty = call.a[2] != 0, null = bit(call.a[3], 0);
  Bytes kept = piece;
  if (s != nullptr) s->given.push_back(std::move(kept));
  const Bytes &data = s != nullptr ? s->given.back() : piece;
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (r != nullptr && !null) expected = r->setPartialBitstream(empty ? Bytes() : data);
  sameResult(expected, jpgReadSetPartialBitstream(handle(call.a[0]), null ? nullptr : data.data(),
                                                  empty ? 0 : static_cast<uint32_t>(data.size())));
}

bool Machine::decoding(const Call &call) {
  switch (call.op) {
    case Op::kReadToRect:
    case Op::kReadProgressiveToRect:
    case Op::kReadScaleOutputToRect:
      decode(call);
      return true;
    case Op::kReadSpatialToRect:
      decodeSpatial(call);
      return true;
    default:
      return false;
  }
}

void Machine::decode(const Call &call) {
  ReaderState *r = reader(call.a[0]);
  JPGHANDLE h = handle(call.a[0]);
  const int32_t lines = std::min(call.a[1], kMostLines), nulls = call.a[5], extra = call.a[6];
  const int32_t width = std::min(call.a[2], kMostColumns);
  int32_t pixelBytes = call.a[3];
  // Four bytes when the number isn't told: no writer stores more.
  const int32_t pitch = kMostColumns * 4 + 4;
  Surface want = makeSurface(std::max(lines, 0) + 1, pitch, width, pixelBytes, call.a[4] != 0);
  Surface have = makeSurface(std::max(lines, 0) + 1, pitch, width, pixelBytes, call.a[4] != 0);
  if (bit(nulls, 1)) want.rect.bits = have.rect.bits = nullptr;
  const JpgRect *to = orNull(&have.rect, nulls, 0);
  const JpgRect before = have.rect;
  const bool known = r != nullptr && !bit(nulls, 0);
  uint32_t expected = JPG_E_INVALID_HANDLE, got = 0;
  if (call.op == Op::kReadToRect) {
    if (known) expected = r->readToRect(want.rect, lines);
    got = jpgReadToRect(h, to, lines);
  } else if (call.op == Op::kReadProgressiveToRect) {
    if (known) expected = r->progressiveToRect(want.rect, lines, extra);
    got = jpgReadProgressiveToRect(h, to, lines, extra);
  } else {
    if (known) expected = r->scaledToRect(want.rect, lines, extra);
    got = jpgReadScaleOutputToRect(h, to, lines, extra);
  }
  if (known && r->lostItsWay()) lost_ = true;
  if (lost_) return;
  sameResult(expected, got);
  sameBytes("pixels", want.memory, have.memory);
  same("the rectangle stays", 0, std::memcmp(&before, &have.rect, sizeof(before)) != 0);
}

void Machine::decodeSpatial(const Call &call) {
  ReaderState *r = reader(call.a[0]);
  const int32_t lines = std::min(call.a[1], kMostLines), nulls = call.a[5];
  const int32_t row = r != nullptr ? static_cast<int32_t>(r->width() * r->components() * 2) : 16;
  const int32_t pitch = row + 2 * call.a[3];
  Surface want = makeSurface(std::max(lines, 0) + 1, pitch, call.a[2], 3, call.a[4] != 0);
  Surface have = makeSurface(std::max(lines, 0) + 1, pitch, call.a[2], 3, call.a[4] != 0);
  if (bit(nulls, 1)) want.rect.bits = have.rect.bits = nullptr;
  uint32_t expected = JPG_E_INVALID_HANDLE;
  if (r != nullptr && !bit(nulls, 0)) expected = r->spatialToRect(want.rect, lines);
  sameResult(expected,
             jpgReadSpatialToRect(handle(call.a[0]), orNull(&have.rect, nulls, 0), lines));
  sameBytes("samples", want.memory, have.memory);
}

}  // namespace jpgtest
