// SPDX-License-Identifier: MIT
// Loads the DLL that JPG_DLL names before main() runs, calls its entry point as its system
// does, and points the trampolines at its exports. When the program ends, nothing of the
// DLL's may be left: blocks, files or screen contexts make it fail.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

#include "faulty.h"
#include "image.h"
#include "imports.h"

extern "C" const void *jpgExportSlots[];

namespace loader {
namespace {

constexpr int kLoadFailed = 90, kSomethingLeft = 91;  // exit codes
constexpr uint32_t kProcessAttach = 1, kProcessDetach = 0;

#if defined(__i386__)
#define ENTRY_CALL __attribute__((stdcall))
#else
#define ENTRY_CALL
#endif
using EntryPoint = ENTRY_CALL int32_t (*)(void *instance, uint32_t reason, void *reserved);

const char *const kNames[] = {
#define EXPORT(name) #name,
#include "exports.inc"
#undef EXPORT
};
constexpr size_t kNameCount = sizeof(kNames) / sizeof(kNames[0]);

[[noreturn]] void giveUp(const char *what, const char *name) {
  fprintf(stderr, "loader: %s %s\n", what, name);
  _exit(kLoadFailed);
}

std::vector<uint8_t> contentsOf(const char *name) {
  std::vector<uint8_t> data;
  FILE *file = fopen(name, "rb");
  if (file == nullptr) giveUp("can't open", name);
  uint8_t buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof(buffer), file)) > 0;) {
    data.insert(data.end(), buffer, buffer + n);
  }
  fclose(file);
  return data;
}

class Session {
 public:
  Session() {
    jpg::faulty::reset();  // its state begins to live before this session, and ends later
    const char *name = getenv("JPG_DLL");
    if (name == nullptr) giveUp("JPG_DLL names no DLL", "");
    file_ = contentsOf(name);
    if (!image_.load(file_.data(), file_.size(), findImport)) giveUp("can't load", name);
    if (image_.exports() != kNameCount) giveUp("another number of exports in", name);
    for (size_t i = 0; i < kNameCount; i++) {
      jpgExportSlots[i] = image_.find(kNames[i]);
      if (jpgExportSlots[i] == nullptr) giveUp("not exported:", kNames[i]);
    }
    callEntry(kProcessAttach);
  }

  ~Session() {
    callEntry(kProcessDetach);
    const size_t blocks = jpg::faulty::liveBlocks(), files = jpg::faulty::openFiles();
    const size_t wrong = jpg::faulty::wrongFrees(), contexts = openContexts();
    if (blocks + files + wrong + contexts == 0) return;
    fprintf(stderr, "loader: left %zu blocks, %zu files, %zu contexts; %zu wrong frees\n", blocks,
            files, contexts, wrong);
    fflush(stdout);
    _exit(kSomethingLeft);
  }

 private:
  void callEntry(uint32_t reason) {
    const void *address = image_.entry();
    if (address == nullptr) giveUp("no entry point", "");
    EntryPoint entry;
    static_assert(sizeof(entry) == sizeof(address), "function pointers are addresses");
    __builtin_memcpy(&entry, &address, sizeof(entry));
    if (entry(this, reason, nullptr) != 1) giveUp("the entry point refuses", "");
  }

  std::vector<uint8_t> file_;
  Image image_;
};

Session session;

}  // namespace
}  // namespace loader
