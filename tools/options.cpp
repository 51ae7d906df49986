// SPDX-License-Identifier: MIT
#include "options.h"

#include <cerrno>
#include <cstdlib>

namespace jpgtool {
namespace {

const OptionRule *findRule(const std::vector<OptionRule> &rules, const std::string &name) {
  for (const OptionRule &rule : rules) {
    if (name == rule.name) return &rule;
  }
  return nullptr;
}

}  // namespace

std::string Options::get(const std::string &name, const std::string &otherwise) const {
  const auto found = values.find(name);
  return found != values.end() ? found->second : otherwise;
}

bool parseOptions(const std::vector<std::string> &words, const std::vector<OptionRule> &rules,
                  Options *options, std::string *why) {
  bool onlyFiles = false;
  for (size_t i = 0; i < words.size(); i++) {
    const std::string &word = words[i];
    if (onlyFiles || word.size() < 2 || word[0] != '-') {
      options->files.push_back(word);
      continue;
    }
    if (word == "--") {
      onlyFiles = true;
      continue;
    }
    const size_t equals = word.rfind("--", 0) == 0 ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, equals);
    const OptionRule *rule = findRule(rules, name);
    if (rule == nullptr) {
      *why = "unknown option " + name;
      return false;
    }
    const bool inWord = equals != std::string::npos;
    if (inWord != rule->takesValue && (inWord || i + 1 == words.size())) {
      *why = inWord ? name + " takes no value" : name + " needs a value";
      return false;
    }
    options->values[name] = inWord ? word.substr(equals + 1) : rule->takesValue ? words[++i] : "";
  }
  return true;
}

std::string outputOf(const Options &options) {
  const bool piped = options.files.size() == 1 && options.files[0] == "-";
  return options.get("-o", piped && !options.has("--each-scan") ? "-" : "");
}

bool parseNumber(const std::string &text, long low, long high, long *number) {
  char *end = nullptr;
  errno = 0;
  *number = std::strtol(text.c_str(), &end, 10);
  return errno == 0 && !text.empty() && *end == '\0' && *number >= low && *number <= high;
}

bool parseBits(const std::string &text, uint16_t *bits) {
  long number = 0;
  if (!parseNumber(text, 8, 24, &number) || number % 8 != 0) return false;
  *bits = static_cast<uint16_t>(number);
  return true;
}

}  // namespace jpgtool
