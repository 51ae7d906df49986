// SPDX-License-Identifier: MIT
// Results, spans, blocks and paths of the C++ interface.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "jpg.hpp"
#include "support/picture.h"
#include "support/reader.h"

namespace {

constexpr uint32_t kCodes[] = {JPG_OK,
                               JPG_NO_DATA,
                               JPG_E_FAIL,
                               JPG_E_INVALID_FUNCTION,
                               JPG_E_SEEK,
                               JPG_E_WRITE_FAULT,
                               JPG_E_OUT_OF_MEMORY,
                               JPG_E_INVALID_HANDLE,
                               JPG_E_NOT_JPEG,
                               JPG_E_NOT_FOUND,
                               JPG_E_OPEN_FAILED,
                               JPG_E_INVALID_PARAMETER,
                               JPG_E_BAD_DC_CODE,
                               JPG_E_BAD_AC_CODE,
                               JPG_E_COEF_OVERFLOW,
                               JPG_E_UNSUPPORTED,
                               JPG_E_END_OF_IMAGE,
                               JPG_E_DNL_CONFLICT,
                               JPG_E_BAD_SEGMENT_LENGTH};

TEST(Status, EveryCodeHasWordsOfItsOwn) {
  std::set<std::string> texts;
  for (const uint32_t code : kCodes) texts.insert(jpg::Status(code).text());
  EXPECT_EQ(texts.size(), std::size(kCodes));
  EXPECT_EQ(texts.count(jpg::Status(0x80001234).text()), 0U);
}

TEST(Status, ZeroAloneIsSuccess) {
  for (const uint32_t code : kCodes) {
    EXPECT_EQ(jpg::Status(code).ok(), code == 0) << code;
    EXPECT_EQ(bool(jpg::Status(code)), code == 0) << code;
    EXPECT_EQ(jpg::Status(code).code(), code);
  }
  EXPECT_TRUE(jpg::Status().ok());
}

TEST(Result, HoldsAValueOrAnError) {
  const jpg::Result<uint32_t> value(7U);
  EXPECT_TRUE(value.ok());
  EXPECT_EQ(*value, 7U);
  EXPECT_EQ(value.code(), JPG_OK);
  const jpg::Result<uint32_t> error(jpg::Status(JPG_E_SEEK));
  EXPECT_FALSE(error.ok());
  EXPECT_EQ(*error, 0U);
  EXPECT_EQ(error.code(), JPG_E_SEEK);
}

TEST(Result, GoesOnOnlyWithAValue) {
  int calls = 0;
  const auto half = [&calls](uint32_t n) -> jpg::Result<uint32_t> {
    calls++;
    if (n % 2 != 0) return jpg::Status(JPG_E_INVALID_PARAMETER);
    return n / 2;
  };
  const auto result = jpg::Result<uint32_t>(6U).andThen(half).andThen(half).andThen(half);
  EXPECT_EQ(result.code(), JPG_E_INVALID_PARAMETER);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(*jpg::Result<uint32_t>(6U).andThen(half), 3U);
}

TEST(Span, TakesArraysContainersAndPointers) {
  uint8_t array[] = {1, 2, 3};
  std::vector<uint8_t> vector(array, array + 2);
  const std::array<uint8_t, 4> constant = {5, 6, 7, 8};
  const jpg::Span<uint8_t> mutableSpan(array);
  mutableSpan[0] = 9;
  EXPECT_EQ(array[0], 9);
  EXPECT_EQ(jpg::Span<uint8_t>(vector).size(), 2U);
  EXPECT_EQ(jpg::Span<const uint8_t>(constant)[3], 8);
  EXPECT_EQ(jpg::Span<const uint8_t>(mutableSpan).data(), array);
  EXPECT_TRUE(jpg::Span<uint8_t>().empty());
  EXPECT_TRUE((std::is_constructible_v<jpg::Span<const uint8_t>, const std::vector<uint8_t> &>));
  EXPECT_FALSE((std::is_constructible_v<jpg::Span<uint8_t>, const std::vector<uint8_t> &>));
  int sum = 0;
  for (const uint8_t v : mutableSpan) sum += v;
  EXPECT_EQ(sum, 14);
}

TEST(Buffer, MoreThanTheMachineHasIsOutOfMemory) {
  EXPECT_EQ(jpg::Buffer::make(UINT64_MAX).code(), JPG_E_OUT_OF_MEMORY);
  jpg::Result<jpg::Buffer> none = jpg::Buffer::make(0);
  ASSERT_TRUE(none.ok());
  EXPECT_EQ(none->size(), 0U);
  EXPECT_NE(none->data(), nullptr);
}

TEST(Path, IsUtf16OfUtf8) {
  const struct {
    const char *utf8;
    std::basic_string<JpgWChar> utf16;
  } cases[] = {{"a/b.jpg", u"a/b.jpg"},
               {"\x7F\xC2\x80\xDF\xBF", u"\x7F\x80\x7FF"},
               {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\x800\xD7FF\xE000\xFFFF"},
               {"\xF0\x90\x80\x80", {0xD800, 0xDC00}},
               {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}},
               {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}}};
  for (const auto &c : cases) {
    const jpg::Path path(c.utf8);
    EXPECT_TRUE(path.valid());
    EXPECT_TRUE(path.c_str() == c.utf16) << c.utf8;
  }
}

TEST(Path, ComesBackAsUtf8) {
  for (const char *name :
       {"a.jpg", "B\u00E4ume.jpg", "\u5199\u771F.jpg", "\U0001F304 dawn", "\uFFFD"}) {
    char utf8[3 * jpg::Path::kUnits];
    jpg::Path(name).toUtf8(utf8);
    EXPECT_STREQ(name, utf8);
  }
  const JpgWChar lone[][3] = {{0xD83C, 'a'}, {0xDF04, 'a'}, {'a', 0xD83C}, {0xD83C, 0xD83C}};
  for (const auto &name : lone) {
    char utf8[3 * jpg::Path::kUnits] = "x";
    jpg::Path(name).toUtf8(utf8);
    EXPECT_STREQ("", utf8);
  }
  JpgWChar longest[jpg::Path::kUnits] = {};
  std::fill(longest, longest + jpg::Path::kUnits - 1, static_cast<JpgWChar>(0x5199));
  char utf8[3 * jpg::Path::kUnits];
  jpg::Path(longest).toUtf8(utf8);
  EXPECT_EQ(std::strlen(utf8), 3U * (jpg::Path::kUnits - 1));
}

TEST(Path, RefusesWhatIsNotUtf8) {
  for (const char *text : {"", "\x80", "\xC1\xBF", "\xC2",
                           "\xC2"
                           "a",
                           "\xE0\x9F\xBF", "\xE2\x82", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
                           "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "ok\xFE"}) {
    EXPECT_FALSE(jpg::Path(text).valid()) << text;
    EXPECT_EQ(jpg::Reader::file(text, jpg::kStrict).code(), JPG_E_OPEN_FAILED);
    EXPECT_EQ(jpg::FileWriter::create(text).code(), JPG_E_OPEN_FAILED);
  }
  EXPECT_FALSE(jpg::Path(static_cast<const char *>(nullptr)).valid());
}

TEST(Path, HasRoomFor255Units) {
  const std::string ascii(255, 'x');
  const std::u16string wide(255, u'x');
  EXPECT_TRUE(jpg::Path(ascii.c_str()).valid());
  EXPECT_TRUE(jpg::Path(wide.c_str()).valid());
  EXPECT_FALSE(jpg::Path((ascii + "x").c_str()).valid());
  EXPECT_FALSE(jpg::Path((wide + u"x").c_str()).valid());
  EXPECT_FALSE(jpg::Path((ascii.substr(1) + "\xF0\x9F\x98\x80").c_str()).valid());
  EXPECT_TRUE(jpg::Path((ascii.substr(2) + "\xF0\x9F\x98\x80").c_str()).valid());
}

TEST(RectOver, RefusesMemoryThatIsTooSmall) {
  uint8_t memory[64] = {};
  const jpg::Layout layout{5, 4, 3, 8};  // rows of 15 bytes
  const struct {
    size_t size;
    uint32_t stride, code;
  } cases[] = {{60, 0, JPG_OK},
               {59, 0, JPG_E_INVALID_PARAMETER},
               {60, 15, JPG_OK},
               {63, 16, JPG_OK},
               {62, 16, JPG_E_INVALID_PARAMETER},
               {64, 14, JPG_E_INVALID_PARAMETER},
               {0, 0, JPG_E_INVALID_PARAMETER}};
  for (const auto &c : cases) {
    const auto rect = jpg::rectOver(jpg::Span<uint8_t>(memory, c.size), layout, c.stride);
    EXPECT_EQ(rect.code(), c.code) << c.size << " " << c.stride;
  }
  const auto rect = jpg::rectOver(memory, jpg::Layout{5, 4, 1, 12}, 12);
  ASSERT_TRUE(rect.ok());
  EXPECT_EQ(rect->width, 5);
  EXPECT_EQ(rect->height, 4);
  EXPECT_EQ(rect->stride, 12);
  EXPECT_EQ(rect->bitsPerPixel, 16);
  EXPECT_EQ(rect->channels, 1);
  EXPECT_EQ(rect->bitsPerSample, 12);
  EXPECT_EQ(rect->bits, memory);
  EXPECT_EQ(rect->size, 46U);
}

}  // namespace
