// SPDX-License-Identifier: MIT
#include "report.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>

#include "jpg.h"
#include "json.h"
#include "system.h"

namespace jpgtool {
namespace {

struct CodeText {
  uint32_t code;
  const char *name;
  const char *meaning;
};

constexpr CodeText kCodes[] = {
    {JPG_OK, "JPG_OK", "success"},
    {JPG_NO_DATA, "JPG_NO_DATA", "the data end early or a marker is missing"},
    {JPG_E_FAIL, "JPG_E_FAIL", "the operation failed"},
    {JPG_E_INVALID_FUNCTION, "JPG_E_INVALID_FUNCTION", "the call isn't allowed at this point"},
    {JPG_E_OUT_OF_MEMORY, "JPG_E_OUT_OF_MEMORY", "out of memory"},
    {JPG_E_INVALID_HANDLE, "JPG_E_INVALID_HANDLE", "invalid handle"},
    {JPG_E_SEEK, "JPG_E_SEEK", "positioning in the file failed"},
    {JPG_E_WRITE_FAULT, "JPG_E_WRITE_FAULT", "writing failed"},
    {JPG_E_INVALID_PARAMETER, "JPG_E_INVALID_PARAMETER", "a value is out of range"},
    {JPG_E_UNSUPPORTED, "JPG_E_UNSUPPORTED", "this kind of JPEG stream is not supported"},
    {JPG_E_NOT_JPEG, "JPG_E_NOT_JPEG", "not a JPEG stream"},
    {JPG_E_NOT_FOUND, "JPG_E_NOT_FOUND", "not found"},
    {JPG_E_OPEN_FAILED, "JPG_E_OPEN_FAILED", "cannot open the file"},
    {JPG_E_END_OF_IMAGE, "JPG_E_END_OF_IMAGE", "the image ends before its last row"},
    {JPG_E_BAD_DC_CODE, "JPG_E_BAD_DC_CODE", "damaged data: invalid DC code"},
    {JPG_E_BAD_AC_CODE, "JPG_E_BAD_AC_CODE", "damaged data: invalid AC code"},
    {JPG_E_COEF_OVERFLOW, "JPG_E_COEF_OVERFLOW", "damaged data: too many coefficients"},
    {JPG_E_DNL_CONFLICT, "JPG_E_DNL_CONFLICT", "the height is given twice"},
    {JPG_E_BAD_SEGMENT_LENGTH, "JPG_E_BAD_SEGMENT_LENGTH", "a segment has a wrong length"},
    {JPG_E_DAMAGED, "JPG_E_DAMAGED", "damaged data: what is missing was filled in"},
};

const CodeText *find(uint32_t code) {
  for (const CodeText &entry : kCodes) {
    if (entry.code == code) return &entry;
  }
  return nullptr;
}

bool isJsonWanted = false;

void printError(const Json &error) {
  const std::string line = error.dump(-1, ' ', true, Json::error_handler_t::replace);
  std::fprintf(stderr, "%s\n", line.c_str());
}

int64_t nowMs() {
  using std::chrono::steady_clock;
  const auto t = steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(t).count();
}

}  // namespace

const char *meaningOf(uint32_t code) {
  const CodeText *entry = find(code);
  return entry != nullptr ? entry->meaning : "unknown failure";
}

const char *nameOf(uint32_t code) {
  const CodeText *entry = find(code);
  return entry != nullptr ? entry->name : "?";
}

void wantJson(bool wanted) { isJsonWanted = wanted; }
bool jsonWanted() { return isJsonWanted; }

int fail(const std::string &file, const std::string &what, uint32_t code) {
  if (isJsonWanted) {
    printError(
        {{"file", asText(file)}, {"error", asText(what)}, {"code", code}, {"name", nameOf(code)}});
    return kExitFailed;
  }
  std::fprintf(stderr, "jpgtool: %s: %s (0x%08" PRIX32 " %s)\n", file.c_str(), what.c_str(), code,
               nameOf(code));
  return kExitFailed;
}

// A reader that has seen enough, such as head, wants no message.
int fail(const std::string &file, uint32_t code) {
  if (file == "-" && code == JPG_E_WRITE_FAULT && isOutputAbandoned()) return kExitFailed;
  return fail(file, meaningOf(code), code);
}

int failUsage(const std::string &what) {
  if (isJsonWanted) {
    printError({{"error", asText(what)}, {"usage", "jpgtool --help"}});
    return kExitUsage;
  }
  std::fprintf(stderr, "jpgtool: %s\nTry 'jpgtool --help'.\n", what.c_str());
  return kExitUsage;
}

void reportBatch(size_t files, size_t failed, size_t damaged) {
  if (isJsonWanted) {
    printError({{"files", files}, {"failed", failed}, {"damaged", damaged}});
    return;
  }
  std::fprintf(stderr, "jpgtool: %zu files: %zu failed, %zu decoded with damage\n", files, failed,
               damaged);
}

Progress::Progress(std::string what)
    : what_(std::move(what)), terminal_(isErrorTerminal()), start_(nowMs()) {}

Progress::~Progress() {
  if (shown_) std::fprintf(stderr, "\r\033[K");
}

void Progress::update(uint64_t done, uint64_t all) {
  constexpr int64_t kQuietMs = 1000;
  if (!terminal_ || all == 0 || nowMs() - start_ < kQuietMs) return;
  const int percent = static_cast<int>(done * 100 / all);
  if (percent == lastPercent_) return;
  lastPercent_ = percent;
  shown_ = true;
  std::fprintf(stderr, "\r%s %d%%", what_.c_str(), percent);
  std::fflush(stderr);
}

}  // namespace jpgtool
