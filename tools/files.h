// Files of the tool: names for the library, and an output file that is removed when
// the work fails.
#ifndef JPGTOOL_FILES_H
#define JPGTOOL_FILES_H

#include <cstdint>
#include <cstdio>
#include <string>

namespace jpgtool {

// A UTF-8 name in UTF-16; each byte that isn't valid UTF-8 becomes a character.
std::u16string toUtf16(const std::string &name);

// The part of a name behind its last dot, in lower case.
std::string extensionOf(const std::string &name);

// True when both names lead to the same file.
bool isSameFile(const std::string &a, const std::string &b);

// Bytes of a file, 0 when it isn't there.
uint64_t sizeOfFile(const std::string &name);

bool isFolder(const std::string &name);

// Makes a folder unless it is there.
void makeFolder(const std::string &name);

// An output file, or standard output for "-". Unless kept, it is removed by the
// destructor and by SIGINT and SIGTERM.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  bool open(const std::string &name);
  bool write(const void *data, size_t size);
  bool seek(uint64_t position);  // not for standard output
  // Closes the file and leaves it where it is. False when data could not be written.
  bool keep();
  // Marks a file that the library has made under this name.
  void adopt(const std::string &name);

 private:
  void forget();

  std::FILE *file_ = nullptr;
  std::string name_;
  bool failed_ = false;
};

}  // namespace jpgtool

#endif
