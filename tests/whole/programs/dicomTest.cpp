// SPDX-License-Identifier: MIT
// Lossless streams and the tools of DCMTK, both ways and for every precision: it decodes
// ours, we decode its own, and both decode real files alike.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "decoded.h"
#include "dicom.h"
#include "support/stored.h"

namespace {

using namespace jpgtest;
namespace fs = std::filesystem;

bool haveTools() {
  return std::system(
             "command -v dcmdjpeg >/dev/null 2>&1 && command -v dcmcjpeg >/dev/null 2>&1") == 0;
}

void store(const std::string &name, const Bytes &bytes) {
  forgetStack();
  std::ofstream(name, std::ios::binary)
      .write(reinterpret_cast<const char *>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Bytes load(const std::string &name) {
  std::ifstream file(name, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Runs a tool over a file of these bytes; empty when it fails.
Bytes throughTool(const std::string &tool, const Bytes &input) {
  const std::string base = testing::TempDir() + "jpg_dicom_" + std::to_string(getpid());
  const std::string in = base + ".in", out = base + ".out";
  store(in, input);
  const bool good = std::system((tool + " " + in + " " + out + " >/dev/null 2>&1").c_str()) == 0;
  const Bytes result = good ? load(out) : Bytes();
  std::remove(in.c_str());
  std::remove(out.c_str());
  return result;
}

// The pixel element has an even length.
Bytes evened(Bytes bytes) {
  if (bytes.size() % 2 != 0) bytes.push_back(0);
  return bytes;
}

Bytes decodedByTool(const DicomImage &image, const Bytes &stream) {
  return samplesInDicom(throughTool("dcmdjpeg +cn", dicomOfStream(image, stream)));
}

// Their own stream of the samples, with a selection value.
Bytes codedByTool(const DicomImage &image, const Bytes &samples, uint32_t predictor) {
  const std::string tool = "dcmcjpeg +el +sv " + std::to_string(predictor);
  return streamInDicom(throughTool(tool, dicomOfSamples(image, samples)));
}

SpatialJob jobOf(uint32_t precision, uint32_t components, uint32_t predictor) {
  SpatialJob job;
  job.width = 20;
  job.height = 14;
  job.precision = precision;
  job.components = components;
  job.predictor = predictor;
  job.kind = Kind::kNoise;
  return job;
}

DicomImage imageOf(const SpatialJob &job) {
  return {job.width, job.height, job.components, job.precision};
}

bool toolDecodesOurs(const SpatialJob &job) {
  // The writer's stream is the model's, byte for byte (see spatialTest).
  return decodedByTool(imageOf(job), modelSpatial(job)) ==
         evened(packed(samplesOf(job), job.precision));
}

bool weDecodeTheTools(const SpatialJob &job) {
  const Bytes samples = packed(samplesOf(job), job.precision);
  const Bytes stream = codedByTool(imageOf(job), samples, job.predictor);
  const Decoded d = decodeStream(stream);
  return d.result == JPG_OK && d.precision == job.precision && d.samples == samples;
}

void expectEverywhere(const char *title, const std::vector<uint32_t> &precisions,
                      bool (*agree)(const SpatialJob &)) {
  std::printf("%s: precision x components: predictors that give the same samples\n", title);
  for (const uint32_t components : {1U, 3U}) {
    for (const uint32_t precision : precisions) {
      std::string same;
      for (uint32_t predictor = 1; predictor <= 7; predictor++) {
        if (agree(jobOf(precision, components, predictor))) same += " " + std::to_string(predictor);
      }
      std::printf("  %2u x %u:%s\n", precision, components, same.c_str());
      EXPECT_EQ(same, " 1 2 3 4 5 6 7") << precision << " x " << components;
    }
  }
}

TEST(MedicalPrograms, DecodeOurStreamsToTheirSamples) {
  if (!haveTools()) GTEST_SKIP() << "DCMTK's tools aren't installed";
  std::vector<uint32_t> all;
  for (uint32_t precision = 2; precision <= 16; precision++) all.push_back(precision);
  expectEverywhere("dcmdjpeg decodes ours", all, toolDecodesOurs);
}

// It codes whole bytes and words, whatever the samples' precision is.
TEST(MedicalPrograms, WriteStreamsThatWeDecodeToTheirSamples) {
  if (!haveTools()) GTEST_SKIP() << "DCMTK's tools aren't installed";
  expectEverywhere("we decode dcmcjpeg's", {8, 16}, weDecodeTheTools);
}

TEST(MedicalPrograms, DecodeRealFilesAsWeDo) {
  if (!haveTools()) GTEST_SKIP() << "DCMTK's tools aren't installed";
  const char *given = std::getenv("JPG_CORPUS");
  const fs::path root = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / "lossless";
  if (!fs::is_directory(root)) GTEST_SKIP() << "no files: set JPG_CORPUS to a folder of JPEG files";
  int same = 0;
  for (const auto &entry : fs::directory_iterator(root)) {
    const Bytes stream = load(entry.path().string());
    const Decoded d = decodeStream(stream);
    if (d.result != JPG_OK || (d.channels != 1 && d.channels != 3)) continue;
    const Bytes theirs = decodedByTool({d.width, d.height, d.channels, d.precision}, stream);
    const bool agree = theirs == evened(d.samples);
    std::printf("%-32s %2u bits x %u: %s\n", entry.path().filename().c_str(), d.precision,
                d.channels,
                agree            ? "same"
                : theirs.empty() ? "refused by dcmdjpeg"
                                 : "differs");
    same += agree ? 1 : 0;
    EXPECT_TRUE(agree || theirs.empty()) << entry.path();
  }
  EXPECT_GT(same, 0);
}

}  // namespace
