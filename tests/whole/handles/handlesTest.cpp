// SPDX-License-Identifier: MIT
// Handles that aren't what a function takes: it says so, touches no output, and leaves the
// record as it was, byte for byte.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "exif/jpgRExif.h"
#include "faulty.h"
#include "share/jpgShare.h"
#include "support/picture.h"
#include "support/reader.h"
#include "support/tiffBuilder.h"
#include "whole/handles/everyFunction.h"

namespace jpgtest {
namespace {

using namespace jpg;

constexpr uint16_t kSide = 16;

Bytes exifStream() {
  TiffBuilder tiff(ByteOrder::kBig);
  tiff.putZeroth({tiff.shortOf(274, 1)});
  return streamOf(tiff);
}

Bytes record(const void *at, size_t size) {
  const auto *bytes = static_cast<const uint8_t *>(at);
  return {bytes, bytes + size};
}

bool takes(const Function &f, std::initializer_list<Takes> kinds) {
  for (const Takes kind : kinds) {
    if (f.takes == kind) return true;
  }
  return false;
}

// Every function that takes one of the kinds refuses the handle and leaves all as it was.
void expectRefused(void *handle, size_t size, std::initializer_list<Takes> kinds,
                   const std::string &what) {
  const Bytes before = record(handle, size);
  unsigned called = 0;
  for (const Function &f : everyFunction()) {
    if (!takes(f, kinds)) continue;
    resetOutputs();
    EXPECT_RESULT(JPG_E_INVALID_HANDLE, f.call(handle)) << f.name << " on " << what;
    EXPECT_TRUE(outputsUntouched()) << f.name << " on " << what;
    EXPECT_EQ(before, record(handle, size)) << f.name << " on " << what;
    called++;
  }
  EXPECT_GT(called, 0u);
}

constexpr auto kAllKinds = {Takes::kRecord, Takes::kReader, Takes::kWriter, Takes::kExif};
constexpr auto kJpegKinds = {Takes::kRecord, Takes::kReader, Takes::kWriter};

// A handle of each kind over a picture of 16 x 8 pixels.
class Handles : public testing::Test {
 protected:
  void SetUp() override {
    faulty::reset();
    stream_ = exifStream();
    open();
  }
  void TearDown() override {
    if (reader_ != nullptr) {
      EXPECT_RESULT(JPG_OK, jpgReadEpilog(reader_));
    }
    if (writer_ != nullptr) {
      EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(writer_));
    }
    if (exif_ != nullptr) {
      EXPECT_RESULT(JPG_OK, jpgReadExifReadAttributeEpilog(exif_));
    }
    EXPECT_EQ(0u, faulty::liveBlocks());
    EXPECT_EQ(0u, faulty::wrongFrees());
  }
  void open() {
    const auto size = static_cast<int32_t>(stream_.size());
    ASSERT_RESULT(JPG_OK, jpgReadPrologFromMemory(stream_.data(), size, 0, &reader_));
    ASSERT_RESULT(JPG_OK, jpgReadExifReadAttributeProlog(reader_, &exif_));
    ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &writer_));
  }

  Bytes stream_;
  JPGHANDLE reader_ = nullptr;
  JPGHANDLE writer_ = nullptr;
  JPGEXIFHANDLE exif_ = nullptr;
};

TEST_F(Handles, TheTableHoldsEveryFunctionOfTheHeader) {
  std::ifstream file(JPG_SOURCE_DIR "/include/jpg.h");
  std::stringstream text;
  text << file.rdbuf();
  const std::string header = text.str();
  const std::regex declaration("JPG_CALL\\s+(jpg\\w+)\\(");
  std::set<std::string> declared;
  for (std::sregex_iterator i(header.begin(), header.end(), declaration), end; i != end; ++i) {
    declared.insert((*i)[1]);
  }
  std::set<std::string> named;
  for (const Function &f : everyFunction()) named.insert(f.name);
  EXPECT_EQ(43u, named.size());
  EXPECT_EQ(declared, named);
}

TEST_F(Handles, OfTheRightKindAreTakenByEveryFunction) {
  for (const Function &f : everyFunction()) {
    if (f.takes == Takes::kNone) continue;
    TearDown();
    SetUp();
    void *handle = f.takes == Takes::kExif     ? static_cast<void *>(exif_)
                   : f.takes == Takes::kWriter ? static_cast<void *>(writer_)
                                               : static_cast<void *>(reader_);
    resetOutputs();
    EXPECT_NE(JPG_E_INVALID_HANDLE, f.call(handle)) << f.name;
    if (!f.closes) continue;
    if (handle == reader_) reader_ = nullptr;
    if (handle == writer_) writer_ = nullptr;
    if (handle == exif_) exif_ = nullptr;
  }
}

TEST_F(Handles, NullIsRefused) { expectRefused(nullptr, 0, kAllKinds, "null"); }

TEST_F(Handles, AReadHandleIsRefusedByWriteAndExifFunctions) {
  expectRefused(reader_, sizeof(JpgContext), {Takes::kWriter, Takes::kExif}, "a read handle");
}

TEST_F(Handles, AWriteHandleIsRefusedByReadAndExifFunctions) {
  expectRefused(writer_, sizeof(JpgContext), {Takes::kReader, Takes::kExif}, "a write handle");
  JPGHANDLE plain = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &plain));
  expectRefused(plain, sizeof(JpgContext), {Takes::kReader, Takes::kExif}, "a write handle");
  EXPECT_RESULT(JPG_OK, jpgWriteEpilogToFile(plain));
}

TEST_F(Handles, AnAttributeHandleIsRefusedByJpegFunctions) {
  expectRefused(exif_, sizeof(JpgExifAttributes), kJpegKinds, "an attribute handle");
}

TEST_F(Handles, ADirectoryCursorIsRefusedByEveryFunction) {
  JpgIfdCursor *cursor = nullptr;
  ASSERT_RESULT(JPG_OK, openIfd(exif_, kIfdZeroth, &cursor));
  expectRefused(cursor, sizeof(JpgIfdCursor), kAllKinds, "a cursor");
  EXPECT_RESULT(JPG_OK, closeIfd(cursor));
}

TEST_F(Handles, OfTheOtherKindAreUsedAsBeforeAfterwards) {
  Bytes expected(size_t{3} * kSide * 8);
  Bytes pixels = expected;
  JpgRect rect = {kSide, 8, 3 * kSide, 8, 1, 8, expected.data(), 0, 0};
  const Reader undisturbed = Reader::ofMemory(stream_);
  ASSERT_RESULT(JPG_OK, jpgReadToRect(undisturbed.handle(), &rect, 8));
  expectRefused(reader_, sizeof(JpgContext), {Takes::kWriter, Takes::kExif}, "a read handle");
  rect.bits = pixels.data();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(reader_, &rect, 8));
  EXPECT_EQ(expected, pixels);
}

TEST_F(Handles, RefusedByReadFunctionsWriteWhatTheyWouldHaveWritten) {
  Bytes samples(size_t{3} * kSide * kSide, 0x55);
  const JpgRect rect = {kSide, kSide, 3 * kSide, 24, 3, 8, samples.data(), 0, 0};
  JPGHANDLE other = nullptr;
  ASSERT_RESULT(JPG_OK, jpgWritePrologToMemory(0, &other));
  Bytes written[2];
  for (const bool disturbed : {false, true}) {
    JPGHANDLE h = disturbed ? writer_ : other;
    const auto disturb = [&] {
      if (disturbed) expectRefused(h, sizeof(JpgContext), {Takes::kReader}, "a write handle");
    };
    disturb();
    EXPECT_RESULT(JPG_OK, jpgWriteFromRect(h, &rect, kSide));
    disturb();
    void *data = nullptr;
    uint32_t size = 0;
    EXPECT_RESULT(JPG_OK, jpgWriteEpilogToMemory(h, &data, &size));
    written[disturbed] = record(data, size);
    EXPECT_RESULT(JPG_OK, jpgWriteFreeBitstream(data));
  }
  writer_ = nullptr;
  EXPECT_EQ(written[0], written[1]);
}

// Freed memory can't be looked at; a record destroyed but for its release stands for it.
TEST_F(Handles, ThatAreStaleAreRefused) {
  for (JPGHANDLE handle : {reader_, writer_}) {
    alignas(JpgContext) uint8_t stale[sizeof(JpgContext)];
    std::memcpy(stale, handle, sizeof(stale));
    std::memset(stale, 0, sizeof(uint32_t));
    expectRefused(stale, sizeof(stale), kAllKinds, "a closed handle");
  }
  alignas(JpgExifAttributes) uint8_t stale[sizeof(JpgExifAttributes)];
  std::memcpy(stale, exif_, sizeof(stale));
  std::memset(stale, 0, sizeof(uint32_t));
  expectRefused(stale, sizeof(stale), kAllKinds, "a closed attribute handle");
}

TEST_F(Handles, ThatAreHalfMadeAreRefusedByAllThatReadsOrWrites) {
  JpgContext *c = createContext(nullptr, nullptr);  // neither kind yet: its stream isn't open
  ASSERT_NE(nullptr, c);
  expectRefused(c, sizeof(JpgContext), {Takes::kReader, Takes::kWriter, Takes::kExif},
                "a half-made record");
  uint32_t process = 0;
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpgReadGetCodingProcess(c, &process));
  EXPECT_RESULT(JPG_OK, destroyContext(c));
}

TEST_F(Handles, WithAnotherSizeOrSignatureAreRefused) {
  JPGHANDLE handles[] = {reader_, writer_};
  for (JPGHANDLE handle : handles) {
    for (unsigned bit = 0; bit < 64; bit++) {
      alignas(JpgContext) uint8_t damaged[sizeof(JpgContext)];
      std::memcpy(damaged, handle, sizeof(damaged));
      damaged[bit / 8] = static_cast<uint8_t>(damaged[bit / 8] ^ 1U << bit % 8);
      expectRefused(damaged, sizeof(damaged), kAllKinds, "bit " + std::to_string(bit));
    }
  }
  for (unsigned bit = 0; bit < 64; bit++) {
    alignas(JpgExifAttributes) uint8_t damaged[sizeof(JpgExifAttributes)];
    std::memcpy(damaged, exif_, sizeof(damaged));
    damaged[bit / 8] = static_cast<uint8_t>(damaged[bit / 8] ^ 1U << bit % 8);
    expectRefused(damaged, sizeof(damaged), kAllKinds, "Exif bit " + std::to_string(bit));
  }
}

TEST_F(Handles, ThatAreNotAlignedAreRefused) {
  alignas(16) static uint8_t room[sizeof(JpgContext) + 16];
  for (size_t at = 1; at < 12; at++) {
    if (at % 4 == 0) continue;
    std::memcpy(room + at, reader_, sizeof(JpgContext));
    expectRefused(room + at, sizeof(JpgContext), kAllKinds, "offset " + std::to_string(at));
    std::memcpy(room + at, exif_, sizeof(JpgExifAttributes));
    expectRefused(room + at, sizeof(JpgExifAttributes), kAllKinds, "offset " + std::to_string(at));
  }
}

TEST_F(Handles, ThatAreForeignAreReadNoFurtherThanSignatureAndSize) {
  // Eight bytes at the end of a page; nothing may be read behind them.
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  void *pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(MAP_FAILED, pages);
  ASSERT_EQ(0, mprotect(static_cast<uint8_t *>(pages) + page, page, PROT_NONE));
  uint8_t *place = static_cast<uint8_t *>(pages) + page - 8;
  const uint32_t words[][2] = {{0, 0},
                               {0xFFFFFFFF, 0xFFFFFFFF},
                               {kContextSignature, 0},
                               {kContextSignature, kExifSize},
                               {kExifSignature, 0},
                               {kExifSignature, kContextSize},
                               {kIfdSignature, kIfdCursorSize},
                               {0, kContextSize},
                               {0, kExifSize}};
  for (const auto &pair : words) {
    std::memcpy(place, pair, sizeof(pair));
    expectRefused(place, 8, kAllKinds, "foreign memory");
  }
  EXPECT_EQ(0, munmap(pages, 2 * page));
}

}  // namespace
}  // namespace jpgtest
