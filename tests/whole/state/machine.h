// SPDX-License-Identifier: MIT
// Library and model side by side: each call goes to both.
#ifndef JPG_TESTS_WHOLE_STATE_MACHINE_H
#define JPG_TESTS_WHOLE_STATE_MACHINE_H

#include <jpg.h>

#include <array>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "support/reader.h"
#include "whole/state/bitmap.h"
#include "whole/state/call.h"
#include "whole/state/exifState.h"
#include "whole/state/readerState.h"
#include "whole/state/surface.h"
#include "whole/state/writerState.h"

namespace jpgtest {

// Calls of a function, and those of them that succeeded.
struct Tally {
  uint32_t made = 0, succeeded = 0;
};
using Tallies = std::array<Tally, static_cast<size_t>(Op::kCount)>;

class Machine {
 public:
  // Handles to call on: kSlots that may be open, and three that never are.
  static constexpr int32_t kSlots = 3;
  static constexpr int32_t kNullSlot = 3, kMisalignedSlot = 4, kForeignSlot = 5;
  // The same of attribute handles; the last one is what another handle would be.
  static constexpr int32_t kExifSlots = 2, kNullExif = 2, kForeignExif = 3;

  // Counts the calls of each function that come to the library.
  explicit Machine(Tallies *tallies) : tallies_(tallies) {}
  Machine(const Machine &) = delete;
  Machine &operator=(const Machine &) = delete;
  ~Machine();

  // Makes a call on both sides. What differs, or nothing. A prolog for a handle that is open and
  // a call that needs what isn't there are passed over.
  std::string run(const Call &call);
  // Closes what is open.
  std::string finish();
  // True when the text leaves open what comes next.
  bool lostItsWay() const { return lost_; }

 private:
  struct Slot {
    JPGHANDLE handle = nullptr;
    std::unique_ptr<ReaderState> reader;
    std::unique_ptr<WriterState> writer;
    Bytes data;                 // what the handle reads
    std::vector<Bytes> pieces;  // what it may be given next
    std::list<Bytes> given;     // pieces that it was given
    std::unique_ptr<TempFile> file;
  };

  struct ExifSlot {
    JPGEXIFHANDLE handle = nullptr;
    std::unique_ptr<ExifState> model;
  };

  // Comparing.
  void same(const char *what, uint32_t expected, uint32_t got);
  void sameResult(uint32_t expected, uint32_t got);
  void sameBytes(const char *what, const Bytes &expected, const Bytes &got);
  void compareWords(int32_t slot);

  // Arguments.
  Slot *slotOf(int32_t slot) { return slot >= 0 && slot < kSlots ? &slots_[slot] : nullptr; }
  ReaderState *reader(int32_t slot);
  WriterState *writer(int32_t slot);
  JPGHANDLE handle(int32_t slot);
  JPGEXIFHANDLE exifHandle(int32_t slot);

  // A kind of calls each; false for calls of another kind.
  bool opening(const Call &call);
  bool getting(const Call &call);
  bool walking(const Call &call);
  bool decoding(const Call &call);
  bool bitmaps(const Call &call);
  bool writing(const Call &call);
  bool setting(const Call &call);
  bool encoding(const Call &call);

  void readFromFile(const Call &call);
  void readFromMemory(const Call &call);
  void readEpilog(int32_t slot);
  void seekSegment(const Call &call);
  void readData(const Call &call);
  void setPartial(const Call &call);
  void decode(const Call &call);
  void decodeSpatial(const Call &call);

  void toBitmap(const Call &call);
  void fromBitmap(const Call &call);
  void exifProlog(const Call &call);
  void exifEpilog(int32_t slot);
  void thumbnail(const Call &call);

  void writeToFile(const Call &call);
  void writeToMemory(const Call &call);
  void writeEpilogToFile(int32_t slot);
  void writeEpilogToMemory(const Call &call);
  void freeBlock(bool null);
  void partial(const Call &call);
  void markers(const Call &call);
  void encode(const Call &call);
  void keepBlock(const Bytes &expected, void *block, uint32_t size);
  void compareFile(const Slot &slot, const Bytes &expected);

  Slot slots_[kSlots];
  ExifSlot exif_[kExifSlots];
  std::vector<void *> blocks_;  // handed over and not yet released
  std::string differences_;
  bool lost_ = false;
  Tallies *tallies_;
  Op op_ = Op::kCount;
};

}  // namespace jpgtest

#endif  // JPG_TESTS_WHOLE_STATE_MACHINE_H
