// SPDX-License-Identifier: MIT
// Lossless streams and other programs: what ffmpeg makes of ours, and what we make of real
// files beside ffmpeg. It reads grey and RGB of 8 bits and grey of 16.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "decoded.h"

namespace {

using namespace jpgtest;
namespace fs = std::filesystem;

bool haveFfmpeg() { return std::system("command -v ffmpeg >/dev/null 2>&1") == 0; }

// What ffmpeg decodes, in the pixel format asked for; empty when it fails.
Bytes throughFfmpeg(const std::string &name, const char *format) {
  const std::string command = "ffmpeg -nostdin -v error -i '" + name + "' -f rawvideo -pix_fmt " +
                              format + " - 2>/dev/null";
  Bytes out;
  std::FILE *pipe = popen(command.c_str(), "r");
  uint8_t chunk[65536];
  for (size_t n; (n = std::fread(chunk, 1, sizeof(chunk), pipe)) > 0;) {
    out.insert(out.end(), chunk, chunk + n);
  }
  return pclose(pipe) == 0 ? out : Bytes();
}

TEST(OtherPrograms, FfmpegGivesTheSamplesOfOurStreams) {
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg isn't installed";
  const std::string name = testing::TempDir() + "jpg_spatial_" + std::to_string(getpid()) + ".jpg";
  const struct {
    uint32_t precision, components;
    const char *format;
  } kCases[] = {{8, 1, "gray"}, {8, 3, "rgb24"}, {16, 1, "gray16le"}};
  std::printf("ffmpeg: precision x components: predictors that give the same samples\n");
  for (const auto &c : kCases) {
    std::string same;
    for (uint32_t predictor = 1; predictor <= 7; predictor++) {
      SpatialJob job;
      job.width = 40;
      job.height = 30;
      job.precision = c.precision;
      job.components = c.components;
      job.predictor = predictor;
      job.kind = Kind::kSmooth;
      // The writer's stream is the model's, byte for byte (see spatialTest).
      const Bytes stream = modelSpatial(job);
      std::FILE *file = std::fopen(name.c_str(), "wb");
      ASSERT_EQ(std::fwrite(stream.data(), 1, stream.size(), file), stream.size());
      std::fclose(file);
      if (throughFfmpeg(name, c.format) == packed(samplesOf(job), job.precision)) {
        same += " " + std::to_string(predictor);
      }
    }
    std::printf("  %2u x %u:%s\n", c.precision, c.components, same.c_str());
    EXPECT_EQ(same, " 1 2 3 4 5 6 7");
  }
  std::remove(name.c_str());
}

Decoded decodeFile(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return decodeStream(
      Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

TEST(OtherPrograms, RealFilesGiveTheSamplesThatFfmpegGives) {
  if (!haveFfmpeg()) GTEST_SKIP() << "ffmpeg isn't installed";
  const char *given = std::getenv("JPG_CORPUS");
  const fs::path root = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / "lossless";
  if (!fs::is_directory(root)) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  std::vector<fs::path> files;
  for (const auto &entry : fs::directory_iterator(root)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  int same = 0, differ = 0;
  for (const fs::path &path : files) {
    const Decoded d = decodeFile(path);
    const bool gray = d.channels == 1;
    const char *format = d.precision == 8 ? (gray ? "gray" : "rgb24") : "gray16le";
    const bool tried = d.result == JPG_OK &&
                       (d.precision == 8 ? gray || d.channels == 3 : gray && d.precision == 16);
    std::string verdict = "not tried";
    if (tried) {
      const Bytes theirs = throughFfmpeg(path.string(), format);
      const bool agree = theirs == d.samples;
      verdict = theirs.size() != d.samples.size() ? "refused or other size by ffmpeg"
                : agree                           ? "same"
                                                  : "differs";
      same += agree ? 1 : 0;
      differ += verdict == "differs" ? 1 : 0;
    }
    std::printf("%-44s %2u bits x %u: 0x%08X %s\n", path.filename().c_str(), d.precision,
                d.channels, d.result, verdict.c_str());
  }
  EXPECT_GT(same, 0);
  EXPECT_EQ(differ, 0);
}

// The reader takes samples pixel by pixel whatever the sampling factors say, and sixteen more
// bits behind category 16: files of the other kind run out of codes or data.
TEST(OtherPrograms, RealFilesOfSubsampledOrFullRangeDifferencesFail) {
  const char *given = std::getenv("JPG_CORPUS");
  const fs::path root = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / "lossless";
  if (!fs::is_directory(root)) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  int tried = 0;
  for (const char *name :
       {"lossless1_s22.jpg", "lossless2_s22.jpg", "lossless3_s22.jpg", "lossless4_s22.jpg",
        "lossless5_s22.jpg", "lossless6_s22.jpg", "lossless7_s22.jpg", "lossless16bit.jpg"}) {
    if (!fs::exists(root / name)) continue;
    EXPECT_EQ(decodeFile(root / name).result, JPG_E_FAIL) << name;
    tried++;
  }
  EXPECT_GT(tried, 0);
}

}  // namespace
