// SPDX-License-Identifier: MIT
#include "streamParts.h"

#include <algorithm>

namespace jpgfuzz {
namespace {

using jpgtest::kEoi, jpgtest::kSoi, jpgtest::kSos;

class Parser {
 public:
  Parser(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

  std::vector<Part> parts() {
    while (at_ != end_) {
      if (coded_) takeCoded();
      if (at_ != end_) takeMarker();
    }
    return parts_;
  }

 private:
  size_t left() const { return static_cast<size_t>(end_ - at_); }

  bool atMarker() const { return left() >= 2 && at_[0] == 0xFF && at_[1] != 0 && at_[1] != 0xFF; }

  void takeCoded() {
    Part part = {Kind::kCoded, 0, 0, {}};
    while (at_ != end_) {
      const bool stuffed = left() >= 2 && at_[0] == 0xFF && at_[1] == 0;
      if (at_[0] == 0xFF && !stuffed) break;
      part.data.push_back(at_[0]);
      at_ += stuffed ? 2 : 1;
    }
    if (!part.data.empty()) parts_.push_back(part);
  }

  void takeStray() {
    Part part = {Kind::kStray, 0, 0, {}};
    do {
      part.data.push_back(*at_++);
    } while (at_ != end_ && !atMarker());
    parts_.push_back(part);
  }

  void takeMarker() {
    if (!atMarker()) return takeStray();
    const uint8_t code = at_[1];
    const bool alone = isRestart(code) || code == kSoi || code == kEoi || code == 0x01;
    if (!alone) return takeSegment(code);
    coded_ = coded_ && isRestart(code);
    parts_.push_back({Kind::kMarker, code, 0, {}});
    at_ += 2;
  }

  void takeSegment(uint8_t code) {
    if (left() < 4) return takeStray();
    const auto length = static_cast<uint16_t>(at_[2] << 8 | at_[3]);
    at_ += 4;
    const size_t wanted = length < 2 ? 0 : length - size_t{2};
    const auto taken = static_cast<std::ptrdiff_t>(std::min(wanted, left()));
    parts_.push_back({Kind::kSegment, code, length, Bytes(at_, at_ + taken)});
    at_ += taken;
    coded_ = code == kSos;
  }

  const uint8_t *at_, *end_;
  bool coded_ = false;
  std::vector<Part> parts_;
};

}  // namespace

std::vector<Part> partsOf(const uint8_t *data, size_t size) { return Parser(data, size).parts(); }

Bytes bytesOf(const std::vector<Part> &parts) {
  Bytes bytes;
  for (const Part &part : parts) {
    if (part.kind == Kind::kMarker || part.kind == Kind::kSegment) {
      bytes.push_back(0xFF);
      bytes.push_back(part.code);
    }
    if (part.kind == Kind::kSegment) {
      bytes.push_back(static_cast<uint8_t>(part.length >> 8));
      bytes.push_back(static_cast<uint8_t>(part.length));
    }
    for (const uint8_t byte : part.data) {
      bytes.push_back(byte);
      if (part.kind == Kind::kCoded && byte == 0xFF) bytes.push_back(0);
    }
  }
  return bytes;
}

Part segmentOf(uint8_t code, const Bytes &data) {
  Part part = {Kind::kSegment, code, 0, data};
  fit(&part);
  return part;
}

void fit(Part *segment) {
  if (segment->data.size() > 65533) segment->data.resize(65533);
  segment->length = static_cast<uint16_t>(segment->data.size() + 2);
}

}  // namespace jpgfuzz
