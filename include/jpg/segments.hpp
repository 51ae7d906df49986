// SPDX-License-Identifier: MIT
/**
 * @file segments.hpp
 * @brief The marker segments of a stream, with their places.
 */
#ifndef JPG_SEGMENTS_HPP
#define JPG_SEGMENTS_HPP

#include <cstddef>
#include <cstdint>

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/result.hpp"

namespace jpg {
inline namespace v0 {

/** @name Marker segments
 *  @{ */

/** Markers (T.81 table B.1) that callers meet on a walk over the segments. */
namespace marker {
constexpr uint16_t kSof0 = 0xFFC0;  /**< frame, baseline; the first of the frame markers */
constexpr uint16_t kSof2 = 0xFFC2;  /**< frame, progressive */
constexpr uint16_t kSof3 = 0xFFC3;  /**< frame, lossless */
constexpr uint16_t kDht = 0xFFC4;   /**< Huffman tables */
constexpr uint16_t kJpg = 0xFFC8;   /**< reserved, among the frame markers */
constexpr uint16_t kDac = 0xFFCC;   /**< conditioning of arithmetic coding */
constexpr uint16_t kSof15 = 0xFFCF; /**< the last of the frame markers */
constexpr uint16_t kRst0 = 0xFFD0;  /**< first of the restart markers */
constexpr uint16_t kRst7 = 0xFFD7;  /**< last of the restart markers */
constexpr uint16_t kSoi = 0xFFD8;   /**< start of the image */
constexpr uint16_t kEoi = 0xFFD9;   /**< end of the image */
constexpr uint16_t kSos = 0xFFDA;   /**< scan */
constexpr uint16_t kDnl = 0xFFDC;   /**< number of lines */
constexpr uint16_t kDri = 0xFFDD;   /**< restart interval */
constexpr uint16_t kApp0 = 0xFFE0;  /**< JFIF */
constexpr uint16_t kApp1 = 0xFFE1;  /**< Exif */
constexpr uint16_t kApp14 = 0xFFEE; /**< Adobe */

/** @param code a marker  @return whether it ends a restart interval */
constexpr bool isRestart(uint32_t code) { return code >= kRst0 && code <= kRst7; }
/** @param code a marker  @return whether it has neither length nor data: RSTn, SOI, EOI */
constexpr bool standsAlone(uint32_t code) { return code >= kRst0 && code <= kEoi; }
}  // namespace marker

/** A marker segment. */
struct Segment {
  uint16_t marker = 0; /**< 0xFFC0 to 0xFFFE; 0: there is none */
  uint32_t length = 0; /**< data bytes */
};

/**
 * A walk over the marker segments of an open stream, from the first one on. It moves the handle's
 * position, as jpgReadSeekMarkerSegment() says, so use it before the first decode call.
 */
class SegmentWalk {
 public:
  /** @param handle read handle; stays the caller's */
  explicit SegmentWalk(JPGHANDLE handle) : handle_(handle) {}

  /** @return the next segment; errors as jpgReadSeekMarkerSegment() says. Behind a scan's
   *          header come coded data, where there is none. */
  Result<Segment> next() {
    Segment segment;
    const Status status(jpgReadSeekMarkerSegment(handle_, mode_, &segment.marker, &segment.length));
    mode_ = JPG_SEGMENT_NEXT;
    offset_ = end_;
    if (!status) return status;
    constexpr uint32_t kMarkerBytes = 2, kLengthBytes = 2;
    end_ += kMarkerBytes + segment.length;
    if (!marker::standsAlone(segment.marker)) end_ += kLengthBytes;
    return segment;
  }
  /**
   * Reads data of the segment that next() gave, from where the last call left off.
   *
   * @param buffer receives the bytes
   * @return how many came; #JPG_NO_DATA when all were read
   */
  Result<uint32_t> read(Span<uint8_t> buffer) {
    constexpr size_t kMost = 65536; /* more than a segment holds */
    uint32_t count = 0;
    const size_t size = buffer.size() < kMost ? buffer.size() : kMost;
    const Status status(
        jpgReadReadMarkerData(handle_, buffer.data(), static_cast<uint32_t>(size), &count));
    if (!status) return status;
    return count;
  }
  /** @return the offset of the marker of the segment that next() gave, or the offset at which
   *          next() found none: bytes from the stream's start */
  uint64_t offset() const { return offset_; }
  /** @return where that segment ends: bytes from the stream's start */
  uint64_t end() const { return end_; }

 private:
  static constexpr uint64_t kBehindSoi = 2;

  JPGHANDLE handle_ = nullptr;
  int32_t mode_ = JPG_SEGMENT_FIRST;
  uint64_t offset_ = 0;
  uint64_t end_ = kBehindSoi;
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_SEGMENTS_HPP
