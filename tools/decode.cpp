// jpgtool decode
#include <cstdio>

#include "commands.h"
#include "decodeBitmap.h"
#include "options.h"
#include "picture.h"
#include "report.h"
#include "rowSource.h"

namespace jpgtool {

const char kDecodeHelp[] =
    "Usage: jpgtool decode FILE -o OUT [OPTION...]\n"
    "\n"
    "Decodes FILE into the picture file OUT, band by band in constant memory. OUT ends\n"
    "in .bmp, .ppm, .pgm or .pam, or is - for standard output (PGM, PPM or PAM).\n"
    "\n"
    "  --bits N         into a .bmp file of 8 bits a pixel (grey, or reduced to a palette of\n"
    "                   216 colours), 16 (reduced) or 24; holds the whole picture in memory\n"
    "  --raw            components as coded, without colour conversion; two and four\n"
    "                   components take .pam\n"
    "  --scale 1/N      at 1/2, 1/4 or 1/8 of the size (sequential files; not with --raw)\n"
    "  --scans N        the picture after the first N scans of a progressive file\n"
    "  --each-scan DIR  instead of OUT: a picture DIR/scan-NNN.ppm (.pgm, .pam) after each\n"
    "                   scan of a progressive file\n"
    "  --rows A:B       of the picture delivered only rows A up to, not including, B, counted\n"
    "                   from 0; without A from the top, without B to the bottom. Where the\n"
    "                   file has restart markers at the ends of MCU rows, those above A are\n"
    "                   passed over without decoding\n"
    "  --max-scans N    refuses progressive files of more than N scans (1000)\n"
    "  --max-pixels N   refuses files whose header asks for more pixels, width times height,\n"
    "                   ahead of decoding (500M; K, M and G stand for thousands, millions ...)\n"
    "  --max-memory N   refuses files that take more bytes of memory by their header: the\n"
    "                   coefficients of a progressive file, the picture with --bits (2G; K, M\n"
    "                   and G stand for KiB, MiB ...)\n"
    "  --no-eoi         opens files without an end marker too\n"
    "  --keep-going     keeps what was decoded of a damaged file, the rest grey; the exit\n"
    "                   status is then 2\n";

namespace {

constexpr uint8_t kGrey = 128;

struct DecodeJob {
  std::string in;
  std::string out;
  std::string eachScan;  // folder of a picture per scan; empty: one picture
  ReadSettings settings;
  bool keepGoing = false;
  uint16_t bits = 0;  // of a bitmap; 0: band by band
};

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

void checkBits(const Options &options, uint16_t *bits, std::string *why) {
  if (!options.has("--bits")) return;
  if (!parseBits(options.get("--bits"), bits)) *why = "--bits takes 8, 16 or 24";
  if (extensionOf(options.get("-o")) != "bmp") *why = "--bits needs -o OUT.bmp";
  for (const char *other : {"--raw", "--scans", "--each-scan", "--keep-going", "--rows"}) {
    if (options.has(other)) *why = std::string("--bits and ") + other + " exclude each other";
  }
}

bool parseJob(const Words &words, DecodeJob *job, std::string *why) {
  Options options;
  const std::vector<OptionRule> rules = {
      {"-o", true},      {"--raw", false},      {"--scale", true},      {"--max-scans", true},
      {"--scans", true}, {"--each-scan", true}, {"--no-eoi", false},    {"--keep-going", false},
      {"--bits", true},  {"--rows", true},      {"--max-pixels", true}, {"--max-memory", true}};
  if (!parseOptions(words, rules, &options, why)) return false;
  if (options.files.size() != 1) *why = "decode takes one file";
  if (options.has("-o") == options.has("--each-scan")) *why = "decode needs -o OUT";
  long maxScans = 0;
  long scans = 0;
  if (!parseScale(options.get("--scale", "1/1"), &job->settings.scale)) {
    *why = "--scale takes 1/2, 1/4 or 1/8";
  }
  if (!parseNumber(options.get("--max-scans", "1000"), 1, 1000000, &maxScans)) {
    *why = "--max-scans takes a number from 1 to 1000000";
  }
  if (options.has("--scans") && !parseNumber(options.get("--scans"), 1, 1000000, &scans)) {
    *why = "--scans takes a number from 1 to 1000000";
  }
  if (options.has("--raw") && job->settings.scale != JPG_SCALE_FULL) {
    *why = "--raw and --scale exclude each other";
  }
  if (options.has("--rows") && !parseRows(options.get("--rows"), &job->settings)) {
    *why = "--rows takes A:B with A below B";
  }
  if (options.has("--rows") && options.has("--each-scan")) {
    *why = "--rows and --each-scan exclude each other";
  }
  parseLimits(options, &job->settings.limits, why);
  checkBits(options, &job->bits, why);
  if (!why->empty()) return false;
  job->in = options.files[0];
  job->out = options.get("-o");
  job->settings.raw = options.has("--raw");
  job->settings.maxScans = static_cast<uint64_t>(maxScans);
  job->settings.scans = static_cast<uint64_t>(scans);
  job->eachScan = options.get("--each-scan");
  if (!job->eachScan.empty()) job->settings.scans = 1;
  job->settings.openFlags = options.has("--no-eoi") ? JPG_READ_COMPLETE : 0;
  job->keepGoing = options.has("--keep-going");
  return true;
}

// Grey rows for what a damaged file doesn't give.
bool fillRest(PictureWriter *writer, const PixelFormat &format, uint32_t from) {
  const std::vector<uint8_t> row(rowBytes(format), kGrey);
  for (uint32_t y = from; y < format.height; y++) {
    if (!writer->putRows(row.data(), row.size(), 1)) return false;
  }
  return true;
}

// Moves all rows. The result is the exit status; `complete` tells whether the output
// file is to be kept.
int copyRows(const DecodeJob &job, RowSource *source, PictureWriter *writer, bool *complete) {
  const PixelFormat &format = source->format();
  Progress progress("decoding " + job.in);
  for (uint32_t y = 0; y < format.height;) {
    uint32_t rows = 0;
    const uint32_t r = source->next(&rows);
    if (r != JPG_OK) {
      *complete = job.keepGoing && fillRest(writer, format, y);
      fail(job.in, source->whyFailed(r), r);
      return *complete ? kExitDamaged : kExitFailed;
    }
    if (!writer->putRows(source->band(), rowBytes(format), rows)) {
      return fail(job.out, JPG_E_WRITE_FAULT);
    }
    y += rows;
    progress.update(y, format.height);
  }
  *complete = true;
  return kExitOk;
}

// One picture out of an open source.
int writePicture(const DecodeJob &job, RowSource *source) {
  FileKind kind = FileKind::kPpm;
  std::string why;
  if (!chooseKind(job.out, source->format(), &kind, &why)) {
    return fail(job.out, why, JPG_E_UNSUPPORTED);
  }
  if (isSameFile(job.in, job.out)) {
    return fail(job.out, "is the input file", JPG_E_INVALID_PARAMETER);
  }
  OutputFile out;
  if (!out.open(job.out)) return fail(job.out, "cannot create the file", JPG_E_OPEN_FAILED);
  PictureWriter writer(&out, kind, source->format());
  if (!writer.begin()) return fail(job.out, JPG_E_WRITE_FAULT);
  bool complete = false;
  const int status = copyRows(job, source, &writer, &complete);
  if (complete && !out.keep()) return fail(job.out, JPG_E_WRITE_FAULT);
  return status;
}

// A picture after each scan, each with one scan more than the one before.
int writeEachScan(DecodeJob job, RowSource *source) {
  static constexpr const char *kExtensions[] = {"pgm", "pam", "ppm", "pam"};
  makeFolder(job.eachScan);
  for (uint64_t n = 1; n <= source->scanCount(); n++) {
    char name[32];
    std::snprintf(name, sizeof(name), "/scan-%03u.%s", static_cast<unsigned>(n),
                  kExtensions[source->format().channels - 1]);
    job.out = job.eachScan + name;
    if (const int status = writePicture(job, source); status != kExitOk) return status;
    source->showNextScan();
  }
  return kExitOk;
}

int decode(const DecodeJob &job) {
  if (job.bits != 0) return decodeBitmap(job.in, job.out, job.bits, job.settings);
  RowSource source;
  std::string why;
  const uint32_t r = source.open(job.in, job.settings, &why);
  if (r != JPG_OK) return why.empty() ? fail(job.in, r) : fail(job.in, why, r);
  return job.eachScan.empty() ? writePicture(job, &source) : writeEachScan(job, &source);
}

}  // namespace

int runDecode(const Words &words) {
  DecodeJob job;
  std::string why;
  return parseJob(words, &job, &why) ? decode(job) : failUsage(why);
}

}  // namespace jpgtool
