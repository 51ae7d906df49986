// SPDX-License-Identifier: MIT
// Files of the tool: what it reads as a whole, and output files, which take their name only when
// they are complete.
#ifndef JPGTOOL_FILES_H
#define JPGTOOL_FILES_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "system.h"

namespace jpgtool {

// A UTF-8 name in UTF-16; each byte that isn't valid UTF-8 becomes a character.
std::u16string toUtf16(const std::string &name);

// The part of a name behind its last dot, in lower case.
std::string extensionOf(const std::string &name);

inline bool isFolder(const std::string &name) { return kindOf(name) == NodeKind::kFolder; }

// An output file, or standard output for "-". Its bytes go to a temporary file in the same folder,
// which replaces a file of the name when it is complete; until then that one stays as it was. The
// temporary file is removed by the destructor and by SIGINT, SIGTERM and SIGHUP. Devices and pipes
// are written straight.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  // False, with the reason.
  bool open(const std::string &name, std::string *why);
  bool write(const void *data, size_t size);
  // True if seek() can be used: not for pipes and devices.
  bool canSeek() const { return !temporary_.empty(); }
  bool seek(uint64_t position);
  // Closes the file and gives it its name. False when data could not be written.
  bool keep();

 private:
  std::FILE *file_ = nullptr;
  std::string name_;
  std::string temporary_;  // empty: written straight
  bool failed_ = false;
};

// Writes a whole file; the result is an exit status.
int saveFile(const std::string &name, const void *data, size_t size);

}  // namespace jpgtool

#endif
