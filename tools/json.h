// JSON strings.
#ifndef JPGTOOL_JSON_H
#define JPGTOOL_JSON_H

#include <string>

namespace jpgtool {

// A quoted and escaped string in ASCII, so that even invalid UTF-8 gives valid JSON.
std::string quoted(const std::string &text);

}  // namespace jpgtool

#endif
