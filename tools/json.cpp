// SPDX-License-Identifier: MIT
#include "json.h"

#include <cstdio>

#include "files.h"

namespace jpgtool {

std::string asText(const std::string &bytes) {
  std::string out;
  const std::u16string units = toUtf16(bytes);
  for (size_t i = 0; i < units.size(); i++) {
    uint32_t point = units[i];
    if (point >= 0xD800 && point < 0xDC00) {
      point = 0x10000 + ((point - 0xD800) << 10) + (units[++i] - 0xDC00U);
    }
    const int tail = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    static constexpr uint32_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
    out += static_cast<char>(kLeads[tail] | point >> (6 * tail));
    for (int k = tail - 1; k >= 0; k--) out += static_cast<char>(0x80 | (point >> (6 * k) & 0x3F));
  }
  return out;
}

void printJson(const Json &value) {
  const std::string text = value.dump(2, ' ', true, Json::error_handler_t::replace);
  std::printf("%s\n", text.c_str());
}

}  // namespace jpgtool
