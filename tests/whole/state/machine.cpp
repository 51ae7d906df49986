// SPDX-License-Identifier: MIT
#include "whole/state/machine.h"

#include <cstdio>
#include <cstring>

#include "share/jpgShare.h"

namespace jpgtest {
namespace {

// The same words of the library's record.
std::vector<Word> wordsOf(const JpgContext &c) {
  return {{"lastMarker", c.lastMarker},
          {"sofMarker", c.sofMarker},
          {"restartInterval", c.restartInterval},
          {"samplingPacked", c.samplingPacked},
          {"flags", c.flags},
          {"rowPosition", c.rowPosition},
          {"segLength", c.segLength},
          {"segConsumed", c.segConsumed},
          {"height", c.height},
          {"width", c.width},
          {"precision", c.precision},
          {"numComponents", c.numComponents},
          {"scanState", c.scanState},
          {"scanDataOffset", c.scanDataOffset},
          {"mcuCount", c.mcuCount},
          {"mcusPerRow", c.mcusPerRow},
          {"mcusSinceRestart", c.mcusSinceRestart},
          {"eobRun", c.eobRun},
          {"scanNs", c.scanNs},
          {"Ss", c.Ss},
          {"Se", c.Se},
          {"Ah", c.Ah},
          {"Al", c.Al},
          {"restartCounter", c.restartCounter},
          {"quality", c.quality},
          {"predictor", c.write.predictor},
          {"dcPredictor 0", static_cast<uint32_t>(c.scanComponents[0].dcPredictor)},
          {"dcPredictor 1", static_cast<uint32_t>(c.scanComponents[1].dcPredictor)},
          {"dcPredictor 2", static_cast<uint32_t>(c.scanComponents[2].dcPredictor)},
          {"dcPredictor 3", static_cast<uint32_t>(c.scanComponents[3].dcPredictor)}};
}

// What stands where a marker was looked for counts only when it is one.
uint32_t significant(const Word &word) {
  const bool marker = std::strcmp(word.name, "lastMarker") == 0;
  return marker && word.value < 0xFFC0 ? 0 : word.value;
}

std::string hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%X", value);
  return text;
}

// Something that is no record, with room for one.
alignas(16) uint8_t foreign[16384];

}  // namespace

// What is still open when calls differed.
Machine::~Machine() {
  for (const Slot &s : slots_) {
    if (s.handle == nullptr) continue;
    void *block = nullptr;
    uint32_t size = 0;
    if (jpgReadEpilog(s.handle) == JPG_OK) continue;
    jpgWriteEpilogToMemory(s.handle, &block, &size);
    if (block != nullptr) jpgWriteFreeBitstream(block);
  }
  for (const ExifSlot &e : exif_) {
    if (e.handle != nullptr) jpgReadExifReadAttributeEpilog(e.handle);
  }
  for (void *block : blocks_) jpgWriteFreeBitstream(block);
}

std::string Machine::run(const Call &call) {
  differences_.clear();
  op_ = call.op;
  const bool known = opening(call) || getting(call) || walking(call) || decoding(call) ||
                     bitmaps(call) || writing(call) || setting(call) || encoding(call);
  if (!known) differences_ = "no such call";
  for (int32_t slot = 0; slot < kSlots; slot++) compareWords(slot);
  return differences_;
}

std::string Machine::finish() {
  std::string all;
  for (int32_t slot = 0; slot < kSlots; slot++) {
    if (slots_[slot].reader != nullptr) all += run({Op::kReadEpilog, {slot}});
    if (slots_[slot].writer == nullptr) continue;
    const bool memory = slots_[slot].writer->toMemory();
    all += run({memory ? Op::kWriteEpilogToMemory : Op::kWriteEpilogToFile, {slot}});
  }
  for (int32_t slot = 0; slot < kExifSlots; slot++) {
    if (exif_[slot].handle != nullptr) all += run({Op::kReadExifReadAttributeEpilog, {slot}});
  }
  while (!blocks_.empty()) all += run({Op::kWriteFreeBitstream, {0}});
  return all;
}

void Machine::same(const char *what, uint32_t expected, uint32_t got) {
  if (expected == got) return;
  differences_ +=
      std::string("  ") + what + ": expected " + hex(expected) + ", got " + hex(got) + "\n";
}

void Machine::sameResult(uint32_t expected, uint32_t got) {
  Tally &tally = (*tallies_)[static_cast<size_t>(op_)];
  tally.made++;
  if (got == JPG_OK) tally.succeeded++;
  if (expected == got) return;
  differences_ += "  result: expected " + nameOf(expected) + ", got " + nameOf(got) + "\n";
}

void Machine::sameBytes(const char *what, const Bytes &expected, const Bytes &got) {
  if (expected == got) return;
  size_t i = 0, count = 0;
  while (i < expected.size() && i < got.size() && expected[i] == got[i]) i++;
  for (size_t k = i; k < expected.size() && k < got.size(); k++) count += expected[k] != got[k];
  differences_ += std::string("  ") + what + ": " + std::to_string(expected.size()) + " and " +
                  std::to_string(got.size()) + " bytes, " + std::to_string(count) +
                  " differ, the first at " + std::to_string(i);
  if (i < expected.size() && i < got.size()) {
    differences_ += ": expected " + hex(expected[i]) + ", got " + hex(got[i]);
  }
  differences_ += "\n";
}

void Machine::compareWords(int32_t slot) {
  const Slot &s = slots_[slot];
  if (s.handle == nullptr || lost_) return;
  const std::vector<Word> got = wordsOf(*s.handle);
  std::vector<Word> expected;
  if (s.reader != nullptr) expected = s.reader->words();
  if (s.writer != nullptr) expected = s.writer->words();
  for (const Word &word : expected) {
    for (const Word &other : got) {
      if (std::strcmp(word.name, other.name) != 0) continue;
      if (significant(word) == significant(other)) continue;
      const std::string name = "slot " + std::to_string(slot) + " " + word.name;
      same(name.c_str(), word.value, other.value);
    }
  }
}

ReaderState *Machine::reader(int32_t slot) {
  Slot *s = slotOf(slot);
  return s != nullptr ? s->reader.get() : nullptr;
}

WriterState *Machine::writer(int32_t slot) {
  Slot *s = slotOf(slot);
  return s != nullptr ? s->writer.get() : nullptr;
}

JPGHANDLE Machine::handle(int32_t slot) {
  if (Slot *s = slotOf(slot); s != nullptr) return s->handle;
  if (slot == kMisalignedSlot) return reinterpret_cast<JPGHANDLE>(foreign + 2);
  if (slot != kForeignSlot) return nullptr;
  void *other = exif_[0].handle != nullptr ? static_cast<void *>(exif_[0].handle) : foreign;
  return static_cast<JPGHANDLE>(other);
}

JPGEXIFHANDLE Machine::exifHandle(int32_t slot) {
  if (slot >= 0 && slot < kExifSlots) return exif_[slot].handle;
  if (slot != kForeignExif) return nullptr;
  void *other = slots_[0].handle != nullptr ? static_cast<void *>(slots_[0].handle) : foreign;
  return static_cast<JPGEXIFHANDLE>(other);
}

}  // namespace jpgtest
