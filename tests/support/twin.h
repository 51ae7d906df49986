// SPDX-License-Identifier: MIT
// The library and its model side by side: every call goes to both, and both must agree on the
// result and on every byte that they store.
#ifndef JPG_TESTS_SUPPORT_TWIN_H
#define JPG_TESTS_SUPPORT_TWIN_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/reader.h"
#include "support/bytes.h"
#include "support/canvas.h"
#include "support/picture.h"
#include "support/reader.h"

namespace jpgtest {

class Twin {
 public:
  // Opens a block of memory.
  explicit Twin(const Bytes &stream, uint32_t flags = 0);
  // Opens a file that holds the bytes.
  Twin(const TempFile &file, const Bytes &content, int32_t startOffset, int32_t length,
       uint32_t flags);

  uint32_t prologResult() const { return library_.result(); }
  JPGHANDLE handle() const { return library_.handle(); }
  bool modelKnowsPixels() const { return model_.knowsPixels(); }

  // Each returns what the library returned.
  uint32_t setNoColorConversion();
  uint32_t seekSegment(int32_t mode);
  uint32_t readData(uint32_t size);
  uint32_t seekData();
  uint32_t seekRestart(int32_t intervals, uint32_t mode);
  uint32_t setPartial(const Bytes &data);
  // Decodes into a fresh buffer of `rows` rows; `lines` is what is asked for.
  struct Shape {
    int32_t width;
    int32_t rows;
    int32_t pixelBytes = 3;
    RowOrder order = RowOrder::kTopDown;
  };
  uint32_t decode(const Shape &shape, int32_t lines);

  // What the last call delivered.
  uint16_t marker() const { return marker_; }
  uint32_t length() const { return length_; }
  const Bytes &data() const { return data_; }
  const Canvas &canvas() const { return canvas_; }

 private:
  void compareGetters();

  Reader library_;
  Model model_;
  std::vector<Bytes> pieces_;
  uint16_t marker_ = 0;
  uint32_t length_ = 0;
  Bytes data_;
  Canvas canvas_{1, 1, 1};
};

// Decodes a whole stream in one call, expects JPG_OK and compares.
void expectSamePicture(const Bytes &stream, const Twin::Shape &shape);
// The same for a picture, in its own size, with and without colour conversion.
void expectSamePicture(const Picture &picture);
// The pixels of a stream as the library delivers them: rows without gaps.
Bytes pixelsOf(const Bytes &stream, const Twin::Shape &shape, uint32_t flags = 0);

}  // namespace jpgtest

#endif  // JPG_TESTS_SUPPORT_TWIN_H
