// SPDX-License-Identifier: MIT
#include "image.h"

#include <stdio.h>
#include <string.h>
#include <sys/mman.h>

#include "thumb.h"

namespace loader {
namespace {

constexpr uint32_t kPage = 4096;
constexpr uint32_t kSectionHeader = 40;
constexpr uint32_t kImportEntry = 20;
constexpr uint32_t kExport = 0, kImport = 1, kBaseRelocation = 5;  // directories
constexpr uint32_t kPadding = 0, kHighLow = 3, kMov32Thumb = 7;    // relocation types
constexpr uint32_t kExecutable = 0x20000000, kWritable = 0x80000000;

#if defined(__arm__)
constexpr uint16_t kMachines[] = {0x1C0, 0x1C4};
#else
constexpr uint16_t kMachines[] = {0x14C, 0x14C};
#endif

bool refuse(const char *what) {
  fprintf(stderr, "loader: %s\n", what);
  return false;
}

// Files are small; what they say about offsets is trusted but for the headers' own.
uint32_t read32(const uint8_t *p) {
  uint32_t v;
  memcpy(&v, p, sizeof(v));
  return v;
}

uint16_t read16(const uint8_t *p) {
  uint16_t v;
  memcpy(&v, p, sizeof(v));
  return v;
}

}  // namespace

uint16_t Image::half(uint32_t address) const { return read16(memory_ + address); }
uint32_t Image::word(uint32_t address) const { return read32(memory_ + address); }

void Image::setWord(uint32_t address, uint32_t value) {
  memcpy(memory_ + address, &value, sizeof(value));
}

const char *Image::text(uint32_t address) const {
  return reinterpret_cast<const char *>(memory_ + address);
}

Image::Directory Image::directory(uint32_t number) const {
  const uint8_t *entry = file_ + optional_ + 96 + 8 * number;
  return {read32(entry), read32(entry + 4)};
}

uint32_t Image::sectionField(uint32_t section, uint32_t offset) const {
  return read32(file_ + sectionTable_ + kSectionHeader * section + offset);
}

bool Image::readHeaders() {
  if (size_ < 0x200 || file_[0] != 'M' || file_[1] != 'Z') return refuse("no DOS header");
  headers_ = read32(file_ + 0x3C);
  if (headers_ > size_ - 0x180 || memcmp(file_ + headers_, "PE\0\0", 4) != 0) {
    return refuse("no PE header");
  }
  const uint16_t machine = read16(file_ + headers_ + 4);
  if (machine != kMachines[0] && machine != kMachines[1]) return refuse("another machine");
  sections_ = read16(file_ + headers_ + 6);
  optional_ = headers_ + 24;
  sectionTable_ = optional_ + read16(file_ + headers_ + 20);
  if (read16(file_ + optional_) != 0x10B) return refuse("not PE32");
  imageSize_ = read32(file_ + optional_ + 56);
  return sectionTable_ + kSectionHeader * sections_ <= size_ || refuse("no section table");
}

// Reserves the image's room, at another place than it asks for, and fills its sections.
bool Image::map() {
  void *memory =
      mmap(nullptr, imageSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return refuse("no memory for the image");
  memory_ = static_cast<uint8_t *>(memory);
  for (uint32_t i = 0; i < sections_; i++) {
    const uint32_t virtualSize = sectionField(i, 8), address = sectionField(i, 12);
    const uint32_t rawSize = sectionField(i, 16), raw = sectionField(i, 20);
    const uint32_t bytes = rawSize < virtualSize ? rawSize : virtualSize;
    if (address + virtualSize > imageSize_ || raw + bytes > size_) return refuse("a lost section");
    if (bytes != 0) memcpy(memory_ + address, file_ + raw, bytes);
  }
  const auto place = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(memory));
  moved_ = place - read32(file_ + optional_ + 28);
  return moved_ != 0 || refuse("the image lies where it wanted to: nothing is proved");
}

bool Image::relocateWord(uint32_t type, uint32_t address) {
  if (type == kPadding) return true;
  if (type == kHighLow) {
    setWord(address, word(address) + moved_);
    return true;
  }
  if (type == kMov32Thumb) {
    uint16_t code[4];
    memcpy(code, memory_ + address, sizeof(code));
    if (!isMovePair(code)) return refuse("a relocation of something else than movw and movt");
    setMovePair(code, movePairValue(code) + moved_);
    memcpy(memory_ + address, code, sizeof(code));
    return true;
  }
  return refuse("a relocation of an unknown type");
}

bool Image::relocate() {
  const Directory table = directory(kBaseRelocation);
  for (uint32_t at = table.address; at < table.address + table.size;) {
    const uint32_t page = word(at), length = word(at + 4);
    if (length < 8) return refuse("a damaged relocation block");
    for (uint32_t entry = at + 8; entry < at + length; entry += 2) {
      if (!relocateWord(half(entry) >> 12, page + (half(entry) & 0xFFF))) return false;
    }
    at += length;
  }
  return true;
}

bool Image::bindLibrary(uint32_t entry, Resolver resolve) {
  const char *library = text(word(entry + 12));
  const uint32_t lookup = word(entry) != 0 ? word(entry) : word(entry + 16);
  for (uint32_t i = 0; word(lookup + 4 * i) != 0; i++) {
    const uint32_t name = word(lookup + 4 * i);
    const void *function = name >> 31 != 0 ? nullptr : resolve(library, text(name + 2));
    if (function == nullptr) {
      fprintf(stderr, "loader: %s lacks %s\n", library, name >> 31 != 0 ? "?" : text(name + 2));
      return false;
    }
    setWord(word(entry + 16) + 4 * i, static_cast<uint32_t>(reinterpret_cast<uintptr_t>(function)));
  }
  return true;
}

bool Image::bind(Resolver resolve) {
  const Directory table = directory(kImport);
  if (table.address == 0) return true;
  for (uint32_t entry = table.address; word(entry + 12) != 0; entry += kImportEntry) {
    if (!bindLibrary(entry, resolve)) return false;
  }
  return true;
}

// From here on the image may do what its sections say, and nobody touches its headers.
void Image::protect() {
  __builtin___clear_cache(reinterpret_cast<char *>(memory_),
                          reinterpret_cast<char *>(memory_ + imageSize_));
  mprotect(memory_, kPage, PROT_NONE);
  for (uint32_t i = 0; i < sections_; i++) {
    const uint32_t flags = sectionField(i, 36);
    const int execute = (flags & kExecutable) != 0 ? PROT_EXEC : 0;
    const int write = (flags & kWritable) != 0 ? PROT_WRITE : 0;
    mprotect(memory_ + sectionField(i, 12), sectionField(i, 8), PROT_READ | execute | write);
  }
}

bool Image::load(const uint8_t *file, size_t size, Resolver resolve) {
  file_ = file;
  size_ = size;
  if (!readHeaders() || !map() || !relocate() || !bind(resolve)) return false;
  protect();
  return true;
}

const void *Image::entry() const {
  const uint32_t address = read32(file_ + optional_ + 16);
  return address == 0 ? nullptr : memory_ + address;
}

uint32_t Image::exports() const { return word(directory(kExport).address + 24); }

const void *Image::find(const char *name) const {
  const uint32_t table = directory(kExport).address;
  const uint32_t functions = word(table + 28), names = word(table + 32),
                 ordinals = word(table + 36);
  for (uint32_t i = 0; i < exports(); i++) {
    if (strcmp(text(word(names + 4 * i)), name) == 0) {
      return memory_ + word(functions + 4 * half(ordinals + 2 * i));
    }
  }
  return nullptr;
}

}  // namespace loader
