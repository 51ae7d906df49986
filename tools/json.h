// Strings as JSON has them.
#ifndef JPGTOOL_JSON_H
#define JPGTOOL_JSON_H

#include <string>

namespace jpgtool {

// A string with its quotes, in ASCII, so that one that isn't UTF-8 gives valid JSON too.
std::string quoted(const std::string &text);

}  // namespace jpgtool

#endif
