// SPDX-License-Identifier: MIT
#include "model/bits.h"

namespace jpgtest {

void ModelBits::seek(size_t offset) {
  next_ = offset;
  queue_.clear();
  used_ = 0;
  ended_ = false;
}

ModelBits::Byte ModelBits::take() {
  if (next_ >= data_.size()) {
    ended_ = true;
    return {0xFF, false};
  }
  return {data_[next_++], false};
}

void ModelBits::takeCoded() {
  Byte first = take();
  if (first.value != 0xFF) {
    queue_.push_back(first);
    return;
  }
  const Byte second = take();
  first.stuffed = second.value == 0;
  queue_.push_back(first);
  if (second.value != 0) queue_.push_back(second);
}

uint32_t ModelBits::peekBit(unsigned ahead) {
  while (waitingBits() <= ahead) takeCoded();
  const unsigned place = used_ + ahead;
  return uint32_t{queue_[place / 8].value} >> (7 - place % 8) & 1U;
}

void ModelBits::drop(unsigned count) {
  used_ += count;
  for (; used_ >= 8; used_ -= 8) queue_.pop_front();
}

uint32_t ModelBits::bits(unsigned count) {
  uint32_t value = 0;
  for (unsigned i = 0; i < count; ++i) {
    value = value << 1 | peekBit(0);
    drop(1);
  }
  return value;
}

uint32_t ModelBits::rawByte() {
  while (waitingBits() < 8) queue_.push_back(take());
  return bits(8);
}

uint32_t ModelBits::raw16() {
  const uint32_t high = rawByte();
  return high << 8 | rawByte();
}

uint32_t ModelBits::peekMarker() {
  while (waitingBits() < partialBits() + 16) takeCoded();
  const size_t first = used_ == 0 ? 0 : 1;
  if (queue_[first].stuffed) return 0;
  return static_cast<uint32_t>(queue_[first].value << 8 | queue_[first + 1].value);
}

void ModelBits::skipMarker() { drop(partialBits() + 16); }

void ModelBits::align() { drop(partialBits()); }

uint32_t ModelBits::seekMarkerBytes() {
  for (;;) {
    while (queue_.size() < 2) queue_.push_back(take());
    const uint32_t value = static_cast<uint32_t>(queue_[0].value << 8 | queue_[1].value);
    if (value >= 0xFFC0 && !queue_[0].stuffed) return value;
    drop(8);
  }
}

}  // namespace jpgtest
