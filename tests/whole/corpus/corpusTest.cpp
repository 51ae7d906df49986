// SPDX-License-Identifier: MIT
// Real files, good and bad: every one opens or is refused with a code, decodes or fails
// with a code, and closes; from file and from memory alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "jpg.h"

namespace {

namespace fs = std::filesystem;

std::string corpusFolder() {
  const char *given = std::getenv("JPG_CORPUS");
  return given != nullptr ? given : JPG_CORPUS_DIR;
}

std::vector<fs::path> filesIn(const std::string &folder) {
  std::vector<fs::path> files;
  const fs::path root = fs::path(corpusFolder()) / folder;
  if (fs::is_directory(root)) {
    for (const auto &entry : fs::directory_iterator(root)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<uint8_t> contentsOf(const fs::path &path) {
  std::vector<uint8_t> data;
  std::FILE *file = std::fopen(path.c_str(), "rb");
  uint8_t chunk[65536];
  for (size_t n; (n = std::fread(chunk, 1, sizeof(chunk), file)) > 0;) {
    data.insert(data.end(), chunk, chunk + n);
  }
  std::fclose(file);
  return data;
}

const std::set<uint32_t> &knownCodes() {
  static const std::set<uint32_t> codes = {JPG_OK,
                                           JPG_NO_DATA,
                                           JPG_E_FAIL,
                                           JPG_E_OUT_OF_MEMORY,
                                           JPG_E_SEEK,
                                           JPG_E_INVALID_PARAMETER,
                                           JPG_E_UNSUPPORTED,
                                           JPG_E_NOT_JPEG,
                                           JPG_E_NOT_FOUND,
                                           JPG_E_END_OF_IMAGE,
                                           JPG_E_BAD_DC_CODE,
                                           JPG_E_BAD_AC_CODE,
                                           JPG_E_COEF_OVERFLOW,
                                           JPG_E_BAD_SEGMENT_LENGTH};
  return codes;
}

constexpr uint8_t kGuard = 0xA5;
constexpr size_t kGuardBytes = 64;  // before and behind the rows
constexpr size_t kRowGuard = 8;     // behind each row

// A picture's pixels between guard bytes.
struct Canvas {
  uint32_t width = 0, height = 0, bytesPerPixel = 0;
  std::vector<uint8_t> memory;

  size_t rowBytes() const { return size_t{width} * bytesPerPixel; }
  size_t stride() const { return rowBytes() + kRowGuard; }
  void resize(uint32_t w, uint32_t h, uint32_t bytes) {
    width = w;
    height = h;
    bytesPerPixel = bytes;
    memory.assign(stride() * h + 2 * kGuardBytes, kGuard);
  }
  JpgRect rect() {
    JpgRect r = {};
    r.width = static_cast<int32_t>(width);
    r.stride = static_cast<int32_t>(stride());
    r.bitsPerPixel = static_cast<int32_t>(8 * bytesPerPixel);
    r.bits = memory.data() + kGuardBytes;
    return r;
  }
  bool isGuard(size_t from, size_t count) const {
    return std::all_of(memory.begin() + static_cast<ptrdiff_t>(from),
                       memory.begin() + static_cast<ptrdiff_t>(from + count),
                       [](uint8_t byte) { return byte == kGuard; });
  }
  bool guardsIntact() const {
    for (uint32_t y = 0; y < height; y++) {
      if (!isGuard(kGuardBytes + y * stride() + rowBytes(), kRowGuard)) return false;
    }
    return isGuard(0, kGuardBytes) && isGuard(memory.size() - kGuardBytes, kGuardBytes);
  }
};

uint32_t readRows(JPGHANDLE h, uint32_t process, const JpgRect &rect, uint32_t rows) {
  const auto lines = static_cast<int32_t>(rows);
  if (process == JPG_PROCESS_PROGRESSIVE) return jpgReadProgressiveToRect(h, &rect, lines, 0);
  if (process == JPG_PROCESS_LOSSLESS) return jpgReadSpatialToRect(h, &rect, lines);
  return jpgReadToRect(h, &rect, lines);
}

constexpr uint32_t kAllRows = 0xFFFFFFFF;

// Reads the picture in bands of that many rows.
uint32_t readBands(JPGHANDLE h, uint32_t process, uint32_t bandRows, Canvas *canvas) {
  JpgRect rect = canvas->rect();
  uint32_t y = 0;
  do {
    const uint32_t rows = std::min(bandRows, canvas->height - y);
    if (const uint32_t r = readRows(h, process, rect, rows); r != JPG_OK) return r;
    rect.bits = static_cast<uint8_t *>(rect.bits) + canvas->stride() * rows;
    y += rows;
  } while (y < canvas->height);
  return JPG_OK;
}

// What happened to a file: the prolog's code and, once open, the decoder's.
struct Outcome {
  uint32_t prolog = JPG_OK;
  uint32_t decode = JPG_OK;
  uint32_t process = 0;
  bool guardsIntact = true;
  std::vector<uint8_t> pixels;
};

constexpr uint64_t kMaxPixels = 40000000;  // a hostile header may tell any size

void decodeOpen(JPGHANDLE h, uint32_t bandRows, Outcome *outcome) {
  uint32_t width = 0, height = 0, channels = 0, precision = 0;
  EXPECT_EQ(jpgReadGetImageSize(h, &width, &height), JPG_OK);
  EXPECT_EQ(jpgReadGetNumberOfChannels(h, &channels), JPG_OK);
  EXPECT_EQ(jpgReadGetSamplePrecision(h, &precision), JPG_OK);
  EXPECT_EQ(jpgReadGetCodingProcess(h, &outcome->process), JPG_OK);
  const bool lossless = outcome->process == JPG_PROCESS_LOSSLESS;
  const uint32_t bytes = lossless ? channels * (precision > 8 ? 2 : 1) : channels < 3 ? 1 : 3;
  const uint32_t rows = height != 0 ? height : 64;
  if (uint64_t{width} * rows > kMaxPixels) return;
  Canvas canvas;
  canvas.resize(width, rows, bytes);
  outcome->decode = readBands(h, outcome->process, bandRows, &canvas);
  outcome->guardsIntact = canvas.guardsIntact();
  outcome->pixels = std::move(canvas.memory);
}

Outcome decodeFile(const fs::path &path) {
  Outcome outcome;
  JPGHANDLE h = nullptr;
  outcome.prolog = jpgReadPrologFromFile(path.u16string().c_str(), 0, 0, 0, &h);
  if (outcome.prolog != JPG_OK) {
    EXPECT_EQ(h, nullptr);
    return outcome;
  }
  decodeOpen(h, kAllRows, &outcome);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return outcome;
}

Outcome decodeMemory(const std::vector<uint8_t> &data, uint32_t bandRows) {
  Outcome outcome;
  JPGHANDLE h = nullptr;
  outcome.prolog = jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &h);
  if (outcome.prolog != JPG_OK) return outcome;
  decodeOpen(h, bandRows, &outcome);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return outcome;
}

// Decodes a file both ways and checks what holds for every file.
Outcome examine(const fs::path &path) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const Outcome outcome = decodeFile(path);
  const std::chrono::duration<double> seconds = Clock::now() - start;
  EXPECT_LT(seconds.count(), double{JPG_SECONDS_A_FILE});
  EXPECT_EQ(knownCodes().count(outcome.prolog), 1u) << std::hex << outcome.prolog;
  EXPECT_EQ(knownCodes().count(outcome.decode), 1u) << std::hex << outcome.decode;
  EXPECT_TRUE(outcome.guardsIntact);
  const std::vector<uint8_t> data = contentsOf(path);
  if (data.empty()) return outcome;
  const Outcome again = decodeMemory(data, kAllRows);
  EXPECT_EQ(again.prolog, outcome.prolog);
  EXPECT_EQ(again.decode, outcome.decode);
  EXPECT_TRUE(again.pixels == outcome.pixels) << "file and memory differ";
  if (outcome.prolog != JPG_OK || outcome.process == JPG_PROCESS_LOSSLESS) return outcome;
  constexpr uint32_t kBandRows = 48;  // whole MCU rows in every layout
  const Outcome banded = decodeMemory(data, kBandRows);
  EXPECT_EQ(banded.decode, outcome.decode);
  EXPECT_TRUE(banded.guardsIntact);
  // A whole picture that broke off has rows that a band which broke off may lack.
  if (outcome.decode == JPG_OK) {
    EXPECT_TRUE(banded.pixels == outcome.pixels) << "bands and the whole differ";
  }
  return outcome;
}

#define SKIP_WITHOUT(files)                                                                \
  if ((files).empty()) {                                                                   \
    GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files to run this test"; \
  }

class EveryFile : public testing::TestWithParam<const char *> {};

TEST_P(EveryFile, OpensOrIsRefusedAndClosesWithKnownCodes) {
  const std::vector<fs::path> files = filesIn(GetParam());
  SKIP_WITHOUT(files);
  for (const fs::path &path : files) {
    SCOPED_TRACE(path.filename().string());
    examine(path);
  }
}

INSTANTIATE_TEST_SUITE_P(Folders, EveryFile,
                         testing::Values("plain", "made", "lossless", "exif", "photos", "refused",
                                         "odd", "hostile"),
                         [](const auto &folder) { return std::string(folder.param); });

class GoodFiles : public testing::TestWithParam<const char *> {};

TEST_P(GoodFiles, DecodeWholly) {
  const std::vector<fs::path> files = filesIn(GetParam());
  SKIP_WITHOUT(files);
  for (const fs::path &path : files) {
    SCOPED_TRACE(path.filename().string());
    const Outcome outcome = decodeFile(path);
    EXPECT_EQ(outcome.prolog, JPG_OK) << std::hex << outcome.prolog;
    EXPECT_EQ(outcome.decode, JPG_OK) << std::hex << outcome.decode;
  }
}

INSTANTIATE_TEST_SUITE_P(Folders, GoodFiles, testing::Values("made", "photos"),
                         [](const auto &folder) { return std::string(folder.param); });

// Files of the common folders that don't decode, each for a reason.
struct Exception {
  const char *name;
  uint32_t code;
};

constexpr Exception kExceptions[] = {
    // bytes between segments that belong to none
    {"0x00-to-0xFF-between-segments.jpg", JPG_E_NOT_JPEG},
    // of another format, for all its name
    {"jpg-size-6x6.jpg", JPG_E_NOT_JPEG},
    // no end marker
    {"timeout-48eb4251935b4ca8b26d1859ea525c1b42ae0c78.jpeg", JPG_E_NOT_JPEG},
    // sampling factors above 2
    {"ArrayIndexOutOfBoundsException_DhtSegment_79.jpeg", JPG_E_UNSUPPORTED},
    {"error.jpg", JPG_E_UNSUPPORTED},
    {"fox410.jpg", JPG_E_UNSUPPORTED},
    // sequential, the components in several scans
    {"flower_small.q85_420_non_interleaved.jpg", JPG_E_UNSUPPORTED},
    {"flower_small.q85_420_partially_interleaved.jpg", JPG_E_UNSUPPORTED},
    {"non_interleaved_420_64x64.jpg", JPG_E_UNSUPPORTED},
    {"non_interleaved_422_64x64.jpg", JPG_E_UNSUPPORTED},
    {"non_interleaved_440_64x64.jpg", JPG_E_UNSUPPORTED},
    {"non_interleaved_444_64x64.jpg", JPG_E_UNSUPPORTED},
    {"sos_news.jpeg", JPG_E_UNSUPPORTED},
    {"tiny_non_interleaved_444.jpg", JPG_E_UNSUPPORTED},
    // Huffman tables that were never defined
    {"mjpeg.jpg", JPG_E_BAD_DC_CODE},
    // breaks off in a scan
    {"partial_progressive.jpg", JPG_E_BAD_AC_CODE},
};

uint32_t expectedOf(const fs::path &path) {
  for (const Exception &exception : kExceptions) {
    if (path.filename() == exception.name) return exception.code;
  }
  return JPG_OK;
}

class CommonFiles : public testing::TestWithParam<const char *> {};

TEST_P(CommonFiles, DecodeButForThoseWithAReason) {
  const std::vector<fs::path> files = filesIn(GetParam());
  SKIP_WITHOUT(files);
  for (const fs::path &path : files) {
    SCOPED_TRACE(path.filename().string());
    const Outcome outcome = decodeFile(path);
    const uint32_t code = outcome.prolog != JPG_OK ? outcome.prolog : outcome.decode;
    EXPECT_EQ(code, expectedOf(path)) << std::hex << code;
  }
}

INSTANTIATE_TEST_SUITE_P(Folders, CommonFiles, testing::Values("plain", "exif"),
                         [](const auto &folder) { return std::string(folder.param); });

TEST(RefusedFiles, AreRefusedAsUnsupported) {
  const std::vector<fs::path> files = filesIn("refused");
  SKIP_WITHOUT(files);
  for (const fs::path &path : files) {
    SCOPED_TRACE(path.filename().string());
    const Outcome outcome = decodeFile(path);
    const uint32_t code = outcome.prolog != JPG_OK ? outcome.prolog : outcome.decode;
    EXPECT_EQ(code, JPG_E_UNSUPPORTED) << std::hex << code;
  }
}

// What the rules say of each.
struct OddFile {
  const char *name;
  uint32_t prolog;
  bool decodes;
};

constexpr OddFile kOddFiles[] = {
    {"app0_13.jpg", JPG_OK, true},                            // a short APP0 is ignored
    {"dnl.jpg", JPG_OK, true},                                // the height comes behind the scan
    {"fill_bytes_before_marker.jpg", JPG_E_NOT_JPEG, false},  // FF FF is no marker
    {"garbage_after_eoi.jpg", JPG_OK, true},
    {"huge_com.jpg", JPG_OK, true},
    {"no_eoi.jpg", JPG_E_NOT_JPEG, false},
    {"truncated_half.jpg", JPG_E_NOT_JPEG, false},
    {"truncated_half_eoi.jpg", JPG_OK, false},
};

TEST(OddFiles, AreTakenAsTheRulesSay) {
  if (filesIn("odd").empty()) GTEST_SKIP() << "no files: set JPG_CORPUS";
  for (const OddFile &odd : kOddFiles) {
    const fs::path path = fs::path(corpusFolder()) / "odd" / odd.name;
    SCOPED_TRACE(odd.name);
    const Outcome outcome = decodeFile(path);
    EXPECT_EQ(outcome.prolog, odd.prolog) << std::hex << outcome.prolog;
    if (outcome.prolog == JPG_OK) {
      EXPECT_EQ(outcome.decode == JPG_OK, odd.decodes) << std::hex << outcome.decode;
    }
  }
}

}  // namespace
