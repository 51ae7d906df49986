// SPDX-License-Identifier: MIT
// What the provider that fails on demand stands on: here, the system's own operations.
#ifndef JPG_TESTS_PLATFORM_WINDOWS_FAULTY_POSIXFILE_H
#define JPG_TESTS_PLATFORM_WINDOWS_FAULTY_POSIXFILE_H

#include "platform.h"

namespace jpg {
namespace posix {

inline HANDLE openFile(const JpgWChar *name, DWORD access, DWORD creation) {
  return ::CreateFileW(name, access, FILE_SHARE_READ, nullptr, creation, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}
inline BOOL readFile(HANDLE file, void *buffer, DWORD bytes, DWORD *count) {
  return ::ReadFile(file, buffer, bytes, count, nullptr);
}
inline BOOL writeFile(HANDLE file, const void *buffer, DWORD bytes, DWORD *count) {
  return ::WriteFile(file, buffer, bytes, count, nullptr);
}
inline DWORD seekFile(HANDLE file, LONG distance, DWORD origin) {
  return ::SetFilePointer(file, distance, nullptr, origin);
}
inline DWORD fileSize(HANDLE file, DWORD *high) { return ::GetFileSize(file, high); }
inline BOOL closeFile(HANDLE file) { return ::CloseHandle(file); }
inline BOOL hasProcessorFeature(DWORD feature) { return ::IsProcessorFeaturePresent(feature); }

}  // namespace posix
}  // namespace jpg

#endif  // JPG_TESTS_PLATFORM_WINDOWS_FAULTY_POSIXFILE_H
