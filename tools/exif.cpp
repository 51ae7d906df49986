// jpgtool exif
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "exifHandle.h"
#include "exifNames.h"
#include "json.h"
#include "options.h"
#include "report.h"

namespace jpgtool {

const char kExifHelp[] =
    "Usage: jpgtool exif FILE [--json] [--no-eoi] [--max-memory N]\n"
    "\n"
    "Lists the Exif attributes of FILE: the 0th, 1st, Exif, GPS and Interoperability\n"
    "directories, each entry with its tag, name, type, count and value. Rational numbers are\n"
    "shown as fractions, UNDEFINED bytes in hexadecimal.\n"
    "\n"
    "  --json          as JSON, with whole values: \"text\" of ASCII entries, \"bytes\" of\n"
    "                  UNDEFINED ones in hexadecimal, \"numbers\" of all others, a fraction as\n"
    "                  a pair\n"
    "  --no-eoi        also opens files without an end marker\n"
    "  --max-memory N  refuses files that need more bytes of memory to open: the coefficients\n"
    "                  of progressive ones (2G; K, M and G stand for KiB, MiB ...)\n";

namespace {

// Numbers, bytes or characters of a value that a line of text shows.
constexpr size_t kShownNumbers = 8;
constexpr size_t kShownBytes = 24;
constexpr size_t kShownText = 100;

// Limit on the bytes of all values. In a segment of 64 KiB they can only exceed its size by sharing
// bytes, which would let a small file print gigabytes. Twice the size allows for a few shared ones.
constexpr size_t kMostBytes = size_t{2} * 65536;

// How many bytes of values may still be listed.
struct Listing {
  size_t left = kMostBytes;
};

std::string hexOf(const jpg::ExifEntry &entry, size_t most) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (size_t i = 0; i < entry.bytes().size() && i < most; i++) {
    hex += kDigits[entry.bytes()[i] >> 4];
    hex += kDigits[entry.bytes()[i] & 15];
  }
  return hex;
}

std::string floatingText(double number) {
  char text[40];
  std::snprintf(text, sizeof(text), "%.17g", number);
  return text;
}

std::string numberText(const jpg::ExifNumber &n) {
  if (n.kind == jpg::ExifNumber::Kind::kFloating) return floatingText(n.floating);
  const std::string number = std::to_string(n.number);
  const bool whole = n.kind == jpg::ExifNumber::Kind::kWhole;
  return whole ? number : number + "/" + std::to_string(n.denominator);
}

std::string numberJson(const jpg::ExifNumber &n) {
  const bool floating = n.kind == jpg::ExifNumber::Kind::kFloating;
  if (floating && !std::isfinite(n.floating)) return "null";
  if (n.kind != jpg::ExifNumber::Kind::kFraction) return numberText(n);
  return "[" + std::to_string(n.number) + ", " + std::to_string(n.denominator) + "]";
}

// The first numbers of a value.
std::string joined(const jpg::ExifEntry &entry, size_t most, const char *comma,
                   std::string (*write)(const jpg::ExifNumber &)) {
  std::string text;
  for (uint32_t i = 0; i < entry.numbers() && i < most; i++) {
    if (i != 0) text += comma;
    text += write(*entry.number(i));
  }
  return text;
}

// Why the value of an entry isn't shown; empty when it is, which counts its bytes.
std::string lackOf(const jpg::ExifEntry &entry, Listing *listing) {
  if (exifTypeName(entry.type()) == nullptr) return "unknown type";
  if (!entry.there()) return "value outside the segment";
  if (entry.bytes().size() > listing->left) return "more values than a segment holds";
  listing->left -= entry.bytes().size();
  return "";
}

std::string valueText(const jpg::ExifEntry &entry, Listing *listing) {
  if (const std::string lack = lackOf(entry, listing); !lack.empty()) return "(" + lack + ")";
  if (entry.type() == jpg::ExifType::kAscii) {
    const std::string text(entry.text());
    return quoted(text.substr(0, kShownText)) + (text.size() > kShownText ? " ..." : "");
  }
  if (entry.type() == jpg::ExifType::kUndefined) {
    return hexOf(entry, kShownBytes) + (entry.bytes().size() > kShownBytes ? " ..." : "");
  }
  return joined(entry, kShownNumbers, " ", numberText) +
         (entry.numbers() > kShownNumbers ? " ..." : "");
}

std::string valueJson(const jpg::ExifEntry &entry, Listing *listing) {
  if (const std::string lack = lackOf(entry, listing); !lack.empty()) {
    return "\"error\": " + quoted(lack);
  }
  if (entry.type() == jpg::ExifType::kAscii) {
    return "\"text\": " + quoted(std::string(entry.text()));
  }
  if (entry.type() == jpg::ExifType::kUndefined) {
    return "\"bytes\": \"" + hexOf(entry, entry.bytes().size()) + "\"";
  }
  return "\"numbers\": [" + joined(entry, SIZE_MAX, ", ", numberJson) + "]";
}

std::string typeText(jpg::ExifType type) {
  const char *name = exifTypeName(type);
  return name != nullptr ? name : std::to_string(static_cast<uint32_t>(type));
}

void printText(const std::string &file, const jpg::ExifData &data) {
  Listing listing;
  std::printf("%s\n", file.c_str());
  for (const jpg::ExifDirectory directory : jpg::kExifDirectories) {
    if (!data.has(directory)) continue;
    std::printf("%s directory (%s-endian):\n", exifDirectoryName(directory),
                data.bigEndian() ? "big" : "little");
    for (const jpg::ExifEntry entry : data.entries(directory)) {
      const char *name = exifTagName(directory, entry.tag());
      const std::string type = typeText(entry.type()) + " x " + std::to_string(entry.count());
      std::printf("  0x%04X %-27s %-14s %s\n", static_cast<unsigned>(entry.tag()),
                  name != nullptr ? name : "-", type.c_str(), valueText(entry, &listing).c_str());
    }
  }
}

void printEntryJson(jpg::ExifDirectory directory, const jpg::ExifEntry &entry, Listing *listing) {
  const char *name = exifTagName(directory, entry.tag());
  std::printf("{\"tag\": %u, \"name\": %s, \"type\": %s, \"count\": %" PRIu32 ", %s}",
              static_cast<unsigned>(entry.tag()), name != nullptr ? quoted(name).c_str() : "null",
              quoted(typeText(entry.type())).c_str(), entry.count(),
              valueJson(entry, listing).c_str());
}

void printJson(const std::string &file, const jpg::ExifData &data) {
  Listing listing;
  std::printf("{\n  \"file\": %s,\n  \"byteOrder\": \"%s-endian\",\n  \"directories\": {",
              quoted(file).c_str(), data.bigEndian() ? "big" : "little");
  const char *comma = "\n";
  for (const jpg::ExifDirectory directory : jpg::kExifDirectories) {
    if (!data.has(directory)) continue;
    std::printf("%s    \"%s\": [", comma, exifDirectoryName(directory));
    comma = "\n";
    for (const jpg::ExifEntry entry : data.entries(directory)) {
      std::printf("%s      ", comma);
      printEntryJson(directory, entry, &listing);
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
  jpg::ExifData data;
  const uint32_t flags = options.has("--no-eoi") ? JPG_READ_COMPLETE : 0;
  const uint32_t r = readExif(file, flags, limits, &data, &why);
  if (r != JPG_OK) return why.empty() ? fail(file, r) : fail(file, why, r);
  if (options.has("--json")) {
    printJson(file, data);
  } else {
    printText(file, data);
  }
  return kExitOk;
}

}  // namespace jpgtool
