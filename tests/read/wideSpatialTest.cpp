// SPDX-License-Identifier: MIT
// Lossless rows through the bit window, against rows of differences that the bit reader has
// decoded: after every call the samples, the saved row and the stream's record must be the same.
#include <gtest/gtest.h>

#include "jpg.h"
#include "randomScan.h"
#include "read/jpgRVLC.h"
#include "share/jpgMarkers.h"
#include "share/jpgSpatial.h"
#include "support/random.h"
#include "twinStreams.h"

namespace {

using namespace jpg;
using jpgtest::BitSink;
using jpgtest::Random;
using jpgtest::RandomTable;
using jpgtest::TwinStreams;

constexpr uint32_t kMostRows = 8;  // of a call

int32_t prediction(uint32_t selection, int32_t a, int32_t b, int32_t c) {
  constexpr int32_t (*kPredict[])(int32_t, int32_t, int32_t) = {
      predict<1>, predict<2>, predict<3>, predict<4>, predict<5>, predict<6>, predict<7>};
  return kPredict[selection - 1](a, b, c);
}

// The rows' decoding as T.81 Annex H puts it, sample by sample.
class PlainRows {
 public:
  explicit PlainRows(JpgContext *c)
      : c_(c), n_(c->numComponents), bytes_(sampleBytes(c->precision)) {}

  Result decode(uint8_t *out, uint32_t stride, uint32_t lines) {
    const auto *above = reinterpret_cast<const uint8_t *>(c_->losslessRowBuffer);
    for (uint32_t y = 0; y < lines; y++) {
      if (const Result r = decodeRow(above, out); r != JPG_OK) return r;
      endRow();
      if (++c_->rowPosition >= c_->height) break;
      above = out;
      out += stride;
    }
    memcpy(c_->losslessRowBuffer, out, size_t{c_->width} * n_ * bytes_);
    return JPG_OK;
  }

 private:
  int32_t load(const uint8_t *row, uint32_t i) const {
    return bytes_ == 1 ? ByteSamples::load(row, i) : WordSamples::load(row, i);
  }

  int32_t predictSample(const uint8_t *above, const uint8_t *out, uint32_t i) const {
    const bool first = (c_->flags & kFlagPositioned) != 0;
    if (first && i >= n_) return load(out, i - n_);
    if (first) return c_->Al < c_->precision ? 1 << (c_->precision - c_->Al - 1) : 0;
    if (i < n_) return load(above, i);
    return prediction(c_->Ss, load(out, i - n_), load(above, i), load(above, i - n_));
  }

  Result decodeRow(const uint8_t *above, uint8_t *out) {
    const uint32_t kept = bytes_ == 1 ? 0xFF : (1U << c_->precision) - 1;
    for (uint32_t i = 0; i < c_->width * n_; i++) {
      int32_t difference = 0;
      const HuffDecoder table = dcDecoder(c_->scanComponents[i % n_]);
      const Result r = decodeDifference(&c_->stream, table, &difference);
      if (r != JPG_OK) return r;
      const int32_t v = asSigned(asUnsigned(predictSample(above, out, i) + difference) & kept);
      if (bytes_ == 1) {
        ByteSamples::store(out, i, v);
      } else {
        WordSamples::store(out, i, v);
      }
    }
    return JPG_OK;
  }

  // RSTn begins the next interval, EOI is left standing, other markers are passed over.
  void endRow() {
    c_->flags &= ~kFlagPositioned;
    c_->mcusSinceRestart += c_->width;
    if (c_->mcusSinceRestart != c_->restartInterval) return;
    c_->flags |= kFlagPositioned;
    for (;;) {
      const uint32_t marker = peekMarker(&c_->stream);
      if (marker == kMarkerEoi) c_->lastMarker = kMarkerEoi;
      if (marker == kMarkerEoi || !isMarker(marker)) return;
      skipMarker(&c_->stream);
      if (isRestart(marker)) c_->mcusSinceRestart = 0;
    }
  }

  JpgContext *c_;
  uint32_t n_, bytes_;
};

// Differences of these tables by turns, markers among them at times.
std::vector<uint8_t> differences(Random *r, const std::vector<const RandomTable *> &tables) {
  std::vector<uint8_t> data;
  BitSink sink;
  const uint32_t size = r->below(6) == 0 ? 3000 + r->below(5000) : 20 + r->below(600);
  for (uint32_t i = 0; sink.bytes().size() < size && i < 8 * size; i++) {
    const JpgHuffTable &table = tables[i % tables.size()]->get();
    if (table.count == 0) continue;
    const JpgHuffCode *code = &table.codes[r->below(table.count)];
    for (uint32_t again = 0; again < 20 && code->value > 16; again++) {
      code = &table.codes[r->below(table.count)];
    }
    sink.put(code->code, code->length);
    const uint32_t bits = code->value == 16 ? 16 : code->value & 15U;
    sink.put(r->below(1U << bits), bits);
  }
  data = sink.bytes();
  for (uint32_t i = r->below(3) == 0 ? r->below(5) : 0; i > 0 && data.size() > 2; i--) {
    const uint32_t at = r->below(static_cast<uint32_t>(data.size()) - 1);
    data[at] = 0xFF;
    data[at + 1] = static_cast<uint8_t>(r->below(4) == 0 ? r->below(256) : 0xD0 + r->below(10));
  }
  return data;
}

// An image of random form, of which both contexts decode the rows.
class Image {
 public:
  explicit Image(Random *r) {
    const uint32_t n = 1 + r->below(4), kinds = 1 + r->below(2);
    for (uint32_t k = 0; k < kinds; k++) {
      tables_.push_back(std::make_unique<RandomTable>(r, HuffUse::kDc));
      used_.push_back(tables_.back().get());
    }
    twins_ = std::make_unique<TwinStreams>(r, differences(r, used_));
    const uint32_t width = 1 + r->below(40);
    rowBytes_ = 2 * width * n;
    for (std::vector<uint16_t> &row : saved_) row.assign(size_t{width} * n, 0);
    JpgContext form = {};
    form.width = width;
    form.numComponents = n;
    form.height = 1 + r->below(60);
    form.precision = r->below(2) == 0 ? 8 : 2 + r->below(15);
    form.Ss = static_cast<uint8_t>(1 + r->below(7));
    form.Al = static_cast<uint8_t>(r->below(4) == 0 ? r->below(16) : 0);
    form.restartInterval = r->below(2) == 0 ? 0 : width * (1 + r->below(4));
    take(form, twins_->wide(), &saved_[0]);
    take(form, twins_->plain(), &saved_[1]);
  }

  // Decodes some rows both ways; true while there is more to decode.
  bool decode(Random *r, uint32_t *rows) {
    const uint32_t lines = 1 + r->below(kMostRows);
    JpgContext *c = twins_->plain();
    const uint32_t left = c->height - c->rowPosition;
    std::vector<uint8_t> wide(size_t{rowBytes_} * (kMostRows + 1), 0x5A), plain = wide;
    const JpgRect rect = {static_cast<int32_t>(c->width),
                          static_cast<int32_t>(lines),
                          static_cast<int32_t>(rowBytes_),
                          8,
                          1,
                          8,
                          wide.data(),
                          0,
                          0};
    const Result a = jpgReadSpatialToRect(twins_->wide(), &rect, static_cast<int32_t>(lines));
    const uint32_t before = c->rowPosition;
    const Result b = PlainRows(c).decode(plain.data(), rowBytes_, lines < left ? lines : left);
    EXPECT_EQ(a, b);
    EXPECT_EQ(wide, plain);
    EXPECT_EQ(saved_[0], saved_[1]);
    EXPECT_EQ(twins_->wide()->rowPosition, c->rowPosition);
    EXPECT_EQ(twins_->wide()->mcusSinceRestart, c->mcusSinceRestart);
    EXPECT_EQ(twins_->wide()->lastMarker, c->lastMarker);
    EXPECT_TRUE(twins_->areAlike());
    *rows += c->rowPosition - before;
    if (b != JPG_OK) twins_->skip(1 + r->below(16));
    return c->rowPosition < c->height && !twins_->ended();
  }

 private:
  void take(const JpgContext &form, JpgContext *c, std::vector<uint16_t> *saved) {
    c->sofMarker = kMarkerSof3;
    c->width = form.width;
    c->height = form.height;
    c->precision = form.precision;
    c->numComponents = form.numComponents;
    c->restartInterval = form.restartInterval;
    c->Ss = form.Ss;
    c->Al = form.Al;
    c->flags |= kFlagPositioned;
    c->losslessRowBuffer = saved->data();
    c->read.scanHoldsFrame = 1;
    for (uint32_t k = 0; k < c->numComponents; k++) {
      const JpgHuffTable &table = used_[k % used_.size()]->get();
      c->scanComponents[k].dcLookup = table.lookup;
      c->scanComponents[k].dcCodes = table.codes;
      c->scanComponents[k].dcMaxLength = table.maxLength;
    }
  }

  std::vector<std::unique_ptr<RandomTable>> tables_;
  std::vector<const RandomTable *> used_;
  std::unique_ptr<TwinStreams> twins_;
  std::vector<uint16_t> saved_[2];
  uint32_t rowBytes_ = 0;
};

TEST(WideRows, AreThoseOfDifferencesOneByOne) {
  Random r(1);
  uint32_t rows = 0, calls = 0;
  for (uint32_t image = 0; image < 8000; image++) {
    Image i(&r);
    for (uint32_t call = 0; call < 30; call++) {
      calls++;
      const bool more = i.decode(&r, &rows);
      ASSERT_FALSE(::testing::Test::HasFailure()) << "image " << image << ", call " << call;
      if (!more) break;
    }
  }
  EXPECT_GT(rows, 20000U);
  EXPECT_GT(calls, 20000U);
}

}  // namespace
