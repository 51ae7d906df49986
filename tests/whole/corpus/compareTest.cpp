// SPDX-License-Identifier: MIT
// Pixels beside those of an independent decoder, djpeg -dct int -nosmooth.
//
// The library's inverse DCT departs from the textbook in its first pass: where a block has
// vertical frequency 1 its product x1 * S1 is x1 * x1. The model can decode either way. With
// the textbook first pass luminance agrees with djpeg within one level, so the departure alone
// explains the rest. Colours are compared within 4: a level of luminance, a level of chroma
// times at most 1.772, and the rounding of the conversion's two terms.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "corpus/beside.h"
#include "jpg.h"
#include "model/reader.h"
#include "support/picture.h"

namespace {

namespace fs = std::filesystem;
using namespace jpgtest;

Decoded decodeWithTextbook(const Bytes &data, const Decoded &like) {
  Decoded picture = emptyLike(like);
  Model model(FirstPass::kTextbook);
  EXPECT_EQ(model.openMemory(data, 4), JPG_OK);
  const JpgRect rect = rectOf(&picture);
  EXPECT_EQ(model.readToRect(rect, static_cast<int32_t>(picture.height)), JPG_OK);
  swapBlueAndRed(&picture);
  return picture;
}

// The first component of a three-component picture without colour conversion.
Bytes luminance(const Bytes &data, const Decoded &like) {
  Decoded picture = emptyLike(like);
  Model model(FirstPass::kTextbook);
  EXPECT_EQ(model.openMemory(data, 4), JPG_OK);
  EXPECT_EQ(model.setNoColorConversion(), JPG_OK);
  const JpgRect rect = rectOf(&picture);
  EXPECT_EQ(model.readToRect(rect, static_cast<int32_t>(picture.height)), JPG_OK);
  Bytes first;
  for (size_t i = 0; i < picture.pixels.size(); i += picture.channels) {
    first.push_back(picture.pixels[i]);
  }
  return first;
}

bool isComparable(const Bytes &data) {
  JPGHANDLE h = nullptr;
  if (jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 4, &h) != JPG_OK) {
    return false;
  }
  uint32_t process = 0, channels = 0, precision = 0;
  jpgReadGetCodingProcess(h, &process);
  jpgReadGetNumberOfChannels(h, &channels);
  jpgReadGetSamplePrecision(h, &precision);
  jpgReadEpilog(h);
  const bool sequential = process == JPG_PROCESS_BASELINE || process == JPG_PROCESS_EXTENDED;
  return sequential && precision == 8 && (channels == 1 || channels == 3);
}

constexpr size_t kMaxFile = 400000;  // bytes; the model takes its time

std::vector<fs::path> comparableFiles() {
  std::vector<fs::path> files;
  for (const fs::path &path : filesOf({"made", "photos"})) {
    if (fs::file_size(path) <= kMaxFile && isComparable(contentsOf(path))) files.push_back(path);
  }
  return files;
}

// djpeg's luminance of a YCbCr picture; an RGB one has none.
bool isYcbcr(const fs::path &path) { return path.filename().string().rfind("rgb", 0) != 0; }

// False for what djpeg doesn't decode.
bool compareFile(const fs::path &path) {
  const Decoded theirs = byDjpeg(path, "-dct int -nosmooth");
  if (theirs.pixels.empty()) return false;
  const Bytes data = contentsOf(path);
  const Difference ours = compare(decodeWithLibrary(data, theirs, 0).pixels, theirs.pixels);
  const Difference textbook = compare(decodeWithTextbook(data, theirs).pixels, theirs.pixels);
  std::printf("%-36s %7.3f %7.2f %5d   %7.3f %7.2f %5d\n", path.filename().c_str(), ours.mean,
              ours.psnr, ours.worst, textbook.mean, textbook.psnr, textbook.worst);
  EXPECT_LE(textbook.worst, theirs.channels == 1 ? 1 : 4);
  if (theirs.channels == 1 || !isYcbcr(path)) return true;
  const Decoded gray = byDjpeg(path, "-dct int -nosmooth -grayscale");
  EXPECT_EQ(gray.pixels.size(), size_t{theirs.width} * theirs.height);
  if (gray.pixels.empty()) return true;
  EXPECT_LE(compare(luminance(data, theirs), gray.pixels).worst, 1);
  return true;
}

// Streams of ours whose blocks have no vertical frequency 1.
TEST(BesideAnIndependentDecoder, BlocksThatAvoidTheDepartureAgreeWithinALevel) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const std::string name = testing::TempDir() + "jpg_compare.jpg";
  for (uint32_t seed = 1; seed <= 20; seed++) {
    const Bytes data = jpgtest::encode(
        jpgtest::makePicture(61, 45, {0x11}, jpgtest::Fill::kNoFirstVertical, seed));
    std::FILE *file = std::fopen(name.c_str(), "wb");
    ASSERT_EQ(std::fwrite(data.data(), 1, data.size(), file), data.size());
    std::fclose(file);
    const Decoded theirs = byDjpeg(name, "-dct int -nosmooth");
    ASSERT_FALSE(theirs.pixels.empty());
    EXPECT_LE(compare(decodeWithLibrary(data, theirs, 0).pixels, theirs.pixels).worst, 1) << seed;
  }
  std::remove(name.c_str());
}

// A block whose upper half is one level and whose lower half another.
Bytes edgeOf(uint8_t above, uint8_t below) {
  Bytes pixels(64, above);
  std::fill(pixels.begin() + 32, pixels.end(), below);
  JpgRect rect = {8, 8, 8, 8, 1, 8, pixels.data(), 64, 0};
  JPGHANDLE h = nullptr;
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetQuantizationFactor(h, 100), JPG_OK);
  EXPECT_EQ(jpgWriteFromRect(h, &rect, 8), JPG_OK);
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  const auto *bytes = static_cast<const uint8_t *>(data);
  const Bytes stream(bytes, bytes + size);
  jpgWriteFreeBitstream(data);
  return stream;
}

int worstOfEdge(uint8_t above, uint8_t below) {
  const Bytes data = edgeOf(above, below);
  const std::string name = testing::TempDir() + "jpg_edge_" + std::to_string(getpid()) + ".jpg";
  std::FILE *file = std::fopen(name.c_str(), "wb");
  EXPECT_EQ(std::fwrite(data.data(), 1, data.size(), file), data.size());
  std::fclose(file);
  const Decoded theirs = byDjpeg(name, "-dct int -nosmooth");
  std::remove(name.c_str());
  EXPECT_EQ(theirs.pixels.size(), 64U);
  return compare(decodeWithLibrary(data, theirs, 0).pixels, theirs.pixels).worst;
}

// What docs/quality.md says of edges: dark above light is tens of levels off, more so the steeper
// the edge is; light above dark is right.
TEST(BesideAnIndependentDecoder, AnEdgeThatIsDarkAboveLightDepartsByTensOfLevels) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  EXPECT_GT(worstOfEdge(20, 230), 40);
  EXPECT_GT(worstOfEdge(0, 255), worstOfEdge(20, 230));
  EXPECT_LE(worstOfEdge(230, 20), 2);
}

TEST(BesideAnIndependentDecoder, TheDepartureOfTheFirstPassAloneExplainsTheDifference) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const std::vector<fs::path> files = comparableFiles();
  if (files.empty()) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  std::printf("%-36s %23s   %23s\n", "", "library: mean PSNR worst", "textbook: mean PSNR worst");
  size_t compared = 0;
  for (const fs::path &path : files) {
    SCOPED_TRACE(path.filename().string());
    if (compareFile(path)) compared++;
  }
  EXPECT_EQ(compared, files.size());
}

}  // namespace
