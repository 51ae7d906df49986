// SPDX-License-Identifier: MIT
// jpgtool exif
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "exifHandle.h"
#include "exifNames.h"
#include "fileList.h"
#include "json.h"
#include "report.h"

namespace jpgtool {

const char kExifHelp[] =
    "Usage: jpgtool exif FILE... [OPTION...]\n"
    "\n"
    "Lists the Exif attributes of JPEG files (- is standard input): the 0th, 1st, Exif, GPS and\n"
    "Interoperability directories, each entry with its tag, name, type, count and value. Rational\n"
    "numbers are shown as fractions, UNDEFINED bytes in hexadecimal. The pictures need not be "
    "ones\n"
    "that can be decoded.\n"
    "\n"
    "  -r        folders, too: every JPEG file in them\n"
    "  --json    as JSON, errors too; with whole values: \"text\" of ASCII entries, \"bytes\" of\n"
    "            UNDEFINED ones in hexadecimal, \"numbers\" of all others, a fraction as a pair\n";

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

Json numberJson(const jpg::ExifNumber &n) {
  if (n.kind == jpg::ExifNumber::Kind::kFloating) return n.floating;  // null unless finite
  if (n.kind == jpg::ExifNumber::Kind::kFraction) return {n.number, n.denominator};
  return n.number;
}

// The first numbers of a value.
std::string joined(const jpg::ExifEntry &entry, size_t most) {
  std::string text;
  for (uint32_t i = 0; i < entry.numbers() && i < most; i++) {
    if (i != 0) text += " ";
    text += numberText(*entry.number(i));
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
    return Json(asText(text.substr(0, kShownText))).dump(-1, ' ', true) +
           (text.size() > kShownText ? " ..." : "");
  }
  if (entry.type() == jpg::ExifType::kUndefined) {
    return hexOf(entry, kShownBytes) + (entry.bytes().size() > kShownBytes ? " ..." : "");
  }
  return joined(entry, kShownNumbers) + (entry.numbers() > kShownNumbers ? " ..." : "");
}

void addValue(const jpg::ExifEntry &entry, Listing *listing, Json *json) {
  if (const std::string lack = lackOf(entry, listing); !lack.empty()) {
    (*json)["error"] = lack;
  } else if (entry.type() == jpg::ExifType::kAscii) {
    (*json)["text"] = asText(std::string(entry.text()));
  } else if (entry.type() == jpg::ExifType::kUndefined) {
    (*json)["bytes"] = hexOf(entry, entry.bytes().size());
  } else {
    Json numbers = Json::array();
    for (uint32_t i = 0; i < entry.numbers(); i++) numbers.push_back(numberJson(*entry.number(i)));
    (*json)["numbers"] = numbers;
  }
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

Json entryJson(jpg::ExifDirectory directory, const jpg::ExifEntry &entry, Listing *listing) {
  const char *name = exifTagName(directory, entry.tag());
  Json json = {{"tag", entry.tag()},
               {"name", name != nullptr ? Json(name) : Json(nullptr)},
               {"type", typeText(entry.type())},
               {"count", entry.count()}};
  addValue(entry, listing, &json);
  return json;
}

Json jsonOf(const std::string &file, const jpg::ExifData &data) {
  Listing listing;
  Json directories = Json::object();
  for (const jpg::ExifDirectory directory : jpg::kExifDirectories) {
    if (!data.has(directory)) continue;
    Json entries = Json::array();
    for (const jpg::ExifEntry entry : data.entries(directory)) {
      entries.push_back(entryJson(directory, entry, &listing));
    }
    directories[exifDirectoryName(directory)] = entries;
  }
  return {{"file", asText(file)},
          {"byteOrder", data.bigEndian() ? "big-endian" : "little-endian"},
          {"directories", directories}};
}

int showExif(const Input &input, const Options &, Json *json) {
  jpg::ExifData data;
  uint64_t offset = 0;
  std::string why;
  const uint32_t r = readExif(input, &data, &offset, &why);
  if (r != JPG_OK) return fail(input.name(), why, r);
  if (jsonWanted()) *json = jsonOf(input.name(), data);
  if (!jsonWanted()) printText(input.name(), data);
  return kExitOk;
}

}  // namespace

int runExif(const Words &words) { return showFiles("exif", words, {}, showExif); }

}  // namespace jpgtool
