// SPDX-License-Identifier: MIT
// system.h for Windows.
#include <windows.h>
// Needs the types of the former.
#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "system.h"

namespace jpgtool {
namespace {

std::wstring unfinished;  // the file that the signal handler removes

void onSignal(int signal) {
  if (!unfinished.empty()) DeleteFileW(unfinished.c_str());
  _exit(128 + signal);
}

// A name for the system; one that is too long for it in the form that has no limit.
std::wstring wide(const std::string &name) {
  constexpr size_t kShort = 240;
  const int size = static_cast<int>(name.size());
  const int units = MultiByteToWideChar(CP_UTF8, 0, name.data(), size, nullptr, 0);
  std::wstring out(static_cast<size_t>(units), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, name.data(), size, out.data(), units);
  if (out.size() < kShort) return out;
  const DWORD length = GetFullPathNameW(out.c_str(), 0, nullptr, nullptr);
  std::wstring full(length, L'\0');
  full.resize(GetFullPathNameW(out.c_str(), length, full.data(), nullptr));
  return full.rfind(L"\\\\", 0) == 0 ? full : L"\\\\?\\" + full;
}

std::string narrow(const wchar_t *name) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, name, -1, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(size > 0 ? size : 1), '\0');
  WideCharToMultiByte(CP_UTF8, 0, name, -1, out.data(), size, nullptr, nullptr);
  out.pop_back();
  return out;
}

std::string folderOf(const std::string &name) {
  const size_t slash = name.find_last_of("/\\:");
  return slash == std::string::npos ? "" : name.substr(0, slash + 1);
}

int errorOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:
      return ENOENT;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return EEXIST;
    case ERROR_DIRECTORY:
      return ENOTDIR;
    default:
      return EACCES;
  }
}

}  // namespace

NodeKind kindOf(const std::string &name) {
  const DWORD attributes = GetFileAttributesW(wide(name).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return NodeKind::kMissing;
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return NodeKind::kFolder;
  return (attributes & FILE_ATTRIBUTE_DEVICE) != 0 ? NodeKind::kOther : NodeKind::kRegular;
}

std::FILE *openFile(const std::string &name, const char *mode) {
  if (kindOf(name) != NodeKind::kFolder) return _wfopen(wide(name).c_str(), wide(mode).c_str());
  errno = EISDIR;
  return nullptr;
}

bool seekFile(std::FILE *file, uint64_t position) {
  return _fseeki64(file, static_cast<int64_t>(position), SEEK_SET) == 0;
}

bool canSeek(std::FILE *file) {
  return GetFileType(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)))) == FILE_TYPE_DISK;
}

std::FILE *openBeside(const std::string &target, std::string *name) {
  constexpr int kTrials = 100;
  const DWORD attributes = GetFileAttributesW(wide(target).c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    errno = EACCES;
    return nullptr;
  }
  for (int i = 0; i < kTrials; i++) {
    *name = folderOf(target) + ".jpgtool-" + std::to_string(GetCurrentProcessId()) + "-" +
            std::to_string(i);
    const HANDLE file = CreateFileW(wide(*name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      const int number = _open_osfhandle(reinterpret_cast<intptr_t>(file), _O_BINARY);
      return _fdopen(number, "wb");
    }
    errno = errorOf(GetLastError());
    if (errno != EEXIST) return nullptr;
  }
  return nullptr;
}

bool replaceFile(const std::string &from, const std::string &to) {
  return MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

void removeFile(const std::string &name) { DeleteFileW(wide(name).c_str()); }

std::string withoutLinks(const std::string &name) { return name; }

bool isSameFile(const std::string &a, const std::string &b) {
  BY_HANDLE_FILE_INFORMATION infos[2];
  const std::string *const names[] = {&a, &b};
  for (int i = 0; i < 2; i++) {
    if (kindOf(*names[i]) != NodeKind::kRegular) return false;
    const HANDLE file = CreateFileW(wide(*names[i]).c_str(), 0,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return false;
    const bool told = GetFileInformationByHandle(file, &infos[i]) != 0;
    CloseHandle(file);
    if (!told) return false;
  }
  return infos[0].dwVolumeSerialNumber == infos[1].dwVolumeSerialNumber &&
         infos[0].nFileIndexHigh == infos[1].nFileIndexHigh &&
         infos[0].nFileIndexLow == infos[1].nFileIndexLow;
}

uint64_t sizeOfFile(const std::string &name) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (GetFileAttributesExW(wide(name).c_str(), GetFileExInfoStandard, &data) == 0) return 0;
  return uint64_t{data.nFileSizeHigh} << 32 | data.nFileSizeLow;
}

bool makeFolder(const std::string &name) {
  if (CreateDirectoryW(wide(name).c_str(), nullptr) != 0) return true;
  errno = errorOf(GetLastError());
  return kindOf(name) == NodeKind::kFolder;
}

bool listFolder(const std::string &name, std::vector<std::string> *names) {
  WIN32_FIND_DATAW found;
  const HANDLE search = FindFirstFileW(wide(name + "\\*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    errno = errorOf(GetLastError());
    return false;
  }
  do {
    const std::string entry = narrow(found.cFileName);
    if (entry != "." && entry != "..") names->push_back(entry);
  } while (FindNextFileW(search, &found) != 0);
  FindClose(search);
  std::sort(names->begin(), names->end());
  return true;
}

bool terminalSize(uint32_t *columns, uint32_t *lines) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  if (GetConsoleScreenBufferInfo(console, &info) == 0) return false;
  // A console shows the codes of colours only when it is told to.
  DWORD mode = 0;
  constexpr DWORD kTerminalCodes = 4;
  if (GetConsoleMode(console, &mode) != 0) SetConsoleMode(console, mode | kTerminalCodes);
  *columns = static_cast<uint32_t>(info.srWindow.Right - info.srWindow.Left + 1);
  *lines = static_cast<uint32_t>(info.srWindow.Bottom - info.srWindow.Top + 1);
  return true;
}

bool isErrorTerminal() { return _isatty(_fileno(stderr)) != 0; }

uint32_t processorCount() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors;
}

void prepareProcess() {
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
}

bool isOutputAbandoned() { return false; }

std::vector<std::string> wordsOf(int argc, char **argv) {
  (void)argv;
  wchar_t **words = CommandLineToArgvW(GetCommandLineW(), &argc);
  std::vector<std::string> out;
  for (int i = 0; i < argc; i++) out.push_back(narrow(words[i]));
  LocalFree(words);
  return out;
}

bool removeOnSignal(const std::string &name) {
  unfinished = wide(name);
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
  return true;
}

// Signals come on threads of their own; the worst that can happen is a temporary file that stays.
SignalsHeld::SignalsHeld() = default;
SignalsHeld::~SignalsHeld() = default;

}  // namespace jpgtool
