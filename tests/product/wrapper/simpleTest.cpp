// SPDX-License-Identifier: MIT
// Whole pictures in one call, paths and texts.
#include "jpg/simple.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "jpg/paths.h"
#include "jpg/text.h"
#include "support/bytes.h"
#include "support/picture.h"
#include "support/reader.h"

namespace {

// A folder of its own, removed with what is in it.
class Folder {
 public:
  Folder()
      : path_(std::filesystem::temp_directory_path() / ("jpg-simple-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string operator/(const std::string &name) const { return (path_ / name).string(); }
  size_t files() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

std::string contentOf(const std::string &name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

jpg::Picture pictureOf(uint32_t width, uint32_t height, uint32_t channels, uint32_t bits) {
  jpg::Picture picture = *jpg::Picture::make({width, height, channels, bits});
  uint8_t value = 0;
  for (uint8_t &sample : picture.samples()) sample = static_cast<uint8_t>(value += 3);
  return picture;
}

TEST(Simple, PicturesOfEveryKindComeBack) {
  const Folder folder;
  const std::string name = folder / "写真.jpg";
  for (const uint32_t bits : {8U, 16U}) {
    for (uint32_t channels = 1; channels <= 4; channels++) {
      const jpg::Picture picture = pictureOf(21, 17, channels, bits);
      jpg::SaveSettings options;
      options.lossless = true;
      options.predictor = 4;
      ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), picture, options).code());
      const auto again = jpg::read(name.c_str());
      ASSERT_TRUE(again.ok());
      EXPECT_TRUE(again->layout().matches(picture.layout()));
      EXPECT_TRUE(
          std::equal(picture.samples().begin(), picture.samples().end(), again->samples().begin()));
      EXPECT_FALSE(again->damaged());
    }
  }
  EXPECT_EQ(folder.files(), 1U);
}

TEST(Simple, ScalesAndLimitsAreKept) {
  const Folder folder;
  const std::string name = folder / "a.jpg";
  ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), pictureOf(33, 20, 3, 8)).code());
  jpg::ReadOptions options;
  options.scale = jpg::Scale::kEighth;
  EXPECT_EQ(jpg::read(name.c_str(), options)->width(), 5U);
  options.maxPixels = 33 * 20 - 1;
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpg::read(name.c_str(), options).code());
  options.maxPixels++;
  options.strict = true;
  EXPECT_RESULT(JPG_OK, jpg::read(name.c_str(), options).code());
  EXPECT_RESULT(JPG_E_OPEN_FAILED, jpg::read((folder / "none.jpg").c_str()).code());
}

TEST(Simple, ProgressiveFilesAreScaledAsSequentialOnes) {
  const Folder folder;
  const std::string name = folder / "a.jpg";
  const jpg::Picture picture = pictureOf(33, 20, 3, 8);
  jpg::SaveSettings settings;
  jpg::ReadOptions options;
  options.scale = jpg::Scale::kQuarter;
  ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), picture, settings).code());
  const auto sequential = jpg::read(name.c_str(), options);
  settings.writer = jpg::WriteOptions::kSmallest;
  ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), picture, settings).code());
  const auto progressive = jpg::read(name.c_str(), options);
  ASSERT_TRUE(sequential.ok() && progressive.ok());
  EXPECT_EQ(progressive->width(), 9U);
  EXPECT_TRUE(std::equal(sequential->samples().begin(), sequential->samples().end(),
                         progressive->samples().begin(), progressive->samples().end()));
}

TEST(Simple, RestartIntervalsReachTheFile) {
  const Folder folder;
  const std::string name = folder / "a.jpg", interval("\xFF\xDD\0\4\0\3", 6);
  jpg::SaveSettings options;
  ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), pictureOf(70, 40, 3, 8), options).code());
  EXPECT_EQ(contentOf(name).find(interval), std::string::npos);
  options.restart = 3;
  ASSERT_RESULT(JPG_OK, jpg::write(name.c_str(), pictureOf(70, 40, 3, 8), options).code());
  EXPECT_NE(contentOf(name).find(interval), std::string::npos);
  options.restart = 65536;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                jpg::write(name.c_str(), pictureOf(70, 40, 3, 8), options).code());
}

TEST(Simple, AFailureLeavesTheOldFileAndNoOther) {
  const Folder folder;
  const std::string name = folder / "a.jpg";
  std::ofstream(name) << "old";
  jpg::SaveSettings options;
  options.quality = 101;
  EXPECT_RESULT(JPG_E_INVALID_PARAMETER,
                jpg::write(name.c_str(), pictureOf(8, 8, 3, 8), options).code());
  EXPECT_RESULT(JPG_E_UNSUPPORTED, jpg::write(name.c_str(), pictureOf(8, 8, 2, 8)).code());
  EXPECT_EQ(contentOf(name), "old");
  EXPECT_EQ(folder.files(), 1U);
  std::filesystem::permissions(name, std::filesystem::perms(0640));
  EXPECT_RESULT(JPG_OK, jpg::write(name.c_str(), pictureOf(8, 8, 3, 8)).code());
  EXPECT_EQ(contentOf(name).substr(0, 2), "\xFF\xD8");
  EXPECT_EQ(std::filesystem::status(name).permissions(), std::filesystem::perms(0640));
  EXPECT_EQ(folder.files(), 1U);
  EXPECT_RESULT(JPG_E_OPEN_FAILED,
                jpg::write((folder / "no/a.jpg").c_str(), pictureOf(8, 8, 3, 8)).code());
}

TEST(Simple, DevicesAndLinksStay) {
  const Folder folder;
  std::ofstream(folder / "real.jpg") << "old";
  std::filesystem::create_symlink("real.jpg", folder / "link.jpg");
  const std::string before = folder / "before.jpg";  // a second name of the old file
  std::filesystem::create_hard_link(folder / "real.jpg", before);
  EXPECT_RESULT(JPG_OK, jpg::write((folder / "link.jpg").c_str(), pictureOf(8, 8, 3, 8)).code());
  EXPECT_EQ(contentOf(before), "old");  // replaced, not written over
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.jpg"));
  EXPECT_EQ(contentOf(folder / "real.jpg").substr(0, 2), "\xFF\xD8");
  if (!std::filesystem::exists("/dev/full")) return;
  EXPECT_RESULT(JPG_E_WRITE_FAULT, jpg::write("/dev/full", pictureOf(8, 8, 3, 8)).code());
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(Paths, NamesComeBack) {
  JpgWChar path[JPG_PATH_UNITS];
  char name[JPG_PATH_BYTES];
  // One, two, three and four bytes a character; the ends of each range.
  for (const std::string text :
       {"a.jpg", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80",
        "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    ASSERT_RESULT(JPG_OK, jpgPathFromUtf8(text.c_str(), path));
    ASSERT_RESULT(JPG_OK, jpgPathToUtf8(path, name));
    EXPECT_EQ(name, text);
  }
  ASSERT_RESULT(JPG_OK, jpgPathFromUtf8("\xF0\x9F\x8C\x84", path));  // U+1F304
  EXPECT_EQ(path[0], 0xD83C);
  EXPECT_EQ(path[1], 0xDF04);
  EXPECT_EQ(path[2], 0);
}

TEST(Paths, WhatIsNoNameIsRefused) {
  JpgWChar path[JPG_PATH_UNITS];
  char name[JPG_PATH_BYTES];
  for (const std::string text :
       {"", "\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "a\xE2\x82"}) {
    EXPECT_RESULT(JPG_E_OPEN_FAILED, jpgPathFromUtf8(text.c_str(), path));
    EXPECT_EQ(path[0], 0);
  }
  EXPECT_RESULT(JPG_OK, jpgPathFromUtf8(std::string(255, 'a').c_str(), path));
  EXPECT_RESULT(JPG_E_OPEN_FAILED, jpgPathFromUtf8(std::string(256, 'a').c_str(), path));
  for (const std::u16string units : {u"", u"\xD800", u"\xDC00", u"\xD800x"}) {
    EXPECT_RESULT(JPG_E_OPEN_FAILED, jpgPathToUtf8(units.c_str(), name));
    EXPECT_EQ(name[0], '\0');
  }
}

TEST(Texts, EveryCodeHasItsOwn) {
  EXPECT_STREQ(jpgTextOf(JPG_OK), "success");
  EXPECT_STREQ(jpgTextOf(JPG_E_DAMAGED), "damaged data: some rows are guessed");
  EXPECT_STREQ(jpgTextOf(12345), "unknown result code");
  EXPECT_STREQ(jpg::Status(JPG_E_SEEK).text(), jpgTextOf(JPG_E_SEEK));
}

}  // namespace
