// SPDX-License-Identifier: MIT
// Writes a picture and reads it again where there are no exceptions.
#include "jpg.hpp"

namespace {

constexpr uint32_t kSide = 40;
constexpr int kGrey = 90;

jpg::Result<jpg::Bytes> write() {
  jpg::Layout layout;
  layout.width = layout.height = kSide;
  layout.channels = 1;
  jpg::Result<jpg::MemoryWriter> writer = jpg::MemoryWriter::create();
  jpg::Result<jpg::Picture> picture = jpg::Picture::make(layout);
  if (!picture) return picture.status();
  for (uint8_t &sample : picture->samples()) sample = kGrey;
  const jpg::Status status = writer->encode(*picture);
  if (!status) return status;
  return writer->finish();
}

jpg::Result<jpg::Picture> read(const jpg::Bytes &stream) {
  return jpg::Reader::memory(stream, jpg::kStrict).andThen([](jpg::Reader reader) {
    return reader.decode();
  });
}

}  // namespace

int main() {
  const jpg::Result<jpg::Bytes> stream = write();
  if (!stream) return 1;
  const jpg::Result<jpg::Picture> picture = read(*stream);
  if (!picture || picture->width() != kSide || picture->height() != kSide) return 2;
  for (const uint8_t sample : picture->samples()) {
    if (sample < kGrey - 2 || sample > kGrey + 2) return 3;
  }
  return jpg::Reader::memory({}, jpg::kStrict).code() == JPG_E_INVALID_HANDLE ? 0 : 4;
}
