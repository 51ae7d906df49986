// SPDX-License-Identifier: MIT
// The bits of a stream as they go out: gathered in words of 32, with stuffing.
#ifndef JPG_TESTS_MODEL_OUTPUT_H
#define JPG_TESTS_MODEL_OUTPUT_H

#include <cstdint>
#include <string>

#include "support/bytes.h"

namespace jpgtest {

// Whole words leave the gathered bits; what is less waits. Raw bytes don't wait for it.
class ModelOutput {
 public:
  // Bits as text, highest first.
  void bits(const std::string &text) {
    for (const char c : text) {
      pending_ = pending_ << 1 | (c == '1' ? 1U : 0U);
      if (++count_ == 32) flush();
    }
  }
  // Fills the byte with ones, hands out what waits, then the marker.
  void marker(uint32_t code) {
    while (count_ % 8 != 0) bits("1");
    flush();
    raw(code >> 8);
    raw(code & 255);
  }
  void segment(uint32_t code, const Bytes &data) {
    marker(code);
    word(static_cast<uint32_t>(data.size()) + 2);
    append(bytes_, data);
  }
  void word(uint32_t w) {
    raw(w >> 8);
    raw(w & 255);
  }
  void raw(uint32_t b) { bytes_.push_back(static_cast<uint8_t>(b)); }
  // What has gone out; the next piece begins empty.
  Bytes take() {
    Bytes all;
    all.swap(bytes_);
    pending_ = count_ = 0;
    return all;
  }

 private:
  void flush() {
    for (; count_ > 0; count_ -= 8) {
      const uint32_t b = pending_ >> (count_ - 8) & 255;
      raw(b);
      if (b == 255) raw(0);
    }
    pending_ = 0;
  }

  uint32_t pending_ = 0, count_ = 0;
  Bytes bytes_;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_OUTPUT_H
