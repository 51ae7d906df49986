// SPDX-License-Identifier: MIT
// A copy of quality 85 at 4:2:0 with the Exif segment: copy IN.jpg OUT.jpg
#include <cstdio>
#include <vector>

#include "jpg.hpp"

int main(int argc, char **argv) {
  if (argc != 3) return 64;
  const jpg::Result<jpg::Picture> picture = jpg::read(argv[1]);
  jpg::Result<jpg::Reader> reader = jpg::Reader::file(argv[1]);
  if (!picture || !reader) return std::fprintf(stderr, "%s: can't be read\n", argv[1]), 1;
  jpg::Result<jpg::FileWriter> writer = jpg::FileWriter::create(argv[2]);
  if (!writer || !writer->setQuality(85)) return 1;  // 4:2:0 is the usual sampling
  jpg::SegmentWalk walk(reader->handle());
  for (auto segment = walk.next(); segment; segment = walk.next()) {
    std::vector<uint8_t> data(segment->length + 1);  // one more: never empty
    (void)walk.read({data.data(), segment->length});
    const bool exif = segment->marker == jpg::marker::kApp1;
    if (exif && !writer->segment(segment->marker, {data.data(), segment->length})) return 1;
    if (segment->marker == jpg::marker::kSos) break;
  }
  return writer->encode(*picture) && writer->finish() ? 0 : 1;
}
