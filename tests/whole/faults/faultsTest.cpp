// SPDX-License-Identifier: MIT
// Faults: every allocation and every file operation of every kind of work is failed in
// turn, the n-th for every n, until the work passes without a fault. Each time the work
// ends with a code, leaks nothing, and a later handle is unaffected.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "faulty.h"
#include "jpg.h"
#include "support/random.h"

namespace {

using namespace jpg;
using faulty::Fault;
using faulty::Operation;

constexpr uint32_t kWidth = 37, kHeight = 29;

std::u16string wide(const std::string &name) { return {name.begin(), name.end()}; }
// Tests run in parallel, each in a process of its own.
std::string nameOf(const char *what) {
  return testing::TempDir() + "jpg_fault_" + std::to_string(getpid()) + what;
}
std::string inputName() { return nameOf("_input.jpg"); }
std::string outputName() { return nameOf("_output.jpg"); }

// A noisy picture, so that its stream is longer than one buffer.
std::vector<uint8_t> pixels() {
  std::vector<uint8_t> out(size_t{3} * kWidth * kHeight);
  jpgtest::Random random(1);
  for (uint8_t &p : out) p = random.byte();
  return out;
}

JpgRect rectOf(std::vector<uint8_t> *data, uint32_t width) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.height = static_cast<int32_t>(kHeight);
  rect.stride = static_cast<int32_t>(3 * width);
  rect.bitsPerPixel = 24;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.bits = data->data();
  return rect;
}

// ---- Work: each returns the first code that isn't success -----------------

uint32_t firstOf(uint32_t a, uint32_t b) { return a != JPG_OK ? a : b; }

uint32_t encode(JPGHANDLE h, bool lossless) {
  std::vector<uint8_t> data = pixels();
  JpgRect rect = rectOf(&data, kWidth);
  jpgWriteSetQuantizationFactor(h, 100);
  uint32_t r = jpgWriteWriteMarkerSegment(h, 0xFFFE, "fault", 5);
  for (uint32_t y = 0; r == JPG_OK && y < kHeight; y += 16) {
    rect.bits = data.data() + size_t{y} * static_cast<uint32_t>(rect.stride);
    const uint32_t rows = kHeight - y < 16 ? kHeight - y : 16;
    r = lossless ? jpgWriteSpatialFromRect(h, &rect, rows) : jpgWriteFromRect(h, &rect, rows);
  }
  return r;
}

uint32_t writeFile(bool lossless, const std::string &name, uint32_t flags = 0) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgWritePrologToFile(wide(name).c_str(), flags, &h);
  if (r != JPG_OK) {
    EXPECT_EQ(h, nullptr);
    return r;
  }
  const uint32_t coded = encode(h, lossless);
  return firstOf(coded, jpgWriteEpilogToFile(h));
}

uint32_t writeMemory(bool lossless, std::vector<uint8_t> *stream, uint32_t flags = 0) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgWritePrologToMemory(flags, &h);
  if (r != JPG_OK) {
    EXPECT_EQ(h, nullptr);
    return r;
  }
  const uint32_t coded = encode(h, lossless);
  void *data = nullptr;
  uint32_t size = 0;
  const uint32_t closed = jpgWriteEpilogToMemory(h, &data, &size);
  if (data != nullptr && stream != nullptr) {
    stream->assign(static_cast<uint8_t *>(data), static_cast<uint8_t *>(data) + size);
  }
  const uint32_t freed = data != nullptr ? jpgWriteFreeBitstream(data) : JPG_OK;
  return firstOf(firstOf(coded, closed), freed);
}

uint32_t readOpen(JPGHANDLE h) {
  uint32_t process = 0;
  std::vector<uint8_t> data(size_t{3} * kWidth * (kHeight + 1));
  const JpgRect rect = rectOf(&data, kWidth);
  uint32_t r = jpgReadGetCodingProcess(h, &process);
  if (r != JPG_OK) return r;
  const auto lines = static_cast<int32_t>(kHeight);
  if (process == JPG_PROCESS_LOSSLESS) return jpgReadSpatialToRect(h, &rect, lines);
  if (process == JPG_PROCESS_PROGRESSIVE) return jpgReadProgressiveToRect(h, &rect, lines, 0);
  uint16_t marker = 0;
  uint32_t length = 0;
  r = jpgReadSeekMarkerSegment(h, JPG_SEGMENT_FIRST, &marker, &length);
  r = firstOf(r, jpgReadScaleOutputToRect(h, &rect, lines, JPG_SCALE_HALF));
  return firstOf(r, jpgReadScaleOutputToRect(h, &rect, lines, JPG_SCALE_FULL));
}

uint32_t readFile(const std::string &name) {
  JPGHANDLE h = nullptr;
  const uint32_t r = jpgReadPrologFromFile(wide(name).c_str(), 0, 0, 0, &h);
  if (r != JPG_OK) {
    EXPECT_EQ(h, nullptr);
    return r;
  }
  const uint32_t decoded = readOpen(h);
  return firstOf(decoded, jpgReadEpilog(h));
}

uint32_t readDib(const std::string &name, uint16_t bits) {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info = {};
  info.header.biBitCount = bits;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&info);
  JPGHANDLE h = nullptr;
  uint32_t r = jpgReadPrologFromFile(wide(name).c_str(), 0, 0, 0, &h);
  if (r != JPG_OK) return r;
  std::vector<uint8_t> data(size_t{4} * (kWidth + 4) * kHeight);
  r = jpgReadToWinDIBits(h, 0, nullptr, bmi);
  r = firstOf(r, jpgReadToWinDIBits(h, static_cast<int32_t>(kHeight), data.data(), bmi));
  return firstOf(r, jpgReadEpilog(h));
}

uint32_t writeDib() {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info = {};
  info.header.biSize = 40;
  info.header.biWidth = 8;
  info.header.biHeight = 4;
  info.header.biBitCount = 8;
  info.header.biCompression = BI_RLE8;
  const uint8_t rle[] = {8, 1, 0, 0, 8, 2, 0, 0, 8, 3, 0, 0, 8, 4, 0, 1};
  info.header.biSizeImage = sizeof(rle);
  JPGHANDLE h = nullptr;
  uint32_t r = jpgWritePrologToMemory(0, &h);
  if (r != JPG_OK) return r;
  r = jpgWriteFromWinDIBits(h, 4, rle, reinterpret_cast<BITMAPINFO *>(&info));
  void *data = nullptr;
  uint32_t size = 0;
  r = firstOf(r, jpgWriteEpilogToMemory(h, &data, &size));
  return firstOf(r, data != nullptr ? jpgWriteFreeBitstream(data) : JPG_OK);
}

// An Exif segment in front of a stream: a TIFF structure with a JPEG thumbnail.
std::vector<uint8_t> withExif(const std::vector<uint8_t> &stream) {
  const auto size = static_cast<uint32_t>(stream.size());
  std::vector<uint8_t> tiff = {'I', 'I', 42, 0, 8, 0, 0, 0, 0, 0, 14, 0, 0, 0, 3, 0};
  const auto entry = [&tiff](uint16_t tag, uint32_t value) {
    const uint32_t words[] = {tag | 4U << 16, 1, value};
    for (const uint32_t w : words) {
      for (int i = 0; i < 4; i++) tiff.push_back(static_cast<uint8_t>(w >> (8 * i)));
    }
  };
  entry(259, 6);
  entry(513, 14 + 2 + 36 + 4);
  entry(514, size);
  tiff.insert(tiff.end(), 4, 0);
  tiff.insert(tiff.end(), stream.begin(), stream.end());
  const size_t length = 2 + 6 + tiff.size();
  std::vector<uint8_t> out;
  for (const int byte : {0xFF, 0xD8, 0xFF, 0xE1}) out.push_back(static_cast<uint8_t>(byte));
  out.push_back(static_cast<uint8_t>(length >> 8));
  out.push_back(static_cast<uint8_t>(length));
  for (const char c : {'E', 'x', 'i', 'f', '\0', '\0'}) out.push_back(static_cast<uint8_t>(c));
  out.insert(out.end(), tiff.begin(), tiff.end());
  out.insert(out.end(), stream.begin() + 2, stream.end());
  return out;
}

uint32_t readThumbnail(const std::vector<uint8_t> &stream) {
  struct {
    BITMAPINFOHEADER header;
    RGBQUAD colors[256];
  } info = {};
  info.header.biBitCount = 8;
  auto *bmi = reinterpret_cast<BITMAPINFO *>(&info);
  JPGHANDLE h = nullptr;
  uint32_t r = jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h);
  if (r != JPG_OK) return r;
  JPGEXIFHANDLE exif = nullptr;
  r = jpgReadExifReadAttributeProlog(h, &exif);
  if (r == JPG_OK) {
    std::vector<uint8_t> data(size_t{kWidth + 3} * kHeight);
    r = jpgExifReadThumbnailToWinDIBits(exif, nullptr, bmi);
    r = firstOf(r, jpgExifReadThumbnailToWinDIBits(exif, data.data(), bmi));
    r = firstOf(r, jpgReadExifReadAttributeEpilog(exif));
  } else {
    EXPECT_EQ(exif, nullptr);
  }
  return firstOf(r, jpgReadEpilog(h));
}

// ---- Every fault ----------------------------------------------------------

struct FaultKind {
  const char *name;
  Operation operation;
  Fault fault;
  std::set<uint32_t> codes;  // what the work may end with
};

const std::vector<FaultKind> &faultKinds() {
  // A read that fails is the end of the data for the decoder: what comes out depends on
  // where it strikes.
  static const std::set<uint32_t> endOfData = {JPG_OK,
                                               JPG_E_NOT_JPEG,
                                               JPG_E_UNSUPPORTED,
                                               JPG_E_BAD_DC_CODE,
                                               JPG_E_BAD_AC_CODE,
                                               JPG_E_COEF_OVERFLOW,
                                               JPG_E_FAIL,
                                               JPG_E_BAD_SEGMENT_LENGTH,
                                               JPG_NO_DATA,
                                               JPG_E_INVALID_PARAMETER};
  static const std::vector<FaultKind> kinds = {
      // A memory sink that can't grow is a failed write.
      {"allocation", Operation::kAlloc, Fault::kFail, {JPG_E_OUT_OF_MEMORY, JPG_E_WRITE_FAULT}},
      {"open", Operation::kOpen, Fault::kFail, {JPG_E_OPEN_FAILED, JPG_E_NOT_JPEG}},
      {"read", Operation::kRead, Fault::kFail, endOfData},
      {"short read", Operation::kRead, Fault::kCutShort, endOfData},
      {"write", Operation::kWrite, Fault::kFail, {JPG_E_WRITE_FAULT}},
      {"short write", Operation::kWrite, Fault::kCutShort, {JPG_E_WRITE_FAULT}},
      {"seek", Operation::kSeek, Fault::kFail, {JPG_E_SEEK, JPG_E_NOT_JPEG}},
      {"size query", Operation::kGetSize, Fault::kFail, {JPG_E_NOT_JPEG}},
      // Only the record's own release counts.
      {"free", Operation::kFree, Fault::kFail, {JPG_OK, JPG_E_FAIL}},
      // That of the probe of a file's size doesn't count; sweep() knows which one does.
      {"close", Operation::kClose, Fault::kFail, {JPG_OK, JPG_E_FAIL}},
  };
  return kinds;
}

using Work = std::function<uint32_t()>;

// Fails one operation after the other; returns how many faults there were room for.
uint32_t sweep(const FaultKind &kind, const Work &work) {
  constexpr uint32_t kEnough = 100000;
  faulty::reset();
  EXPECT_EQ(work(), JPG_OK);
  const uint32_t closes = faulty::calls(Operation::kClose);
  for (uint32_t n = 1; n < kEnough; n++) {
    faulty::reset();
    faulty::arm(kind.operation, kind.fault, n);
    const uint32_t r = work();
    if (kind.operation == Operation::kClose && n <= closes) {
      EXPECT_EQ(r, n == closes ? JPG_E_FAIL : JPG_OK) << "close " << n << " of " << closes;
    }
    EXPECT_EQ(faulty::liveBlocks(), 0u) << kind.name << " " << n;
    EXPECT_EQ(faulty::openFiles(), 0u) << kind.name << " " << n;
    EXPECT_EQ(faulty::wrongFrees(), 0u) << kind.name << " " << n;
    if (!faulty::faultHappened()) {
      EXPECT_EQ(r, JPG_OK);
      return n - 1;
    }
    EXPECT_EQ(kind.codes.count(r), 1u) << kind.name << " " << n << std::hex << " gives 0x" << r;
    faulty::reset();
    EXPECT_EQ(work(), JPG_OK) << "after " << kind.name << " " << n;
  }
  ADD_FAILURE() << "the sweep doesn't end";
  return 0;
}

// The epilogs of files whose close fails: all is freed, and the result is JPG_E_FAIL unless the
// epilog has another one to tell.
uint32_t closeBadly(JPGHANDLE h, uint32_t (*epilog)(JPGHANDLE)) {
  faulty::arm(Operation::kClose, Fault::kFailAfter, 1);
  const uint32_t r = epilog(h);
  EXPECT_EQ(faulty::faults(Operation::kClose), 1u);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
  EXPECT_EQ(faulty::openFiles(), 0u);
  faulty::reset();
  return r;
}

// Sweeps every kind of fault; the work must meet those named.
void sweepAll(const Work &work, const std::set<std::string> &met) {
  for (const FaultKind &kind : faultKinds()) {
    const uint32_t faults = sweep(kind, work);
    EXPECT_EQ(faults > 0, met.count(kind.name) == 1) << kind.name << ": " << faults;
  }
}

const std::set<std::string> kReadingFile = {"allocation", "open", "read",  "short read",
                                            "seek",       "free", "close", "size query"};
const std::set<std::string> kWritingFile = {"allocation",  "open", "write",
                                            "short write", "free", "close"};
const std::set<std::string> kInMemory = {"allocation", "free"};

class Faults : public testing::Test {
 protected:
  void SetUp() override { faulty::reset(); }
  void TearDown() override {
    faulty::reset();
    std::remove(inputName().c_str());
    std::remove(outputName().c_str());
  }
};

TEST_F(Faults, ReadingABaselineFile) {
  ASSERT_EQ(writeFile(false, inputName()), JPG_OK);
  sweepAll([] { return readFile(inputName()); }, kReadingFile);
}

TEST_F(Faults, ReadingALosslessFile) {
  ASSERT_EQ(writeFile(true, inputName()), JPG_OK);
  sweepAll([] { return readFile(inputName()); }, kReadingFile);
}

TEST_F(Faults, ReadingIntoBitmaps) {
  ASSERT_EQ(writeFile(false, inputName()), JPG_OK);
  for (const uint16_t bits : {uint16_t{8}, uint16_t{16}, uint16_t{24}}) {
    sweepAll([bits] { return readDib(inputName(), bits); }, kReadingFile);
  }
}

TEST_F(Faults, WritingABaselineFile) {
  sweepAll([] { return writeFile(false, outputName()); }, kWritingFile);
}

TEST_F(Faults, WritingALosslessFile) {
  sweepAll([] { return writeFile(true, outputName()); }, kWritingFile);
}

TEST_F(Faults, WritingWithEveryCombinationOfOptions) {
  for (uint32_t options = 1; options < 8; options++) {
    const uint32_t flags = 0x4A500000 | options << 8;
    for (const bool lossless : {false, true}) {
      sweepAll([=] { return writeFile(lossless, outputName(), flags); }, kWritingFile);
      sweepAll([=] { return writeMemory(lossless, nullptr, flags); }, kInMemory);
    }
  }
}

// A call that finds no room in the store keeps nothing of its lines: it may be repeated, and what
// was encoded before is complete.
TEST_F(Faults, ACallThatFindsNoRoomInTheStoreKeepsNothing) {
  for (const uint32_t flags : {JPG_WRITE_OPTIMIZE, JPG_WRITE_PROGRESSIVE}) {
    for (const bool lossless : {false, true}) {
      std::vector<uint8_t> expected;
      ASSERT_EQ(writeMemory(lossless, &expected, flags), JPG_OK);
      uint32_t failed = 0;
      for (uint32_t n = 1; n < 40; n++) {
        faulty::reset();
        JPGHANDLE h = nullptr;
        ASSERT_EQ(jpgWritePrologToMemory(flags, &h), JPG_OK);
        std::vector<uint8_t> data = pixels();
        JpgRect rect = rectOf(&data, kWidth);
        jpgWriteSetQuantizationFactor(h, 100);
        ASSERT_EQ(jpgWriteWriteMarkerSegment(h, 0xFFFE, "fault", 5), JPG_OK);
        faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + n);
        for (uint32_t y = 0; y < kHeight; y += 16) {
          rect.bits = data.data() + size_t{y} * static_cast<uint32_t>(rect.stride);
          const uint32_t rows = kHeight - y < 16 ? kHeight - y : 16;
          const auto write = lossless ? jpgWriteSpatialFromRect : jpgWriteFromRect;
          uint32_t r = write(h, &rect, rows);
          if (r == JPG_E_OUT_OF_MEMORY) {
            failed++;
            r = write(h, &rect, rows);
          }
          ASSERT_EQ(r, JPG_OK);
        }
        faulty::arm(Operation::kAlloc, Fault::kNone, 0);
        void *stream = nullptr;
        uint32_t size = 0;
        ASSERT_EQ(jpgWriteEpilogToMemory(h, &stream, &size), JPG_OK);
        const auto *bytes = static_cast<const uint8_t *>(stream);
        EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size) == expected, true) << n;
        jpgWriteFreeBitstream(stream);
      }
      EXPECT_GT(failed, 2u);
    }
  }
}

// The third piece of the store is due in the second call.
TEST_F(Faults, ALaterLosslessCallThatFindsNoRoomKeepsNothing) {
  constexpr uint32_t kWide = 300, kLines = 20;
  std::vector<uint8_t> data(size_t{3} * kWide * kLines, 9);
  std::vector<uint8_t> streams[2];
  for (const bool fails : {false, true}) {
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgWritePrologToMemory(JPG_WRITE_OPTIMIZE, &h), JPG_OK);
    JpgRect rect = {kWide, kLines, 3 * kWide, 24, 3, 8, data.data(), 0, 0};
    ASSERT_EQ(jpgWriteSpatialFromRect(h, &rect, kLines / 2), JPG_OK);
    rect.bits = data.data() + data.size() / 2;
    if (fails) {
      faulty::arm(Operation::kAlloc, Fault::kFail, faulty::calls(Operation::kAlloc) + 1);
      EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, kLines / 2), JPG_E_OUT_OF_MEMORY);
    }
    EXPECT_EQ(jpgWriteSpatialFromRect(h, &rect, kLines / 2), JPG_OK);
    void *stream = nullptr;
    uint32_t size = 0;
    EXPECT_EQ(jpgWriteEpilogToMemory(h, &stream, &size), JPG_OK);
    const auto *bytes = static_cast<const uint8_t *>(stream);
    streams[fails ? 1 : 0].assign(bytes, bytes + size);
    jpgWriteFreeBitstream(stream);
  }
  EXPECT_EQ(streams[0] == streams[1], true);
}

// An epilog without memory for its work leaves what was written ahead of the picture.
TEST_F(Faults, AnEpilogWithoutMemoryForTheTablesTellsSo) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(JPG_WRITE_OPTIMIZE, &h), JPG_OK);
  ASSERT_EQ(encode(h, false), JPG_OK);
  faulty::arm(Operation::kAlloc, Fault::kFailAfter, faulty::calls(Operation::kAlloc) + 1);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_E_OUT_OF_MEMORY);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(faulty::liveBlocks(), 0u);
}

TEST_F(Faults, AReadEpilogTellsOfAFileThatCannotBeClosed) {
  ASSERT_EQ(writeFile(false, inputName()), JPG_OK);
  for (const uint32_t flags : {0U, JPG_READ_COMPLETE}) {
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgReadPrologFromFile(wide(inputName()).c_str(), 0, 0, flags, &h), JPG_OK);
    EXPECT_EQ(closeBadly(h, jpgReadEpilog), JPG_E_FAIL);
  }
}

TEST_F(Faults, AWriteEpilogTellsOfAFileThatCannotBeClosed) {
  for (const bool lossless : {false, true}) {
    JPGHANDLE h = nullptr;
    ASSERT_EQ(jpgWritePrologToFile(wide(outputName()).c_str(), 0, &h), JPG_OK);
    ASSERT_EQ(encode(h, lossless), JPG_OK);
    EXPECT_EQ(closeBadly(h, jpgWriteEpilogToFile), JPG_E_FAIL);
  }
}

TEST_F(Faults, AWriteEpilogPrefersToTellOfBytesThatAreMissing) {
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToFile(wide(outputName()).c_str(), 0, &h), JPG_OK);
  ASSERT_EQ(encode(h, false), JPG_OK);
  faulty::limitOutput(0, false);
  EXPECT_EQ(closeBadly(h, jpgWriteEpilogToFile), JPG_E_WRITE_FAULT);
}

TEST_F(Faults, AnEpilogWhoseFileAndRecordBothFailTellsOnce) {
  ASSERT_EQ(writeFile(false, inputName()), JPG_OK);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromFile(wide(inputName()).c_str(), 0, 0, 0, &h), JPG_OK);
  faulty::arm(Operation::kFree, Fault::kFailAfter, 1);
  EXPECT_EQ(closeBadly(h, jpgReadEpilog), JPG_E_FAIL);
}

TEST_F(Faults, WritingToMemory) {
  sweepAll([] { return writeMemory(false, nullptr); }, kInMemory);
  sweepAll([] { return writeMemory(true, nullptr); }, kInMemory);
}

TEST_F(Faults, WritingFromARunLengthCodedBitmap) { sweepAll(writeDib, kInMemory); }

TEST_F(Faults, ReadingAnExifThumbnail) {
  std::vector<uint8_t> stream;
  ASSERT_EQ(writeMemory(false, &stream), JPG_OK);
  const std::vector<uint8_t> exif = withExif(stream);
  sweepAll([&exif] { return readThumbnail(exif); }, kInMemory);
}

}  // namespace
