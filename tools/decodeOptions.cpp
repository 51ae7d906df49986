// SPDX-License-Identifier: MIT
#include "decodeOptions.h"

namespace jpgtool {
namespace {

bool parseScale(const std::string &text, int32_t *scale) {
  static constexpr const char *kScales[] = {"1/8", "1/4", "1/2", "1/1"};
  for (int32_t i = 0; i < 4; i++) {
    if (text == kScales[i]) {
      *scale = i;
      return true;
    }
  }
  return false;
}

// Rows A:B, either of which may be missing.
bool parseRows(const std::string &text, ReadSettings *settings) {
  constexpr long kMost = 65535;
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  const std::string first = text.substr(0, colon), end = text.substr(colon + 1);
  long a = 0, b = kMost;
  if (!first.empty() && !parseNumber(first, 0, kMost, &a)) return false;
  if (!end.empty() && !parseNumber(end, 0, kMost, &b)) return false;
  settings->firstRow = static_cast<uint32_t>(a);
  settings->endRow = static_cast<uint32_t>(b);
  return a < b;
}

void checkBits(const Options &options, const std::string &kind, uint16_t *bits, std::string *why) {
  if (!options.has("--bits")) return;
  if (!parseBits(options.get("--bits"), bits)) *why = "--bits takes 8, 16 or 24";
  if (kind != "bmp") *why = "--bits needs -o OUT.bmp";
  for (const char *other : {"--raw", "--scans", "--each-scan", "--keep-going", "--rows"}) {
    if (options.has(other)) *why = std::string("--bits and ") + other + " can't be used together";
  }
}

// Parses the scale, the numbers of scans and the rows.
void parseChoices(const Options &options, ReadSettings *settings, std::string *why) {
  constexpr long kMost = 1000000;
  long maxScans = 0, scans = 0;
  if (!parseScale(options.get("--scale", "1/1"), &settings->scale)) {
    *why = "--scale takes 1/2, 1/4 or 1/8";
  }
  if (!parseNumber(options.get("--max-scans", "1000"), 1, kMost, &maxScans)) {
    *why = "--max-scans takes a number from 1 to 1000000";
  }
  if (options.has("--scans") && !parseNumber(options.get("--scans"), 1, kMost, &scans)) {
    *why = "--scans takes a number from 1 to 1000000";
  }
  if (options.has("--rows") && !parseRows(options.get("--rows"), settings)) {
    *why = "--rows takes A:B with A below B";
  }
  settings->maxScans = static_cast<uint64_t>(maxScans);
  settings->scans = options.has("--each-scan") ? 1 : static_cast<uint64_t>(scans);
}

void checkExclusions(const Options &options, const ReadSettings &settings, std::string *why) {
  if (options.has("--raw") && options.has("--each-scan") && settings.scale != JPG_SCALE_FULL) {
    *why = "--raw, --scale and --each-scan can't be used together";
  }
  if (options.has("--rows") && options.has("--each-scan")) {
    *why = "--rows and --each-scan can't be used together";
  }
}

// Where the picture or pictures go.
void chooseOutput(const Options &options, DecodePlan *plan, std::string *why) {
  const std::string to = options.get("--to", "ppm"), out = outputOf(options);
  const bool eachScan = options.has("--each-scan");
  if (!isPictureKind(to)) *why = "--to takes png, bmp, ppm, pgm or pam";
  if (!eachScan && isBatch(options)) {
    plan->folder = options.get("-o");
    planBatch(options, to, &plan->batch, why);
  } else if (options.has("--to") && out == "-") {
    plan->job.kind = to;
  } else if (options.has("--to")) {
    *why = "--to is for a folder or standard output: -o DIR/ or -o -";
  } else if (options.files.size() != 1) {
    *why = eachScan ? "--each-scan takes one file" : "decode takes one file, or several";
  }
  if (eachScan ? options.has("-o") : out.empty()) *why = "decode needs -o OUT";
  if (options.files.empty()) *why = "decode takes one file, or several";
  const bool named = plan->batch.empty() && plan->job.kind.empty();
  checkBits(options, named ? extensionOf(out) : to, &plan->job.bits, why);
}

}  // namespace

bool parseDecode(const std::vector<std::string> &words, DecodePlan *plan, std::string *why) {
  Options options;
  const std::vector<OptionRule> rules = {
      {"-o", true},      {"--raw", false},      {"--scale", true},      {"--max-scans", true},
      {"--scans", true}, {"--each-scan", true}, {"--no-eoi", false},    {"--keep-going", false},
      {"--bits", true},  {"--rows", true},      {"--max-pixels", true}, {"--max-memory", true},
      {"--to", true},    {"-j", true},          {"--strict", false},    {"--no-orient", false},
      {"--json", false}};
  if (!parseOptions(words, rules, &options, why)) return false;
  DecodeJob *job = &plan->job;
  parseChoices(options, &job->settings, why);
  checkExclusions(options, job->settings, why);
  parseLimits(options, &job->settings.limits, why);
  parseJobs(options, &plan->jobs, why);
  chooseOutput(options, plan, why);
  if (!why->empty()) return false;
  job->in = options.files[0];
  job->out = outputOf(options);
  job->eachScan = options.get("--each-scan");
  job->settings.raw = options.has("--raw");
  takeReadOptions(options, &job->settings);
  job->settings.orient = !options.has("--no-orient") && !options.has("--rows");
  if (options.has("--keep-going")) job->settings.keepGoing = job->settings.keepNothing = true;
  return true;
}

}  // namespace jpgtool
