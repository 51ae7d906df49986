// SPDX-License-Identifier: MIT
// A JPEG file of the tool: all of its bytes in memory. So names may be any bytes of any length, and
// standard input and pipes, which can't seek, serve as well as files.
#ifndef JPGTOOL_INPUT_H
#define JPGTOOL_INPUT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace jpgtool {

class Input {
 public:
  // Reads a file, or standard input for "-". 0 or a code, with the reason.
  uint32_t open(const std::string &name, std::string *why);

  // Takes bytes that were read already.
  void take(const std::string &name, std::vector<uint8_t> bytes) {
    name_ = name;
    bytes_ = std::move(bytes);
  }

  const std::string &name() const { return name_; }
  const uint8_t *data() const { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }

 private:
  std::string name_;
  std::vector<uint8_t> bytes_;
};

}  // namespace jpgtool

#endif
