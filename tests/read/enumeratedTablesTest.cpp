// SPDX-License-Identifier: MIT
// Huffman tables enumerated: every array of counts to a depth, valid or not, against a decoder
// that walks a tree of bits.
//
// The depth is 4 in the everyday form and 5 with JPG_TEST_LENGTH=long; the tests print it. Each
// array also stands deeper in the table, behind one code of each shorter length.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "faulty.h"
#include "model/huffman.h"
#include "read/jpgRFastBlock.h"
#include "read/jpgRVLC.h"
#include "share/jpgHuffFast.h"

namespace {

using namespace jpg;
using Counts = std::array<uint8_t, 16>;

bool longForm() {
  const char *form = std::getenv("JPG_TEST_LENGTH");
  return form != nullptr && std::strcmp(form, "long") == 0;
}

uint32_t depth() { return longForm() ? 5 : 4; }

// All arrays of counts to the depth, each count from none to one more than there are words of
// that length.
void forEachArray(uint32_t length, Counts *counts, const std::function<void(const Counts &)> &f) {
  if (length > depth()) {
    f(*counts);
    return;
  }
  for (uint32_t n = 0; n <= (1U << length) + 1; n++) {
    (*counts)[length - 1] = static_cast<uint8_t>(n);
    forEachArray(length + 1, counts, f);
  }
  (*counts)[length - 1] = 0;
}

// The tree by its leaves: on each level codes take the free nodes from the left, and what is
// left of them has two children each.
class Tree {
 public:
  explicit Tree(const Counts &counts) {
    std::vector<uint32_t> free = {0};
    for (uint32_t length = 1; length <= 16; length++) {
      std::vector<uint32_t> nodes;
      for (const uint32_t node : free) nodes.insert(nodes.end(), {2 * node, 2 * node + 1});
      const size_t count = counts[length - 1];
      if (count > nodes.size()) {
        fits_ = false;
        return;
      }
      for (size_t i = 0; i < count; i++) leaves_.push_back({length, nodes[i]});
      free.assign(nodes.begin() + static_cast<std::ptrdiff_t>(count), nodes.end());
      if (count != 0) longest_ = length;
      if (leaves_.size() == total(counts)) return;
    }
  }

  bool fits() const { return fits_; }
  uint32_t longest() const { return longest_; }
  size_t size() const { return leaves_.size(); }
  // The leaf that the first bits of `word`, of `bits` bits, lead to; size() for none.
  size_t find(uint32_t word, uint32_t bits) const {
    size_t i = 0;
    while (i < leaves_.size() &&
           (leaves_[i].length > bits || word >> (bits - leaves_[i].length) != leaves_[i].node)) {
      i++;
    }
    return i;
  }
  uint32_t lengthOf(size_t leaf) const { return leaves_[leaf].length; }

 private:
  struct Leaf {
    uint32_t length, node;
  };
  static size_t total(const Counts &counts) {
    size_t n = 0;
    for (const uint8_t count : counts) n += count;
    return n;
  }

  bool fits_ = true;
  uint32_t longest_ = 0;
  std::vector<Leaf> leaves_;
};

// A table of the library's.
class Table {
 public:
  Table(const Counts &counts, const std::vector<uint8_t> &values, HuffUse use) {
    result_ = makeHuffCodes({counts.data(), values.data()}, &table_);
    if (result_ == JPG_OK) result_ = makeHuffLookup(&table_, use);
  }
  ~Table() { freeHuffTable(&table_); }
  Table(const Table &) = delete;
  Table &operator=(const Table &) = delete;

  Result result() const { return result_; }
  const JpgHuffTable &get() const { return table_; }
  HuffDecoder decoder() const { return {table_.lookup, table_.codes, table_.maxLength}; }

 private:
  JpgHuffTable table_ = {};
  Result result_;
};

std::vector<uint8_t> symbolsUpward() {
  std::vector<uint8_t> values(256);
  for (size_t i = 0; i < values.size(); i++) values[i] = static_cast<uint8_t>(i + 7);
  return values;
}

// The array, `base` bits further down, behind a code of each length above it.
Counts below(const Counts &counts, uint32_t base) {
  Counts deeper = {};
  for (uint32_t i = 0; i < base; i++) deeper[i] = 1;
  for (uint32_t i = 0; i + base < 16 && i < depth(); i++) deeper[i + base] = counts[i];
  return deeper;
}

const std::vector<uint32_t> kBases = {0, 3, 6, 9, 11};

// Data of words of bits, and bytes behind them for the windows to look ahead at. FF is stuffed.
class Data {
 public:
  void put(uint32_t word, uint32_t bits) {
    for (; bits > 0; bits--) putBit(word >> (bits - 1) & 1);
  }
  std::vector<uint8_t> bytes() {
    while (count_ % 8 != 0) putBit(1);
    for (uint32_t i = 0; i < 40; i++) put(0xA6, 8);
    return bytes_;
  }

 private:
  void putBit(uint32_t bit) {
    byte_ = (byte_ << 1 | bit) & 0xFF;
    if (++count_ % 8 != 0) return;
    bytes_.push_back(static_cast<uint8_t>(byte_));
    if (byte_ == 0xFF) bytes_.push_back(0);
  }

  std::vector<uint8_t> bytes_;
  uint32_t byte_ = 0, count_ = 0;
};

void attach(JpgStream *s, const std::vector<uint8_t> &data) {
  s->mode = kModeMemory | kModeRead;
  s->base = data.data();
  s->current = const_cast<uint8_t *>(data.data());
  s->size = static_cast<uint32_t>(data.size());
  s->position = 0;
  dropFetched(s, 0);
}

class EnumeratedTables : public testing::Test {
 protected:
  void SetUp() override { jpg::faulty::reset(); }
  void TearDown() override { EXPECT_EQ(jpg::faulty::liveBlocks(), 0U); }
};

TEST_F(EnumeratedTables, AreTakenWhereATreeHasRoomForThemAndRefusedElsewhere) {
  const std::vector<uint8_t> values = symbolsUpward();
  size_t arrays = 0, valid = 0, complete = 0;
  Counts counts = {};
  forEachArray(1, &counts, [&](const Counts &array) {
    const Tree tree(array);
    const Table table(array, values, HuffUse::kAc);
    ASSERT_EQ(table.result(), tree.fits() ? JPG_OK : JPG_E_UNSUPPORTED);
    arrays++;
    if (!tree.fits()) return;
    valid++;
    ASSERT_EQ(table.get().count, tree.size());
    ASSERT_EQ(table.get().maxLength, tree.longest());
    bool full = true;
    for (uint32_t word = 0; word < 1U << tree.longest(); word++) {
      const size_t leaf = tree.find(word, tree.longest());
      const bool isCode = leaf < tree.size();
      const HuffSymbol found = symbolAt(*table.get().lookup, table.get().codes,
                                        word << (kMaxCodeLength - tree.longest()));
      ASSERT_EQ(found.length != 0, isCode);
      if (isCode) {
        ASSERT_EQ(found.value, values[leaf]);
      }
      full = full && isCode;
    }
    complete += full ? 1 : 0;
  });
  std::printf("tables to depth %u: %zu arrays, %zu valid, %zu of them complete\n", depth(), arrays,
              valid, complete);
  // 4 x 6 x 10 x 18 x 34 arrays of any counts. Valid ones: sequences of counts n with n at most
  // the room r, and 2 (r - n) for the next length, from r = 2 on; by hand 3, 9, 35, 201, 1827.
  EXPECT_EQ(arrays, depth() == 4 ? 4320U : 146880U);
  EXPECT_EQ(valid, depth() == 4 ? 201U : 1827U);
}

// What a reader gives for one word of bits: the symbols in it, up to where no code is.
TEST_F(EnumeratedTables, GiveTheBitReaderTheSymbolsOfTheTree) {
  const std::vector<uint8_t> values = symbolsUpward();
  const uint32_t bits = 2 * depth() + 2;
  const auto c = std::make_unique<JpgContext>();
  size_t symbols = 0, ends = 0;
  Counts counts = {};
  forEachArray(1, &counts, [&](const Counts &array) {
    const Tree tree(array);
    if (!tree.fits() || tree.size() == 0) return;
    const Table table(array, values, HuffUse::kAc);
    for (uint32_t word = 0; word < 1U << bits; word++) {
      Data data;
      data.put(word, bits);
      const std::vector<uint8_t> bytes = data.bytes();
      attach(&c->stream, bytes);
      // As long as the word decides.
      for (uint32_t left = bits; left >= tree.longest();) {
        const uint32_t rest = word & ((1U << left) - 1);
        const size_t leaf = tree.find(rest, left);
        uint32_t symbol = 999;
        const Result r = decodeSymbol(&c->stream, table.decoder(), &symbol);
        if (leaf == tree.size()) {
          ASSERT_EQ(r, JPG_E_NOT_FOUND);
          ASSERT_EQ(peekBits(&c->stream, left), rest) << "nothing is consumed";
          ends++;
          break;
        }
        ASSERT_EQ(r, JPG_OK);
        ASSERT_EQ(symbol, values[leaf]);
        left -= tree.lengthOf(leaf);
        symbols++;
      }
    }
  });
  std::printf("bit reader: words of %u bits, %zu symbols, %zu ends\n", bits, symbols, ends);
  EXPECT_GT(symbols, 100000U);
  EXPECT_GT(ends, 1000U);
}

// Symbols of all kinds: ends, sizes with and without runs, runs of zeros.
std::vector<uint8_t> blockSymbols(bool dc) {
  static const uint8_t kAc[] = {0x01, 0x00, 0x12, 0xF0, 0x03, 0x21, 0x05, 0x00, 0x0B, 0xA1, 0x31};
  static const uint8_t kDc[] = {0, 1, 3, 2, 6, 11, 4, 16, 9, 15};
  std::vector<uint8_t> values;
  for (size_t i = 0; i < 256; i++) {
    values.push_back(dc ? kDc[i % sizeof(kDc)] : kAc[i % sizeof(kAc)]);
  }
  return values;
}

// A component whose tables both are of this array.
class Component {
 public:
  Component(const Counts &dc, const Counts &ac)
      : dcTable_(dc, blockSymbols(true), HuffUse::kDc),
        acTable_(ac, blockSymbols(false), HuffUse::kAc) {
    for (uint32_t k = 0; k < 64; k++) quant_[k] = 3 * k + 1;
    dcModel_.define(dc, blockSymbols(true));
    acModel_.define(ac, blockSymbols(false));
  }

  JpgScanComponent get() {
    JpgScanComponent k = {};
    const JpgHuffTable &dc = dcTable_.get(), &ac = acTable_.get();
    k.dcLookup = dc.lookup;
    k.dcCodes = dc.codes;
    k.dcMaxLength = dc.maxLength;
    k.acLookup = ac.lookup;
    k.acCodes = ac.codes;
    k.acMaxLength = ac.maxLength;
    k.quantTable = quant_.data();
    return k;
  }

  struct Decoded {
    Result result;
    std::array<int16_t, 64> block;
    int32_t predictor;
  };

  Decoded byModel(const std::vector<uint8_t> &data) const {
    jpgtest::ModelBits in;
    in.attach(data);
    Decoded d = {};
    uint32_t prediction = 0;
    d.result = jpgtest::decodeModelBlock(in, dcModel_, acModel_, quant_, prediction, d.block);
    d.predictor = static_cast<int32_t>(prediction);
    return d;
  }
  Decoded byBitReader(JpgContext *c, const std::vector<uint8_t> &data) {
    attach(&c->stream, data);
    JpgScanComponent k = get();
    Decoded d = {};
    d.block.fill(0);
    d.result = decodeBlock(&c->stream, d.block.data(), &k, kBlockSize - 1);
    d.predictor = k.dcPredictor;
    return d;
  }
  Decoded byWindow(JpgContext *c, const std::vector<uint8_t> &data) {
    attach(&c->stream, data);
    fillBuffer(&c->stream);
    JpgScanComponent k = get();
    Decoded d = {};
    BitWindow w;
    initWindow(&w);
    uint32_t last = 0;
    d.result = decodeBlockFast(&w, &c->stream, d.block.data(), &k, &last);
    if (isOpen(w)) windows_++;
    if (isOpen(w)) closeWindow(&w, &c->stream);
    d.predictor = k.dcPredictor;
    return d;
  }
  size_t windows() const { return windows_; }

 private:
  // A window opens on what the buffer holds.
  static void fillBuffer(JpgStream *s) {
    fetchByte(s);
    s->bufIndex = 0;
  }

  Table dcTable_, acTable_;
  jpgtest::ModelTable dcModel_, acModel_;
  std::array<uint32_t, 64> quant_ = {};
  size_t windows_ = 0;
};

bool same(const Component::Decoded &a, const Component::Decoded &b) {
  return a.result == b.result && a.predictor == b.predictor &&
         (a.result != JPG_OK || a.block == b.block);
}

TEST_F(EnumeratedTables, GiveBlocksAlikeThroughBitsWindowsAndTheModel) {
  constexpr uint32_t kBits = 10;
  const auto c = std::make_unique<JpgContext>();
  const Counts dc = {0, 1, 5, 1, 1, 1, 1, 1, 1};
  size_t tables = 0, blocks = 0, good = 0, windows = 0;
  Counts counts = {};
  forEachArray(1, &counts, [&](const Counts &array) {
    if (!Tree(array).fits()) return;
    for (const uint32_t base : kBases) {
      const Counts deeper = below(array, base);
      Component component(dc, deeper), both(deeper, deeper);
      tables++;
      for (uint32_t word = 0; word < 1U << kBits; word++) {
        // A DC symbol ahead of the word, or the word alone for both tables.
        Data data;
        const bool alone = word % 4 == 3;
        if (!alone) data.put(0, 2);
        data.put((1U << base) - 1, base);
        data.put(word, kBits);
        const std::vector<uint8_t> bytes = data.bytes();
        Component &k = alone ? both : component;
        const Component::Decoded model = k.byModel(bytes);
        ASSERT_TRUE(same(k.byBitReader(c.get(), bytes), model)) << "base " << base << ", " << word;
        ASSERT_TRUE(same(k.byWindow(c.get(), bytes), model)) << "base " << base << ", " << word;
        blocks++;
        good += model.result == JPG_OK ? 1 : 0;
      }
      windows += component.windows() + both.windows();
    }
  });
  std::printf(
      "blocks: %zu tables to depth %u at %zu places, words of %u bits: %zu blocks, %zu whole, "
      "%zu within a window\n",
      tables, depth(), kBases.size(), kBits, blocks, good, windows);
  EXPECT_GT(good, blocks / 20);
  EXPECT_GT(windows, blocks / 2);
}

}  // namespace
