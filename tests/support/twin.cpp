// SPDX-License-Identifier: MIT
#include "support/twin.h"

#include <gtest/gtest.h>

namespace jpgtest {

Twin::Twin(const Bytes &stream, uint32_t flags) : library_(Reader::ofMemory(stream, flags)) {
  EXPECT_RESULT(model_.openMemory(stream, flags), library_.result());
  compareGetters();
}

Twin::Twin(const TempFile &file, const Bytes &content, int32_t startOffset, int32_t length,
           uint32_t flags)
    : library_(Reader::ofFile(file.path(), startOffset, length, flags)) {
  EXPECT_RESULT(model_.openFile(content, startOffset, length, flags), library_.result());
  compareGetters();
}

void Twin::compareGetters() {
  EXPECT_EQ(model_.isOpen(), library_.handle() != nullptr);
  if (!model_.isOpen() || library_.handle() == nullptr) return;
  uint32_t expected[5] = {};
  uint32_t actual[5] = {};
  model_.getCodingProcess(&expected[0]);
  model_.getImageSize(&expected[1], &expected[2]);
  model_.getNumberOfChannels(&expected[3]);
  model_.getSamplePrecision(&expected[4]);
  EXPECT_RESULT(JPG_OK, jpgReadGetCodingProcess(handle(), &actual[0]));
  EXPECT_RESULT(JPG_OK, jpgReadGetImageSize(handle(), &actual[1], &actual[2]));
  EXPECT_RESULT(JPG_OK, jpgReadGetNumberOfChannels(handle(), &actual[3]));
  EXPECT_RESULT(JPG_OK, jpgReadGetSamplePrecision(handle(), &actual[4]));
  for (int i = 0; i < 5; ++i) EXPECT_EQ(expected[i], actual[i]) << "getter value " << i;
}

uint32_t Twin::setNoColorConversion() {
  const uint32_t result = jpgReadSetNoColorConversion(handle());
  EXPECT_RESULT(model_.setNoColorConversion(), result);
  return result;
}

uint32_t Twin::seekSegment(int32_t mode) {
  uint16_t marker = 0x1111;
  uint32_t length = 0x22222222;
  const uint32_t expected = model_.seekMarkerSegment(mode, &marker, &length);
  marker_ = 0x1111;
  length_ = 0x22222222;
  const uint32_t result = jpgReadSeekMarkerSegment(handle(), mode, &marker_, &length_);
  EXPECT_RESULT(expected, result);
  EXPECT_EQ(marker, marker_);
  EXPECT_EQ(length, length_);
  return result;
}

uint32_t Twin::readData(uint32_t size) {
  Bytes expectedData(size + 1, Canvas::kGuard);
  data_ = expectedData;
  uint32_t expectedCount = 0xDEAD;
  uint32_t count = 0xDEAD;
  const uint32_t expected = model_.readMarkerData(expectedData.data(), size, &expectedCount);
  const uint32_t result = jpgReadReadMarkerData(handle(), data_.data(), size, &count);
  EXPECT_RESULT(expected, result);
  EXPECT_EQ(expectedCount, count);
  EXPECT_EQ(expectedData, data_);
  data_.resize(count <= size ? count : 0);
  return result;
}

uint32_t Twin::seekData() {
  const uint32_t result = jpgReadSeekMarkerData(handle());
  EXPECT_RESULT(model_.seekMarkerData(), result);
  return result;
}

uint32_t Twin::seekRestart(int32_t intervals, uint32_t mode) {
  const uint32_t result = jpgReadSeekRestartMarker(handle(), intervals, mode);
  EXPECT_RESULT(model_.seekRestartMarker(intervals, mode), result);
  return result;
}

uint32_t Twin::setPartial(const Bytes &data) {
  pieces_.push_back(data);
  const Bytes &piece = pieces_.back();
  const uint32_t result =
      jpgReadSetPartialBitstream(handle(), piece.data(), static_cast<uint32_t>(piece.size()));
  EXPECT_RESULT(model_.setPartialBitstream(data), result);
  return result;
}

uint32_t Twin::decode(const Shape &shape, int32_t lines) {
  Canvas expected(shape.width, shape.rows, shape.pixelBytes, shape.order);
  canvas_ = expected;
  const uint32_t expectedResult = model_.readToRect(expected.rect(), lines);
  const JpgRect rect = canvas_.rect();
  const uint32_t result = jpgReadToRect(handle(), &rect, lines);
  EXPECT_RESULT(expectedResult, result);
  EXPECT_TRUE(canvas_.guardsIntact());
  EXPECT_TRUE(expected.guardsIntact());
  EXPECT_TRUE(expected.memory() == canvas_.memory()) << "pixels differ";
  compareGetters();
  return result;
}

void expectSamePicture(const Bytes &stream, const Twin::Shape &shape) {
  Twin twin(stream);
  ASSERT_RESULT(JPG_OK, twin.prologResult());
  EXPECT_RESULT(JPG_OK, twin.decode(shape, shape.rows));
}

void expectSamePicture(const Picture &picture) {
  const Bytes stream = encode(picture);
  const auto channels = static_cast<int32_t>(picture.components.size());
  expectSamePicture(stream, {picture.width, picture.height, channels < 3 ? 1 : 3});
  Twin plain(stream);
  plain.setNoColorConversion();
  EXPECT_RESULT(JPG_OK, plain.decode({picture.width, picture.height, channels}, picture.height));
}

Bytes pixelsOf(const Bytes &stream, const Twin::Shape &shape, uint32_t flags) {
  const Reader reader = Reader::ofMemory(stream, flags);
  EXPECT_RESULT(JPG_OK, reader.result());
  Canvas canvas(shape.width, shape.rows, shape.pixelBytes, shape.order);
  const JpgRect rect = canvas.rect();
  EXPECT_RESULT(JPG_OK, jpgReadToRect(reader.handle(), &rect, shape.rows));
  return canvas.pixels();
}

}  // namespace jpgtest
