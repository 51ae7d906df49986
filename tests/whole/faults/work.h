// SPDX-License-Identifier: MIT
// One run of a scenario: every call of the library goes through it. It holds the result
// against what the header documents for the function, and notes which function the fault
// struck.
#ifndef JPG_TESTS_WHOLE_FAULTS_WORK_H
#define JPG_TESTS_WHOLE_FAULTS_WORK_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "jpg.h"
#include "stack.h"

namespace faults {

// An exported function and what happened to it in all scenarios.
struct Function {
  const char *name;
  std::vector<uint32_t> codes;  // documented, with valid arguments and sound data
  bool reachesPlatform;         // some call of it asks for memory or touches a file
  uint32_t scenarios = 0;       // scenarios that call it
  uint32_t calls = 0;           // in runs with a fault ahead
  uint32_t strikes = 0;         // faults inside of it
  uint32_t measured = 0;        // calls whose stack was measured
  size_t stack = 0;             // most that one of them took, in bytes
};

// All of them, in the order of the .def file.
std::vector<Function> &functions();

class Work {
 public:
  // Of a run in which a fault is armed, or of one without.
  explicit Work(bool armed) : armed_(armed) {}

  // Ahead of a call; true, so that the call follows. Forced inline: paints from where the call
  // will begin.
  [[gnu::always_inline]] bool begin(const char *name) {
    measuring_ = wantsMeasure(name);
    if (measuring_) paintStack();
    return true;
  }

  // Notes a call's result; true for JPG_OK.
  bool note(const char *name, uint32_t code);

  // Folds in what the work has brought forth.
  void fold(const void *data, size_t size);
  void fold(uint32_t number) { fold(&number, sizeof(number)); }
  uint64_t digest() const { return digest_; }

  uint32_t undocumented() const { return undocumented_; }
  // Names of the functions called, each once.
  const std::vector<const char *> &called() const { return called_; }

 private:
  static bool wantsMeasure(const char *name);

  bool armed_;
  uint64_t digest_ = 0xCBF29CE484222325U;  // FNV-1a
  uint32_t undocumented_ = 0;
  bool struck_ = false;
  bool measuring_ = false;    // the stack of the call under way
  uint32_t closeFaults_ = 0;  // so far
  std::vector<const char *> called_;
};

// Calls an exported function within `work`; true when it succeeded.
#define NOTED(function, ...) (work.begin(#function) && work.note(#function, function(__VA_ARGS__)))

}  // namespace faults

#endif
