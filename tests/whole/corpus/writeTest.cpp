// SPDX-License-Identifier: MIT
// What the writer's options give beside an independent encoder, cjpeg, at the same quality: bytes,
// and the signal-to-noise ratio of what djpeg decodes. The photographs are made smaller by
// averaging squares of pixels, so that their chroma is as sharp as their luminance. Prints a table.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "jpg.h"
#include "support/bytes.h"

namespace {

namespace fs = std::filesystem;
using jpgtest::Bytes;

std::string corpusFolder() {
  const char *given = std::getenv("JPG_CORPUS");
  return given != nullptr ? given : JPG_CORPUS_DIR;
}

bool have(const char *program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

std::string tempName(const char *suffix) {
  return testing::TempDir() + "jpg_write_" + std::to_string(getpid()) + suffix;
}

struct Picture {
  uint32_t width = 0, height = 0, channels = 0;
  Bytes pixels;  // red first
};

// What a command prints as PGM or PPM; no pixels when it fails.
Picture pictureOf(const std::string &command) {
  Picture p;
  std::FILE *pipe = popen(command.c_str(), "r");
  char kind = 0;
  unsigned width = 0, height = 0;
  if (std::fscanf(pipe, "P%c %u %u 255", &kind, &width, &height) == 3) {
    std::getc(pipe);
    p = {width, height, kind == '6' ? 3U : 1U, {}};
    p.pixels.resize(size_t{width} * height * p.channels);
    if (std::fread(p.pixels.data(), 1, p.pixels.size(), pipe) != p.pixels.size()) p = {};
  }
  if (pclose(pipe) != 0) p = {};
  return p;
}

// What djpeg says, if anything, counts as a failure.
Picture decode(const std::string &name) {
  const std::string said = tempName(".txt");
  const Picture p = pictureOf("djpeg -dct int '" + name + "' 2>'" + said + "'");
  EXPECT_EQ(fs::file_size(said), 0U) << name;
  fs::remove(said);
  return p;
}

// Each pixel is the average of a square of `n` x `n`.
Picture smaller(const Picture &p, uint32_t n) {
  Picture out = {p.width / n, p.height / n, p.channels, {}};
  for (uint32_t y = 0; y < out.height; y++) {
    for (uint32_t x = 0; x < out.width; x++) {
      for (uint32_t k = 0; k < p.channels; k++) {
        uint32_t sum = 0;
        for (uint32_t i = 0; i < n * n; i++) {
          const size_t row = size_t{y} * n + i / n, column = size_t{x} * n + i % n;
          sum += p.pixels[(row * p.width + column) * p.channels + k];
        }
        out.pixels.push_back(static_cast<uint8_t>((sum + n * n / 2) / (n * n)));
      }
    }
  }
  return out;
}

Picture greyOf(const Picture &p) {
  Picture out = {p.width, p.height, 1, {}};
  for (size_t i = 1; i < p.pixels.size(); i += p.channels) out.pixels.push_back(p.pixels[i]);
  return out;
}

void save(const std::string &name, const Bytes &data) {
  std::FILE *file = std::fopen(name.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::fwrite(data.data(), 1, data.size(), file), data.size());
  std::fclose(file);
}

void saveNetpbm(const std::string &name, const Picture &p) {
  const std::string head = std::string(p.channels == 3 ? "P6 " : "P5 ") + std::to_string(p.width) +
                           " " + std::to_string(p.height) + " 255\n";
  Bytes data(head.begin(), head.end());
  save(name, jpgtest::operator+(data, p.pixels));
}

// One line of a comparison: ours and theirs.
struct Way {
  const char *name;
  uint32_t flags;
  const char *theirs;
  double mostBytes;  // our bytes, in theirs
};
constexpr Way kWays[] = {
    {"average", JPG_WRITE_AVERAGE, "", 1.01},
    {"optimize", JPG_WRITE_AVERAGE | JPG_WRITE_OPTIMIZE, "-optimize", 1.003},
    {"progressive", JPG_WRITE_AVERAGE | JPG_WRITE_PROGRESSIVE, "-progressive", 1.01}};
constexpr double kMostLost = 0.05;  // dB
// Bytes of a DQT's second table and of two DHT segments of T.81 Annex K.3.
constexpr uint32_t kChromaTables = 65 + (4 + 17 + 12) + (4 + 17 + 162);

void encode(const Picture &p, int32_t quality, uint32_t flags, const std::string &name) {
  Bytes pixels = p.pixels;
  for (size_t i = 0; p.channels == 3 && i < pixels.size(); i += 3) {
    std::swap(pixels[i], pixels[i + 2]);
  }
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(flags, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetQuantizationFactor(h, quality), JPG_OK);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(p.width);
  rect.height = static_cast<int32_t>(p.height);
  rect.channels = static_cast<int32_t>(p.channels);
  rect.bitsPerSample = 8;
  rect.stride = static_cast<int32_t>(p.width * p.channels);
  rect.bits = pixels.data();
  EXPECT_EQ(jpgWriteFromRect(h, &rect, p.height), JPG_OK);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  const auto *bytes = static_cast<const uint8_t *>(data);
  save(name, Bytes(bytes, bytes + size));
  EXPECT_EQ(jpgWriteFreeBitstream(data), JPG_OK);
}

double psnr(const Picture &a, const Picture &b) {
  double squares = 0;
  for (size_t i = 0; i < a.pixels.size(); i++) {
    squares += std::pow(int{a.pixels[i]} - int{b.pixels[i]}, 2);
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.pixels.size()) / squares);
}

struct Files {
  std::string source = tempName(".ppm"), ours = tempName("_ours.jpg"),
              theirs = tempName("_theirs.jpg");
  ~Files() {
    for (const std::string &name : {source, ours, theirs}) std::remove(name.c_str());
  }
};

void compare(const char *name, const Picture &p, int32_t quality) {
  const Files files;
  saveNetpbm(files.source, p);
  std::printf("%-26s %ux%u q%-3d", name, p.width, p.height, quality);
  Picture before;
  for (const Way &way : kWays) {
    encode(p, quality, way.flags, files.ours);
    const std::string command = "cjpeg -dct int -quality " + std::to_string(quality) + " " +
                                way.theirs + " -outfile '" + files.theirs + "' '" + files.source +
                                "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const Picture ours = decode(files.ours), theirs = decode(files.theirs);
    ASSERT_EQ(ours.pixels.size(), p.pixels.size());
    ASSERT_EQ(theirs.pixels.size(), p.pixels.size());
    const double gain = psnr(ours, p) - psnr(theirs, p);
    // A grey file that isn't held carries the tables of chroma.
    const bool plainGrey = p.channels == 1 && way.flags == JPG_WRITE_AVERAGE;
    const auto tables = plainGrey ? kChromaTables : 0;
    const auto bytes = static_cast<double>(fs::file_size(files.ours) - tables) /
                       static_cast<double>(fs::file_size(files.theirs));
    std::printf("  %s %+.3f dB %+.2f %%", way.name, gain, (bytes - 1) * 100);
    EXPECT_GE(gain, -kMostLost) << way.name << ", quality " << quality;
    EXPECT_LE(bytes, way.mostBytes) << way.name << ", quality " << quality;
    // However they are coded, the levels are the same.
    EXPECT_TRUE(before.pixels.empty() || before.pixels == ours.pixels);
    before = ours;
  }
  std::printf("\n");
}

class WrittenPhotographs : public testing::Test {
 protected:
  void SetUp() override {
    if (!have("cjpeg") || !have("djpeg")) GTEST_SKIP() << "cjpeg or djpeg isn't installed";
    if (!fs::exists(corpusFolder() + "/photos")) GTEST_SKIP() << "no corpus";
  }
};

struct Photograph {
  const char *path;
  uint32_t reduction;
};
constexpr Photograph kPhotographs[] = {{"photos/flower_12mp_420_q90.jpg", 4},
                                       {"photos/flower_444_q85.jpg", 2},
                                       {"photos/flower_3mp_420_q75.jpg", 3},
                                       {"photos/flower_0.4mp_420_q90.jpg", 2},
                                       {"exif/lake.jpg", 2},
                                       {"exif/1_big_buck_bunny.jpg", 2},
                                       {"exif/landscape_1.jpg", 2},
                                       {"plain/comment.jpg", 2}};

TEST_F(WrittenPhotographs, AreAsGoodAndAsSmallAsThoseOfAnotherEncoder) {
  for (const Photograph &photo : kPhotographs) {
    const std::string path = corpusFolder() + "/" + photo.path;
    const Picture whole = pictureOf("djpeg -dct int '" + path + "' 2>/dev/null");
    ASSERT_FALSE(whole.pixels.empty()) << path;
    const Picture p = smaller(whole, photo.reduction);
    for (const int32_t quality : {50, 75, 90, 95, 98}) {
      compare(photo.path, p, quality);
      if (quality == 75) compare("  its green as grey", greyOf(p), quality);
    }
  }
}

}  // namespace
