// SPDX-License-Identifier: MIT
#include "encodeOptions.h"

#include <algorithm>

#include "files.h"
#include "jpg.h"
#include "picture.h"

namespace jpgtool {

const std::vector<OptionRule> kEncodeRules = {
    {"-o", true},           {"-j", true},
    {"--quality", true},    {"--sampling", true},
    {"--restart", true},    {"--no-color-conversion", false},
    {"--jfif", true},       {"--comment", true},
    {"--lossless", false},  {"--predictor", true},
    {"--max-pixels", true}, {"--max-memory", true},
    {"--strict", false},    {"--progressive", false},
    {"--grey", false},      {"--copy", true},
    {"--icc", true},        {"--no-orient", false},
    {"--json", false}};

namespace {

constexpr uint32_t kUsualFlags = JPG_WRITE_AVERAGE | JPG_WRITE_OPTIMIZE;

constexpr uint32_t kSampling444 = 0x00111111;

bool parseSampling(const std::string &text, uint32_t *packed) {
  struct Name {
    const char *name;
    uint32_t packed;
  };
  static constexpr Name kNames[] = {
      {"444", kSampling444}, {"422", 0x00211111}, {"440", 0x00121111}, {"420", 0x00221111}};
  for (const Name &entry : kNames) {
    if (text == entry.name) {
      *packed = entry.packed;
      return true;
    }
  }
  return false;
}

void checkNumber(const Options &options, const char *name, long low, long high, long *number,
                 std::string *why) {
  if (!options.has(name) || parseNumber(options.get(name), low, high, number)) return;
  *why = std::string(name) + " takes a number from " + std::to_string(low) + " to " +
         std::to_string(high);
}

// FILE or FILE:LIST. A colon that no list follows belongs to the name.
bool parseCopy(const std::string &text, EncodeJob *job) {
  job->copy = text;
  job->copyExif = job->copyIcc = job->copyComment = true;
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos) return true;
  bool exif = false, icc = false, comment = false;
  for (size_t at = colon + 1; at <= text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    const std::string word = text.substr(at, comma - at);
    if (word != "exif" && word != "icc" && word != "comment") return true;
    (word == "exif" ? exif : word == "icc" ? icc : comment) = true;
    at = comma + 1;
  }
  job->copy = text.substr(0, colon);
  job->copyExif = exif;
  job->copyIcc = icc;
  job->copyComment = comment;
  return true;
}

void takeFlags(const Options &options, EncodeJob *job, std::string *why) {
  job->flags = options.has("--strict") ? 0 : kUsualFlags;
  if (!options.has("--progressive")) return;
  if (options.has("--strict")) *why = "--strict and --progressive can't be used together";
  if (options.has("--lossless")) *why = "--lossless and --progressive can't be used together";
  job->flags |= JPG_WRITE_PROGRESSIVE;
}

void checkNames(const Options &options, EncodePlan *plan, std::string *why) {
  static constexpr const char *kOthers[] = {"tif", "tiff", "gif", "webp", "jp2", "heic", "avif"};
  if (isBatch(options)) {
    plan->folder = options.get("-o");
    planBatch(options, "jpg", &plan->batch, why);
  }
  const std::string kind = extensionOf(options.get("-o"));
  bool other = isPictureKind(kind);
  for (const char *name : kOthers) other = other || kind == name;
  if (other && plan->batch.empty()) *why = "a JPEG file isn't named ." + kind + ": use -o OUT.jpg";
  if (options.files.empty()) *why = "encode takes one file, or several";
  if (outputOf(options).empty()) *why = "encode needs -o OUT";
}

}  // namespace

bool parseEncode(const std::vector<std::string> &words, EncodePlan *plan, std::string *why) {
  constexpr size_t kMostComment = 65533;
  EncodeJob *job = &plan->job;
  Options options;
  if (!parseOptions(words, kEncodeRules, &options, why)) return false;
  job->raw = options.has("--no-color-conversion");
  job->lossless = options.has("--lossless");
  job->grey = options.has("--grey");
  job->asStored = options.has("--no-orient");
  job->hasComment = options.has("--comment");
  job->comment = options.get("--comment");
  job->icc = options.get("--icc");
  job->anyPredictor = options.get("--predictor") == "auto";
  checkNumber(options, "--quality", 1, 100, &job->quality, why);
  checkNumber(options, "--restart", 0, 65535, &job->restart, why);
  checkNumber(options, "--jfif", 1, 65535, &job->jfif, why);
  if (!job->anyPredictor) checkNumber(options, "--predictor", 1, 7, &job->predictor, why);
  // Green and blue count as much as red.
  if (job->raw) job->sampling = kSampling444;
  if (options.has("--sampling") && !parseSampling(options.get("--sampling"), &job->sampling)) {
    *why = "--sampling takes 444, 422, 440 or 420";
  }
  if (job->comment.size() > kMostComment || (job->hasComment && job->comment.empty())) {
    *why = "--comment takes 1 to 65533 bytes";
  }
  if (options.has("--copy")) parseCopy(options.get("--copy"), job);
  takeFlags(options, job, why);
  parseLimits(options, &job->limits, why);
  parseJobs(options, &plan->jobs, why);
  checkNames(options, plan, why);
  if (!why->empty()) return false;
  job->in = options.files[0];
  job->out = outputOf(options);
  return true;
}

}  // namespace jpgtool
