// SPDX-License-Identifier: MIT
// system.h for Linux and its relatives.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "system.h"

namespace jpgtool {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The file that the signal handler removes; a plain array, since a handler can't use std::string.
char unfinished[PATH_MAX];

sigset_t maskBefore;

void onSignal(int signal) {
  if (unfinished[0] != '\0') unlink(unfinished);
  _exit(128 + signal);
}

std::string folderOf(const std::string &name) {
  const size_t slash = name.rfind('/');
  return slash == std::string::npos ? "" : name.substr(0, slash + 1);
}

// A replaced file keeps its access rights and its owner, as far as the system lets us.
bool takeRights(const std::string &target, int file) {
  struct stat info;
  if (stat(target.c_str(), &info) != 0) return true;
  if (access(target.c_str(), W_OK) != 0) return false;
  if (fchown(file, info.st_uid, info.st_gid) != 0) errno = 0;
  if (fchmod(file, info.st_mode & 07777) != 0) errno = 0;
  return true;
}

}  // namespace

NodeKind kindOf(const std::string &name) {
  struct stat info;
  if (stat(name.c_str(), &info) != 0) return NodeKind::kMissing;
  if (S_ISDIR(info.st_mode)) return NodeKind::kFolder;
  return S_ISREG(info.st_mode) ? NodeKind::kRegular : NodeKind::kOther;
}

std::FILE *openFile(const std::string &name, const char *mode) {
  if (kindOf(name) != NodeKind::kFolder) return std::fopen(name.c_str(), mode);
  errno = EISDIR;
  return nullptr;
}

bool seekFile(std::FILE *file, uint64_t position) {
  return fseeko(file, static_cast<off_t>(position), SEEK_SET) == 0;
}

bool canSeek(std::FILE *file) {
  struct stat info;
  return fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode);
}

std::FILE *openBeside(const std::string &target, std::string *name) {
  constexpr int kTrials = 100;
  int file = -1;
  for (int i = 0; file < 0 && i < kTrials; i++) {
    *name = folderOf(target) + ".jpgtool-" + std::to_string(getpid()) + "-" + std::to_string(i);
    file = open(name->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file < 0 && errno != EEXIST) return nullptr;
  }
  if (file < 0) return nullptr;
  std::FILE *stream = takeRights(target, file) ? fdopen(file, "wb") : nullptr;
  if (stream != nullptr) return stream;
  const int error = errno;
  close(file);
  unlink(name->c_str());
  errno = error;
  return nullptr;
}

bool replaceFile(const std::string &from, const std::string &to) {
  return std::rename(from.c_str(), to.c_str()) == 0;
}

void removeFile(const std::string &name) { unlink(name.c_str()); }

std::string withoutLinks(const std::string &name) {
  constexpr int kMostLinks = 40;  // a longer chain is a ring
  std::string to = name;
  for (int i = 0; i < kMostLinks; i++) {
    char link[PATH_MAX];
    const ssize_t length = readlink(to.c_str(), link, sizeof(link));
    if (length <= 0 || length == ssize_t{sizeof(link)}) return to;
    const std::string next(link, static_cast<size_t>(length));
    to = next[0] == '/' ? next : folderOf(to) + next;
  }
  return name;
}

bool isSameFile(const std::string &a, const std::string &b) {
  struct stat first, second;
  if (stat(a.c_str(), &first) != 0 || stat(b.c_str(), &second) != 0) return false;
  return S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

uint64_t sizeOfFile(const std::string &name) {
  struct stat info;
  return stat(name.c_str(), &info) == 0 ? static_cast<uint64_t>(info.st_size) : 0;
}

bool makeFolder(const std::string &name) {
  if (mkdir(name.c_str(), 0777) == 0 || kindOf(name) == NodeKind::kFolder) return true;
  if (errno == EEXIST) errno = ENOTDIR;
  return false;
}

bool listFolder(const std::string &name, std::vector<std::string> *names) {
  DIR *folder = opendir(name.c_str());
  if (folder == nullptr) return false;
  while (const dirent *entry = readdir(folder)) {
    const std::string found = entry->d_name;
    if (found != "." && found != "..") names->push_back(found);
  }
  closedir(folder);
  std::sort(names->begin(), names->end());
  return true;
}

bool terminalSize(uint32_t *columns, uint32_t *lines) {
  struct winsize window = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_col == 0) return false;
  *columns = window.ws_col;
  *lines = window.ws_row;
  return true;
}

bool isErrorTerminal() { return isatty(STDERR_FILENO) == 1; }

uint32_t processorCount() {
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  return count < 1 ? 1 : static_cast<uint32_t>(count);
}

void prepareProcess() { std::signal(SIGPIPE, SIG_IGN); }

bool isOutputAbandoned() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

std::vector<std::string> wordsOf(int argc, char **argv) { return {argv, argv + argc}; }

bool removeOnSignal(const std::string &name) {
  if (name.size() >= sizeof(unfinished)) return false;
  std::memcpy(unfinished, name.c_str(), name.size() + 1);
  for (const int signal : kSignals) {
    // What the caller had ignored, as nohup does, stays so.
    if (!name.empty() && std::signal(signal, onSignal) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
  return true;
}

SignalsHeld::SignalsHeld() {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : kSignals) sigaddset(&held, signal);
  sigprocmask(SIG_BLOCK, &held, &maskBefore);
}

SignalsHeld::~SignalsHeld() { sigprocmask(SIG_SETMASK, &maskBefore, nullptr); }

}  // namespace jpgtool
