/**
 * @file exif.hpp
 * @brief The Exif attributes of a stream: all entries of its five directories.
 *
 * A layer of inline functions over the marker segments of jpg.h. It keeps a copy of the TIFF
 * structure that an Exif segment holds; entries and values are read out of that copy when they
 * are asked for, in the structure's byte order. Every offset, count and length is checked
 * against the structure's end: what lies outside isn't there. Only the five directories are
 * visited, each by one link, so that links in a circle do no harm: the entries are then those
 * of more than one directory.
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
#include <limits>
#include <string_view>
#include <utility>

#include "jpg.h"
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

/** Types of values (TIFF 6.0, section 2). */
enum class ExifType : uint16_t {
  kByte = 1,       /**< 8 bits, unsigned */
  kAscii = 2,      /**< text that ends with a zero */
  kShort = 3,      /**< 16 bits, unsigned */
  kLong = 4,       /**< 32 bits, unsigned */
  kRational = 5,   /**< two LONGs: numerator and denominator */
  kSbyte = 6,      /**< 8 bits, signed */
  kUndefined = 7,  /**< bytes, whose meaning the tag tells */
  kSshort = 8,     /**< 16 bits, signed */
  kSlong = 9,      /**< 32 bits, signed */
  kSrational = 10, /**< two SLONGs */
  kFloat = 11,     /**< IEEE 754, 32 bits */
  kDouble = 12     /**< IEEE 754, 64 bits */
};

/** @param type of an entry  @return bytes of one such value; 0 for an unknown type */
constexpr uint32_t exifTypeSize(ExifType type) {
  constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
  const auto index = static_cast<uint32_t>(type);
  return index < sizeof(kSizes) ? kSizes[index] : 0;
}

/** Tags that this interface looks at itself, and those that callers ask for most. Tags of the
    GPS directory count anew. */
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

/** A number of an entry's value. */
struct ExifNumber {
  /** How it is kept. */
  enum class Kind : uint8_t {
    kWhole,    /**< in `number` */
    kFraction, /**< `number` over `denominator` */
    kFloating  /**< in `floating` */
  };
  Kind kind = Kind::kWhole; /**< how it is kept */
  int64_t number = 0;       /**< whole, or the numerator */
  int64_t denominator = 1;  /**< of a fraction; may be 0 */
  double floating = 0;      /**< of FLOAT and DOUBLE */

  /** @return the number itself; not a number for a fraction over 0 */
  double value() const {
    if (kind == Kind::kFloating) return floating;
    if (denominator == 0) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(number) / static_cast<double>(denominator);
  }
};

/** Where a picture was taken. */
struct ExifPosition {
  double latitude = 0;  /**< degrees; negative in the south */
  double longitude = 0; /**< degrees; negative in the west */
};

namespace detail {

/** A TIFF structure in memory, and numbers out of it. */
struct Tiff {
  Span<const uint8_t> bytes; /**< the structure */
  bool bigEndian = false;    /**< its byte order */

  /** @param at offset  @param size bytes  @return whether they lie within the structure */
  constexpr bool holds(uint64_t at, uint64_t size) const {
    return at <= bytes.size() && size <= bytes.size() - at;
  }
  /** @param at offset of bytes within the structure  @param size up to 8  @return their number */
  constexpr uint64_t number(uint64_t at, uint32_t size) const {
    uint64_t number = 0;
    for (uint32_t i = 0; i < size; i++) {
      const uint32_t place = bigEndian ? i : size - 1 - i;
      number = number << 8 | bytes[static_cast<size_t>(at + place)];
    }
    return number;
  }
  /** @param at offset of two bytes within the structure  @return their number */
  constexpr uint16_t number16(uint64_t at) const { return static_cast<uint16_t>(number(at, 2)); }
  /** @param at offset of four bytes within the structure  @return their number */
  constexpr uint32_t number32(uint64_t at) const { return static_cast<uint32_t>(number(at, 4)); }
};

constexpr uint32_t kExifNameSize = 6;       /**< "Exif", 0 and a byte ahead of the structure */
constexpr uint32_t kTiffHeaderSize = 8;     /**< byte order, 42, offset of the 0th directory */
constexpr uint32_t kTiffZerothAt = 4;       /**< of that offset in the header */
constexpr uint32_t kTiffLinkSize = 4;       /**< an offset */
constexpr uint32_t kDirectoryCountSize = 2; /**< ahead of a directory's entries */
constexpr uint32_t kEntrySize = 12;         /**< tag, type, count, value or its offset */
constexpr uint32_t kEntryTypeAt = 2;        /**< in an entry */
constexpr uint32_t kEntryCountAt = 4;       /**< in an entry */
constexpr uint32_t kEntryValueAt = 8;       /**< in an entry */
constexpr uint32_t kEntryValueSize = 4;     /**< what fits an entry; more stands elsewhere */

}  // namespace detail

/** An entry of a directory; looks into the ExifData that it is of, which must outlive it. */
class ExifEntry {
 public:
  ExifEntry() = default;
  /** @param tiff a structure  @param at offset of an entry within it */
  ExifEntry(const detail::Tiff &tiff, uint64_t at) : tiff_(tiff), at_(at) {}

  /** @return its tag */
  uint16_t tag() const { return empty() ? 0 : tiff_.number16(at_); }
  /** @return its type, perhaps one that isn't among those of ExifType */
  ExifType type() const {
    return static_cast<ExifType>(empty() ? 0 : tiff_.number16(at_ + detail::kEntryTypeAt));
  }
  /** @return how many values it says it has, whether they are there or not */
  uint32_t count() const { return empty() ? 0 : tiff_.number32(at_ + detail::kEntryCountAt); }
  /** @return whether its value lies within the structure, or has no bytes */
  bool there() const { return !empty() && tiff_.holds(valueAt(), size()); }
  /** @return the value in the structure's byte order; empty when it isn't there, or when its type
   *          is unknown */
  Span<const uint8_t> bytes() const {
    if (!there()) return {};
    return {tiff_.bytes.data() + static_cast<size_t>(valueAt()), static_cast<size_t>(size())};
  }
  /** @return the characters of an ASCII value, without the zeros at its end; of other types
   *          none */
  std::string_view text() const {
    const Span<const uint8_t> value = type() == ExifType::kAscii ? bytes() : Span<const uint8_t>();
    size_t length = value.size();
    while (length > 0 && value[length - 1] == 0) length--;
    return {reinterpret_cast<const char *>(value.data()), length};
  }
  /** @return how many numbers there are: none for ASCII, UNDEFINED and unknown types, and when
   *          the value isn't there */
  uint32_t numbers() const {
    const bool none =
        type() == ExifType::kAscii || type() == ExifType::kUndefined || exifTypeSize(type()) == 0;
    return none || !there() ? 0 : count();
  }
  /** @param i which  @return that number; #JPG_E_NOT_FOUND unless it is below numbers() */
  Result<ExifNumber> number(uint32_t i = 0) const;

 private:
  friend class ExifData;

  bool empty() const { return tiff_.bytes.empty(); }
  /* Bytes of the value, of which an entry of an unknown type has none. */
  uint64_t size() const { return uint64_t{exifTypeSize(type())} * count(); }
  uint64_t valueAt() const {
    const uint64_t field = at_ + detail::kEntryValueAt;
    return size() <= detail::kEntryValueSize ? field : tiff_.number32(field);
  }
  /* The offset of a directory, which an entry has for its value, or in the place where that of a
     longer value stands: a damaged count does no harm. Some writers give it a type of its own,
     which TIFF 6.0 doesn't know. */
  uint32_t link() const {
    const uint64_t field = at_ + detail::kEntryValueAt;
    const bool narrow = type() == ExifType::kShort && size() <= detail::kEntryValueSize;
    return narrow ? tiff_.number16(field) : tiff_.number32(field);
  }
  /* A number of the structure with its sign. */
  int64_t whole(uint64_t at, uint32_t size, bool isSigned) const {
    const uint64_t bits = tiff_.number(at, size);
    const uint64_t sign = uint64_t{1} << (8 * size - 1);
    const auto number = static_cast<int64_t>(bits);
    return isSigned && (bits & sign) != 0 ? number - static_cast<int64_t>(2 * sign) : number;
  }
  double floating(uint64_t at, uint32_t size) const {
    const uint64_t bits64 = tiff_.number(at, size);
    double wide = 0;
    float narrow = 0;
    const auto bits32 = static_cast<uint32_t>(bits64);
    std::memcpy(&wide, &bits64, sizeof(wide));
    std::memcpy(&narrow, &bits32, sizeof(narrow));
    return size == sizeof(narrow) ? static_cast<double>(narrow) : wide;
  }

  detail::Tiff tiff_;
  uint64_t at_ = 0;
};

inline Result<ExifNumber> ExifEntry::number(uint32_t i) const {
  if (i >= numbers()) return Status(JPG_E_NOT_FOUND);
  const ExifType kind = type();
  const uint32_t size = exifTypeSize(kind);
  const uint64_t at = valueAt() + uint64_t{size} * i;
  const bool isSigned = kind == ExifType::kSbyte || kind == ExifType::kSshort ||
                        kind == ExifType::kSlong || kind == ExifType::kSrational;
  ExifNumber out;
  if (kind == ExifType::kFloat || kind == ExifType::kDouble) {
    out.kind = ExifNumber::Kind::kFloating;
    out.floating = floating(at, size);
  } else if (kind == ExifType::kRational || kind == ExifType::kSrational) {
    out.kind = ExifNumber::Kind::kFraction;
    out.number = whole(at, size / 2, isSigned);
    out.denominator = whole(at + size / 2, size / 2, isSigned);
  } else {
    out.number = whole(at, size, isSigned);
  }
  return out;
}

/** The entries of a directory, in the order in which they stand; looks into the ExifData that
    it is of, which must outlive it. */
class ExifEntries {
 public:
  /** For loops over the entries. */
  class Iterator {
   public:
    /** @param of entries  @param i which */
    Iterator(const ExifEntries *of, uint32_t i) : of_(of), i_(i) {}
    /** @return the entry */
    ExifEntry operator*() const { return (*of_)[i_]; }
    /** @return at the next one */
    Iterator &operator++() {
      i_++;
      return *this;
    }
    /** @param other of the same entries  @return whether it is at another one */
    bool operator!=(const Iterator &other) const { return i_ != other.i_; }

   private:
    const ExifEntries *of_;
    uint32_t i_;
  };

  ExifEntries() = default;
  /** @param tiff a structure  @param at offset of a directory, all of whose entries lie within it
   */
  ExifEntries(const detail::Tiff &tiff, uint64_t at)
      : tiff_(tiff), at_(at + detail::kDirectoryCountSize), size_(tiff.number16(at)) {}
  /** @return how many there are */
  uint32_t size() const { return size_; }
  /** @return whether there are none */
  bool empty() const { return size_ == 0; }
  /** @param i below size()  @return entry i */
  ExifEntry operator[](uint32_t i) const { return {tiff_, at_ + uint64_t{detail::kEntrySize} * i}; }
  /** @return for loops over the entries */
  Iterator begin() const { return {this, 0}; }
  /** @return for loops over the entries */
  Iterator end() const { return {this, size_}; }

 private:
  detail::Tiff tiff_;
  uint64_t at_ = 0;
  uint32_t size_ = 0;
};

/** A copy of the TIFF structure of an Exif segment, and what stands in it. */
class ExifData {
 public:
  ExifData() = default;

  /**
   * Copies the structure out of a stream: of the first APP1 segment that is an Exif one.
   *
   * @param handle read handle, whose place moves as SegmentWalk says; may be closed afterwards
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
  /** @return its byte order, which its first byte tells: 'M' has high bytes first, everything
   *          else low ones; nothing more is looked at */
  bool bigEndian() const { return memory_.size() > 0 && memory_.data()[0] == 'M'; }
  /** @param directory which  @return whether it is there, with all its entries */
  bool has(ExifDirectory directory) const { return offsetOf(directory) != 0; }
  /** @param directory which  @return its entries; none when it isn't there */
  ExifEntries entries(ExifDirectory directory) const {
    const uint32_t at = offsetOf(directory);
    return at != 0 ? ExifEntries(structure(), at) : ExifEntries();
  }
  /**
   * Finds an entry, in a directory whose entries stand in any order.
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
  /** @return how the picture is to be shown, 1 to 8: 1 as it is, also when nothing valid is told;
   *          2 mirrored, 3 turned by 180 degrees, 4 both; 5 to 8 have rows for columns, of which 6
   *          is to be turned by 90 degrees clockwise, 8 anticlockwise */
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
  /** @return where the picture was taken; #JPG_E_NOT_FOUND when that isn't told, or not in degrees,
   *          minutes and seconds */
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

  /* Where a directory begins; 0, where the header is, unless all its entries lie within the
     structure. */
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

  /* The whole number of an entry, below 0 without one. */
  int64_t numberOf(ExifDirectory directory, uint16_t tag) const {
    const Result<ExifEntry> entry = find(directory, tag);
    if (!entry) return -1;
    const Result<ExifNumber> number = entry->number();
    return number && number->kind == ExifNumber::Kind::kWhole ? number->number : -1;
  }
  /* Degrees out of three fractions, and their sign. */
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
