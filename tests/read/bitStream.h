// SPDX-License-Identifier: MIT
// A context whose stream is a few bytes of memory, for tests below the interface.
#ifndef JPG_TESTS_READ_BITSTREAM_H
#define JPG_TESTS_READ_BITSTREAM_H

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "share/jpgHuffFast.h"
#include "share/jpgShare.h"

namespace jpgtest {

class BitStream {
 public:
  explicit BitStream(std::vector<uint8_t> bytes)
      : bytes_(std::move(bytes)), context_(std::make_unique<JpgContext>()) {
    JpgStream *s = stream();
    s->mode = jpg::kModeMemory | jpg::kModeRead;
    s->base = bytes_.data();
    s->current = bytes_.data();
    s->size = static_cast<uint32_t>(bytes_.size());
  }

  // Bits written as text, filled up with 1-bits; FF bytes are stuffed.
  static std::vector<uint8_t> pack(const std::string &bits) {
    std::vector<uint8_t> out;
    uint32_t byte = 0, n = 0;
    const auto put = [&](uint32_t bit) {
      byte = byte << 1 | bit;
      if (++n % 8 != 0) return;
      out.push_back(static_cast<uint8_t>(byte));
      if ((byte & 0xFF) == 0xFF) out.push_back(0);
      byte = 0;
    };
    for (const char c : bits) {
      if (c == '0' || c == '1') put(c == '1');
    }
    while (n % 8 != 0) put(1);
    return out;
  }

  JpgContext *context() { return context_.get(); }
  JpgStream *stream() { return &context_->stream; }

 private:
  std::vector<uint8_t> bytes_;
  std::unique_ptr<JpgContext> context_;
};

}  // namespace jpgtest

#endif
