// SPDX-License-Identifier: MIT
// The same in C++, through the C++ interface.
#include <jpg.hpp>

namespace {

constexpr uint32_t kSide = 16;
constexpr uint8_t kGrey = 200;

jpg::Result<jpg::Bytes> encode() {
  jpg::Result<jpg::MemoryWriter> writer = jpg::MemoryWriter::create();
  jpg::Result<jpg::Picture> picture = jpg::Picture::make({kSide, kSide, 1, 8});
  if (!writer || !picture) return jpg::Status(JPG_E_OUT_OF_MEMORY);
  for (uint8_t &sample : picture->samples()) sample = kGrey;
  const jpg::Status status = writer->encode(*picture);
  if (!status) return status;
  return writer->finish();
}

}  // namespace

int main() {
  const jpg::Result<jpg::Bytes> stream = encode();
  if (!stream) return 1;
  jpg::Result<jpg::Reader> reader = jpg::Reader::memory(*stream);
  if (!reader) return 2;
  const jpg::Result<jpg::Picture> picture = reader->decode();
  if (!picture || picture->samples().size() != kSide * kSide) return 3;
  for (const uint8_t sample : picture->samples()) {
    if (sample < kGrey - 2 || sample > kGrey + 2) return 4;
  }
  return 0;
}
