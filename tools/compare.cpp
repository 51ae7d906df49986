// SPDX-License-Identifier: MIT
// jpgtool compare
#include <cinttypes>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "json.h"
#include "options.h"
#include "pictureRows.h"
#include "report.h"

namespace jpgtool {

const char kCompareHelp[] =
    "Usage: jpgtool compare A B [OPTION...]\n"
    "\n"
    "Compares two pictures of the same size: .jpg, .png, .bmp, .ppm, .pgm or .pam files; one may\n"
    "be - for standard input. JPEG files are decoded as decode does it. Prints for each component "
    "and for all of them the peak\n"
    "signal-to-noise ratio in decibels (inf for equal ones), the mean absolute and the\n"
    "largest difference; then the count of different samples and the first of them, by\n"
    "column and row from 0 at the top left. Pictures of different sizes, component counts\n"
    "or sample ranges can't be compared: status 1.\n"
    "\n"
    "  --exact         status 1 when a sample differs\n"
    "  --raw           components of JPEG files as coded, without colour conversion\n"
    "  --strict, --no-eoi, --no-orient\n"
    "                  as for decode\n"
    "  --json          results and errors as JSON\n"
    "  --max-pixels N, --max-memory N\n"
    "                  limits on the size of JPEG files, as for decode\n";

namespace {

struct Difference {
  uint32_t column = 0, row = 0, component = 0, a = 0, b = 0;
};

struct Sums {
  uint64_t count = 0, different = 0, absolute = 0, squares = 0;
  uint32_t largest = 0;

  void take(uint32_t a, uint32_t b) {
    const uint32_t d = a > b ? a - b : b - a;
    count++;
    different += d != 0 ? 1 : 0;
    absolute += d;
    squares += uint64_t{d} * d;
    if (d > largest) largest = d;
  }
  void take(const Sums &other) {
    count += other.count;
    different += other.different;
    absolute += other.absolute;
    squares += other.squares;
    if (other.largest > largest) largest = other.largest;
  }
};

struct Comparison {
  Sums components[4];
  bool differ = false;
  Difference first;
};

// Compares a row of both pictures; records the first difference.
void compareRows(const PixelFormat &format, uint32_t y, const uint8_t *a, const uint8_t *b,
                 Comparison *comparison) {
  const size_t samples = size_t{format.width} * format.channels;
  for (size_t i = 0; i < samples; i++) {
    const uint32_t va = sampleAt(format, a, i);
    const uint32_t vb = sampleAt(format, b, i);
    const auto component = static_cast<uint32_t>(i % format.channels);
    comparison->components[component].take(va, vb);
    if (va == vb || comparison->differ) continue;
    comparison->differ = true;
    const auto column = static_cast<uint32_t>(i / format.channels);
    comparison->first = {column, y, component, va, vb};
  }
}

std::string describe(const PixelFormat &format) {
  return std::to_string(format.width) + " x " + std::to_string(format.height) + ", " +
         std::to_string(format.channels) + (format.channels == 1 ? " component" : " components") +
         ", 0 to " + std::to_string(format.maxValue);
}

// Names of components in the output.
std::string componentName(const PixelFormat &format, bool raw, uint32_t component) {
  static constexpr const char *kColors[] = {"red", "green", "blue"};
  if (format.channels == 1) return "grey";
  return format.channels == 3 && !raw ? kColors[component]
                                      : "component " + std::to_string(component);
}

double psnrOf(const Sums &sums, uint32_t maxValue) {
  const double meanSquare = static_cast<double>(sums.squares) / static_cast<double>(sums.count);
  const double peak = static_cast<double>(maxValue) * maxValue;
  return sums.squares != 0 ? 10 * std::log10(peak / meanSquare) : HUGE_VAL;
}

void printSums(const std::string &name, const Sums &sums, uint32_t maxValue) {
  const double count = sums.count != 0 ? static_cast<double>(sums.count) : 1;
  const double psnr = psnrOf(sums, maxValue);
  std::printf("%s: PSNR %.2f dB, mean difference %.4f, largest %" PRIu32 "\n", name.c_str(), psnr,
              static_cast<double>(sums.absolute) / count, sums.largest);
}

// The same numbers as JSON.
Json jsonOf(const std::string &name, const Sums &sums, uint32_t maxValue) {
  const double count = sums.count != 0 ? static_cast<double>(sums.count) : 1;
  Json json = {{"name", name}};
  json["psnr"] = sums.squares != 0 ? Json(psnrOf(sums, maxValue)) : Json(nullptr);
  json["meanDifference"] = static_cast<double>(sums.absolute) / count;
  json["largestDifference"] = sums.largest;
  json["samples"] = sums.count;
  json["differentSamples"] = sums.different;
  return json;
}

void printAsJson(const std::string (&files)[2], const Comparison &comparison,
                 const PixelFormat &format, bool raw) {
  Sums all;
  Json components = Json::array();
  for (uint32_t k = 0; k < format.channels; k++) {
    const Sums &sums = comparison.components[k];
    components.push_back(jsonOf(componentName(format, raw, k), sums, format.maxValue));
    all.take(sums);
  }
  Json json = {{"files", {asText(files[0]), asText(files[1])}},
               {"width", format.width},
               {"height", format.height},
               {"maxValue", format.maxValue},
               {"components", components},
               {"all", jsonOf("all", all, format.maxValue)}};
  if (comparison.differ) {
    const Difference &d = comparison.first;
    json["firstDifference"] = {
        {"column", d.column}, {"row", d.row}, {"component", d.component}, {"values", {d.a, d.b}}};
  }
  printJson(json);
}

void print(const Comparison &comparison, const PixelFormat &format, bool raw) {
  Sums all;
  for (uint32_t k = 0; k < format.channels; k++) {
    const Sums &sums = comparison.components[k];
    printSums(componentName(format, raw, k), sums, format.maxValue);
    all.take(sums);
  }
  if (format.channels > 1) printSums("all", all, format.maxValue);
  std::printf("different samples: %" PRIu64 " of %" PRIu64 "\n", all.different, all.count);
  if (!comparison.differ) return;
  const Difference &d = comparison.first;
  std::printf("first difference: column %" PRIu32 ", row %" PRIu32 ", %s: %" PRIu32 " and %" PRIu32
              "\n",
              d.column, d.row, componentName(format, raw, d.component).c_str(), d.a, d.b);
}

int failRead(const std::string &file, const std::string &why, uint32_t code) {
  return why.empty() ? fail(file, code) : fail(file, why, code);
}

int compare(const std::string (&files)[2], const ReadSettings &settings, bool exact) {
  PictureRows pictures[2];
  for (int i = 0; i < 2; i++) {
    std::string why;
    const uint32_t r = pictures[i].open(files[i], settings, &why);
    if (r != JPG_OK) return failRead(files[i], why, r);
  }
  const PixelFormat &format = pictures[0].format();
  const std::string kinds[] = {describe(format), describe(pictures[1].format())};
  if (kinds[0] != kinds[1]) {
    const std::string difference = kinds[1] + ", but " + files[0] + " " + kinds[0];
    return fail(files[1], "is " + difference, JPG_E_INVALID_PARAMETER);
  }
  for (int i = 0; i < 2 && !jsonWanted(); i++) {
    std::printf("%s: %s, %" PRIu64 " bytes\n", files[i].c_str(), kinds[0].c_str(),
                pictures[i].size());
  }
  Comparison comparison;
  for (uint32_t y = 0; y < format.height; y++) {
    const uint8_t *rows[2];
    for (int i = 0; i < 2; i++) {
      const uint32_t r = pictures[i].next(&rows[i]);
      if (r != JPG_OK) return fail(files[i], pictures[i].whyFailed(r), r);
    }
    compareRows(format, y, rows[0], rows[1], &comparison);
  }
  if (jsonWanted()) printAsJson(files, comparison, format, settings.raw);
  if (!jsonWanted()) print(comparison, format, settings.raw);
  int status = kExitOk;
  for (int i = 0; i < 2; i++) {
    const uint32_t damage = pictures[i].damage();
    if (damage == JPG_OK) continue;
    fail(files[i], pictures[i].whyFailed(damage), damage);
    status = kExitDamaged;
  }
  return exact && comparison.differ ? kExitFailed : status;
}

}  // namespace

int runCompare(const Words &words) {
  Options options;
  std::string why;
  const std::vector<OptionRule> rules = {
      {"--exact", false},     {"--raw", false},  {"--no-eoi", false},    {"--strict", false},
      {"--no-orient", false}, {"--json", false}, {"--max-pixels", true}, {"--max-memory", true}};
  if (!parseOptions(words, rules, &options, &why)) return failUsage(why);
  if (options.files.size() != 2) return failUsage("compare takes two files");
  ReadSettings settings;
  if (!parseLimits(options, &settings.limits, &why)) return failUsage(why);
  settings.raw = options.has("--raw");
  takeReadOptions(options, &settings);
  settings.orient = !options.has("--no-orient");
  return compare({options.files[0], options.files[1]}, settings, options.has("--exact"));
}

}  // namespace jpgtool
