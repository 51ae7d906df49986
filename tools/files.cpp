// SPDX-License-Identifier: MIT
#include "files.h"

#include <cerrno>
#include <cstring>

#include "jpg.h"
#include "report.h"

namespace jpgtool {
namespace {

// Bytes behind a lead byte of UTF-8, -1 for a byte that isn't one.
int tailOf(unsigned char lead) {
  if (lead < 0x80) return 0;
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  return lead >= 0xF0 && lead <= 0xF4 ? 3 : -1;
}

// Reads the code point of `name` at `i`.
uint32_t takePoint(const std::string &name, size_t *i) {
  const auto lead = static_cast<unsigned char>(name[*i]);
  const int tail = tailOf(lead);
  ++*i;
  if (tail <= 0) return lead;
  uint32_t point = lead & (0x3FU >> tail);
  size_t j = *i;
  for (int k = 0; k < tail; k++, j++) {
    if (j >= name.size() || (static_cast<unsigned char>(name[j]) & 0xC0) != 0x80) return lead;
    point = point << 6 | (static_cast<unsigned char>(name[j]) & 0x3FU);
  }
  // Overlong forms, surrogates and code points above U+10FFFF are rejected: they could produce a
  // terminator or a lone surrogate.
  static constexpr uint32_t kLowest[] = {0, 0x80, 0x800, 0x10000};
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  if (point < kLowest[tail] || point > 0x10FFFF || surrogate) return lead;
  *i = j;
  return point;
}

}  // namespace

std::u16string toUtf16(const std::string &name) {
  std::u16string out;
  for (size_t i = 0; i < name.size();) {
    const uint32_t point = takePoint(name, &i);
    if (point < 0x10000) {
      out.push_back(static_cast<char16_t>(point));
    } else {
      out.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
    }
  }
  return out;
}

std::string extensionOf(const std::string &name) {
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos || name.find('/', dot) != std::string::npos) return "";
  std::string extension = name.substr(dot + 1);
  for (char &c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return extension;
}

OutputFile::~OutputFile() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
  if (temporary_.empty()) return;
  removeFile(temporary_);
  removeOnSignal("");
}

bool OutputFile::open(const std::string &name, std::string *why) {
  if (name == "-") {
    file_ = stdout;
    return true;
  }
  name_ = withoutLinks(name);
  const NodeKind kind = kindOf(name_);
  if (kind == NodeKind::kOther || kind == NodeKind::kFolder) {
    file_ = openFile(name_, "wb");
  } else {
    const SignalsHeld held;  // until the new file is noted for removal by a signal
    file_ = openBeside(name_, &temporary_);
    if (file_ == nullptr) temporary_.clear();
    if (file_ != nullptr) removeOnSignal(temporary_);
  }
  if (file_ == nullptr) *why = "cannot create the file: " + reasonOf(errno);
  return file_ != nullptr;
}

bool OutputFile::write(const void *data, size_t size) {
  if (std::fwrite(data, 1, size, file_) != size) failed_ = true;
  return !failed_;
}

bool OutputFile::seek(uint64_t position) {
  if (!seekFile(file_, position)) failed_ = true;
  return !failed_;
}

bool OutputFile::keep() {
  bool ok = !failed_ && std::fflush(file_) == 0;
  if (file_ != stdout && std::fclose(file_) != 0) ok = false;
  file_ = nullptr;
  if (!ok || temporary_.empty()) return ok;
  const SignalsHeld held;
  if (!replaceFile(temporary_, name_)) return false;
  temporary_.clear();
  removeOnSignal("");
  return true;
}

int saveFile(const std::string &name, const void *data, size_t size) {
  OutputFile out;
  std::string why;
  if (!out.open(name, &why)) return fail(name, why, JPG_E_OPEN_FAILED);
  return out.write(data, size) && out.keep() ? kExitOk : fail(name, JPG_E_WRITE_FAULT);
}

std::string reasonOf(int error) {
  std::string reason = std::strerror(error);
  if (reason.size() > 1 && reason[0] >= 'A' && reason[0] <= 'Z' &&
      !(reason[1] >= 'A' && reason[1] <= 'Z')) {
    reason[0] = static_cast<char>(reason[0] - 'A' + 'a');
  }
  return reason;
}

}  // namespace jpgtool
