// SPDX-License-Identifier: MIT
// Files of the system, with names that no code page holds.
#include <gtest/gtest.h>

#include <string>

#include "platform/windows/picture.h"

namespace {

using windows_test::Bytes;
using windows_test::kHeight;
using windows_test::kWidth;

constexpr int kRounding = 4;  // of the coder at the highest quality, per sample

// Names with Latin, Cyrillic, Greek and Japanese letters, a sign outside of the basic plane,
// and blanks.
const wchar_t *const kNames[] = {L"plain.jpg",
                                 L"gr\u00FC\u00DFe \u00E9t\u00E9.jpg",
                                 L"\u0444\u043E\u0442\u043E.jpg",
                                 L"\u03C6\u03C9\u03C2.jpg",
                                 L"\u5199\u771F \u65E5\u672C.jpg",
                                 L"\U0001F4F7.jpg"};

// A folder of this process's own, whose name isn't ASCII either.
class WindowsFile : public testing::Test {
 protected:
  void SetUp() override {
    wchar_t temp[MAX_PATH] = {};
    ASSERT_NE(GetTempPathW(MAX_PATH, temp), 0u);
    folder_ = std::wstring(temp) + L"jpg_\u0442\u0435\u0441\u0442_" +
              std::to_wstring(GetCurrentProcessId());
    ASSERT_NE(CreateDirectoryW(folder_.c_str(), nullptr), 0);
  }

  void TearDown() override {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder_ + L"\\*").c_str(), &found);
    if (search != INVALID_HANDLE_VALUE) {
      do {
        DeleteFileW((folder_ + L"\\" + found.cFileName).c_str());
      } while (FindNextFileW(search, &found) != 0);
      FindClose(search);
    }
    EXPECT_NE(RemoveDirectoryW(folder_.c_str()), 0);
  }

  std::wstring path(const wchar_t *name) const { return folder_ + L"\\" + name; }

  // All names in the folder, as the system tells them.
  std::wstring listing() const {
    std::wstring all;
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW((folder_ + L"\\*.jpg").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return all;
    do {
      all += found.cFileName;
    } while (FindNextFileW(search, &found) != 0);
    FindClose(search);
    return all;
  }

  static Bytes contents(const std::wstring &path) {
    Bytes out(100000);
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    DWORD count = 0;
    EXPECT_NE(ReadFile(file, out.data(), static_cast<DWORD>(out.size()), &count, nullptr), 0);
    CloseHandle(file);
    out.resize(count);
    return out;
  }

  std::wstring folder_;
};

TEST_F(WindowsFile, WhatGoesToAFileOfAnyNameComesBack) {
  Bytes inMemory;
  ASSERT_EQ(windows_test::writeMemory(&inMemory), JPG_OK);
  for (const wchar_t *name : kNames) {
    ASSERT_EQ(windows_test::writeFile(path(name)), JPG_OK) << name;
    EXPECT_EQ(listing(), name);
    EXPECT_EQ(contents(path(name)), inMemory) << name;
    const Bytes read = windows_test::readFile(path(name));
    EXPECT_LE(windows_test::distance(read, windows_test::gradient()), kRounding) << name;
    EXPECT_NE(DeleteFileW(path(name).c_str()), 0);
  }
}

TEST_F(WindowsFile, AnExistingFileIsReplaced) {
  const std::wstring name = path(kNames[1]);
  const HANDLE file =
      CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  const Bytes old(90000, 'x');
  DWORD count = 0;
  ASSERT_NE(WriteFile(file, old.data(), static_cast<DWORD>(old.size()), &count, nullptr), 0);
  CloseHandle(file);
  ASSERT_EQ(windows_test::writeFile(name), JPG_OK);
  Bytes inMemory;
  ASSERT_EQ(windows_test::writeMemory(&inMemory), JPG_OK);
  EXPECT_EQ(contents(name), inMemory);
}

TEST_F(WindowsFile, WhatIsNoFileCannotBeOpened) {
  JPGHANDLE h = nullptr;
  for (const std::wstring &name : {path(L"missing.jpg"), folder_, path(L"no\\folder.jpg")}) {
    EXPECT_EQ(jpgReadPrologFromFile(name.c_str(), 0, 0, 0, &h), JPG_E_OPEN_FAILED);
    EXPECT_EQ(h, nullptr);
  }
  for (const std::wstring &name : {folder_, path(L"no\\folder.jpg")}) {
    EXPECT_EQ(jpgWritePrologToFile(name.c_str(), 0, &h), JPG_E_OPEN_FAILED);
    EXPECT_EQ(h, nullptr);
  }
}

TEST_F(WindowsFile, TwoHandlesReadOneFile) {
  const std::wstring name = path(kNames[2]);
  ASSERT_EQ(windows_test::writeFile(name), JPG_OK);
  JPGHANDLE h = nullptr;
  ASSERT_EQ(jpgReadPrologFromFile(name.c_str(), 0, 0, 0, &h), JPG_OK);
  EXPECT_LE(windows_test::distance(windows_test::readFile(name), windows_test::gradient()),
            kRounding);
  uint32_t width = 0, height = 0;
  EXPECT_EQ(jpgReadGetImageSize(h, &width, &height), JPG_OK);
  EXPECT_EQ(width, uint32_t{kWidth});
  EXPECT_EQ(height, uint32_t{kHeight});
  EXPECT_EQ(jpgReadEpilog(h), JPG_OK);
}

TEST_F(WindowsFile, AClosedHandleLeavesTheFileToOthers) {
  const std::wstring name = path(kNames[3]);
  ASSERT_EQ(windows_test::writeFile(name), JPG_OK);
  ASSERT_FALSE(windows_test::readFile(name).empty());
  const HANDLE alone = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                   OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(alone, INVALID_HANDLE_VALUE);
  CloseHandle(alone);
}

}  // namespace
