// SPDX-License-Identifier: MIT
// What the tool asks of the operating system. File names are bytes, on Windows UTF-8.
#ifndef JPGTOOL_SYSTEM_H
#define JPGTOOL_SYSTEM_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace jpgtool {

enum class NodeKind { kMissing, kRegular, kFolder, kOther };  // kOther: devices, pipes

NodeKind kindOf(const std::string &name);

// As fopen, which sets errno; a folder can't be opened.
std::FILE *openFile(const std::string &name, const char *mode);

bool seekFile(std::FILE *file, uint64_t position);
bool canSeek(std::FILE *file);

// Makes a file under a new name in the folder of `target`, with the access rights of `target` if
// that exists. Null with errno set if that fails, or if `target` must not be written.
std::FILE *openBeside(const std::string &target, std::string *name);

// Gives a file another name in the same folder; a file of that name is replaced in one step.
bool replaceFile(const std::string &from, const std::string &to);
void removeFile(const std::string &name);

// The file that a chain of symbolic links leads to, which need not exist.
std::string withoutLinks(const std::string &name);

// True when both names lead to the same file.
bool isSameFile(const std::string &a, const std::string &b);

// Bytes of a file, 0 when it isn't there.
uint64_t sizeOfFile(const std::string &name);

// Makes a folder unless it is there; false with errno.
bool makeFolder(const std::string &name);

// The names in a folder, sorted. False with errno.
bool listFolder(const std::string &name, std::vector<std::string> *names);

// The message for a value of errno, in lower case: "no such file or directory".
std::string reasonOf(int error);

// Columns and lines of the terminal at standard output; false if there is none.
bool terminalSize(uint32_t *columns, uint32_t *lines);
bool isErrorTerminal();

// Processors that can be used; 1 where that isn't known.
uint32_t processorCount();

// Called first: a closed pipe is a failed write, and standard streams are binary.
void prepareProcess();

// True if standard output is a pipe that nobody reads any longer.
bool isOutputAbandoned();

// The words of the command line, in UTF-8 on Windows.
std::vector<std::string> wordsOf(int argc, char **argv);

// Has SIGINT, SIGTERM and SIGHUP remove this file while it is unfinished; empty: none. Returns
// false if the name is too long for that.
bool removeOnSignal(const std::string &name);

// Holds these signals back during its lifetime.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld &) = delete;
  SignalsHeld &operator=(const SignalsHeld &) = delete;
};

}  // namespace jpgtool

#endif
