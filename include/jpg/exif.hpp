// SPDX-License-Identifier: MIT
/**
 * @file exif.hpp
 * @brief The Exif attributes of a stream: all entries of its five directories.
 *
 * A layer of inline functions over the marker segments of jpg.h. It keeps a copy of the TIFF
 * structure of an Exif segment; entries and values are read from that copy when they are asked
 * for, in the structure's byte order. Every offset, count and length is checked against the
 * structure's end: what lies outside counts as missing. Only the five directories are visited,
 * each by one link, so circular links do no harm: the same entries then appear in several
 * directories.
 *
 * @code
 *   jpg::Result<jpg::ExifData> exif = jpg::ExifData::of(reader.handle());
 *   if (!exif) return exif.status();
 *   rotate(exif->orientation());
 *   for (const jpg::ExifEntry entry : exif->entries(jpg::ExifDirectory::kGps)) show(entry);
 * @endcode
 */
#ifndef JPG_EXIF_HPP
#define JPG_EXIF_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "jpg.h"
#include "jpg/exifEntry.hpp"
#include "jpg/memory.hpp"
#include "jpg/result.hpp"
#include "jpg/segments.hpp"

namespace jpg {
inline namespace v0 {

/** @name Exif attributes
 *  @{ */

/** The directories, in the order in which they are listed. */
enum class ExifDirectory : uint32_t {
  kZeroth,          /**< of the picture */
  kFirst,           /**< of the thumbnail */
  kExif,            /**< of the camera and its settings */
  kGps,             /**< of the place */
  kInteroperability /**< of the rules that the file keeps to */
};

/** All directories, for loops. */
constexpr ExifDirectory kExifDirectories[] = {ExifDirectory::kZeroth, ExifDirectory::kFirst,
                                              ExifDirectory::kExif, ExifDirectory::kGps,
                                              ExifDirectory::kInteroperability};

/** Tags that this interface uses itself, and those that callers need most. Tags of the GPS
    directory have numbers of their own. */
namespace tag {
constexpr uint16_t kImageDescription = 270;   /**< ASCII */
constexpr uint16_t kMake = 271;               /**< ASCII */
constexpr uint16_t kModel = 272;              /**< ASCII */
constexpr uint16_t kOrientation = 274;        /**< SHORT, 1 to 8 */
constexpr uint16_t kDateTime = 306;           /**< ASCII, "YYYY:MM:DD HH:MM:SS": of the file */
constexpr uint16_t kThumbnailOffset = 513;    /**< LONG: in the structure */
constexpr uint16_t kThumbnailLength = 514;    /**< LONG: bytes */
constexpr uint16_t kExposureTime = 33434;     /**< RATIONAL, seconds */
constexpr uint16_t kFNumber = 33437;          /**< RATIONAL */
constexpr uint16_t kExifPointer = 34665;      /**< LONG: where the Exif directory begins */
constexpr uint16_t kGpsPointer = 34853;       /**< LONG: where the GPS directory begins */
constexpr uint16_t kDateTimeOriginal = 36867; /**< ASCII: of the exposure */
constexpr uint16_t kInteroperabilityPointer = 40965; /**< LONG: where that directory begins */
constexpr uint16_t kGpsLatitudeRef = 1;              /**< ASCII, "N" or "S" */
constexpr uint16_t kGpsLatitude = 2;                 /**< RATIONAL x 3: degrees, minutes, seconds */
constexpr uint16_t kGpsLongitudeRef = 3;             /**< ASCII, "E" or "W" */
constexpr uint16_t kGpsLongitude = 4;                /**< RATIONAL x 3 */
}  // namespace tag

/** Where a picture was taken. */
struct ExifPosition {
  double latitude = 0;  /**< degrees; negative in the south */
  double longitude = 0; /**< degrees; negative in the west */
};

/** A copy of the TIFF structure of an Exif segment, and its contents. */
class ExifData {
 public:
  ExifData() = default;

  /**
   * Copies the structure from a stream: that of the first Exif segment.
   *
   * @param handle read handle, whose position moves as SegmentWalk says; may be closed afterwards
   * @return the attributes; #JPG_E_NOT_JPEG when there is no Exif segment, #JPG_E_NOT_FOUND when
   *         it is too short to hold attributes, #JPG_E_OUT_OF_MEMORY, and what
   *         jpgReadSeekMarkerSegment() says
   */
  static Result<ExifData> of(JPGHANDLE handle) {
    SegmentWalk walk(handle);
    for (;;) {
      const Result<Segment> segment = walk.next();
      if (!segment) return segment.status();
      if (segment->marker != marker::kApp1 || segment->length < detail::kExifNameSize) continue;
      uint8_t name[detail::kExifNameSize] = {};
      (void)walk.read(name);
      constexpr uint8_t kName[] = {'E', 'x', 'i', 'f', 0};
      if (std::memcmp(name, kName, sizeof(kName)) == 0) {
        return take(&walk, segment->length - detail::kExifNameSize);
      }
    }
  }
  /**
   * Copies a structure that lies in memory.
   *
   * @param tiff the structure, from its byte order on
   * @return the attributes; #JPG_E_NOT_FOUND when it is too short to hold them, or
   *         #JPG_E_OUT_OF_MEMORY
   */
  static Result<ExifData> ofTiff(Span<const uint8_t> tiff) {
    Result<ExifData> data = blank(tiff.size());
    if (!data) return data;
    std::memcpy(data->memory_.data(), tiff.data(), tiff.size());
    return data;
  }

  /** @return the structure; empty in a default-made object */
  Span<const uint8_t> tiff() const { return {memory_.data(), memory_.size()}; }
  /** @return its byte order, by its first byte: 'M' means high bytes first, anything else low
   *          bytes first; the other bytes of the header aren't looked at */
  bool bigEndian() const { return memory_.size() > 0 && memory_.data()[0] == 'M'; }
  /** @param directory which  @return whether it is there, with all its entries */
  bool has(ExifDirectory directory) const { return offsetOf(directory) != 0; }
  /** @param directory which  @return its entries; none when it isn't there */
  ExifEntries entries(ExifDirectory directory) const {
    const uint32_t at = offsetOf(directory);
    return at != 0 ? ExifEntries(structure(), at) : ExifEntries();
  }
  /**
   * Finds an entry in a directory, whose entries may be in any order.
   *
   * @param directory which
   * @param tag       of the entry
   * @return the first one with that tag, or #JPG_E_NOT_FOUND
   */
  Result<ExifEntry> find(ExifDirectory directory, uint16_t tag) const {
    for (const ExifEntry entry : entries(directory)) {
      if (entry.tag() == tag) return entry;
    }
    return Status(JPG_E_NOT_FOUND);
  }
  /** @return how to show the picture, 1 to 8: 1 as it is, also without a valid entry; 2 mirrored,
   *          3 turned by 180 degrees, 4 both; 5 to 8 have rows and columns exchanged: 6 must be
   *          turned by 90 degrees clockwise, 8 anticlockwise */
  uint32_t orientation() const {
    constexpr int64_t kFirst = 1, kLast = 8;
    const int64_t told = numberOf(ExifDirectory::kZeroth, tag::kOrientation);
    return static_cast<uint32_t>(told >= kFirst && told <= kLast ? told : kFirst);
  }
  /** @return the JPEG stream of the thumbnail, a part of tiff(); #JPG_E_NOT_FOUND without one, or
   *          when part of it lies outside */
  Result<Span<const uint8_t>> thumbnail() const {
    const int64_t at = numberOf(ExifDirectory::kFirst, tag::kThumbnailOffset);
    const int64_t size = numberOf(ExifDirectory::kFirst, tag::kThumbnailLength);
    const Span<const uint8_t> all = tiff();
    const bool inside = at > 0 && size > 0 &&
                        structure().holds(static_cast<uint64_t>(at), static_cast<uint64_t>(size));
    if (!inside) return Status(JPG_E_NOT_FOUND);
    return Span<const uint8_t>(all.data() + static_cast<size_t>(at), static_cast<size_t>(size));
  }
  /** @return where the picture was taken; #JPG_E_NOT_FOUND when there are no entries for that, or
   *          they aren't in degrees, minutes and seconds */
  Result<ExifPosition> position() const {
    ExifPosition out;
    if (!angle(tag::kGpsLatitude, tag::kGpsLatitudeRef, 'S', &out.latitude) ||
        !angle(tag::kGpsLongitude, tag::kGpsLongitudeRef, 'W', &out.longitude)) {
      return Status(JPG_E_NOT_FOUND);
    }
    return out;
  }

 private:
  detail::Tiff structure() const { return {tiff(), bigEndian()}; }

  static Result<ExifData> blank(size_t size) {
    if (size < detail::kTiffHeaderSize) return Status(JPG_E_NOT_FOUND);
    Result<Buffer> memory = Buffer::make(size);
    if (!memory) return memory.status();
    ExifData data;
    data.memory_ = std::move(*memory);
    return data;
  }
  static Result<ExifData> take(SegmentWalk *walk, uint32_t size) {
    Result<ExifData> data = blank(size);
    if (!data) return data;
    const Status status = walk->read(Span<uint8_t>(data->memory_.data(), size)).status();
    if (!status) return status;
    return data;
  }

  /* Where a directory begins; 0 (where the header is) if it is missing or its entries don't all
     lie within the structure. */
  uint32_t offsetOf(ExifDirectory directory) const {
    if (memory_.size() == 0) return 0;
    switch (directory) {
      case ExifDirectory::kZeroth:
        return inside(structure().number32(detail::kTiffZerothAt));
      case ExifDirectory::kFirst:
        return offsetOfFirst();
      case ExifDirectory::kExif:
        return linked(ExifDirectory::kZeroth, tag::kExifPointer);
      case ExifDirectory::kGps:
        return linked(ExifDirectory::kZeroth, tag::kGpsPointer);
      case ExifDirectory::kInteroperability:
        return linked(ExifDirectory::kExif, tag::kInteroperabilityPointer);
    }
    return 0;
  }
  /* The link behind the 0th directory leads to the 1st one. */
  uint32_t offsetOfFirst() const {
    const uint32_t zeroth = offsetOf(ExifDirectory::kZeroth);
    if (zeroth == 0) return 0;
    const uint64_t link = zeroth + bytesOf(zeroth);
    return structure().holds(link, detail::kTiffLinkSize) ? inside(structure().number32(link)) : 0;
  }
  uint32_t linked(ExifDirectory from, uint16_t tag) const {
    const Result<ExifEntry> entry = find(from, tag);
    return entry ? inside(entry->link()) : 0;
  }
  /* Bytes of a directory whose count lies within the structure, without the link behind it. */
  uint64_t bytesOf(uint32_t at) const {
    return detail::kDirectoryCountSize + uint64_t{detail::kEntrySize} * structure().number16(at);
  }
  uint32_t inside(uint32_t at) const {
    const bool counted = structure().holds(at, detail::kDirectoryCountSize);
    return counted && structure().holds(at, bytesOf(at)) ? at : 0;
  }

  /* An entry's value as a whole number; negative if there is none. */
  int64_t numberOf(ExifDirectory directory, uint16_t tag) const {
    const Result<ExifEntry> entry = find(directory, tag);
    if (!entry) return -1;
    const Result<ExifNumber> number = entry->number();
    return number && number->kind == ExifNumber::Kind::kWhole ? number->number : -1;
  }
  /* Computes degrees from three fractions, with the sign by the reference entry. */
  bool angle(uint16_t tag, uint16_t refTag, char negative, double *degrees) const {
    constexpr double kDegreesOf[] = {1.0, 1.0 / 60, 1.0 / 3600};
    const Result<ExifEntry> entry = find(ExifDirectory::kGps, tag);
    const Result<ExifEntry> ref = find(ExifDirectory::kGps, refTag);
    if (!entry || !ref || ref->text().size() != 1) return false;
    double sum = 0;
    for (uint32_t i = 0; i < 3; i++) {
      const Result<ExifNumber> part = entry->number(i);
      if (!part || part->kind != ExifNumber::Kind::kFraction || part->denominator == 0)
        return false;
      sum += part->value() * kDegreesOf[i];
    }
    *degrees = ref->text()[0] == negative ? -sum : sum;
    return true;
  }

  Buffer memory_;
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_EXIF_HPP
