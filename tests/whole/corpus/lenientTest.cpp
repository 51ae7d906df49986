// SPDX-License-Identifier: MIT
// Lenient reading of real files, usual and odd ones, beside djpeg: which open, and how near the
// pictures are. Files that djpeg decodes with a warning are damaged; there is no right picture of
// what is lost, so the two must only be alike. djpeg leaves rows that it can't decode grey, where
// the library goes on with the last colour: rows that are all grey down to the picture's end aren't
// compared. Arithmetic coding isn't served.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "corpus/beside.h"

namespace {

namespace fs = std::filesystem;
using namespace jpgtest;

// Chroma is replicated on both sides: how it is interpolated isn't told by the standard.
constexpr uint32_t kOptions = JPG_READ_ACCURATE | JPG_READ_LENIENT;

constexpr size_t kLargest = 40000000;  // pixels

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

// What djpeg makes of a file, warnings or not.
struct Reference {
  Decoded picture;  // no pixels if it refuses the file
  bool warned = false;
};

Reference referenceOf(const fs::path &path) {
  const std::string command = "djpeg -dct int -nosmooth " + quoted(path);
  Reference reference;
  reference.warned = std::system((command + " >/dev/null 2>&1").c_str()) != 0;
  reference.picture = pictureOf(command + " 2>/dev/null || [ $? = 2 ]");
  return reference;
}

// The bytes above the rows that are all grey down to the end, and above the row of MCUs ahead of
// them, in which the data ended.
size_t knownBytes(const Decoded &picture) {
  const size_t row = size_t{picture.width} * picture.channels;
  size_t known = picture.pixels.size();
  const auto isGrey = [](uint8_t sample) { return sample == 128; };
  const auto begin = picture.pixels.begin();
  while (known > 0 && std::all_of(begin + static_cast<ptrdiff_t>(known - row),
                                  begin + static_cast<ptrdiff_t>(known), isGrey)) {
    known -= row;
  }
  if (known == picture.pixels.size()) return known;
  constexpr size_t kMcuRows = 16;
  const size_t last = known / row - std::min<size_t>(known / row, 1);
  return last / kMcuRows * kMcuRows * row;
}

// True if the frame is coded arithmetically (SOF9 and later).
bool isArithmetic(const Bytes &data) {
  for (size_t i = 2; i + 3 < data.size() && data[i] == 0xFF;
       i += 2U + static_cast<size_t>(data[i + 2] << 8 | data[i + 3])) {
    const unsigned marker = data[i + 1];
    if (marker >= 0xC9 && marker <= 0xCF && marker != 0xCC) return true;
  }
  return false;
}

// The picture, red first; no pixels if the file doesn't open.
Decoded decodeLeniently(const Bytes &data, const Decoded &like, uint32_t *result) {
  Decoded picture = emptyLike(like);
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(data.size());
  *result = jpgReadPrologFromMemory(data.data(), size, kOptions, &h);
  if (*result != JPG_OK) return {};
  uint32_t width = 0, height = 0, channels = 0;
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &channels);
  const bool alike =
      width == like.width && height == like.height && (channels < 3 ? 1U : 3U) == like.channels;
  const JpgRect rect = rectOf(&picture);
  *result = alike ? jpgReadToRect(h, &rect, static_cast<int32_t>(height)) : JPG_E_FAIL;
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  if (*result != JPG_OK && *result != JPG_E_DAMAGED) return {};
  swapBlueAndRed(&picture);
  return picture;
}

struct Share {
  size_t files = 0, good = 0;
  std::vector<double> psnr;
  double percent() const { return 100.0 * double(good) / double(std::max<size_t>(files, 1)); }
};

void print(const char *what, Share share) {
  std::sort(share.psnr.begin(), share.psnr.end());
  std::printf("%s: %zu files, %.1f %% alike; PSNR", what, share.files, share.percent());
  const size_t n = share.psnr.size();
  for (unsigned q : {0U, 1U, 5U, 25U, 50U}) {
    if (n != 0) std::printf("  %u%%: %.1f", q, share.psnr[(n - 1) * q / 100]);
  }
  std::printf("\n");
}

TEST(LenientCorpus, OpensWhatDjpegDecodesAndLooksAlike) {
  if (!hasDjpeg()) GTEST_SKIP() << "djpeg isn't installed";
  const auto files = filesOf({"plain", "photos", "odd", "exif", "refused"});
  if (files.empty()) GTEST_SKIP() << "no corpus";
  Share clean, warned;
  for (const fs::path &path : files) {
    const Reference reference = referenceOf(path);
    const Decoded &theirs = reference.picture;
    const Bytes data = contentsOf(path);
    if (theirs.pixels.empty() || theirs.pixels.size() > kLargest || isArithmetic(data)) continue;
    uint32_t result = 0;
    Decoded ours = decodeLeniently(data, theirs, &result);
    Bytes compared = theirs.pixels;
    if (reference.warned) {
      compared.resize(std::max<size_t>(knownBytes(theirs), 1));
      ours.pixels.resize(std::min(ours.pixels.size(), compared.size()));
    }
    const double least = reference.warned ? 20 : 45;
    const double psnr = ours.pixels.empty() ? 0 : compare(ours.pixels, compared).psnr;
    Share *share = reference.warned ? &warned : &clean;
    share->files++;
    share->psnr.push_back(psnr);
    if (psnr >= least) share->good++;
    if (psnr < least) {
      std::printf("%-60s %s%08X %7.2f dB\n", path.lexically_relative(corpusFolder()).c_str(),
                  reference.warned ? "warned " : "", result, psnr);
    }
  }
  print("decoded cleanly", clean);
  print("decoded with warnings", warned);
  EXPECT_GE(clean.percent(), 99.5);
  EXPECT_GE(warned.percent(), 90.0);
}

}  // namespace
