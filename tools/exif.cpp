// jpgtool exif
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "exifNames.h"
#include "exifReader.h"
#include "json.h"
#include "options.h"
#include "report.h"

namespace jpgtool {

const char kExifHelp[] =
    "Usage: jpgtool exif FILE [--json] [--no-eoi] [--max-memory N]\n"
    "\n"
    "Lists the Exif attributes of FILE: the 0th, 1st, Exif, GPS and Interoperability\n"
    "directories, each entry with its tag, name, type, count and value. Rational numbers\n"
    "stand as fractions, bytes of no type in hexadecimal.\n"
    "\n"
    "  --json          as JSON, with whole values: \"text\" of ASCII entries, \"bytes\" of\n"
    "                  UNDEFINED ones in hexadecimal, \"numbers\" of all others, a fraction as\n"
    "                  a pair\n"
    "  --no-eoi        opens files without an end marker too\n"
    "  --max-memory N  refuses files that take more bytes of memory to open: the coefficients\n"
    "                  of progressive ones (2G; K, M and G stand for KiB, MiB ...)\n";

namespace {

// Numbers, bytes or characters of a value that a line of text shows.
constexpr size_t kShownNumbers = 8;
constexpr size_t kShownBytes = 24;
constexpr size_t kShownText = 100;

bool isText(const ExifEntry &entry) { return std::string(exifTypeName(entry.type)) == "ASCII"; }
bool isBytes(const ExifEntry &entry) {
  return std::string(exifTypeName(entry.type)) == "UNDEFINED";
}

// A string without the terminators at its end.
std::string textOf(const ExifEntry &entry) {
  std::string text(entry.value.begin(), entry.value.end());
  while (!text.empty() && text.back() == '\0') text.pop_back();
  return text;
}

std::string hexOf(const ExifEntry &entry, size_t most) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (size_t i = 0; i < entry.value.size() && i < most; i++) {
    hex += kDigits[entry.value[i] >> 4];
    hex += kDigits[entry.value[i] & 15];
  }
  return hex;
}

std::string floatingText(double number) {
  char text[40];
  std::snprintf(text, sizeof(text), "%.17g", number);
  return text;
}

std::string numberText(const ExifNumber &n) {
  if (n.kind == ExifNumber::kFloating) return floatingText(n.floating);
  const std::string number = std::to_string(n.number);
  return n.kind == ExifNumber::kFraction ? number + "/" + std::to_string(n.denominator) : number;
}

std::string numberJson(const ExifNumber &n) {
  if (n.kind == ExifNumber::kFloating && !std::isfinite(n.floating)) return "null";
  if (n.kind != ExifNumber::kFraction) return numberText(n);
  return "[" + std::to_string(n.number) + ", " + std::to_string(n.denominator) + "]";
}

// The first numbers of a value.
std::string joined(const std::vector<ExifNumber> &numbers, size_t most, const char *comma,
                   std::string (*write)(const ExifNumber &)) {
  std::string text;
  for (size_t i = 0; i < numbers.size() && i < most; i++) {
    if (i != 0) text += comma;
    text += write(numbers[i]);
  }
  return text;
}

// Why an entry shows no value; empty when it does.
std::string lackOf(const ExifEntry &entry) {
  if (exifTypeName(entry.type) == nullptr) return "unknown type";
  if (entry.state == ExifEntry::kOutside) return "value outside the segment";
  return entry.state == ExifEntry::kTooMuch ? "more values than a segment holds" : "";
}

std::string valueText(const ExifEntry &entry, bool bigEndian) {
  if (const std::string lack = lackOf(entry); !lack.empty()) return "(" + lack + ")";
  if (isText(entry)) {
    const std::string text = textOf(entry);
    return quoted(text.substr(0, kShownText)) + (text.size() > kShownText ? " ..." : "");
  }
  if (isBytes(entry)) {
    return hexOf(entry, kShownBytes) + (entry.value.size() > kShownBytes ? " ..." : "");
  }
  const std::vector<ExifNumber> numbers = numbersOf(entry, bigEndian);
  return joined(numbers, kShownNumbers, " ", numberText) +
         (numbers.size() > kShownNumbers ? " ..." : "");
}

std::string valueJson(const ExifEntry &entry, bool bigEndian) {
  if (const std::string lack = lackOf(entry); !lack.empty()) return "\"error\": " + quoted(lack);
  if (isText(entry)) return "\"text\": " + quoted(textOf(entry));
  if (isBytes(entry)) return "\"bytes\": \"" + hexOf(entry, entry.value.size()) + "\"";
  return "\"numbers\": [" + joined(numbersOf(entry, bigEndian), SIZE_MAX, ", ", numberJson) + "]";
}

std::string typeText(uint16_t type) {
  return exifTypeName(type) != nullptr ? exifTypeName(type) : std::to_string(type);
}

void printText(const std::string &file, const ExifList &list) {
  std::printf("%s\n", file.c_str());
  for (const ExifDirectory &directory : list.directories) {
    std::printf("%s directory (%s-endian):\n", exifDirectoryName(directory.number),
                list.bigEndian ? "big" : "little");
    for (const ExifEntry &entry : directory.entries) {
      const char *name = exifTagName(directory.number, entry.tag);
      const std::string type = typeText(entry.type) + " x " + std::to_string(entry.count);
      std::printf("  0x%04X %-27s %-14s %s\n", static_cast<unsigned>(entry.tag),
                  name != nullptr ? name : "-", type.c_str(),
                  valueText(entry, list.bigEndian).c_str());
    }
  }
}

void printEntryJson(int32_t directory, const ExifEntry &entry, bool bigEndian) {
  const char *name = exifTagName(directory, entry.tag);
  std::printf("{\"tag\": %u, \"name\": %s, \"type\": %s, \"count\": %" PRIu32 ", %s}",
              static_cast<unsigned>(entry.tag), name != nullptr ? quoted(name).c_str() : "null",
              quoted(typeText(entry.type)).c_str(), entry.count,
              valueJson(entry, bigEndian).c_str());
}

void printJson(const std::string &file, const ExifList &list) {
  std::printf("{\n  \"file\": %s,\n  \"byteOrder\": \"%s-endian\",\n  \"directories\": {",
              quoted(file).c_str(), list.bigEndian ? "big" : "little");
  const char *comma = "\n";
  for (const ExifDirectory &directory : list.directories) {
    std::printf("%s    \"%s\": [", comma, exifDirectoryName(directory.number));
    comma = "\n";
    for (const ExifEntry &entry : directory.entries) {
      std::printf("%s      ", comma);
      printEntryJson(directory.number, entry, list.bigEndian);
      comma = ",\n";
    }
    std::printf("\n    ]");
    comma = ",\n";
  }
  std::printf("\n  }\n}\n");
}

}  // namespace

int runExif(const Words &words) {
  Options options;
  std::string why;
  if (!parseOptions(words, {{"--json", false}, {"--no-eoi", false}, {"--max-memory", true}},
                    &options, &why)) {
    return failUsage(why);
  }
  if (options.files.size() != 1) return failUsage("exif takes one file");
  const std::string &file = options.files[0];
  Limits limits;
  if (!parseLimits(options, &limits, &why)) return failUsage(why);
  ExifHandle exif;
  ExifList list;
  uint32_t r = exif.open(file, options.has("--no-eoi") ? JPG_READ_COMPLETE : 0, limits, &why);
  if (r == JPG_OK) r = listExif(exif.handle(), &list);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  if (options.has("--json")) {
    printJson(file, list);
  } else {
    printText(file, list);
  }
  return kExitOk;
}

}  // namespace jpgtool
