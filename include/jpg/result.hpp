// SPDX-License-Identifier: MIT
/**
 * @file result.hpp
 * @brief Results of the C++ interface: a code, or a value or a code.
 */
#ifndef JPG_RESULT_HPP
#define JPG_RESULT_HPP

#include <cstdint>
#include <utility>

#include "jpg.h"
#include "jpg/text.h"

namespace jpg {
inline namespace v0 {

/** @name Results
 *  @{ */

/** The outcome of a call: a result code of jpg.h. */
class [[nodiscard]] Status {
 public:
  constexpr Status() = default;
  /** @param code result code of jpg.h */
  constexpr explicit Status(uint32_t code) : code_(code) {}

  /** @return whether the call succeeded */
  constexpr bool ok() const { return code_ == JPG_OK; }
  /** @return ok() */
  constexpr explicit operator bool() const { return ok(); }
  /** @return the result code */
  constexpr uint32_t code() const { return code_; }
  /** @return whether the code says that rows may have been stored before damage was met */
  constexpr bool damaged() const {
    return code_ == JPG_E_END_OF_IMAGE || code_ == JPG_E_BAD_DC_CODE ||
           code_ == JPG_E_BAD_AC_CODE || code_ == JPG_E_COEF_OVERFLOW || code_ == JPG_E_DAMAGED;
  }
  /** @return the code in words, in English; never null */
  constexpr const char *text() const;

 private:
  uint32_t code_ = JPG_OK;
};

constexpr const char *Status::text() const { return jpgTextOf(code_); }

/** A value, or the code that says why there is none. */
template <class T>
class [[nodiscard]] Result {
 public:
  /** @param value what the call gives */
  Result(T value) : value_(std::move(value)) {}
  /** @param error why it gives nothing; not success */
  Result(Status error) : status_(error) {}

  /** @return whether there is a value */
  bool ok() const { return status_.ok(); }
  /** @return ok() */
  explicit operator bool() const { return ok(); }
  /** @return the outcome of the call */
  Status status() const { return status_; }
  /** @return the result code */
  uint32_t code() const { return status_.code(); }
  /** @return the value; an empty one after an error */
  T &operator*() & { return value_; }
  /** @return the value; an empty one after an error */
  const T &operator*() const & { return value_; }
  /** @return the value, to be moved from */
  T &&operator*() && { return std::move(value_); }
  /** @return the value's members */
  T *operator->() { return &value_; }
  /** @return the value's members */
  const T *operator->() const { return &value_; }

  /**
   * Calls a function with the value, if there is one.
   *
   * @param next called with the value moved; gives a Result
   * @return what `next` gives, or the error
   */
  template <class F>
  auto andThen(F &&next) && -> decltype(next(std::declval<T &&>())) {
    if (!ok()) return status_;
    return std::forward<F>(next)(std::move(value_));
  }

 private:
  T value_{};
  Status status_;
};
/** @} */

}  // namespace v0
}  // namespace jpg

#endif  // JPG_RESULT_HPP
