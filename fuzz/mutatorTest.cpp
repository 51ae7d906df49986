// SPDX-License-Identifier: MIT
// The structure-aware mutator of the fuzz targets.
#include "mutator.h"

#include <gtest/gtest.h>
#include <jpg.h>

#include <algorithm>
#include <set>

#include "streamParts.h"
#include "support/random.h"
#include "support/streamBuilder.h"

namespace {

using jpgfuzz::bytesOf;
using jpgfuzz::Kind;
using jpgfuzz::Part;
using jpgfuzz::partsOf;
using jpgtest::Bytes;

constexpr uint32_t kSeeds = 3000;

// A grey picture of two MCU rows of two, with restart markers and many FFs.
Bytes stream() {
  jpgtest::StreamBuilder s;
  s.soi().dqt(0, jpgtest::flatQuant(3)).com("text").dri(2);
  s.sof(jpgtest::kSof0, 8, 16, 16, {{1, 0x11, 0}});
  s.dht(0x00, jpgtest::evenTable({0, 1, 2, 3, 4, 5, 6}, 3));
  s.dht(0x10, jpgtest::evenTable({0, 0x11, 0x21, 3, 4, 5, 6}, 3));
  s.sos({{1, 0x00}}).raw({0xFF, 0x00, 0x12, 0xFF, 0x00, 0x34}).rst(0);
  s.raw({0xFF, 0x00, 0x56, 0x78, 0xFF, 0x00}).eoi();
  return s.bytes();
}

// In place of the engine: the last byte is another one.
size_t invertLast(uint8_t *data, size_t size, size_t) {
  if (size > 0) data[size - 1] = static_cast<uint8_t>(~data[size - 1]);
  return size;
}

Bytes mutated(const Bytes &bytes, uint32_t seed, size_t room = 1000) {
  Bytes changed = bytes;
  changed.resize(bytes.size() + room);
  changed.resize(
      jpgfuzz::mutateStream(changed.data(), bytes.size(), changed.size(), seed, invertLast));
  return changed;
}

std::vector<Part> partsOf(const Bytes &bytes) { return partsOf(bytes.data(), bytes.size()); }

TEST(StreamParts, AreTheMarkersSegmentsAndIntervals) {
  std::vector<int> codes;
  for (const Part &part : partsOf(stream())) {
    codes.push_back(part.kind == Kind::kCoded ? -1 : part.code);
  }
  EXPECT_EQ(codes,
            (std::vector<int>{0xD8, 0xDB, 0xFE, 0xDD, 0xC0, 0xC4, 0xC4, 0xDA, -1, 0xD0, -1, 0xD9}));
}

TEST(StreamParts, CodedDataStandWithoutStuffing) {
  const std::vector<Part> parts = partsOf(stream());
  EXPECT_EQ(parts[8].data, (Bytes{0xFF, 0x12, 0xFF, 0x34}));
  EXPECT_EQ(parts[10].data, (Bytes{0xFF, 0x56, 0x78, 0xFF}));
}

TEST(StreamParts, OfAnyBytesGiveTheSameBytesAgain) {
  jpgtest::Random random(1);
  const Bytes whole = stream();
  for (size_t size = 0; size <= whole.size(); size++) {
    const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(bytesOf(partsOf(bytes)), bytes) << size;
  }
  for (int i = 0; i < 2000; i++) {
    Bytes bytes = whole;
    for (int n = random.between(1, 9); n > 0; n--) {
      bytes[random.below(static_cast<uint32_t>(bytes.size()))] =
          random.oneIn(2) ? uint8_t{0xFF} : random.byte();
    }
    ASSERT_EQ(bytesOf(partsOf(bytes)), bytes) << i;
  }
}

TEST(StreamMutator, ChangesTheStreamTheSameWayForTheSameSeed) {
  std::set<Bytes> different;
  for (uint32_t seed = 0; seed < kSeeds; seed++) {
    const Bytes changed = mutated(stream(), seed);
    ASSERT_EQ(changed, mutated(stream(), seed)) << seed;
    ASSERT_NE(changed, stream()) << seed;
    different.insert(changed);
  }
  EXPECT_GT(different.size(), kSeeds * 3 / 4);  // small changes repeat
}

TEST(StreamMutator, KeepsWithinTheRoomAndLeavesTheStreamWhereNothingApplies) {
  const Bytes whole = stream();
  for (uint32_t seed = 0; seed < kSeeds; seed++) {
    Bytes memory = whole;
    memory.resize(whole.size() + 8, 0xA5);
    const size_t most = whole.size() + seed % 4;
    const size_t size = jpgfuzz::mutateStream(memory.data(), whole.size(), most, seed, invertLast);
    ASSERT_LE(size, most);
    for (size_t i = most; i < memory.size(); i++) ASSERT_EQ(memory[i], 0xA5);
    const bool untouched = std::equal(whole.begin(), whole.end(), memory.begin());
    ASSERT_TRUE(size != 0 || untouched);
  }
}

TEST(StreamMutator, TakesAnyBytes) {
  jpgtest::Random random(2);
  for (uint32_t seed = 0; seed < kSeeds; seed++) {
    Bytes bytes(random.below(300));
    for (uint8_t &byte : bytes) byte = random.oneIn(3) ? uint8_t{0xFF} : random.byte();
    Bytes changed = mutated(bytes, seed);
    for (int i = 0; i < 8; i++) changed = mutated(changed, seed);
  }
}

// What was changed, told from outside.
std::set<std::string> changesIn(const std::vector<Part> &parts) {
  std::set<std::string> changes;
  const std::vector<Part> whole = partsOf(stream());
  const auto count = [](const std::vector<Part> &list, int code) {
    return std::count_if(list.begin(), list.end(), [=](const Part &p) {
      return code < 0 ? p.kind == Kind::kCoded : p.kind != Kind::kCoded && p.code == code;
    });
  };
  for (const int code : {0xD0, 0xD8, 0xD9, 0xC0, 0xC4, 0xDA, 0xDB, 0xDC, 0xDD, 0xEE}) {
    const auto before = count(whole, code), now = count(parts, code);
    if (now < before) changes.insert("fewer " + std::to_string(code));
    if (now > before) changes.insert("more " + std::to_string(code));
  }
  for (const Part &part : parts) {
    const auto known = std::find_if(whole.begin(), whole.end(), [&](const Part &p) {
      return p.code == part.code && p.kind == part.kind && p.data == part.data;
    });
    if (known == whole.end()) changes.insert("other " + std::to_string(part.code));
    if (part.kind == Kind::kSegment && part.length != part.data.size() + 2) {
      changes.insert("wrong length");
    }
  }
  return changes;
}

TEST(StreamMutator, ReachesEveryKindOfMarkerSegmentAndData) {
  std::set<std::string> seen;
  for (uint32_t seed = 0; seed < kSeeds; seed++)
    seen.merge(changesIn(partsOf(mutated(stream(), seed))));
  for (const char *change :
       {"fewer 208", "more 208",  "fewer 216", "fewer 217", "more 217",  "fewer 192",   "more 192",
        "fewer 196", "more 196",  "fewer 218", "more 218",  "fewer 219", "more 219",    "more 220",
        "fewer 221", "more 221",  "more 238",  "other 0",   "other 192", "other 194",   "other 195",
        "other 196", "other 218", "other 219", "other 221", "other 254", "wrong length"}) {
    EXPECT_EQ(seen.count(change), 1U) << change;
  }
}

TEST(StreamMutator, KeepsCodedDataStuffed) {
  // Stray bytes come from wrong lengths and parts in other places alone.
  uint32_t strays = 0;
  for (uint32_t seed = 0; seed < kSeeds; seed++) {
    const std::vector<Part> parts = partsOf(mutated(stream(), seed));
    strays += std::any_of(parts.begin(), parts.end(),
                          [](const Part &part) { return part.kind == Kind::kStray; });
  }
  EXPECT_LT(strays, kSeeds / 4);
}

TEST(StreamMutator, LeavesMostStreamsReadable) {
  uint32_t opened = 0;
  for (uint32_t seed = 0; seed < kSeeds; seed++) {
    const Bytes changed = mutated(stream(), seed);
    JPGHANDLE h = nullptr;
    const auto size = static_cast<int32_t>(changed.size());
    if (jpgReadPrologFromMemory(changed.data(), size, 0, &h) != JPG_OK) continue;
    opened++;
    jpgReadEpilog(h);
  }
  EXPECT_GT(opened, kSeeds / 3);
}

}  // namespace
