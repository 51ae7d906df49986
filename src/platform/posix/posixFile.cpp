// SPDX-License-Identifier: MIT
#include "posixFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace jpg {
namespace posix {
namespace {

constexpr uint64_t kMaxPosition = 0xFFFFFFFE;  // largest that isn't a failure value

// A handle is the descriptor plus 1, so that it is never null.
HANDLE toHandle(int fd) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(fd) + 1); }
int toDescriptor(HANDLE file) { return static_cast<int>(reinterpret_cast<intptr_t>(file) - 1); }

bool isHighSurrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLowSurrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// UTF-8 bytes of a code point; their number.
size_t encodePoint(uint32_t point, char *out) {
  if (point < 0x80) {
    out[0] = static_cast<char>(point);
    return 1;
  }
  const size_t tail = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  constexpr uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
  out[0] = static_cast<char>(kLead[tail] | point >> (6 * tail));
  for (size_t i = 1; i <= tail; i++) {
    out[i] = static_cast<char>(0x80 | (point >> (6 * (tail - i)) & 0x3F));
  }
  return tail + 1;
}

// Takes the next code point of a name; false for a lone surrogate.
bool takePoint(const JpgWChar **name, uint32_t *point) {
  *point = static_cast<uint16_t>(*(*name)++);
  if (isLowSurrogate(*point)) return false;
  if (!isHighSurrogate(*point)) return true;
  const uint32_t low = static_cast<uint16_t>(**name);
  if (!isLowSurrogate(low)) return false;
  ++*name;
  *point = 0x10000 + ((*point - 0xD800) << 10) + (low - 0xDC00);
  return true;
}

int openDescriptor(const char *path, DWORD access, DWORD creation) {
  constexpr mode_t kNewFileMode = 0666;
  const int flags = access == GENERIC_WRITE ? O_WRONLY : O_RDONLY;
  const int create = creation == CREATE_ALWAYS ? O_CREAT | O_TRUNC : 0;
  int fd;
  do {
    fd = open(path, flags | create | O_CLOEXEC, kNewFileMode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

// False where fstat fails.
bool isDirectory(int fd) {
  struct stat info = {};
  fstat(fd, &info);
  return S_ISDIR(info.st_mode);
}

}  // namespace

bool toUtf8(const JpgWChar *name, char *out, size_t size) {
  constexpr size_t kLongestPoint = 4;
  size_t used = 0;
  while (*name != 0) {
    uint32_t point = 0;
    if (used + kLongestPoint >= size || !takePoint(&name, &point)) return false;
    used += encodePoint(point, out + used);
  }
  out[used] = '\0';
  return true;
}

HANDLE openFile(const JpgWChar *name, DWORD access, DWORD creation) {
  constexpr size_t kRoom = kMaxPath + 4;
  auto *path = static_cast<char *>(malloc(kRoom));  // too large for the stack
  if (path == nullptr) return INVALID_HANDLE_VALUE;
  const int fd = toUtf8(name, path, kRoom) ? openDescriptor(path, access, creation) : -1;
  free(path);
  if (fd < 0) return INVALID_HANDLE_VALUE;
  if (isDirectory(fd)) {
    close(fd);
    return INVALID_HANDLE_VALUE;
  }
  return toHandle(fd);
}

BOOL readFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count) {
  ssize_t n;
  do {
    n = read(toDescriptor(file), buffer, bytes);
  } while (n < 0 && errno == EINTR);
  *count = n > 0 ? static_cast<DWORD>(n) : 0;
  return n >= 0 ? 1 : 0;
}

BOOL writeFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count) {
  const auto *data = static_cast<const char *>(buffer);
  *count = 0;
  while (*count < bytes) {
    const ssize_t n = write(toDescriptor(file), data + *count, bytes - *count);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return 0;
    *count += static_cast<DWORD>(n);
  }
  return 1;
}

DWORD seekFile(HANDLE file, LONG distance, DWORD origin) {
  const int whence = origin == FILE_BEGIN ? SEEK_SET : origin == FILE_CURRENT ? SEEK_CUR : SEEK_END;
  const off_t before = lseek(toDescriptor(file), 0, SEEK_CUR);
  const off_t position = lseek(toDescriptor(file), distance, whence);
  if (position < 0) return INVALID_SET_FILE_POINTER;
  if (static_cast<uint64_t>(position) > kMaxPosition) {
    lseek(toDescriptor(file), before, SEEK_SET);  // a refused seek doesn't move
    return INVALID_SET_FILE_POINTER;
  }
  return static_cast<DWORD>(position);
}

DWORD fileSize(HANDLE file, DWORD *high) {
  struct stat info;
  if (fstat(toDescriptor(file), &info) != 0) return INVALID_FILE_SIZE;
  const auto size = static_cast<uint64_t>(info.st_size);
  if (high == nullptr) return static_cast<DWORD>(size < kMaxPosition ? size : kMaxPosition);
  *high = static_cast<DWORD>(size >> 32);
  return static_cast<DWORD>(size);
}

BOOL closeFile(HANDLE file) { return close(toDescriptor(file)) == 0 ? 1 : 0; }

}  // namespace posix
}  // namespace jpg
