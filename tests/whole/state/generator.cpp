// SPDX-License-Identifier: MIT
#include "whole/state/generator.h"

#include "support/random.h"
#include "whole/state/machine.h"
#include "whole/state/material.h"

namespace jpgtest {
namespace {

constexpr int32_t kStreams = 1200;  // of a generation of seeds

class Generator {
 public:
  explicit Generator(uint32_t seed) : random_(seed) {
    first_ = static_cast<int32_t>(seed / 20000) * kStreams;
  }

  Calls make() {
    open(0);
    if (random_.oneIn(8)) open(1);
    for (int32_t n = random_.between(3, 14); n > 0; n--) any();
    return calls_;
  }

 private:
  enum class Kind { kNone, kReader, kWriter };

  void add(Op op, std::array<int32_t, 8> a) { calls_.push_back({op, a}); }
  int32_t pick(std::initializer_list<int32_t> values) {
    return *(values.begin() + random_.between(0, static_cast<int32_t>(values.size()) - 1));
  }
  // Null pointers now and then.
  int32_t nulls() { return random_.oneIn(60) ? random_.between(1, 3) : 0; }

  // Options of the reader, joined to its flags; with another upper half they ask for nothing.
  int32_t options() {
    if (random_.oneIn(3)) return 0;
    const int32_t bits = pick({0x100, 0x200, 0x200, 0x300, 0x300});
    const int32_t mark = random_.oneIn(10) ? pick({0, 0x4A510000, 0x40000000}) : 0x4A500000;
    return mark | bits;
  }

  void openReader(int32_t slot) {
    const int32_t stream = first_ + random_.between(0, kStreams - 1);
    kinds_[slot] = Kind::kReader;
    streams_[slot] = stream;
    if (random_.oneIn(12)) {
      const int32_t offset = random_.oneIn(2) ? 0 : random_.between(1, 40);
      const int32_t flags = (offset != 0 || random_.oneIn(2) ? 4 : 0) | options();
      add(Op::kReadPrologFromFile, {slot, stream, random_.oneIn(30) ? -1 : offset,
                                    random_.oneIn(20) ? 1 << 20 : 0, flags, nulls()});
    } else {
      const int32_t size = random_.oneIn(40) ? random_.between(-3, 300) : 0;
      add(Op::kReadPrologFromMemory,
          {slot, stream, size, pick({0, 2, 4, 4, 6, 6, 6}) | options(), nulls()});
    }
  }

  void open(int32_t slot) {
    if (random_.oneIn(3)) {
      openWriter(slot);
    } else {
      openReader(slot);
    }
  }

  void openWriter(int32_t slot) {
    kinds_[slot] = Kind::kWriter;
    lossless_ = random_.oneIn(3);
    width_ = random_.oneIn(30) ? pick({0, -1, 65536}) : random_.between(1, 40);
    if (random_.oneIn(12)) {
      add(Op::kWritePrologToFile, {slot, random_.oneIn(5) ? random_.between(1, 2) : 0, nulls()});
    } else {
      add(Op::kWritePrologToMemory, {slot, pick({0, 2, 2, 6, 4}), nulls()});
    }
    for (int32_t n = random_.between(0, 4); n > 0; n--) setting(slot);
  }

  int32_t slot() {
    if (random_.oneIn(50)) return random_.between(0, Machine::kForeignSlot);
    return kinds_[1] != Kind::kNone ? random_.between(0, 1) : 0;
  }

  void any() {
    const int32_t s = slot();
    const bool live = s < Machine::kSlots && kinds_[s] != Kind::kNone;
    if (random_.oneIn(40)) {
      close(s);
      if (s < Machine::kSlots) open(s);
      return;
    }
    if (random_.oneIn(40)) return exif(s);
    const bool writes = live && kinds_[s] == Kind::kWriter;
    if (writes != random_.oneIn(live ? 30 : 2)) {
      onWriter(s);
    } else if (live && !writes && !random_.oneIn(25)) {
      const Material &m = material(streams_[s]);
      onReader(s, m.sof, m.height, m.channels);
    } else {
      onReader(s, 0xFFC0U + static_cast<uint32_t>(random_.between(0, 3)), 20, 3);
    }
  }

  void close(int32_t s) {
    const bool writes = s < Machine::kSlots && kinds_[s] == Kind::kWriter;
    if (writes == random_.oneIn(9)) {
      add(Op::kReadEpilog, {s});
      return;
    }
    add(Op::kWriteEpilogToFile, {s});
    add(Op::kWriteEpilogToMemory, {s, nulls()});
  }

  void exif(int32_t s) {
    const int32_t e = random_.oneIn(9) ? random_.between(0, Machine::kForeignExif) : 0;
    if (random_.oneIn(3)) add(Op::kReadExifReadAttributeEpilog, {e});
    add(Op::kReadExifReadAttributeProlog, {s, e, nulls()});
    for (int32_t n = random_.between(0, 3); n > 0; n--) {
      add(Op::kExifReadThumbnailToWinDIBits,
          {e, depth(), random_.oneIn(9) ? random_.between(-1, 5) : 0, random_.oneIn(2),
           random_.oneIn(3) ? 1 : nulls()});
    }
  }

  int32_t depth() { return random_.oneIn(6) ? pick({0, 1, 4, 12, 32}) : 8 * random_.between(1, 3); }

  void onReader(int32_t s, uint32_t sof, int32_t height, int32_t channels) {
    switch (random_.between(0, 19)) {
      case 0:
        add(static_cast<Op>(static_cast<int32_t>(Op::kReadGetCodingProcess) +
                            random_.between(0, 3)),
            {s, nulls()});
        break;
      case 1:
        if (random_.oneIn(3)) add(Op::kReadSetNoColorConversion, {s});
        break;
      case 2:
      case 3:
        for (int32_t n = random_.between(1, 3); n > 0; n--) {
          const int32_t mode = random_.oneIn(30) ? pick({-1, 2}) : random_.oneIn(3) ? 0 : 1;
          add(Op::kReadSeekMarkerSegment, {s, mode, nulls()});
        }
        break;
      case 4:
        if (random_.oneIn(3)) add(Op::kReadSeekMarkerSegment, {s, 0, 0});
        add(Op::kReadReadMarkerData,
            {s, random_.oneIn(9) ? 0 : random_.between(1, 60), random_.oneIn(20) ? 2 : nulls()});
        break;
      case 5:
        add(Op::kReadSeekMarkerData, {s});
        break;
      case 6:
      case 7:
      case 8:
        add(Op::kReadSeekRestartMarker,
            {s, random_.oneIn(9) ? pick({-1, 100}) : random_.between(0, 4),
             random_.oneIn(30) ? 2 : random_.between(0, 1)});
        break;
      case 9:
        add(Op::kReadSetPartialBitstream,
            {s, random_.between(0, 20), random_.oneIn(20), random_.oneIn(30)});
        break;
      case 10:
        add(Op::kReadScaleOutputGetImageSize,
            {s, random_.oneIn(9) ? pick({-1, 4}) : random_.between(0, 3), nulls()});
        break;
      default:
        decode(s, sof, height, channels);
    }
  }

  int32_t lines(int32_t height) {
    switch (random_.between(0, 6)) {
      case 0:
        return height;
      case 1:
        return random_.between(1, 64);
      case 2:
        return 16 * random_.between(1, 3);
      case 3:
        return 8;
      case 4:
        return random_.oneIn(3) ? random_.between(-20, 0) : 16;
      default:
        return random_.between(1, 20);
    }
  }

  void decode(int32_t s, uint32_t sof, int32_t height, int32_t channels) {
    const int32_t bytes = random_.oneIn(6) ? random_.between(0, 4) : channels;
    const int32_t width = random_.oneIn(3) ? random_.between(-1, 50) : 64;
    const int32_t up = random_.oneIn(3);
    if (random_.oneIn(6)) return toBitmap(s, sof, height);
    if (random_.oneIn(25)) sof = 0xFFC0U + static_cast<uint32_t>(random_.between(0, 3));
    if (sof == 0xFFC3) {
      const int32_t n = random_.oneIn(3) ? 1 : random_.oneIn(4) ? 0 : lines(height);
      add(Op::kReadSpatialToRect, {s, n, width, random_.between(0, 3), up, nulls()});
    } else if (sof == 0xFFC2) {
      add(Op::kReadProgressiveToRect,
          {s, lines(height), width, bytes, up, nulls(), random_.between(0, 1)});
    } else if (random_.oneIn(2)) {
      if (!random_.oneIn(3)) scale_ = random_.oneIn(20) ? pick({-1, 4}) : random_.between(0, 3);
      add(Op::kReadScaleOutputToRect, {s, lines(height), width, bytes, up, nulls(), scale_});
    } else {
      add(Op::kReadToRect, {s, lines(height), width, bytes, up, nulls()});
    }
  }

  void toBitmap(int32_t s, uint32_t sof, int32_t height) {
    const int32_t n = random_.oneIn(3) ? height : random_.oneIn(30) ? 0 : lines(height);
    const int32_t extra = random_.oneIn(9) ? random_.between(-1, 5) : 0;
    const int32_t none = random_.oneIn(4) ? 1 : nulls();
    std::array<int32_t, 8> a = {s, n, depth(), extra, random_.oneIn(2), none, 0};
    if (sof == 0xFFC2) {
      a[6] = random_.between(0, 1);
      add(Op::kReadProgressiveToWinDIBits, a);
    } else if (random_.oneIn(2)) {
      a[6] = random_.oneIn(20) ? pick({-1, 4}) : random_.between(0, 3);
      add(Op::kReadScaleOutputToWinDIBits, a);
    } else {
      add(Op::kReadToWinDIBits, a);
    }
  }

  void onWriter(int32_t s) {
    switch (random_.between(0, 11)) {
      case 0:
      case 1:
        setting(s);
        break;
      case 2:
      case 3:
        segment(s);
        break;
      case 4:
        add(Op::kWriteGetPartialBitstream, {s, nulls()});
        break;
      case 5:
        add(Op::kWriteFreeBitstream, {random_.oneIn(5)});
        break;
      case 6:
        if (random_.oneIn(2)) {
          add(static_cast<Op>(static_cast<int32_t>(Op::kReadGetCodingProcess) +
                              random_.between(0, 3)),
              {s, nulls()});
        } else {
          add(Op::kReadScaleOutputGetImageSize, {s, random_.between(-1, 4), nulls()});
        }
        break;
      case 7:
        fromBitmap(s);
        break;
      default:
        encode(s);
    }
  }

  void setting(int32_t s) {
    switch (random_.between(0, 6)) {
      case 0:
        add(Op::kWriteSetImageSize,
            {s, random_.oneIn(2) ? width_ : random_.between(0, 70000),
             random_.oneIn(9) ? pick({0, 65535, 65536, -1}) : random_.between(1, 60)});
        break;
      case 1:
        add(Op::kWriteSetNoColorConversion, {s});
        break;
      case 2:
        add(Op::kWriteSetSubsamplingFactor,
            {s, pick({0x00221111, 0x00111111, 0x00211111, 0x00121111, 0x11111111, 0x00222112,
                      0x00122112, 0, 0x2211, 0x00221113, 0x22112111, 0x11, 0x00212222})});
        break;
      case 3:
        add(Op::kWriteSetNumberOfComponents, {s, random_.between(0, 5)});
        break;
      case 4:
        add(Op::kWriteSetQuantizationFactor, {s, random_.between(-1, 102)});
        break;
      case 5:
        add(Op::kWriteSetRestartInterval, {s, random_.oneIn(9)   ? pick({-1, 65536, 65537})
                                              : random_.oneIn(2) ? width_ * random_.between(0, 2)
                                                                 : random_.between(0, 5)});
        break;
      default:
        add(Op::kWriteSetSpatialPredictor, {s, random_.between(0, 8)});
    }
  }

  void segment(int32_t s) {
    const int32_t marker =
        random_.oneIn(9) ? pick({0xFFBF, 0xFFFF, 0x1FFE1, 0}) : random_.between(0xFFC0, 0xFFFE);
    const int32_t length = random_.oneIn(9) ? pick({0, 65533, 65534, -1}) : random_.between(1, 50);
    switch (random_.between(0, 2)) {
      case 0:
        add(Op::kWriteWriteMarkerCode, {s, marker, length});
        break;
      case 1:
        if (random_.oneIn(2)) add(Op::kWriteWriteMarkerCode, {s, 0xFFE5, random_.between(1, 50)});
        add(Op::kWriteWriteMarkerData, {s, random_.between(0, 40), random_.oneIn(4) ? 2 : nulls()});
        break;
      default:
        add(Op::kWriteWriteMarkerSegment, {s, marker, length, random_.oneIn(40)});
    }
  }

  void encode(int32_t s) {
    const bool lossless = lossless_ != random_.oneIn(25);
    const int32_t height = random_.oneIn(9) ? pick({-1, 65535, 65536}) : random_.between(0, 50);
    const int32_t bits = random_.oneIn(30)              ? random_.between(0, 17)
                         : lossless && random_.oneIn(2) ? random_.between(2, 16)
                                                        : 8;
    const int32_t channels = random_.oneIn(30) ? pick({0, 2, 5, -1}) : pick({1, 3, 3, 3, 4});
    const int32_t n = random_.oneIn(30) ? 0 : random_.oneIn(2) ? random_.between(1, 20) : 16;
    const int32_t width = random_.oneIn(20) ? random_.between(0, 41) : width_;
    add(lossless ? Op::kWriteSpatialFromRect : Op::kWriteFromRect,
        {s, n, width, height, lossless && random_.oneIn(4) ? 2 : channels, bits,
         random_.between(0, 999), nulls()});
  }

  void fromBitmap(int32_t s) {
    const int32_t height = random_.oneIn(9) ? 0 : random_.between(-20, 20);
    const int32_t n = random_.oneIn(2) ? std::abs(height) : random_.between(-1, 21);
    const int32_t bits =
        random_.oneIn(12) ? pick({0, 2, 33}) : pick({1, 4, 8, 8, 16, 24, 24, 24, 32});
    const int32_t compression = random_.oneIn(6) ? 3 : 0;
    if (bits == 8 && height > 0 && random_.oneIn(3)) {
      add(Op::kWriteFromWinDIBits,
          {s, n, width_, height, bits, BI_RLE8, random_.between(0, 999), nulls()});
      return;
    }
    add(Op::kWriteFromWinDIBits, {s, n, random_.oneIn(20) ? random_.between(-1, 41) : width_,
                                  height, bits, compression, random_.between(0, 999), nulls()});
  }

  Random random_;
  int32_t width_ = 8;      // of the picture that is written
  bool lossless_ = false;  // it is
  int32_t first_ = 0;
  Calls calls_;
  Kind kinds_[Machine::kSlots] = {};
  int32_t streams_[Machine::kSlots] = {};
  int32_t scale_ = 2;
};

}  // namespace

Calls generate(uint32_t seed) { return Generator(seed).make(); }

}  // namespace jpgtest
