#include "json.h"

#include <cstdio>

#include "files.h"

namespace jpgtool {

std::string quoted(const std::string &text) {
  std::string out = "\"";
  for (const char16_t unit : toUtf16(text)) {
    if (unit >= 0x20 && unit < 0x7F && unit != '"' && unit != '\\') {
      out += static_cast<char>(unit);
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(unit));
    out += escape;
  }
  return out + "\"";
}

}  // namespace jpgtool
