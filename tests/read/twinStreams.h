// SPDX-License-Identifier: MIT
// Two contexts on the same data: one is read through a bit window, the other by the bit reader.
#ifndef JPG_TESTS_READ_TWINSTREAMS_H
#define JPG_TESTS_READ_TWINSTREAMS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "kernels/jpgKernels.h"
#include "read/jpgRBits.h"
#include "read/jpgRFastBits.h"
#include "share/jpgShare.h"
#include "support/random.h"

namespace jpgtest {

class TwinStreams {
 public:
  TwinStreams(Random *r, std::vector<uint8_t> data)
      : data_(std::move(data)),
        wide_(std::make_unique<JpgContext>()),
        plain_(std::make_unique<JpgContext>()) {
    for (JpgContext *c : {wide(), plain()}) {
      c->signature = jpg::kContextSignature;
      c->recordSize = jpg::kContextSize;
      c->kernels = jpg::bestKernels();
      c->stream.mode = jpg::kModeMemory | jpg::kModeRead;
      c->stream.base = data_.data();
      c->stream.current = data_.data();
      c->stream.size = static_cast<uint32_t>(data_.size());
    }
    // The first block of the buffer may be short.
    const auto most = std::min<uint32_t>(wide()->stream.size, jpg::kStreamBuffer);
    if (r->below(2) == 0) fillBuffer(r->below(most + 1));
    const uint32_t ahead = r->below(17);
    for (JpgContext *c : {wide(), plain()}) jpg::readBits(&c->stream, ahead);
    if (r->below(4) == 0) peek();
    jpg::initWindow(&window_);
  }

  JpgContext *wide() { return wide_.get(); }
  JpgContext *plain() { return plain_.get(); }
  jpg::BitWindow *window() { return &window_; }

  void close() {
    if (jpg::isOpen(window_)) jpg::closeWindow(&window_, &wide()->stream);
  }

  // What may come between blocks: the window is closed, a marker is looked for, bits are read.
  void interrupt(Random *r) {
    const uint32_t what = r->below(16);
    if (what > 2) return;
    close();
    if (what == 1) peek();
    if (what == 2) skip(r->below(17));
  }

  // Goes on behind what couldn't be decoded.
  void skip(uint32_t bits) {
    close();
    const uint32_t a = jpg::readBits(&wide()->stream, bits);
    const uint32_t b = jpg::readBits(&plain()->stream, bits);
    EXPECT_EQ(a, b);
  }

  bool ended() const { return plain_->stream.endState != jpg::kEndNone; }

  // Whether the streams' records are the same once the window is closed. It stays open.
  ::testing::AssertionResult areAlike() {
    JpgStream closed = wide()->stream;
    jpg::BitWindow w = window_;
    if (jpg::isOpen(w)) jpg::closeWindow(&w, &closed);
    const JpgStream &s = plain()->stream;
    if (closed.bitCount != s.bitCount) return differ("bitCount", closed.bitCount, s.bitCount);
    if (closed.bitBuffer != s.bitBuffer) return differ("bitBuffer", closed.bitBuffer, s.bitBuffer);
    if (closed.bufIndex != s.bufIndex) return differ("bufIndex", closed.bufIndex, s.bufIndex);
    if (closed.bufFill != s.bufFill) return differ("bufFill", closed.bufFill, s.bufFill);
    if (closed.position != s.position) return differ("position", closed.position, s.position);
    if (closed.endState != s.endState) return differ("endState", closed.endState, s.endState);
    if (closed.bytesFetched != s.bytesFetched) {
      return differ("bytesFetched", closed.bytesFetched, s.bytesFetched);
    }
    // One bit for each whole byte pending.
    const uint32_t asked = (1U << s.bitCount / 8) - 1;
    if (((closed.stuffHistory ^ s.stuffHistory) & asked) != 0) {
      return differ("stuffHistory", closed.stuffHistory & asked, s.stuffHistory & asked);
    }
    return ::testing::AssertionSuccess();
  }

 private:
  static ::testing::AssertionResult differ(const char *field, uint32_t wide, uint32_t plain) {
    return ::testing::AssertionFailure() << field << " is " << wide << ", should be " << plain;
  }

  void peek() {
    const uint32_t a = jpg::peekMarker(&wide()->stream);
    const uint32_t b = jpg::peekMarker(&plain()->stream);
    EXPECT_EQ(a, b);
  }

  void fillBuffer(uint32_t bytes) {
    for (JpgContext *c : {wide(), plain()}) {
      JpgStream *s = &c->stream;
      std::copy(s->base, s->base + bytes, s->inputBuffer);
      s->bufFill = s->bytesFetched = s->position = bytes;
      s->current += bytes;
    }
  }

  std::vector<uint8_t> data_;
  std::unique_ptr<JpgContext> wide_, plain_;
  jpg::BitWindow window_ = {};
};

}  // namespace jpgtest

#endif
