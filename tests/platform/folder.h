// SPDX-License-Identifier: MIT
// A folder of its own for each test, removed with what is in it.
#ifndef TESTS_PLATFORM_FOLDER_H
#define TESTS_PLATFORM_FOLDER_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/stored.h"

class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "jpgplatformXXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    jpgtest::forgetStack();
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  std::string file(const std::string &name) const { return path_ + "/" + name; }

  // The path of a file in UTF-16; `name` may hold any code units.
  std::u16string wide(const std::u16string &name) const {
    return std::u16string(path_.begin(), path_.end()) + u"/" + name;
  }

  void write(const std::string &name, const std::string &content) const {
    std::ofstream(file(name), std::ios::binary) << content;
  }

  std::string read(const std::string &name) const {
    std::ifstream in(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  }

 private:
  std::string path_;
};

#endif
