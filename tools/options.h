// SPDX-License-Identifier: MIT
// The parser of command lines.
#ifndef JPGTOOL_OPTIONS_H
#define JPGTOOL_OPTIONS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace jpgtool {

// An option that a command knows.
struct OptionRule {
  const char *name;  // "--raw", "-o"
  bool takesValue;
};

struct Options {
  std::vector<std::string> files;             // words that are no options
  std::map<std::string, std::string> values;  // by option name; "" for switches

  bool has(const std::string &name) const { return values.count(name) != 0; }
  std::string get(const std::string &name, const std::string &otherwise = "") const;
};

// Parses the words by the rules; "--name=value" is the same as "--name value", and "--"
// ends the options. False, with the reason, for an unknown option.
bool parseOptions(const std::vector<std::string> &words, const std::vector<OptionRule> &rules,
                  Options *options, std::string *why);

// Where the output goes: what -o says, or standard output where standard input is the only file; ""
// for neither, and with --each-scan, which goes elsewhere.
std::string outputOf(const Options &options);

// A decimal number within bounds. False for anything else.
bool parseNumber(const std::string &text, long low, long high, long *number);

// Bits a pixel of a bitmap: 8, 16 or 24. False for anything else.
bool parseBits(const std::string &text, uint16_t *bits);

}  // namespace jpgtool

#endif
