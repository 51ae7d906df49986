// SPDX-License-Identifier: MIT
// The bits of a stream, one at a time: the model's slow and plain bit reader.
#ifndef JPG_TESTS_MODEL_BITS_H
#define JPG_TESTS_MODEL_BITS_H

#include <cstddef>
#include <cstdint>
#include <deque>

#include "support/bytes.h"

namespace jpgtest {

// Bytes wait in a queue in front of the reader. Coded data enter it with the stuffed zeros
// taken out: an FF brings the byte behind it along, which stays when it is not zero. Segments
// enter it as they are. Past the end of the data there are FF bytes for ever.
class ModelBits {
 public:
  void attach(Bytes data) {
    data_ = std::move(data);
    seek(0);
  }
  const Bytes &data() const { return data_; }

  // Goes to a byte and forgets what waits.
  void seek(size_t offset);
  // Offset of the byte that will be taken next; only right while nothing waits.
  size_t offset() const { return next_; }
  // Whether a byte behind the end was taken.
  bool ended() const { return ended_; }

  // Coded data.
  uint32_t peekBit(unsigned ahead);
  uint32_t bits(unsigned count);
  void drop(unsigned count);

  // Segment data.
  uint32_t rawByte();
  uint32_t raw16();

  // The two bytes behind the partial one: 0xFFnn when the first is an FF that stands so in the
  // stream; anything below 0xFF00 when it is not, an FF with its stuffed zero included.
  uint32_t peekMarker();
  void skipMarker();
  void align();
  // Drops bytes until two stand there that can be a marker, which are not dropped.
  uint32_t seekMarkerBytes();

 private:
  struct Byte {
    uint8_t value;
    bool stuffed;  // an FF whose stuffed zero has been taken out
  };
  Byte take();
  void takeCoded();
  unsigned waitingBits() const { return static_cast<unsigned>(queue_.size()) * 8 - used_; }
  unsigned partialBits() const { return used_ == 0 ? 0 : 8 - used_; }

  Bytes data_;
  size_t next_ = 0;
  bool ended_ = false;
  std::deque<Byte> queue_;
  unsigned used_ = 0;  // bits of the front byte that are gone, 0 to 7
};

}  // namespace jpgtest

#endif  // JPG_TESTS_MODEL_BITS_H
