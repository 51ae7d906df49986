// SPDX-License-Identifier: MIT
// A 32-bit PE image in the memory of another system: its sections mapped, its addresses
// moved to where it came to lie, its imports bound.
#ifndef JPG_TESTS_PRODUCT_LOADER_IMAGE_H
#define JPG_TESTS_PRODUCT_LOADER_IMAGE_H

#include <stddef.h>
#include <stdint.h>

namespace loader {

// The address of a function that the image imports, or null.
using Resolver = const void *(*)(const char *library, const char *function);

class Image {
 public:
  // Maps the file's bytes, moves and binds it. Says what is wrong on the standard error
  // and returns false when it can't be done.
  bool load(const uint8_t *file, size_t size, Resolver resolve);

  // The address of an exported function, or null.
  const void *find(const char *name) const;

  // The entry point; null when there is none.
  const void *entry() const;

  uint32_t exports() const;

 private:
  struct Directory {
    uint32_t address;
    uint32_t size;
  };

  bool readHeaders();
  bool map();
  bool relocate();
  bool relocateWord(uint32_t type, uint32_t address);
  bool bind(Resolver resolve);
  bool bindLibrary(uint32_t entry, Resolver resolve);
  void protect();

  uint16_t half(uint32_t address) const;
  uint32_t word(uint32_t address) const;
  void setWord(uint32_t address, uint32_t value);
  const char *text(uint32_t address) const;
  Directory directory(uint32_t number) const;
  uint32_t sectionField(uint32_t section, uint32_t offset) const;

  const uint8_t *file_ = nullptr;
  size_t size_ = 0;
  uint8_t *memory_ = nullptr;  // where offset 0 of the image lies
  uint32_t headers_ = 0;       // offsets in the file
  uint32_t optional_ = 0;
  uint32_t sectionTable_ = 0;
  uint32_t sections_ = 0;
  uint32_t imageSize_ = 0;
  uint32_t moved_ = 0;  // distance from the base that the file asks for
};

}  // namespace loader

#endif
