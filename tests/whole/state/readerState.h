// SPDX-License-Identifier: MIT
// The model of a read handle with what the record shows of it.
#ifndef JPG_TESTS_WHOLE_STATE_READERSTATE_H
#define JPG_TESTS_WHOLE_STATE_READERSTATE_H

#include <string>
#include <vector>

#include "model/reader.h"

namespace jpgtest {

// A word of the record by its name.
struct Word {
  const char *name;
  uint32_t value;
};

class ReaderState : public Model {
 public:
  // The prologs' options that the record keeps, told beside the model's own.
  void openedFromMemory(uint32_t flags) { prologFlags_ = (flags & 2U) | 0x20000000U; }

  // The words of the record that mean something for this process.
  std::vector<Word> words() const;

  // Density as the JFIF segment tells it.
  uint32_t jfifUnits() const { return jfifUnits_; }
  uint32_t xDensity() const { return xDensity_; }
  uint32_t yDensity() const { return yDensity_; }

 private:
  uint32_t prologFlags_ = 0;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_READERSTATE_H
