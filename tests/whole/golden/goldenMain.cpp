// SPDX-License-Identifier: MIT
// Prints the golden table, or compares it with a file.
//
//   golden [--folder FOLDER] [--table FILE]
//
// Without a folder (of an ASCII name) the cases with files are left out. With a table, only
// the lines that differ are printed, and the exit status tells whether there are any.
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "goldenCases.h"

namespace {

using Lines = std::vector<std::string>;

void addLine(void *user, const char *name, uint64_t digest) {
  char text[40];
  std::snprintf(text, sizeof(text), " %016" PRIx64, digest);
  static_cast<Lines *>(user)->push_back(name + std::string(text));
}

bool readTable(const char *path, Lines &lines) {
  std::FILE *file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  std::string line;
  for (int c; (c = std::getc(file)) != EOF;) {
    if (c == '\n') {
      lines.push_back(line);
      line.clear();
    } else if (c != '\r') {
      line.push_back(static_cast<char>(c));
    }
  }
  if (!line.empty()) lines.push_back(line);
  std::fclose(file);
  return true;
}

std::string nameOf(const std::string &line) { return line.substr(0, line.find(' ')); }

const std::string *findName(const Lines &lines, const std::string &name) {
  for (const std::string &line : lines) {
    if (nameOf(line) == name) return &line;
  }
  return nullptr;
}

// Cases of files are missed only when they ran.
bool isExpected(const std::string &line, bool withFiles) {
  return withFiles || line.compare(0, 5, "file.") != 0;
}

int compare(const Lines &got, const Lines &table, bool withFiles) {
  int differences = 0;
  for (const std::string &line : got) {
    const std::string *expected = findName(table, nameOf(line));
    if (expected != nullptr && *expected == line) continue;
    std::printf("got %s\n    %s\n", line.c_str(),
                expected != nullptr ? expected->c_str() : "(not in the table)");
    differences++;
  }
  for (const std::string &line : table) {
    if (!isExpected(line, withFiles) || findName(got, nameOf(line)) != nullptr) continue;
    std::printf("missing %s\n", line.c_str());
    differences++;
  }
  std::printf("%u digests, %d differ\n", static_cast<unsigned>(got.size()), differences);
  return differences;
}

std::basic_string<JpgWChar> prefixOf(const std::string &folder) {
  std::basic_string<JpgWChar> prefix;
  for (const char c : folder) prefix.push_back(static_cast<JpgWChar>(c));
  prefix.push_back('/');
  return prefix;
}

}  // namespace

int main(int argc, char **argv) {
  const char *folder = nullptr;
  const char *table = nullptr;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--folder") == 0) folder = argv[i + 1];
    if (std::strcmp(argv[i], "--table") == 0) table = argv[i + 1];
  }
  Lines got, expected;
  int failures = runGolden(addLine, &got);
  if (folder != nullptr) failures += runGoldenFiles(prefixOf(folder).c_str(), addLine, &got);
  if (failures != 0) std::printf("%d calls failed\n", failures);
  if (table == nullptr) {
    for (const std::string &line : got) std::printf("%s\n", line.c_str());
    return failures != 0 ? 1 : 0;
  }
  if (!readTable(table, expected)) {
    std::printf("can't read %s\n", table);
    return 1;
  }
  return compare(got, expected, folder != nullptr) != 0 || failures != 0 ? 1 : 0;
}
