// SPDX-License-Identifier: MIT
// jpgtool icc
#include "icc.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "commands.h"
#include "fileList.h"
#include "files.h"
#include "jpg.h"
#include "report.h"

namespace jpgtool {

const char kIccHelp[] =
    "Usage: jpgtool icc FILE... [OPTION...]\n"
    "\n"
    "Shows the colour profile of JPEG files (- is standard input): size, version, kind, colour\n"
    "space and description. Files without one are an error.\n"
    "\n"
    "  -o OUT    writes the profile of the one FILE to OUT (- is standard output)\n"
    "  -r        folders, too: every JPEG file in them\n"
    "  --json    as JSON, errors too\n";

namespace {

constexpr size_t kHeader = 128;

uint32_t number32(const uint8_t *p) {
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | p[3];
}

// Four characters, without the blanks that pad them.
std::string signature(const uint8_t *p) {
  std::string text(p, p + 4);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.pop_back();
  return text;
}

// The first text of a 'desc' (version 2) or 'mluc' (version 4) element.
std::string textOf(const uint8_t *element, size_t size) {
  std::string text;
  if (size < 16) return text;
  if (std::memcmp(element, "desc", 4) == 0) {
    const size_t length = number32(element + 8);
    for (size_t i = 0; i < length && 12 + i < size && element[12 + i] != 0; i++) {
      text += static_cast<char>(element[12 + i]);
    }
  } else if (std::memcmp(element, "mluc", 4) == 0 && size >= 28) {
    const size_t length = number32(element + 20), offset = number32(element + 24);
    for (size_t i = 0; i + 1 < length && offset + i + 1 < size; i += 2) {
      const uint8_t *unit = element + offset + i;
      text += unit[0] == 0 && unit[1] < 0x80 ? static_cast<char>(unit[1]) : '?';
    }
  }
  return text;
}

int showIcc(const Input &input, const Options &options, Json *json) {
  const Bytes profile = iccProfileOf(input);
  IccSummary summary;
  if (profile.empty()) return fail(input.name(), "has no colour profile", JPG_E_NOT_FOUND);
  if (options.has("-o")) return saveFile(options.get("-o"), profile.data(), profile.size());
  if (!summarise(profile, &summary)) {
    return fail(input.name(), "its colour profile is damaged", JPG_E_NOT_FOUND);
  }
  *json = {{"file", asText(input.name())},   {"bytes", profile.size()},
           {"version", summary.version},     {"kind", asText(summary.kind)},
           {"space", asText(summary.space)}, {"description", asText(summary.description)}};
  if (jsonWanted()) return kExitOk;
  std::printf("%s\nsize: %zu bytes\nversion: %s\nkind: %s\ncolour space: %s\ndescription: %s\n",
              input.name().c_str(), profile.size(), summary.version.c_str(), summary.kind.c_str(),
              summary.space.c_str(), summary.description.c_str());
  return kExitOk;
}

}  // namespace

bool summarise(const Bytes &profile, IccSummary *summary) {
  constexpr size_t kEntry = 12;
  const uint8_t *p = profile.data();
  if (profile.size() < kHeader + 4 || std::memcmp(p + 36, "acsp", 4) != 0) return false;
  summary->version = std::to_string(p[8]) + "." + std::to_string(p[9] >> 4);
  summary->kind = signature(p + 12);
  summary->space = signature(p + 16);
  const uint32_t count = number32(p + kHeader);
  for (uint32_t i = 0; i < count; i++) {
    const size_t at = kHeader + 4 + kEntry * size_t{i};
    if (at + kEntry > profile.size()) return true;
    const size_t offset = number32(p + at + 4), size = number32(p + at + 8);
    if (std::memcmp(p + at, "desc", 4) != 0 || offset > profile.size()) continue;
    summary->description = textOf(p + offset, std::min(size, profile.size() - offset));
  }
  return true;
}

int runIcc(const Words &words) {
  const std::vector<OptionRule> rules = {{"-o", true}, {"-r", false}, {"--json", false}};
  Options options;
  std::string why;
  const bool parsed = parseOptions(words, rules, &options, &why);
  if (parsed && options.has("-o") && options.files.size() != 1) {
    return failUsage("icc -o takes one file");
  }
  return showFiles("icc", words, {{"-o", true}}, showIcc);
}

}  // namespace jpgtool
