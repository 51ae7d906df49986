// SPDX-License-Identifier: MIT
/**
 * @file exifEntry.hpp
 * @brief Entries of Exif directories, and the numbers, texts and bytes that they have for values.
 */
#ifndef JPG_EXIFENTRY_HPP
#define JPG_EXIFENTRY_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "jpg.h"
#include "jpg/memory.hpp"
#include "jpg/result.hpp"

namespace jpg {
inline namespace v0 {

/** @name Exif entries
 *  @{ */

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

namespace detail {

/** A TIFF structure in memory, and access to its numbers. */
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
constexpr uint32_t kEntryValueSize = 4;     /**< fits an entry; longer values are elsewhere */

}  // namespace detail

/** An entry of a directory; refers to the ExifData that it comes from, which must outlive it. */
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
  /* The offset of a directory: the value field of an entry, whatever its count, so that a damaged
     count does no harm. Some writers use a type of their own for it, which isn't in TIFF 6.0. */
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

/** The entries of a directory in the file's order; refers to the ExifData that it comes from, which
    must outlive it. */
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

/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_EXIFENTRY_HPP
