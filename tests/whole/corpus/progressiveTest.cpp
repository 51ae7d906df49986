// SPDX-License-Identifier: MIT
// Real progressive files beside the baseline files that jpegtran makes of them, and scaled
// output beside a box-filtered picture.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "jpg.h"
#include "model/reader.h"

namespace {

namespace fs = std::filesystem;
using jpgtest::Bytes;
using jpgtest::Model;

std::vector<fs::path> corpusFiles() {
  const char *given = std::getenv("JPG_CORPUS");
  std::vector<fs::path> files;
  for (const char *folder : {"plain", "made", "exif", "photos", "odd"}) {
    const fs::path root = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / folder;
    if (!fs::is_directory(root)) continue;
    for (const auto &entry : fs::directory_iterator(root)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Bytes contentsOf(const fs::path &path) {
  Bytes data(static_cast<size_t>(fs::file_size(path)));
  std::FILE *file = std::fopen(path.c_str(), "rb");
  data.resize(std::fread(data.data(), 1, data.size(), file));
  std::fclose(file);
  return data;
}

struct Decoded {
  uint32_t result = JPG_OK;
  uint32_t process = 0, width = 0, height = 0, channels = 0;
  Bytes pixels;
};

// The components as decoded: the progressive reader knows no RGB files.
Decoded decodeRaw(const Bytes &data) {
  Decoded d;
  JPGHANDLE h = nullptr;
  d.result = jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &h);
  if (d.result != JPG_OK) return d;
  jpgReadGetCodingProcess(h, &d.process);
  jpgReadGetImageSize(h, &d.width, &d.height);
  jpgReadGetNumberOfChannels(h, &d.channels);
  jpgReadSetNoColorConversion(h);
  d.pixels.resize(size_t{d.width} * d.height * d.channels);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(d.width);
  rect.stride = static_cast<int32_t>(d.width * d.channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * d.channels);
  rect.bits = d.pixels.data();
  const auto lines = static_cast<int32_t>(d.height);
  if (d.process == JPG_PROCESS_PROGRESSIVE) {
    d.result = jpgReadProgressiveToRect(h, &rect, lines, 0);
  } else if (d.process != JPG_PROCESS_LOSSLESS) {
    d.result = jpgReadToRect(h, &rect, lines);
  }
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return d;
}

// The file as jpegtran makes it baseline; no bytes when it can't.
Bytes toBaseline(const fs::path &path) {
  const std::string name = testing::TempDir() + "jpg_tran_" + std::to_string(getpid()) + ".jpg";
  const std::string command =
      "jpegtran -outfile '" + name + "' '" + path.string() + "' >/dev/null 2>&1";
  Bytes data;
  if (std::system(command.c_str()) == 0) data = contentsOf(name);
  std::remove(name.c_str());
  return data;
}

bool have(const char *program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

Bytes modelPixels(const Bytes &baseline, const Decoded &like) {
  Bytes pixels(like.pixels.size());
  Model model;
  EXPECT_EQ(model.openMemory(baseline, 0), JPG_OK);
  EXPECT_EQ(model.setNoColorConversion(), JPG_OK);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(like.width);
  rect.stride = static_cast<int32_t>(like.width * like.channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * like.channels);
  rect.bits = pixels.data();
  EXPECT_EQ(model.readToRect(rect, static_cast<int32_t>(like.height)), JPG_OK);
  return pixels;
}

constexpr uint64_t kMaxModelPixels = 300000;  // the model takes its time

TEST(RealProgressiveFiles, DecodeLikeTheirBaselineTwinsThroughLibraryAndModel) {
  if (!have("jpegtran")) GTEST_SKIP() << "jpegtran isn't installed";
  int compared = 0, modelled = 0;
  for (const fs::path &path : corpusFiles()) {
    const Decoded progressive = decodeRaw(contentsOf(path));
    if (progressive.process != JPG_PROCESS_PROGRESSIVE) continue;
    const Bytes baseline = toBaseline(path);
    if (baseline.empty()) continue;
    SCOPED_TRACE(path.filename().string());
    const Decoded twin = decodeRaw(baseline);
    if (twin.result != JPG_OK) continue;  // jpegtran mends some damage, not all
    EXPECT_EQ(progressive.result, JPG_OK);
    EXPECT_EQ(progressive.pixels == twin.pixels, true);
    compared++;
    if (uint64_t{twin.width} * twin.height > kMaxModelPixels) continue;
    EXPECT_EQ(progressive.pixels == modelPixels(baseline, twin), true);
    modelled++;
  }
  if (compared == 0) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  std::printf("%d files compared, %d also with the model\n", compared, modelled);
  EXPECT_GE(compared, 30);
}

// ---- Scaled output --------------------------------------------------------

struct Gray {
  uint32_t width = 0, height = 0;
  std::vector<double> level;
};

// Luminance of the picture at a scale, through the library.
Gray grayAt(const Bytes &data, int32_t scale) {
  Gray g;
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgReadPrologFromMemory(data.data(), static_cast<int32_t>(data.size()), 0, &h), JPG_OK);
  EXPECT_EQ(jpgReadScaleOutputGetImageSize(h, &g.width, &g.height, scale), JPG_OK);
  Bytes pixels(size_t{3} * g.width * g.height);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(g.width);
  rect.stride = static_cast<int32_t>(3 * g.width);
  rect.bitsPerPixel = 24;
  rect.bits = pixels.data();
  EXPECT_EQ(jpgReadScaleOutputToRect(h, &rect, static_cast<int32_t>(g.height), scale), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  for (size_t i = 0; i < pixels.size(); i += 3) {
    g.level.push_back(0.114 * pixels[i] + 0.587 * pixels[i + 1] + 0.299 * pixels[i + 2]);
  }
  return g;
}

double psnrOfBox(const Gray &full, const Gray &small, uint32_t box) {
  double squares = 0;
  size_t count = 0;
  for (uint32_t y = 0; (y + 1) * box <= full.height; y++) {
    for (uint32_t x = 0; (x + 1) * box <= full.width; x++) {
      double sum = 0;
      for (uint32_t i = 0; i < box * box; i++) {
        sum += full.level[size_t{y * box + i / box} * full.width + x * box + i % box];
      }
      squares += std::pow(sum / (box * box) - small.level[size_t{y} * small.width + x], 2);
      count++;
    }
  }
  return 10 * std::log10(255.0 * 255.0 * double(count) / squares);
}

TEST(ScaledPhotographs, LookLikeABoxFilteredPicture) {
  int pictures = 0;
  std::printf("%-28s %8s %8s %8s\n", "PSNR beside a box filter", "1/2", "1/4", "1/8");
  for (const fs::path &path : corpusFiles()) {
    const std::string name = path.filename().string();
    if (name != "flower_444_q85.jpg" && name != "flower_0.4mp_420_q90.jpg") continue;
    const Bytes data = contentsOf(path);
    const Gray full = grayAt(data, JPG_SCALE_FULL);
    double psnr[3];
    for (int32_t scale = 0; scale < 3; scale++) {
      psnr[scale] = psnrOfBox(full, grayAt(data, scale), 8U >> scale);
      EXPECT_GT(psnr[scale], 30);
    }
    std::printf("%-28s %8.2f %8.2f %8.2f\n", name.c_str(), psnr[2], psnr[1], psnr[0]);
    pictures++;
  }
  if (pictures == 0) GTEST_SKIP() << "no photographs: set JPG_CORPUS";
}

}  // namespace
