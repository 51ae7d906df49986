// SPDX-License-Identifier: MIT
#include "libraryEncode.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

namespace jpgtest {

uint32_t feed(JPGHANDLE handle, const EncodeJob &job, Rows rows) {
  Bytes pixels = pixelsOf(job);
  const size_t stride = size_t{job.width} * job.channels;
  if (rows == Rows::kBottomUp) {
    Bytes flipped;
    for (uint32_t y = job.height; y > 0; y--) {
      const auto row = pixels.begin() + static_cast<std::ptrdiff_t>((y - 1) * stride);
      flipped.insert(flipped.end(), row, row + static_cast<std::ptrdiff_t>(stride));
    }
    pixels = flipped;
  }
  EXPECT_EQ(jpgWriteSetSubsamplingFactor(handle, job.sampling), JPG_OK);
  EXPECT_EQ(jpgWriteSetQuantizationFactor(handle, static_cast<int32_t>(job.quality)), JPG_OK);
  EXPECT_EQ(jpgWriteSetRestartInterval(handle, static_cast<int32_t>(job.restart)), JPG_OK);
  if (job.raw) {
    EXPECT_EQ(jpgWriteSetNoColorConversion(handle), JPG_OK);
  }
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(job.width);
  rect.height = job.unknownHeight ? 0 : static_cast<int32_t>(job.height);
  rect.channels = static_cast<int32_t>(job.channels);
  rect.bitsPerSample = 8;
  rect.stride = static_cast<int32_t>(stride) * (rows == Rows::kBottomUp ? -1 : 1);
  std::vector<uint32_t> bands = job.bands;
  if (bands.empty()) bands.push_back(job.height);
  uint32_t first = 0;
  for (const uint32_t lines : bands) {
    const uint32_t row = rows == Rows::kBottomUp ? job.height - 1 - first : first;
    rect.bits = pixels.data() + row * stride;
    const uint32_t r = jpgWriteFromRect(handle, &rect, lines);
    if (r != JPG_OK) return r;
    first += lines;
  }
  return JPG_OK;
}

Bytes take(void *data, uint32_t size) {
  const auto *bytes = static_cast<const uint8_t *>(data);
  Bytes out;
  if (data != nullptr) {
    out.assign(bytes, bytes + size);
    EXPECT_EQ(jpgWriteFreeBitstream(data), JPG_OK);
  }
  return out;
}

Bytes encodeToMemory(const EncodeJob &job, Rows rows, uint32_t flags) {
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToMemory(flags, &h), JPG_OK);
  EXPECT_EQ(feed(h, job, rows), JPG_OK);
  void *data = nullptr;
  uint32_t size = 0;
  EXPECT_EQ(jpgWriteEpilogToMemory(h, &data, &size), JPG_OK);
  return take(data, size);
}

Bytes encodeToFile(const EncodeJob &job) {
  const std::string name = testing::TempDir() + "jpg_encode_" + std::to_string(getpid()) + ".jpg";
  const std::u16string path(name.begin(), name.end());
  JPGHANDLE h = nullptr;
  EXPECT_EQ(jpgWritePrologToFile(path.c_str(), 0, &h), JPG_OK);
  EXPECT_EQ(feed(h, job), JPG_OK);
  EXPECT_EQ(jpgWriteEpilogToFile(h), JPG_OK);
  Bytes out;
  if (std::FILE *file = std::fopen(name.c_str(), "rb"); file != nullptr) {
    for (int c; (c = std::getc(file)) != EOF;) out.push_back(static_cast<uint8_t>(c));
    std::fclose(file);
  }
  std::remove(name.c_str());
  return out;
}

}  // namespace jpgtest
