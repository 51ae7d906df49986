// SPDX-License-Identifier: MIT
// The reading options on real files, beside djpeg.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "corpus/beside.h"

namespace {

namespace fs = std::filesystem;
using namespace jpgtest;

// A DCT picture of one or three components that djpeg shows in the same colours.
bool isComparable(const Bytes &data) {
  JPGHANDLE h = nullptr;
  if (jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &h) != JPG_OK) {
    return false;
  }
  uint32_t process = 0, channels = 0, precision = 0;
  jpgReadGetCodingProcess(h, &process);
  jpgReadGetNumberOfChannels(h, &channels);
  jpgReadGetSamplePrecision(h, &precision);
  jpgReadEpilog(h);
  return process != JPG_PROCESS_LOSSLESS && precision == 8 && (channels == 1 || channels == 3);
}

// What the library made of the files with an option, beside djpeg.
struct Outcome {
  double least = 99;  // PSNR
  int worst = 0;      // levels
  size_t files = 0;
};

Outcome compareFiles(const std::vector<std::string> &folders, uint32_t flags,
                     const std::string &options) {
  Outcome outcome;
  for (const fs::path &path : filesOf(folders)) {
    const Bytes data = contentsOf(path);
    if (!isComparable(data)) continue;
    const Decoded theirs = byDjpeg(path, options);
    if (theirs.pixels.empty()) continue;
    SCOPED_TRACE(path.filename().string());
    const Difference d = compare(decodeWithLibrary(data, theirs, flags).pixels, theirs.pixels);
    if (d.psnr < 60 || d.worst > 3) {
      std::printf("%-40s %7.2f dB, %d levels\n", path.filename().c_str(), d.psnr, d.worst);
    }
    outcome.least = std::min(outcome.least, d.psnr);
    outcome.worst = std::max(outcome.worst, d.worst);
    outcome.files++;
  }
  std::printf("%zu files: at least %.2f dB, at most %d levels\n", outcome.files, outcome.least,
              outcome.worst);
  return outcome;
}

// The rest is in the rounding: ties of the transform, and green, whose two terms are rounded apart.
TEST(Options, AccuratePhotographsAreThoseOfDjpegWithin55Decibels) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const Outcome o = compareFiles({"photos"}, JPG_READ_ACCURATE, "-dct int -nosmooth");
  if (o.files == 0) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  EXPECT_GE(o.least, 55);
  EXPECT_LE(o.worst, 3);
}

// Among these are drawings with large flat areas, all of which may be on a tie.
TEST(Options, AccuratePicturesOfCamerasAreThoseOfDjpegWithin3Levels) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const Outcome o = compareFiles({"exif"}, JPG_READ_ACCURATE, "-dct int -nosmooth");
  if (o.files == 0) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  EXPECT_GE(o.least, 52);
  EXPECT_LE(o.worst, 3);
}

constexpr uint32_t kAccurateAndSmooth = JPG_READ_ACCURATE | JPG_READ_SMOOTH;

TEST(Options, SmoothPhotographsAreThoseOfDjpegWithin55Decibels) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const Outcome o = compareFiles({"photos"}, kAccurateAndSmooth, "-dct int");
  if (o.files == 0) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  EXPECT_GE(o.least, 55);
  EXPECT_LE(o.worst, 4);
}

TEST(Options, SmoothPicturesOfCamerasAreThoseOfDjpegWithin4Levels) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const Outcome o = compareFiles({"exif"}, kAccurateAndSmooth, "-dct int");
  if (o.files == 0) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  EXPECT_GE(o.least, 52);
  EXPECT_LE(o.worst, 4);
}

}  // namespace
