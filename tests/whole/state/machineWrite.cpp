// SPDX-License-Identifier: MIT
// Calls on write handles: opening, closing, settings, segments and pieces.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "whole/state/arguments.h"
#include "whole/state/machine.h"

namespace jpgtest {
namespace {

constexpr uint32_t kNone = JPG_E_INVALID_HANDLE;

}  // namespace

bool Machine::writing(const Call &call) {
  switch (call.op) {
    case Op::kWritePrologToFile:
      writeToFile(call);
      return true;
    case Op::kWritePrologToMemory:
      writeToMemory(call);
      return true;
    case Op::kWriteEpilogToFile:
      writeEpilogToFile(call.a[0]);
      return true;
    case Op::kWriteEpilogToMemory:
      writeEpilogToMemory(call);
      return true;
    case Op::kWriteFreeBitstream:
      freeBlock(call.a[0] != 0);
      return true;
    case Op::kWriteGetPartialBitstream:
      partial(call);
      return true;
    case Op::kWriteWriteMarkerCode:
    case Op::kWriteWriteMarkerData:
    case Op::kWriteWriteMarkerSegment:
      markers(call);
      return true;
    default:
      return false;
  }
}

void Machine::writeToFile(const Call &call) {
  Slot *s = slotOf(call.a[0]);
  if (s == nullptr || s->handle != nullptr) return;
  const int32_t nulls = call.a[2];
  s->file = std::make_unique<TempFile>(Bytes{1, 2, 3});
  // 1: in a folder that isn't there; 2: longer than a name may be.
  std::string name = s->file->path();
  if (call.a[1] == 1) name += "/none";
  if (call.a[1] == 2) name += std::string(256, 'n');
  const auto path = widePath(name);
  auto h = reinterpret_cast<JPGHANDLE>(this);
  const uint32_t got =
      jpgWritePrologToFile(orNull(path.c_str(), nulls, 0), 0, orNull(&h, nulls, 1));
  const bool null = (nulls & 3) != 0;
  sameResult(null ? kNone : call.a[1] != 0 ? JPG_E_OPEN_FAILED : JPG_OK, got);
  if (null) return;
  same("handle is null", call.a[1] != 0, h == nullptr);
  if (got != JPG_OK) return;
  s->handle = h;
  s->writer = std::make_unique<WriterState>(false, 0);
}

void Machine::writeToMemory(const Call &call) {
  Slot *s = slotOf(call.a[0]);
  if (s == nullptr || s->handle != nullptr) return;
  auto h = reinterpret_cast<JPGHANDLE>(this);
  const auto flags = static_cast<uint32_t>(call.a[1]);
  const bool null = bit(call.a[2], 0);
  const uint32_t got = jpgWritePrologToMemory(flags, null ? nullptr : &h);
  sameResult(null ? kNone : JPG_OK, got);
  if (got != JPG_OK) return;
  s->handle = h;
  s->writer = std::make_unique<WriterState>(true, flags);
}

void Machine::keepBlock(const Bytes &expected, void *block, uint32_t size) {
  const auto *bytes = static_cast<const uint8_t *>(block);
  sameBytes("stream", expected, block != nullptr ? Bytes(bytes, bytes + size) : Bytes());
  if (block != nullptr) blocks_.push_back(block);
}

void Machine::compareFile(const Slot &slot, const Bytes &expected) {
  std::ifstream file(slot.file->path(), std::ios::binary);
  const Bytes content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  sameBytes("file", expected, content);
}

void Machine::writeEpilogToFile(int32_t slot) {
  WriterState *w = writer(slot);
  Bytes expected;
  const uint32_t result = w != nullptr ? w->epilog(&expected) : kNone;
  sameResult(result, jpgWriteEpilogToFile(handle(slot)));
  if (w == nullptr) return;
  if (!w->toMemory()) compareFile(slots_[slot], expected);
  slots_[slot] = Slot();
}

void Machine::writeEpilogToMemory(const Call &call) {
  const int32_t slot = call.a[0], nulls = call.a[1];
  WriterState *w = writer(slot);
  Bytes expected;
  const bool closes = w != nullptr && (nulls & 3) == 0;
  const uint32_t result = closes ? w->epilog(&expected) : kNone;
  void *block = this;
  uint32_t size = kPattern;
  sameResult(result, jpgWriteEpilogToMemory(handle(slot), orNull(&block, nulls, 0),
                                            orNull(&size, nulls, 1)));
  if (!closes) {
    same("block untouched", 1, block == this);
    same("size untouched", kPattern, size);
    return;
  }
  if (w->toMemory()) {
    keepBlock(expected, block, size);
  } else {
    same("no block", 1, block == nullptr);
    compareFile(slots_[slot], expected);
  }
  slots_[slot] = Slot();
}

void Machine::freeBlock(bool null) {
  if (!null && blocks_.empty()) return;
  sameResult(null ? kNone : JPG_OK, jpgWriteFreeBitstream(null ? nullptr : blocks_.back()));
  if (!null) blocks_.pop_back();
}

void Machine::partial(const Call &call) {
  WriterState *w = writer(call.a[0]);
  const int32_t nulls = call.a[1];
  Bytes expected;
  uint32_t result = kNone;
  if (w != nullptr && (nulls & 3) == 0) result = w->partial(&expected);
  void *block = this;
  uint32_t size = kPattern;
  const uint32_t got = jpgWriteGetPartialBitstream(handle(call.a[0]), orNull(&block, nulls, 0),
                                                   orNull(&size, nulls, 1));
  sameResult(result, got);
  if (got == JPG_OK) {
    keepBlock(expected, block, size);
  } else {
    same("block untouched", 1, block == this);
    same("size untouched", kPattern, size);
  }
}

void Machine::markers(const Call &call) {
  static const Bytes data = [] {
    Bytes bytes(70000);
    for (size_t i = 0; i < bytes.size(); i++) bytes[i] = static_cast<uint8_t>(i % 255 + i / 255);
    return bytes;
  }();
  WriterState *w = writer(call.a[0]);
  JPGHANDLE h = handle(call.a[0]);
  const auto first = static_cast<uint32_t>(call.a[1]), second = static_cast<uint32_t>(call.a[2]);
  if (call.op == Op::kWriteWriteMarkerCode) {
    const uint32_t expected = w != nullptr ? w->markerCode(first, second) : kNone;
    sameResult(expected, jpgWriteWriteMarkerCode(h, first, second));
    return;
  }
  if (call.op == Op::kWriteWriteMarkerSegment) {
    const uint8_t *from = orNull(data.data(), call.a[3], 0);
    const uint32_t expected = w != nullptr ? w->markerSegment(first, from, second) : kNone;
    sameResult(expected, jpgWriteWriteMarkerSegment(h, first, from, second));
    return;
  }
  uint32_t want = kPattern, have = kPattern;
  const uint8_t *from = orNull(data.data(), call.a[2], 0);
  const uint32_t expected =
      w != nullptr ? w->markerData(from, first, orNull(&want, call.a[2], 1)) : kNone;
  sameResult(expected, jpgWriteWriteMarkerData(h, from, first, orNull(&have, call.a[2], 1)));
  same("count", want, have);
}

bool Machine::setting(const Call &call) {
  WriterState *w = writer(call.a[0]);
  JPGHANDLE h = handle(call.a[0]);
  const int32_t value = call.a[1];
  const auto word = static_cast<uint32_t>(value), other = static_cast<uint32_t>(call.a[2]);
  const auto either = [&](uint32_t expected, uint32_t got) {
    sameResult(w != nullptr ? expected : kNone, got);
    return true;
  };
  WriterState none(true, 0);
  WriterState &m = w != nullptr ? *w : none;
  switch (call.op) {
    case Op::kWriteSetImageSize:
      return either(m.setImageSize(word, other), jpgWriteSetImageSize(h, word, other));
    case Op::kWriteSetNoColorConversion:
      return either(m.setNoColorConversion(), jpgWriteSetNoColorConversion(h));
    case Op::kWriteSetSubsamplingFactor:
      return either(m.setSubsampling(word), jpgWriteSetSubsamplingFactor(h, word));
    case Op::kWriteSetNumberOfComponents:
      return either(m.setComponents(value), jpgWriteSetNumberOfComponents(h, value));
    case Op::kWriteSetQuantizationFactor:
      return either(m.setQuality(value), jpgWriteSetQuantizationFactor(h, value));
    case Op::kWriteSetRestartInterval:
      return either(m.setRestart(value), jpgWriteSetRestartInterval(h, value));
    case Op::kWriteSetSpatialPredictor:
      return either(m.setPredictor(value), jpgWriteSetSpatialPredictor(h, value));
    default:
      return false;
  }
}

}  // namespace jpgtest
