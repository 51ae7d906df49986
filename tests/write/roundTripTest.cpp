// SPDX-License-Identifier: MIT
// What is written, read by other programs and by ourselves.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "libraryEncode.h"

namespace {

using namespace jpgtest;
namespace fs = std::filesystem;

bool have(const char *program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

std::string tempName(const char *suffix) {
  return testing::TempDir() + "jpg_round_" + std::to_string(getpid()) + suffix;
}

void save(const std::string &name, const Bytes &data) {
  std::FILE *file = std::fopen(name.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(std::fwrite(data.data(), 1, data.size(), file), data.size());
  std::fclose(file);
}

Bytes load(const std::string &name) {
  Bytes data;
  if (std::FILE *file = std::fopen(name.c_str(), "rb"); file != nullptr) {
    for (int c; (c = std::getc(file)) != EOF;) data.push_back(static_cast<uint8_t>(c));
    std::fclose(file);
  }
  return data;
}

// Runs a command; what it says on either stream, and "failed" with a status.
std::string run(const std::string &command) {
  std::string out;
  std::FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  for (int c; (c = std::getc(pipe)) != EOF;) out += static_cast<char>(c);
  if (pclose(pipe) != 0) out += "failed";
  return out;
}

std::vector<EncodeJob> jobs() {
  std::vector<EncodeJob> all;
  const uint32_t kSamplings[] = {0x00111111, 0x00211111, 0x00121111, 0x00221111,
                                 0x00222111, 0x00221212, 0x00112222};
  uint32_t seed = 1;
  for (const uint32_t sampling : kSamplings) {
    for (const uint32_t size : {1u, 9u, 33u}) {
      EncodeJob job;
      job.width = size;
      job.height = size + 4;
      job.sampling = sampling;
      job.restart = seed % 3;
      job.quality = 1 + seed * 37 % 100;
      job.seed = seed++;
      all.push_back(job);
    }
  }
  for (const uint32_t channels : {1u, 4u}) {
    for (const uint32_t size : {1u, 8u, 31u}) {
      EncodeJob job;
      job.width = size + 2;
      job.height = size;
      job.channels = channels;
      job.sampling = 0x11111111;
      job.seed = seed++;
      all.push_back(job);
    }
  }
  EncodeJob raw;
  raw.width = 30;
  raw.height = 20;
  raw.raw = true;
  all.push_back(raw);
  return all;
}

TEST(OtherPrograms, DjpegReadsEveryStreamWithoutAWarning) {
  if (!have("djpeg")) GTEST_SKIP() << "djpeg isn't installed";
  const std::string name = tempName(".jpg");
  for (const EncodeJob &job : jobs()) {
    SCOPED_TRACE(describe(job));
    save(name, encodeToMemory(job));
    EXPECT_EQ(run("djpeg -outfile /dev/null '" + name + "'"), "");
  }
  std::remove(name.c_str());
}

// Every combination of options but none.
constexpr uint32_t optionsAt(uint32_t i) { return 0x4A500000 | i << 8; }

TEST(OtherPrograms, DjpegReadsStreamsWithAnyOptionsWithoutAWarning) {
  if (!have("djpeg")) GTEST_SKIP() << "djpeg isn't installed";
  const std::string name = tempName(".jpg"), out = tempName(".pnm");
  for (const EncodeJob &job : jobs()) {
    SCOPED_TRACE(describe(job));
    Bytes pixels[2];  // decimated, averaged
    for (uint32_t i = 0; i < 8; i++) {
      save(name, encodeToMemory(job, Rows::kTopDown, optionsAt(i)));
      EXPECT_EQ(run("djpeg -dct int -outfile '" + out + "' '" + name + "'"), "") << i;
      const Bytes decoded = load(out);
      Bytes &expected = pixels[i & 1];
      if (i < 2) expected = decoded;
      EXPECT_TRUE(decoded == expected) << i;
    }
  }
  std::remove(name.c_str());
  std::remove(out.c_str());
}

TEST(OtherPrograms, FfmpegReadsStreamsWithAnyOptionsWithoutAWarning) {
  if (!have("ffmpeg")) GTEST_SKIP() << "ffmpeg isn't installed";
  const std::string name = tempName(".jpg");
  for (const uint32_t channels : {1U, 3U}) {
    for (const uint32_t sampling : {0x00111111U, 0x00211111U, 0x00121111U, 0x00221111U}) {
      for (uint32_t i = 1; i < 8; i++) {
        EncodeJob job;
        job.width = 90;
        job.height = 70;
        job.channels = channels;
        job.sampling = sampling;
        job.restart = i % 3;
        SCOPED_TRACE(describe(job) + ", options " + std::to_string(i));
        save(name, encodeToMemory(job, Rows::kTopDown, optionsAt(i)));
        std::string said = run("ffmpeg -nostdin -v warning -i '" + name + "' -f null -");
        // It overlooks some EOIs, whoever wrote the file.
        const bool overlooks = said.find("EOI missing, emulating") != std::string::npos &&
                               std::count(said.begin(), said.end(), '\n') == 1;
        EXPECT_TRUE(said.empty() || overlooks) << said;
      }
    }
  }
  std::remove(name.c_str());
}

// Twelve blocks an MCU are more than T.81 B.2.3 allows. They are written as asked, and read
// by ourselves; djpeg refuses them.
TEST(OtherPrograms, DjpegRefusesMcusOfTwelveBlocks) {
  if (!have("djpeg")) GTEST_SKIP() << "djpeg isn't installed";
  const std::string name = tempName(".jpg");
  EncodeJob job;
  job.sampling = 0x00222222;
  save(name, encodeToMemory(job));
  EXPECT_NE(run("djpeg -outfile /dev/null '" + name + "'"), "");
  std::remove(name.c_str());
}

// True when the last MCU ends a restart interval: then a restart marker stands ahead of EOI.
bool endsWithRestart(const EncodeJob &job) {
  uint32_t h = 1, v = 1;
  for (uint32_t i = 0; job.channels > 1 && i < job.channels; i++) {
    h = std::max(h, job.sampling >> (8 * i + 4) & 15);
    v = std::max(v, job.sampling >> (8 * i) & 15);
  }
  const uint32_t mcus = ((job.width + 8 * h - 1) / (8 * h)) * ((job.height + 8 * v - 1) / (8 * v));
  return job.restart != 0 && mcus % job.restart == 0;
}

TEST(OtherPrograms, FfmpegReadsStreamsWithoutAWarning) {
  if (!have("ffmpeg")) GTEST_SKIP() << "ffmpeg isn't installed";
  const std::string name = tempName(".jpg");
  int silent = 0;
  for (const EncodeJob &job : jobs()) {
    // It doesn't know every mix of factors; the usual four, grey and RGB it must take.
    const bool usual = job.sampling == 0x00111111 || job.sampling == 0x00211111 ||
                       job.sampling == 0x00121111 || job.sampling == 0x00221111;
    if (job.channels != 1 && (job.channels != 3 || !usual)) continue;
    SCOPED_TRACE(describe(job));
    save(name, encodeToMemory(job));
    const std::string said = run("ffmpeg -nostdin -v warning -i '" + name + "' -f null -");
    // It overlooks an EOI that follows a restart marker or, whoever wrote it, a single block.
    const bool overlooks = endsWithRestart(job) || (job.channels == 1 && job.width <= 8);
    if (overlooks && said.find("EOI missing, emulating") != std::string::npos) continue;
    EXPECT_EQ(said, "");
    silent++;
  }
  EXPECT_GE(silent, 8);  // so many have no such end
  std::remove(name.c_str());
}

// Pieces that end with restart intervals, each without its EOI but the last: one stream again.
TEST(OtherPrograms, DjpegReadsPiecesPutTogether) {
  if (!have("djpeg")) GTEST_SKIP() << "djpeg isn't installed";
  EncodeJob job;
  job.width = 50;
  job.height = 64;
  job.restart = 4;  // a row of MCUs
  const Bytes whole = encodeToMemory(job);
  Bytes pixels = pixelsOf(job), together;
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgWritePrologToMemory(JPG_WRITE_PARTIAL_BITSTREAM, &h), JPG_OK);
  ASSERT_EQ(jpgWriteSetRestartInterval(h, 4), JPG_OK);
  JpgRect rect = {};
  rect.width = 50;
  rect.height = 64;
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.stride = 150;
  void *data = nullptr;
  uint32_t size = 0;
  for (size_t y = 0; y < 64; y += 16) {
    rect.bits = pixels.data() + y * 150;
    ASSERT_EQ(jpgWriteFromRect(h, &rect, 16), JPG_OK);
    if (y == 48) break;
    ASSERT_EQ(jpgWriteGetPartialBitstream(h, &data, &size), JPG_OK);
    const Bytes piece = take(data, size);
    together.insert(together.end(), piece.begin(), piece.end() - 2);
  }
  ASSERT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  const Bytes last = take(data, size);
  together.insert(together.end(), last.begin(), last.end());
  EXPECT_EQ(together == whole, true);
  const std::string name = tempName(".jpg");
  save(name, together);
  EXPECT_EQ(run("djpeg -outfile /dev/null '" + name + "'"), "");
  std::remove(name.c_str());
}

// ---- Through our own reader -----------------------------------------------

Bytes decode(const Bytes &stream, const EncodeJob &job) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
            JPG_OK);
  if (job.channels == 4) jpgReadSetNoColorConversion(h);
  Bytes out(size_t{job.width} * job.height * job.channels);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(job.width);
  rect.stride = static_cast<int32_t>(job.width * job.channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * job.channels);
  rect.bits = out.data();
  EXPECT_EQ(jpgReadToRect(h, &rect, static_cast<int32_t>(job.height)), JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  return out;
}

double psnr(const Bytes &a, const Bytes &b) {
  double squares = 0;
  for (size_t i = 0; i < a.size(); i++) squares += std::pow(int{a[i]} - int{b[i]}, 2);
  return squares == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * double(a.size()) / squares);
}

TEST(OurOwnReader, GivesBackEveryLayout) {
  const uint32_t kFactors[] = {0x11, 0x12, 0x21, 0x22};
  for (const uint32_t y : kFactors) {
    for (const uint32_t c : kFactors) {
      EncodeJob job;
      job.width = 45;
      job.height = 37;
      job.quality = 100;
      job.sampling = y << 16 | c << 8 | c;
      SCOPED_TRACE(describe(job));
      const Bytes stream = encodeToMemory(job);
      JPGHANDLE h = nullptr;
      ASSERT_EQ(jpgReadPrologFromMemory(stream.data(), static_cast<int32_t>(stream.size()), 0, &h),
                JPG_OK);
      jpgReadEpilog(h);
      // Noise loses its chroma by decimation; full sampling keeps nearly everything.
      const double quality = psnr(decode(stream, job), pixelsOf(job));
      EXPECT_GT(quality, y == c ? 24 : 5);
    }
  }
  for (const uint32_t channels : {1u, 3u, 4u}) {
    EncodeJob job;
    job.width = 45;
    job.height = 37;
    job.channels = channels;
    job.quality = 100;
    job.raw = channels == 3;
    job.sampling = 0x11111111;
    SCOPED_TRACE(describe(job));
    EXPECT_GT(psnr(decode(encodeToMemory(job), job), pixelsOf(job)), 24);
  }
}

// ---- Quality --------------------------------------------------------------

struct Picture {
  unsigned width = 0, height = 0;
  Bytes pixels;
};

Picture pictureOf(const std::string &command) {
  Picture p;
  std::FILE *pipe = popen(command.c_str(), "r");
  if (std::fscanf(pipe, "P6 %u %u 255", &p.width, &p.height) == 2) {
    std::getc(pipe);
    p.pixels.resize(size_t{3} * p.width * p.height);
    p.pixels.resize(std::fread(p.pixels.data(), 1, p.pixels.size(), pipe));
  }
  pclose(pipe);
  return p;
}

Bytes encodePicture(const Picture &p, int32_t quality, uint32_t sampling) {
  Bytes bgr = p.pixels;
  for (size_t i = 0; i < bgr.size(); i += 3) std::swap(bgr[i], bgr[i + 2]);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(p.width);
  rect.height = static_cast<int32_t>(p.height);
  rect.channels = 3;
  rect.bitsPerSample = 8;
  rect.stride = rect.width * 3;
  rect.bits = bgr.data();
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(0, &h), JPG_OK);
  EXPECT_EQ(jpgWriteSetQuantizationFactor(h, quality), JPG_OK);
  EXPECT_EQ(jpgWriteSetSubsamplingFactor(h, sampling), JPG_OK);
  EXPECT_EQ(jpgWriteFromRect(h, &rect, p.height), JPG_OK);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  return take(data, size);
}

// The differences: at 4:4:4 the two encoders do the same arithmetic but for rounding, and
// partial edge MCUs hold other pictures' columns here and repeated edges there. At 4:2:0
// chroma is decimated here and averaged there, which costs where colour has fine detail (and
// the quality number is the percentage of the same tables in both).
TEST(Quality, IsPrintedBesideCjpegsAtTheSameSetting) {
  const char *given = std::getenv("JPG_CORPUS");
  const fs::path folder = fs::path(given != nullptr ? given : JPG_CORPUS_DIR) / "photos";
  if (!have("cjpeg") || !have("djpeg")) GTEST_SKIP() << "cjpeg and djpeg aren't installed";
  const fs::path photo = folder / "flower_444_q85.jpg";
  if (!fs::exists(photo)) GTEST_SKIP() << "no photograph: set JPG_CORPUS";
  const std::string ppm = tempName(".ppm"), jpeg = tempName(".jpg");
  ASSERT_EQ(run("djpeg -scale 1/2 -outfile '" + ppm + "' '" + photo.string() + "'"), "");
  const Picture original = pictureOf("cat '" + ppm + "'");
  std::printf("%-8s %7s   %-18s   %-18s\n", "sampling", "quality", "ours: bytes PSNR",
              "cjpeg: bytes PSNR");
  const struct {
    const char *name, *option;
    uint32_t packed;
    double slack;  // dB that ours may be behind
  } kSamplings[] = {{"4:4:4", "1x1", 0x00111111, 0.3}, {"4:2:0", "2x2", 0x00221111, 2.5}};
  for (const auto &s : kSamplings) {
    for (const int32_t quality : {50, 75, 90, 95}) {
      const Bytes ours = encodePicture(original, quality, s.packed);
      save(jpeg, ours);
      const double our = psnr(pictureOf("djpeg '" + jpeg + "'").pixels, original.pixels);
      run("cjpeg -dct int -quality " + std::to_string(quality) + " -sample " + s.option +
          " -outfile '" + jpeg + "' '" + ppm + "'");
      const double their = psnr(pictureOf("djpeg '" + jpeg + "'").pixels, original.pixels);
      const auto size = fs::file_size(jpeg);
      std::printf("%-8s %7d   %9zu %8.2f   %9zu %8.2f\n", s.name, quality, ours.size(), our,
                  static_cast<size_t>(size), their);
      EXPECT_GT(our, their - s.slack);
      EXPECT_LT(double(ours.size()), 1.1 * double(size));
    }
  }
  std::remove(ppm.c_str());
  std::remove(jpeg.c_str());
}

}  // namespace
