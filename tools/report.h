// SPDX-License-Identifier: MIT
// The tool's messages: errors, codes, progress.
#ifndef JPGTOOL_REPORT_H
#define JPGTOOL_REPORT_H

#include <cstdint>
#include <string>

namespace jpgtool {

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitDamaged = 2;  // a picture was delivered, but parts of it are missing
constexpr int kExitUsage = 64;   // EX_USAGE of sysexits

// "jpgtool: FILE: what (CODE NAME)" on stderr; returns kExitFailed. `code` is the library's,
// or the one that fits best where the tool itself refuses.
int fail(const std::string &file, const std::string &what, uint32_t code);

// The same with the meaning of the code.
int fail(const std::string &file, uint32_t code);

// With --json errors are JSON objects, one a line.
void wantJson(bool wanted);
bool jsonWanted();

// "jpgtool: what" and where to find help; returns kExitUsage.
int failUsage(const std::string &what);

// The meaning of a result code, and its name.
const char *meaningOf(uint32_t code);
const char *nameOf(uint32_t code);

// How many files of a batch failed, as text or as JSON.
void reportBatch(size_t files, size_t failed, size_t damaged);

// A progress line on a terminal, for work that takes more than a second.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;
  void update(uint64_t done, uint64_t all);

 private:
  std::string what_;
  bool terminal_;
  bool shown_ = false;
  int lastPercent_ = -1;
  int64_t start_;
};

}  // namespace jpgtool

#endif
