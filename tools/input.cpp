// SPDX-License-Identifier: MIT
#include "input.h"

#include <cerrno>

#include "files.h"
#include "jpg.h"

namespace jpgtool {
namespace {

// More than this the library doesn't take from memory.
constexpr size_t kMost = INT32_MAX;

// Reads to the end. False when there is more than kMost.
bool readAll(std::FILE *file, uint64_t expected, std::vector<uint8_t> *bytes) {
  constexpr size_t kPiece = 65536;
  size_t size = 0;
  bytes->resize(static_cast<size_t>(expected < kMost ? expected : 0) + 1);
  for (;;) {
    if (size == bytes->size()) bytes->resize(size < kPiece ? kPiece : size + size / 2);
    const size_t count = std::fread(bytes->data() + size, 1, bytes->size() - size, file);
    size += count;
    if (size > kMost) return false;
    if (count == 0) break;
  }
  bytes->resize(size);
  return true;
}

}  // namespace

uint32_t Input::open(const std::string &name, std::string *why) {
  name_ = name;
  std::FILE *file = name == "-" ? stdin : openFile(name, "rb");
  if (file == nullptr) {
    *why = "cannot open the file: " + reasonOf(errno);
    return JPG_E_OPEN_FAILED;
  }
  errno = 0;
  const bool fits = readAll(file, name == "-" ? 0 : sizeOfFile(name), &bytes_);
  const int error = std::ferror(file) != 0 ? errno : 0;
  if (file != stdin) std::fclose(file);
  if (error != 0) {
    *why = "cannot read the file: " + reasonOf(error);
    return JPG_E_OPEN_FAILED;
  }
  if (!fits) *why = "is larger than 2 GiB";
  return fits ? JPG_OK : JPG_E_UNSUPPORTED;
}

}  // namespace jpgtool
