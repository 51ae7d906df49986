// SPDX-License-Identifier: MIT
// The record behind a handle.
#include "share/jpgShare.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "faulty.h"
#include "share/jpgHeap.h"

namespace {

using namespace jpg;

class Record : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
  void TearDown() override { EXPECT_EQ(faulty::liveBlocks(), 0u); }
};

TEST_F(Record, BeginsWithSignatureSizeAndFourBytes) {
  JpgContext *c = createContext(nullptr, nullptr);
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->signature, 0x4A504547u);
  EXPECT_EQ(c->recordSize, 7372u);
  EXPECT_EQ(c->creation[0], 4);
  EXPECT_EQ(c->creation[2], 0);
  EXPECT_EQ(c->creation[3], 'b');
  EXPECT_EQ(c->stream.fileName[0], 0);
  EXPECT_EQ(destroyContext(c), JPG_OK);
}

TEST(RecordFlags, AreBitsOfTheirOwn) {
  constexpr uint32_t kFlags[] = {
      kFlagNoColorConversion, kFlagMarkerAccessUsed, kFlagMemorySource,   kFlagPrologParsed,
      kFlagWriterOpen,        kFlagPositioned,       kFlagHeadersWritten, kFlagIncrementalActive,
      kFlagJfifSeen,          kFlagAdobeSeen,        kFlagYcbcrToRgb,     kFlagPartialBitstream};
  uint32_t seen = 0;
  for (const uint32_t flag : kFlags) {
    EXPECT_NE(flag, 0u);
    EXPECT_EQ(flag & (flag - 1), 0u) << std::hex << flag;
    EXPECT_EQ(flag & seen, 0u) << std::hex << flag;
    seen |= flag;
  }
}

TEST_F(Record, KeepsANameOfUpTo255Units) {
  const std::u16string longest(255, u'x');
  const std::u16string tooLong(256, u'x');
  EXPECT_TRUE(fileNameFits(longest.c_str()));
  EXPECT_FALSE(fileNameFits(tooLong.c_str()));
  JpgContext *c = createContext(longest.c_str(), nullptr);
  EXPECT_EQ(std::memcmp(c->stream.fileName, longest.c_str(), 256 * sizeof(char16_t)), 0);
  destroyContext(c);
}

TEST_F(Record, IsNullWhenTheHeapHasNoRoom) {
  faulty::arm(faulty::Operation::kAlloc, faulty::Fault::kFail, 1);
  EXPECT_EQ(createContext(nullptr, nullptr), nullptr);
}

TEST_F(Record, IsValidOnlyWithBothWordsAndAligned) {
  JpgContext *c = createContext(nullptr, nullptr);
  EXPECT_EQ(validContext(c), c);
  EXPECT_EQ(validContext(nullptr), nullptr);
  void *inside = reinterpret_cast<char *>(c) + 2;
  EXPECT_EQ(validContext(static_cast<JPGHANDLE>(inside)), nullptr);
  c->recordSize = 7371;
  EXPECT_EQ(validContext(c), nullptr);
  c->recordSize = kContextSize;
  c->signature ^= 1;
  EXPECT_EQ(validContext(c), nullptr);
  c->signature = kContextSignature;
  destroyContext(c);
}

TEST_F(Record, IsAReaderOrAWriterByItsStream) {
  JpgContext *c = createContext(nullptr, nullptr);
  EXPECT_EQ(validReader(c), nullptr);
  EXPECT_EQ(validWriter(c), nullptr);
  c->stream.mode = kModeMemory | kModeRead;
  EXPECT_EQ(validReader(c), c);
  EXPECT_EQ(validWriter(c), nullptr);
  c->stream.mode = kModeMemory | kModeWrite;
  EXPECT_EQ(validReader(c), nullptr);
  EXPECT_EQ(validWriter(c), c);
  destroyContext(c);
}

TEST_F(Record, DestroyTellsWhatTheHeapSaysOfTheRecord) {
  JpgContext *c = createContext(nullptr, nullptr);
  faulty::arm(faulty::Operation::kFree, faulty::Fault::kFail, 1);
  EXPECT_EQ(destroyContext(c), JPG_E_FAIL);
}

// Freed memory often keeps its contents: the C library's heap hides whether anybody wiped them.
TEST_F(Record, LosesItsSignatureAheadOfItsRelease) {
  JpgContext *c = createContext(nullptr, nullptr);
  const uint32_t signature = c->signature;
  EXPECT_EQ(destroyContext(c), JPG_OK);
  EXPECT_NE(faulty::lastFreedWord(), signature);
  EXPECT_EQ(faulty::lastFreedWord(), 0u);
}

TEST(Heap, ComparesTextUpToItsEnd) {
  EXPECT_EQ(compareText("JFIF", "JFIF"), 0);
  EXPECT_LT(compareText("JFIF", "JFXX"), 0);
  EXPECT_GT(compareText("JFIFX", "JFIF"), 0);
  EXPECT_EQ(compareText("Adobe", "Adoba"), 'e' - 'a');
  EXPECT_GT(compareText("\xFF", "a"), 0);  // bytes, not signed characters
}

TEST(Heap, RefusesSizesAbove31Bits) {
  faulty::reset();
  EXPECT_EQ(heapAllocChecked(0x80000000u), nullptr);
  EXPECT_EQ(heapAllocChecked(uint64_t{1} << 40), nullptr);
  EXPECT_EQ(faulty::calls(faulty::Operation::kAlloc), 0u);
}

}  // namespace
