// SPDX-License-Identifier: MIT
// JSON output.
#ifndef JPGTOOL_JSON_H
#define JPGTOOL_JSON_H

#include <nlohmann/json.hpp>
#include <string>

namespace jpgtool {

using Json = nlohmann::ordered_json;

// UTF-8 of any bytes: those that aren't UTF-8 become the characters of their numbers.
std::string asText(const std::string &bytes);

// Prints a value in ASCII on standard output.
void printJson(const Json &value);

}  // namespace jpgtool

#endif
