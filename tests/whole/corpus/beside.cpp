// SPDX-License-Identifier: MIT
#include "corpus/beside.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace jpgtest {

std::string corpusFolder() {
  const char *given = std::getenv("JPG_CORPUS");
  return given != nullptr ? given : JPG_CORPUS_DIR;
}

std::vector<std::filesystem::path> filesOf(const std::vector<std::string> &folders) {
  std::vector<std::filesystem::path> files;
  for (const std::string &folder : folders) {
    const auto root = std::filesystem::path(corpusFolder()) / folder;
    if (!std::filesystem::is_directory(root)) continue;
    for (const auto &entry : std::filesystem::directory_iterator(root)) {
      files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

Bytes contentsOf(const std::filesystem::path &path) {
  Bytes data(static_cast<size_t>(std::filesystem::file_size(path)));
  std::FILE *file = std::fopen(path.c_str(), "rb");
  data.resize(std::fread(data.data(), 1, data.size(), file));
  std::fclose(file);
  return data;
}

Decoded pictureOf(const std::string &command) {
  Decoded picture;
  std::FILE *pipe = popen(command.c_str(), "r");
  char kind = 0;
  unsigned width = 0, height = 0;
  if (std::fscanf(pipe, "P%c %u %u 255", &kind, &width, &height) == 3) {
    std::getc(pipe);
    picture = {width, height, kind == '6' ? 3U : 1U, {}};
    picture.pixels.resize(size_t{width} * height * picture.channels);
    const size_t n = std::fread(picture.pixels.data(), 1, picture.pixels.size(), pipe);
    if (n != picture.pixels.size()) picture.pixels.clear();
  }
  if (pclose(pipe) != 0) picture.pixels.clear();
  return picture;
}

Difference compare(const Bytes &a, const Bytes &b) {
  Difference d;
  double sum = 0, squares = 0;
  for (size_t i = 0; i < a.size(); i++) {
    const int difference = std::abs(int{a[i]} - int{b[i]});
    d.worst = std::max(d.worst, difference);
    sum += difference;
    squares += double(difference) * difference;
  }
  d.mean = sum / double(a.size());
  if (squares > 0) d.psnr = 10 * std::log10(255.0 * 255.0 * double(a.size()) / squares);
  return d;
}

Decoded byDjpeg(const std::filesystem::path &path, const std::string &options) {
  return pictureOf("djpeg " + options + " '" + path.string() + "' 2>/dev/null");
}

JpgRect rectOf(Decoded *picture) {
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(picture->width);
  rect.stride = static_cast<int32_t>(picture->width * picture->channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * picture->channels);
  rect.bits = picture->pixels.data();
  return rect;
}

void swapBlueAndRed(Decoded *picture) {
  for (size_t i = 0; picture->channels == 3 && i < picture->pixels.size(); i += 3) {
    std::swap(picture->pixels[i], picture->pixels[i + 2]);
  }
}

Decoded emptyLike(const Decoded &like) {
  Decoded picture = like;
  std::fill(picture.pixels.begin(), picture.pixels.end(), uint8_t{0});
  return picture;
}

Decoded decodeWithLibrary(const Bytes &data, const Decoded &like, uint32_t flags) {
  Decoded picture = emptyLike(like);
  JPGHANDLE h = nullptr;
  const auto size = static_cast<int32_t>(data.size());
  EXPECT_EQ(jpgReadPrologFromMemory(data.data(), size, flags | JPG_READ_COMPLETE, &h), JPG_OK);
  uint32_t process = 0;
  EXPECT_EQ(jpgReadGetCodingProcess(h, &process), JPG_OK);
  const JpgRect rect = rectOf(&picture);
  const auto rows = static_cast<int32_t>(picture.height);
  const uint32_t r = process == JPG_PROCESS_PROGRESSIVE
                         ? jpgReadProgressiveToRect(h, &rect, rows, JPG_PROGRESSIVE_ALL_SCANS)
                         : jpgReadToRect(h, &rect, rows);
  EXPECT_EQ(r, JPG_OK);
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
  swapBlueAndRed(&picture);
  return picture;
}

bool hasDjpeg() { return std::system("djpeg -version >/dev/null 2>&1 </dev/null") == 0; }
}  // namespace jpgtest
