// SPDX-License-Identifier: MIT
/**
 * @file height.hpp
 * @brief The height of images whose frame header leaves it to a DNL segment.
 */
#ifndef JPG_HEIGHT_HPP
#define JPG_HEIGHT_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/segments.hpp"

namespace jpg {
inline namespace v0 {

/** Internals of the readers. */
namespace detail {

/** The bytes of a stream in memory or in a file, one by one. */
class ByteSource {
 public:
  /** @param data the stream; must outlive this object */
  explicit ByteSource(Span<const uint8_t> data) : data_(data) {}
  /** @param path a file; one that can't be opened has no bytes  @param start first byte */
  ByteSource(const Path &path, int32_t start) : file_(open(path)) {
    if (file_ != nullptr && std::fseek(file_.get(), start, SEEK_SET) != 0) file_.reset();
  }
  /** @return the next byte, below 0 behind the last one */
  int32_t next() {
    if (file_ != nullptr) return std::getc(file_.get());
    return at_ < data_.size() ? data_[at_++] : -1;
  }
  /** @return the next two bytes as a number, below 0 behind the last one */
  int32_t next16() {
    const int32_t high = next(), low = next();
    return high < 0 || low < 0 ? -1 : high * 256 + low;
  }
  /** @param count bytes to pass */
  void skip(uint64_t count) {
    while (count-- > 0 && next() >= 0) {
    }
  }

 private:
  struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
  };
  static std::FILE *open(const Path &path) {
#if defined(_WIN32)
    return _wfopen(path.c_str(), L"rb");
#else
    char name[3 * Path::kUnits];
    path.toUtf8(name);
    return std::fopen(name, "rb");
#endif
  }

  std::unique_ptr<std::FILE, Close> file_;
  Span<const uint8_t> data_;
  size_t at_ = 0;
};

/**
 * Looks for the DNL segment behind the first scan (T.81 B.2.5).
 *
 * @param handle an open stream, whose position moves
 * @param source at the start of the same stream
 * @return the number of lines, 0 where there is no such segment
 */
inline uint32_t linesOfDnl(JPGHANDLE handle, ByteSource source) {
  SegmentWalk walk(handle);
  for (;;) {
    const Result<Segment> segment = walk.next();
    if (!segment) return 0;
    if (segment->marker == marker::kSos) break;
  }
  source.skip(walk.end());
  for (int32_t byte = source.next(); byte >= 0; byte = source.next()) {
    if (byte != 0xFF) continue;
    const int32_t code = source.next();
    const uint32_t found = 0xFF00U | static_cast<uint32_t>(code);
    if (code == 0 || marker::isRestart(found)) continue; /* a stuffed byte, or the next interval */
    const int32_t lines = found == marker::kDnl && source.next16() == 4 ? source.next16() : 0;
    return lines < 0 ? 0 : static_cast<uint32_t>(lines);
  }
  return 0;
}

}  // namespace detail
}  // namespace v0
}  // namespace jpg

#endif  // JPG_HEIGHT_HPP
