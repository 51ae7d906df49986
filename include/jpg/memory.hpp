// SPDX-License-Identifier: MIT
/**
 * @file memory.hpp
 * @brief Memory and paths of the C++ interface.
 */
#ifndef JPG_MEMORY_HPP
#define JPG_MEMORY_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "jpg.h"
#include "jpg/result.hpp"

namespace jpg {
inline namespace v0 {

/** @name Memory
 *  @{ */

/** A contiguous sequence of elements; owns nothing. */
template <class T>
class Span {
 public:
  constexpr Span() = default;
  /** @param data first element  @param size number of elements */
  constexpr Span(T *data, size_t size) : data_(data), size_(size) {}
  /** @param array the elements */
  template <size_t N>
  constexpr Span(T (&array)[N]) : data_(array), size_(N) {}
  /** @param container anything that has data() and size() */
  template <class C, class = std::enable_if_t<
                         std::is_convertible_v<decltype(std::declval<C &>().data()), T *>>>
  constexpr Span(C &container) : data_(container.data()), size_(container.size()) {}
  /** @param container the same, read only; a temporary one must outlive the span's use */
  template <class C, class = std::enable_if_t<
                         std::is_convertible_v<decltype(std::declval<const C &>().data()), T *>>>
  constexpr Span(const C &container) : data_(container.data()), size_(container.size()) {}

  /** @return the first element */
  constexpr T *data() const { return data_; }
  /** @return the number of elements */
  constexpr size_t size() const { return size_; }
  /** @return whether there are none */
  constexpr bool empty() const { return size_ == 0; }
  /** @param i below size()  @return element i */
  constexpr T &operator[](size_t i) const { return data_[i]; }
  /** @return for loops over the elements */
  constexpr T *begin() const { return data_; }
  /** @return for loops over the elements */
  constexpr T *end() const { return data_ + size_; }

 private:
  T *data_ = nullptr;
  size_t size_ = 0;
};

/** A block of memory that frees itself; cleared to 0 when made. */
class Buffer {
 public:
  /** @param size bytes, 0 allowed  @return the block, or #JPG_E_OUT_OF_MEMORY */
  static Result<Buffer> make(uint64_t size) {
    Buffer buffer;
    if (size > static_cast<uint64_t>(PTRDIFF_MAX)) return Status(JPG_E_OUT_OF_MEMORY);
    buffer.size_ = static_cast<size_t>(size);
    buffer.data_.reset(new (std::nothrow) uint8_t[buffer.size_ + (size == 0 ? 1U : 0U)]());
    if (buffer.data_ == nullptr) return Status(JPG_E_OUT_OF_MEMORY);
    return buffer;
  }
  /** @return the first byte, aligned for every sample */
  uint8_t *data() const { return data_.get(); }
  /** @return bytes */
  size_t size() const { return size_; }

 private:
  std::unique_ptr<uint8_t[]> data_;
  size_t size_ = 0;
};

/** A coded stream that the library allocated; freed through the library. */
class Bytes {
 public:
  Bytes() = default;
  /** @param data block of the library's, taken over  @param size its bytes */
  Bytes(void *data, uint32_t size) : data_(static_cast<uint8_t *>(data)), size_(size) {}
  /** @return the first byte */
  const uint8_t *data() const { return data_.get(); }
  /** @return bytes */
  size_t size() const { return size_; }

 private:
  struct Free {
    void operator()(uint8_t *data) const { jpgWriteFreeBitstream(data); }
  };
  std::unique_ptr<uint8_t, Free> data_;
  size_t size_ = 0;
};

/** A path in the library's format, made from UTF-8 or UTF-16. */
class Path {
 public:
  static constexpr size_t kUnits = 256; /**< room, with the zero at the end */

  /** @param name zero-terminated UTF-8; null or malformed text leads to no file */
  Path(const char *name) { fromUtf8(name); }
  /** @param name zero-terminated UTF-16 */
  Path(const JpgWChar *name) {
    size_t n = 0;
    while (name != nullptr && name[n] != 0 && n < kUnits) n++;
    if (n == 0 || n == kUnits) return;
    std::memcpy(units_, name, n * sizeof(JpgWChar));
    valid_ = true;
  }
  /** @return whether it is neither empty, nor malformed, nor longer than 255 units */
  bool valid() const { return valid_; }
  /** @return zero-terminated UTF-16 */
  const JpgWChar *c_str() const { return units_; }
  /** @param out receives zero-terminated UTF-8; surrogates without a partner make it empty */
  void toUtf8(char (&out)[3 * kUnits]) const {
    size_t n = 0;
    for (size_t i = 0; units_[i] != 0;) {
      uint32_t point = units_[i++];
      const bool first = point >= 0xD800 && point < 0xDC00;
      const uint32_t second = first ? units_[i++] : 0xDC00U;
      if ((point >= 0xDC00 && point < 0xE000) || second < 0xDC00 || second > 0xDFFF) {
        n = 0;
        break;
      }
      if (first) point = 0x10000 + ((point & 0x3FF) << 10 | (second & 0x3FF));
      n += putUtf8(point, out + n);
    }
    out[n] = '\0';
  }

 private:
  void fromUtf8(const char *name) {
    size_t n = 0;
    while (name != nullptr && *name != '\0') {
      uint32_t point = 0;
      const size_t bytes = codePoint(name, &point);
      const size_t units = point > 0xFFFF ? 2 : 1;
      if (bytes == 0 || n + units >= kUnits) return;
      if (units == 2) units_[n] = static_cast<JpgWChar>(0xD7C0 + (point >> 10));
      units_[n + units - 1] = static_cast<JpgWChar>(units == 2 ? 0xDC00 + (point & 0x3FF) : point);
      n += units;
      name += bytes;
    }
    valid_ = n > 0;
  }

  /* Bytes that the character takes. */
  static size_t putUtf8(uint32_t point, char *out) {
    const size_t bytes = point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
    const uint32_t head = bytes == 1 ? 0 : 0xF00U >> bytes & 0xFF;
    for (size_t i = bytes - 1; i > 0; i--, point >>= 6) {
      out[i] = static_cast<char>(0x80 | (point & 0x3F));
    }
    out[0] = static_cast<char>(head | point);
    return bytes;
  }

  /* Bytes of the character at `s`, 0 when it is malformed: a stray or missing byte, a form
     longer than needed, a surrogate or beyond U+10FFFF. */
  static size_t codePoint(const char *s, uint32_t *point) {
    const uint32_t first = static_cast<unsigned char>(*s);
    const size_t bytes = first < 0x80   ? 1
                         : first < 0xC2 ? 0
                         : first < 0xE0 ? 2
                         : first < 0xF0 ? 3
                         : first < 0xF5 ? 4
                                        : 0;
    *point = bytes < 2 ? first : first & (0x7FU >> bytes);
    for (size_t i = 1; i < bytes; i++) {
      const uint32_t next = static_cast<unsigned char>(s[i]);
      if ((next & 0xC0) != 0x80) return 0;
      *point = *point << 6 | (next & 0x3F);
    }
    const bool tooLong = (bytes == 3 && *point < 0x800) || (bytes == 4 && *point < 0x10000);
    const bool surrogate = *point >= 0xD800 && *point < 0xE000;
    return tooLong || surrogate || *point > 0x10FFFF ? 0 : bytes;
  }

  JpgWChar units_[kUnits] = {};
  bool valid_ = false;
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_MEMORY_HPP
