// SPDX-License-Identifier: MIT
#include "support/reader.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>

namespace jpgtest {
namespace {

// A name that no other test process and no other file of this one uses.
std::string freshPath() {
  static const unsigned process = std::random_device()();
  static unsigned counter = 0;
  return testing::TempDir() + "jpg_" + std::to_string(process) + "_" + std::to_string(counter++) +
         ".jpg";
}

}  // namespace

Reader Reader::ofMemory(Bytes data, uint32_t flags) {
  Reader reader;
  reader.data_ = std::move(data);
  reader.result_ = jpgReadPrologFromMemory(
      reader.data_.data(), static_cast<int32_t>(reader.data_.size()), flags, &reader.handle_);
  return reader;
}

Reader Reader::ofFile(const std::string &path, int32_t startOffset, int32_t length,
                      uint32_t flags) {
  Reader reader;
  reader.result_ =
      jpgReadPrologFromFile(widePath(path).c_str(), startOffset, length, flags, &reader.handle_);
  return reader;
}

Reader::~Reader() {
  if (handle_ == nullptr) return;
  EXPECT_RESULT(JPG_OK, jpgReadEpilog(handle_));
}

TempFile::TempFile(const Bytes &content) : path_(freshPath()) {
  std::ofstream file(path_, std::ios::binary);
  file.write(reinterpret_cast<const char *>(content.data()),
             static_cast<std::streamsize>(content.size()));
  EXPECT_TRUE(file.good()) << path_;
}

TempFile::~TempFile() { std::remove(path_.c_str()); }

std::basic_string<JpgWChar> widePath(const std::string &path) { return {path.begin(), path.end()}; }

std::string nameOf(uint32_t result) {
  static const struct {
    uint32_t code;
    const char *name;
  } kNames[] = {
      {JPG_OK, "JPG_OK"},
      {JPG_NO_DATA, "JPG_NO_DATA"},
      {JPG_E_FAIL, "JPG_E_FAIL"},
      {JPG_E_INVALID_FUNCTION, "JPG_E_INVALID_FUNCTION"},
      {JPG_E_OUT_OF_MEMORY, "JPG_E_OUT_OF_MEMORY"},
      {JPG_E_INVALID_HANDLE, "JPG_E_INVALID_HANDLE"},
      {JPG_E_SEEK, "JPG_E_SEEK"},
      {JPG_E_WRITE_FAULT, "JPG_E_WRITE_FAULT"},
      {JPG_E_INVALID_PARAMETER, "JPG_E_INVALID_PARAMETER"},
      {JPG_E_UNSUPPORTED, "JPG_E_UNSUPPORTED"},
      {JPG_E_NOT_JPEG, "JPG_E_NOT_JPEG"},
      {JPG_E_NOT_FOUND, "JPG_E_NOT_FOUND"},
      {JPG_E_OPEN_FAILED, "JPG_E_OPEN_FAILED"},
      {JPG_E_END_OF_IMAGE, "JPG_E_END_OF_IMAGE"},
      {JPG_E_BAD_DC_CODE, "JPG_E_BAD_DC_CODE"},
      {JPG_E_BAD_AC_CODE, "JPG_E_BAD_AC_CODE"},
      {JPG_E_COEF_OVERFLOW, "JPG_E_COEF_OVERFLOW"},
      {JPG_E_DNL_CONFLICT, "JPG_E_DNL_CONFLICT"},
      {JPG_E_BAD_SEGMENT_LENGTH, "JPG_E_BAD_SEGMENT_LENGTH"},
  };
  for (const auto &entry : kNames) {
    if (entry.code == result) return entry.name;
  }
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(result));
  return text;
}

}  // namespace jpgtest
