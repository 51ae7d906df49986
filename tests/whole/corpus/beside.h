// SPDX-License-Identifier: MIT
// Pictures of the library beside those of djpeg.
#ifndef JPG_TESTS_WHOLE_CORPUS_BESIDE_H
#define JPG_TESTS_WHOLE_CORPUS_BESIDE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "jpg.h"
#include "support/bytes.h"

namespace jpgtest {

// The folder of real files that JPG_CORPUS names, or the build's.
std::string corpusFolder();

// The files of these folders of the corpus, in order; none without a corpus.
std::vector<std::filesystem::path> filesOf(const std::vector<std::string> &folders);

Bytes contentsOf(const std::filesystem::path &path);

bool hasDjpeg();

struct Decoded {
  uint32_t width = 0, height = 0, channels = 0;
  Bytes pixels;  // red first
};

// What a command prints as PGM or PPM; no pixels when it fails.
Decoded pictureOf(const std::string &command);
// What djpeg makes of a file with these options.
Decoded byDjpeg(const std::filesystem::path &path, const std::string &options);

// How two pictures differ.
struct Difference {
  double mean = 0, psnr = 99;
  int worst = 0;
};
Difference compare(const Bytes &a, const Bytes &b);

JpgRect rectOf(Decoded *picture);
void swapBlueAndRed(Decoded *picture);

// A picture of the size and kind of `like`, still empty.
Decoded emptyLike(const Decoded &like);

// A sequential or progressive picture by the library, with these flags.
Decoded decodeWithLibrary(const Bytes &data, const Decoded &like, uint32_t flags);

}  // namespace jpgtest

#endif
