#include "files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

namespace jpgtool {
namespace {

// The file that the signal handler removes; a plain array, since a handler can't use std::string.
constexpr size_t kMaxName = 4096;
char unfinished[kMaxName];

void onSignal(int signal) {
  if (unfinished[0] != '\0') unlink(unfinished);
  _exit(128 + signal);
}

// Blocks SIGINT and SIGTERM during its lifetime.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    sigprocmask(SIG_BLOCK, &held, &before_);
  }
  ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld &) = delete;
  SignalsHeld &operator=(const SignalsHeld &) = delete;

 private:
  sigset_t before_;
};

void guard(const std::string &name) {
  if (name.size() >= kMaxName) return;
  std::memcpy(unfinished, name.c_str(), name.size() + 1);
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
}

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

bool isSameFile(const std::string &a, const std::string &b) {
  struct stat first, second;
  if (stat(a.c_str(), &first) != 0 || stat(b.c_str(), &second) != 0) return false;
  return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool isFolder(const std::string &name) {
  struct stat info;
  return stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void makeFolder(const std::string &name) { mkdir(name.c_str(), 0777); }

uint64_t sizeOfFile(const std::string &name) {
  struct stat info;
  return stat(name.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

OutputFile::~OutputFile() {
  if (file_ != nullptr && file_ != stdout) std::fclose(file_);
  if (!name_.empty()) unlink(name_.c_str());
  forget();
}

bool OutputFile::open(const std::string &name) {
  if (name == "-") {
    file_ = stdout;
    return true;
  }
  const SignalsHeld held;  // until a signal would remove the new file
  file_ = std::fopen(name.c_str(), "wb");
  if (file_ == nullptr) return false;
  adopt(name);
  return true;
}

void OutputFile::adopt(const std::string &name) {
  // Only regular files are removed after a failure, not /dev/null or a pipe.
  struct stat info;
  if (stat(name.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) return;
  name_ = name;
  guard(name);
}

bool OutputFile::write(const void *data, size_t size) {
  if (std::fwrite(data, 1, size, file_) != size) failed_ = true;
  return !failed_;
}

bool OutputFile::seek(uint64_t position) {
  if (fseeko(file_, static_cast<off_t>(position), SEEK_SET) != 0) failed_ = true;
  return !failed_;
}

bool OutputFile::keep() {
  bool ok = !failed_;
  if (file_ != nullptr) {
    if (std::fflush(file_) != 0) ok = false;
    if (file_ != stdout && std::fclose(file_) != 0) ok = false;
    file_ = nullptr;
  }
  if (ok) forget();
  return ok;
}

void OutputFile::forget() {
  name_.clear();
  unfinished[0] = '\0';
}

}  // namespace jpgtool
