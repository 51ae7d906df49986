// SPDX-License-Identifier: MIT
// Blocks through the bit window, against the block decoders: after every block the results, the
// coefficients and the stream's record must be the same.
#include "read/jpgRFastBlock.h"

#include <gtest/gtest.h>

#include "randomScan.h"
#include "read/jpgRFastProg.h"
#include "read/jpgRScan.h"
#include "read/jpgRVLC.h"
#include "twinStreams.h"

namespace {

using namespace jpg;

// A whole block by the bit reader, from zeros on.
Result decodeWhole(JpgStream *stream, int16_t *block, JpgScanComponent *component) {
  std::fill_n(block, kBlockSize, int16_t{0});
  return decodeBlock(stream, block, component, kBlockSize - 1);
}
using jpgtest::Coding;
using jpgtest::Random;
using jpgtest::RandomComponent;
using jpgtest::TwinStreams;
using Block = std::array<int16_t, 64>;

constexpr uint32_t kBlocksPerStream = 60;

// A block's way through both; the streams' contexts and a component for each.
struct Pair {
  TwinStreams *twins;
  JpgScanComponent wide, plain;
};

// Decodes a block both ways; true when it decodes.
using Step = bool (*)(Random *r, Pair *pair);

// How many blocks of all were decoded without an error.
struct Tally {
  uint32_t blocks = 0, good = 0;
};

void decodeStream(Random *r, Pair *pair, Step step, Tally *tally) {
  uint32_t behindTheEnd = 0;
  for (uint32_t i = 0; i < kBlocksPerStream && behindTheEnd < 4; i++) {
    const bool good = step(r, pair);
    if (::testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(pair->wide.dcPredictor, pair->plain.dcPredictor) << "block " << i;
    ASSERT_EQ(pair->twins->wide()->eobRun, pair->twins->plain()->eobRun) << "block " << i;
    ASSERT_TRUE(pair->twins->areAlike()) << "block " << i << (good ? "" : ", which failed");
    tally->blocks++;
    tally->good += good ? 1 : 0;
    if (good) {
      pair->twins->interrupt(r);
    } else {
      pair->twins->skip(1 + r->below(16));
    }
    if (pair->twins->ended()) behindTheEnd++;
  }
  pair->twins->close();
  ASSERT_TRUE(pair->twins->areAlike()) << "at the end";
}

bool stepSequential(Random * /*r*/, Pair *pair) {
  Block wide = {}, plain = {};
  uint32_t last = 99;
  const Result a = decodeBlockFast(pair->twins->window(), &pair->twins->wide()->stream, wide.data(),
                                   &pair->wide, &last);
  const Result b = decodeWhole(&pair->twins->plain()->stream, plain.data(), &pair->plain);
  EXPECT_EQ(a, b);
  EXPECT_EQ(wide, plain);
  for (uint32_t k = last + 1; a == JPG_OK && k < 64; k++) {
    EXPECT_EQ(wide[kZigZag.natural[k]], 0) << "behind " << last;
  }
  return b == JPG_OK;
}

void scatter(Random *r, Block *block) {
  const uint32_t density = r->below(3) == 0 ? 0 : r->below(64);
  const int32_t magnitude = 1 << r->below(15);
  for (int16_t &v : *block) {
    v = r->below(64) < density ? static_cast<int16_t>(r->between(-magnitude, magnitude))
                               : int16_t{0};
  }
}

// Of a corner, what lies outside of it doesn't matter.
template <uint32_t kLastStored, uint32_t kCell, bool kSkips>
bool stepCorner(Random *r, Pair *pair) {
  if (kSkips && pair->wide.acLookup != nullptr) {
    makeSkips(pair->wide.acLookup);
  }
  Block wide, plain;
  scatter(r, &wide);
  for (uint32_t i = 0; i < kCell * kCell; i++) wide[8 * (i / kCell) + i % kCell] = 0;
  plain = wide;
  const Result a = decodeCornerFast(pair->twins->window(), &pair->twins->wide()->stream,
                                    wide.data(), &pair->wide, kLastStored);
  const Result b =
      decodeBlock(&pair->twins->plain()->stream, plain.data(), &pair->plain, kLastStored);
  EXPECT_EQ(a, b);
  for (uint32_t i = 0; i < kCell * kCell; i++) {
    const uint32_t at = 8 * (i / kCell) + i % kCell;
    EXPECT_EQ(wide[at], plain[at]) << "at " << at;
  }
  return b == JPG_OK;
}

bool stepProgressive(Random *r, Pair *pair) {
  Block wide, plain;
  scatter(r, &wide);
  plain = wide;
  const Result a =
      decodeProgressiveFast(pair->twins->wide(), pair->twins->window(), wide.data(), &pair->wide);
  JpgContext *c = pair->twins->plain();
  const Result b = c->blockDecoder(c, plain.data(), &pair->plain);
  EXPECT_EQ(a, b);
  EXPECT_EQ(wide, plain);
  return b == JPG_OK;
}

// Decodes streams until there were 100,000 blocks; `prepare` sets a context up for its scan.
template <typename Prepare>
Tally decodeStreams(uint64_t seed, Coding coding, Step step, Prepare prepare) {
  constexpr uint32_t kBlocks = 100000;
  Tally tally;
  Random r(seed);
  for (uint32_t stream = 0; tally.blocks < kBlocks; stream++) {
    const uint64_t scan = r.next();
    const RandomComponent component(&r);
    TwinStreams twins(&r, randomData(&r, component, coding));
    for (JpgContext *c : {twins.wide(), twins.plain()}) {
      Random same(scan);
      prepare(&same, c);
    }
    Pair pair = {&twins, component.get(), component.get()};
    decodeStream(&r, &pair, step, &tally);
    if (::testing::Test::HasFailure()) {
      ADD_FAILURE() << "stream " << stream << " of seed " << seed;
      break;
    }
  }
  return tally;
}

// Enough of the blocks must have been decoded for the comparison to mean something.
void expectMixture(const Tally &tally) {
  EXPECT_GT(tally.good, tally.blocks / 3);
  EXPECT_LT(tally.good, tally.blocks);
}

void leaveAsItIs(Random * /*r*/, JpgContext * /*c*/) {}

TEST(WideBlocks, OfSequentialScansAreThoseOfTheBlockDecoder) {
  expectMixture(decodeStreams(1, Coding::kBlocks, stepSequential, leaveAsItIs));
}

TEST(WideBlocks, OfReducedSizeAreThoseOfTheBlockDecoder) {
  expectMixture(decodeStreams(2, Coding::kBlocks, stepCorner<0, 1, false>, leaveAsItIs));
  expectMixture(decodeStreams(3, Coding::kBlocks, stepCorner<kCornerOf2, 2, false>, leaveAsItIs));
  expectMixture(decodeStreams(4, Coding::kBlocks, stepCorner<kCornerOf4, 4, false>, leaveAsItIs));
}

TEST(WideBlocks, OfReducedSizeAreTheSameWithSkips) {
  expectMixture(decodeStreams(9, Coding::kBlocks, stepCorner<0, 1, true>, leaveAsItIs));
  expectMixture(decodeStreams(10, Coding::kBlocks, stepCorner<kCornerOf2, 2, true>, leaveAsItIs));
  expectMixture(decodeStreams(11, Coding::kBlocks, stepCorner<kCornerOf4, 4, true>, leaveAsItIs));
}

// What a scan header sets up: the decoder and its kind.
void useDecoder(JpgContext *c, BlockDecoder decoder) {
  c->blockDecoder = decoder;
  c->read.scanKind = decoder == decodeDcFirst    ? ScanKind::kDcFirst
                     : decoder == decodeDcRefine ? ScanKind::kDcRefine
                     : decoder == decodeAcFirst  ? ScanKind::kAcFirst
                                                 : ScanKind::kAcRefine;
}

// Bands as scan headers may give them: Ss up to Se, which may both be anything below 64.
void chooseBand(Random *r, JpgContext *c) {
  const uint32_t se = r->below(3) == 0 ? 63 : 1 + r->below(63);
  const uint32_t ss = r->below(2) == 0 ? r->below(2) : r->below(se + 1);
  useBand(c, static_cast<uint8_t>(ss), static_cast<uint8_t>(se));
  c->Al = static_cast<uint8_t>(r->below(2) == 0 ? r->below(3) : r->below(14));
}

TEST(WideBlocks, OfProgressiveDcScansAreThoseOfTheBlockDecoders) {
  expectMixture(decodeStreams(5, Coding::kDcCodes, stepProgressive, [](Random *r, JpgContext *c) {
    c->Al = static_cast<uint8_t>(r->below(14));
    useDecoder(c, decodeDcFirst);
  }));
  const Tally refined =
      decodeStreams(6, Coding::kDcCodes, stepProgressive, [](Random *r, JpgContext *c) {
        c->Al = static_cast<uint8_t>(r->below(14));
        useDecoder(c, decodeDcRefine);
      });
  EXPECT_EQ(refined.good, refined.blocks);  // a bit can't be wrong
}

TEST(WideBlocks, OfProgressiveFirstPassesAreThoseOfTheBlockDecoder) {
  expectMixture(decodeStreams(7, Coding::kAcCodes, stepProgressive, [](Random *r, JpgContext *c) {
    chooseBand(r, c);
    useDecoder(c, decodeAcFirst);
  }));
}

TEST(WideBlocks, OfProgressiveRefinementsAreThoseOfTheBlockDecoder) {
  expectMixture(
      decodeStreams(8, Coding::kRefinements, stepProgressive, [](Random *r, JpgContext *c) {
        chooseBand(r, c);
        if (r->below(4) == 0) c->eobRun = r->below(20);
        useDecoder(c, decodeAcRefine);
      }));
}

// A component with one code of a bit, for a whole shortcut, one of two for the end of a block, and
// one of 16 for a symbol that the window's end is to cut.
class LongComponent {
 public:
  explicit LongComponent(uint8_t symbol) {
    uint8_t counts[16] = {1, 1};
    counts[15] = 1;
    const uint8_t dc[3] = {0, 1, 11}, ac[3] = {kShort, 0, symbol};
    makeHuffCodes({counts, dc}, &dc_);
    makeHuffCodes({counts, ac}, &ac_);
    makeHuffLookup(&dc_, HuffUse::kDc);
    makeHuffLookup(&ac_, HuffUse::kAc);
    quant_.fill(1);
    component_.quantTable = quant_.data();
    component_.dcLookup = dc_.lookup;
    component_.dcCodes = dc_.codes;
    component_.dcMaxLength = dc_.maxLength;
    component_.acLookup = ac_.lookup;
    component_.acCodes = ac_.codes;
    component_.acMaxLength = ac_.maxLength;
  }
  ~LongComponent() {
    freeHuffTable(&dc_);
    freeHuffTable(&ac_);
  }
  LongComponent(const LongComponent &) = delete;
  LongComponent &operator=(const LongComponent &) = delete;

  const JpgScanComponent &get() const { return component_; }

  // Blocks of three short codes and a long one, with a difference ahead or without.
  static std::vector<uint8_t> blocks(Random *r, uint32_t bits, bool withDc) {
    jpgtest::BitSink sink;
    for (uint32_t i = 0; i < 8; i++) {
      if (withDc) sink.put(0, 1);
      for (uint32_t k = 0; k < 3; k++) sink.put(r->below(1U << kShort), 1 + kShort);
      sink.put(0xC000, 16);
      sink.put(r->below(1U << bits), bits);
      if (withDc) sink.put(2, 2);
    }
    return sink.bytes();
  }

 private:
  static constexpr uint8_t kShort = kShortcutBits - 1;  // bits behind the short code
  JpgHuffTable dc_ = {}, ac_ = {};
  std::array<uint32_t, 64> quant_ = {};
  JpgScanComponent component_ = {};
};

// Near the end of the data, or ahead of a marker, the window can't be filled up.
Tally decodeCut(Step step, uint8_t symbol, uint32_t bits, BlockDecoder progressive) {
  const LongComponent component(symbol);
  Random r(9);
  Tally tally;
  for (uint32_t stream = 0; stream < 2000; stream++) {
    std::vector<uint8_t> data = LongComponent::blocks(&r, bits, progressive == nullptr);
    data.resize(data.size() - r.below(24));
    if (stream % 2 != 0) data.insert(data.end(), {0xFF, 0xD9});
    if (stream % 4 == 3) data.resize(data.size() + 40);
    TwinStreams twins(&r, data);
    for (JpgContext *c : {twins.wide(), twins.plain()}) {
      useBand(c, 1, 63);
      useDecoder(c, progressive);
    }
    Pair pair = {&twins, component.get(), component.get()};
    decodeStream(&r, &pair, step, &tally);
    if (::testing::Test::HasFailure()) {
      ADD_FAILURE() << "stream " << stream;
      break;
    }
  }
  return tally;
}

TEST(WideBlocks, GoOnByBitsWhereACoefficientBeginsInTheWindowAndEndsBehindIt) {
  expectMixture(decodeCut(stepSequential, 15, 15, nullptr));
  expectMixture(decodeCut(stepProgressive, 15, 15, decodeAcFirst));
}

TEST(WideBlocks, GoOnByBitsWhereAnEndOfBandRunEndsBehindTheWindow) {
  expectMixture(decodeCut(stepProgressive, 0xE0, 14, decodeAcFirst));
}

}  // namespace
