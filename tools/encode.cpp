// SPDX-License-Identifier: MIT
// jpgtool encode
#include <algorithm>
#include <cstring>

#include "commands.h"
#include "encodeOptions.h"
#include "files.h"
#include "json.h"
#include "metadata.h"
#include "reader.h"
#include "report.h"
#include "sampleReader.h"

namespace jpgtool {

const char kEncodeHelp[] =
    "Usage: jpgtool encode IN -o OUT.jpg [OPTION...]\n"
    "       jpgtool encode IN... -o DIR/ [OPTION...]\n"
    "\n"
    "Encodes a .png, .bmp, .ppm, .pgm or .pam file; - is standard input or output, which goes\n"
    "without -o when IN is -. Many files go into the folder DIR as .jpg, under their own names,\n"
    "several at a time; errors are shown at the end, and the exit status is that of the worst\n"
    "file. OUT.jpg is replaced when the new file is complete. Transparency is left out, and\n"
    "samples of other than 8 bits are brought to 8 bits unless the file becomes a lossless one.\n"
    "\n"
    "  -j N                   processes at a time, 1 to 256 (one for each processor)\n"
    "  --quality N            1 to 100 (90)\n"
    "  --sampling S           444, 422, 440 or 420 (420; 444 with --no-color-conversion)\n"
    "  --grey                 makes a grey picture of a coloured one\n"
    "  --progressive          a progressive file, which takes memory for all coefficients\n"
    "  --strict               the plain encoder: chroma decimated, the usual Huffman tables\n"
    "  --restart N            restart interval of N MCUs; lossless: of N lines\n"
    "  --no-color-conversion  RGB components instead of YCbCr\n"
    "  --jfif DPI             writes a JFIF segment with this resolution\n"
    "  --comment TEXT         writes a comment\n"
    "  --copy FILE[:LIST]     copies Exif, colour profile and comment of a JPEG file; LIST names\n"
    "                         some of them: exif,icc,comment. The picture is taken for upright,\n"
    "                         as decode makes it: Exif's orientation becomes 1, and a thumbnail\n"
    "                         that would have to be turned is left out\n"
    "  --no-orient            with --copy: leaves orientation and thumbnail as they are\n"
    "  --icc FILE             writes the colour profile in FILE\n"
    "  --lossless             lossless, 2 to 16 bits\n"
    "  --predictor N          predictor of lossless coding, 1 to 7 (1), or auto for the one\n"
    "                         that gives the smallest file\n"
    "  --max-pixels N         refuses files whose header gives more pixels, width times\n"
    "                         height (500M; K, M and G stand for thousands, millions ...)\n"
    "  --max-memory N         refuses pictures that need more bytes of memory: run-length coded\n"
    "                         bitmaps, interlaced PNG files, coefficients held for tables of\n"
    "                         their own (2G; K, M and G stand for KiB, MiB ...)\n"
    "  --json                 results and errors as JSON\n";

namespace {

constexpr uint32_t kBandRows = 16;  // a multiple of every MCU's height

// Owner of a write handle; unless it is finished, the destructor closes it. The stream stays in
// memory until it is complete.
class Writer {
 public:
  Writer() = default;
  ~Writer() {
    if (handle_ != nullptr) finish();
    if (stream_ != nullptr) jpgWriteFreeBitstream(stream_);
  }
  Writer(const Writer &) = delete;
  Writer &operator=(const Writer &) = delete;
  uint32_t open(uint32_t flags) { return jpgWritePrologToMemory(flags, &handle_); }
  uint32_t finish() {
    JPGHANDLE handle = handle_;
    handle_ = nullptr;
    return jpgWriteEpilogToMemory(handle, &stream_, &size_);
  }
  JPGHANDLE handle() const { return handle_; }
  const void *stream() const { return stream_; }
  uint32_t size() const { return size_; }

 private:
  JPGHANDLE handle_ = nullptr;
  void *stream_ = nullptr;
  uint32_t size_ = 0;
};

MarkerData jfifOf(long dpi) {
  const auto high = static_cast<uint8_t>(dpi >> 8);
  const auto low = static_cast<uint8_t>(dpi);
  return {0xFFE0, {'J', 'F', 'I', 'F', 0, 1, 1, 1, high, low, high, low, 0, 0}};
}

// The segments that are copied from another file.
uint32_t copySegments(const EncodeJob &job, const PixelFormat &format,
                      std::vector<MarkerData> *segments, std::string *why) {
  if (job.copy.empty()) return JPG_OK;
  Input from;
  if (const uint32_t r = from.open(job.copy, why); r != JPG_OK) {
    *why = job.copy + ": " + *why;
    return r;
  }
  if (headersOf(from).segments.empty()) {
    *why = job.copy + ": is no JPEG file to copy from";
    return JPG_E_NOT_JPEG;
  }
  Bytes data;
  if (job.copyExif && exifFor(from, format.width, format.height, job.asStored, &data)) {
    segments->push_back({0xFFE1, data});
  }
  if (job.copyIcc && job.icc.empty()) appendIcc(iccProfileOf(from), segments);
  if (job.copyComment && !job.hasComment && commentOf(from, &data)) {
    segments->push_back({0xFFFE, data});
  }
  return JPG_OK;
}

// All segments ahead of the picture, in the order that readers expect.
uint32_t collectSegments(const EncodeJob &job, const PixelFormat &format,
                         std::vector<MarkerData> *segments, std::string *why) {
  if (job.jfif != 0) segments->push_back(jfifOf(job.jfif));
  if (const uint32_t r = copySegments(job, format, segments, why); r != JPG_OK) return r;
  if (!job.icc.empty()) {
    Input profile;
    if (const uint32_t r = profile.open(job.icc, why); r != JPG_OK) {
      *why = job.icc + ": " + *why;
      return r;
    }
    if (!appendIcc(Bytes(profile.data(), profile.data() + profile.size()), segments)) {
      *why = job.icc + ": is empty, or too large for a colour profile";
      return JPG_E_INVALID_PARAMETER;
    }
  }
  if (job.hasComment) segments->push_back({0xFFFE, Bytes(job.comment.begin(), job.comment.end())});
  return JPG_OK;
}

// Settings and segments before the first rows.
uint32_t setUp(const EncodeJob &job, JPGHANDLE h, const PixelFormat &format,
               const std::vector<MarkerData> &segments) {
  const long interval = job.lossless ? job.restart * static_cast<long>(format.width) : job.restart;
  uint32_t r = jpgWriteSetQuantizationFactor(h, static_cast<int32_t>(job.quality));
  if (r == JPG_OK && format.channels == 3) r = jpgWriteSetSubsamplingFactor(h, job.sampling);
  if (r == JPG_OK) r = jpgWriteSetSpatialPredictor(h, static_cast<int32_t>(job.predictor));
  if (r == JPG_OK && interval > 65535) r = JPG_E_INVALID_PARAMETER;
  if (r == JPG_OK) r = jpgWriteSetRestartInterval(h, static_cast<int32_t>(interval));
  if (r == JPG_OK && job.raw) r = jpgWriteSetNoColorConversion(h);
  for (const MarkerData &segment : segments) {
    if (r != JPG_OK) return r;
    r = jpgWriteWriteMarkerSegment(h, segment.marker, segment.data.data(),
                                   static_cast<uint32_t>(segment.data.size()));
  }
  return r;
}

// What the encoder takes of a row: 8 bits a sample, of three colours blue first; lossless, the
// samples as they are.
class RowShaper {
 public:
  RowShaper(const PixelFormat &from, const EncodeJob &job) : from_(from), to_(from) {
    grey_ = job.grey && from.channels == 3;
    if (grey_) to_.channels = 1;
    lossless_ = job.lossless;
    if (!lossless_) to_.maxValue = 255;
    to_.blueFirst = !lossless_ && to_.channels == 3;
  }
  const PixelFormat &format() const { return to_; }

  void shape(const uint8_t *row, uint8_t *out) const {
    const bool bytesAsTheyAre = from_.maxValue == 255 && !grey_;
    if (bytesAsTheyAre && to_.blueFirst) return reverse(row, out);
    if (bytesAsTheyAre || (lossless_ && !grey_)) {
      std::memcpy(out, row, rowBytes(to_));
      return;
    }
    const uint32_t bytes = sampleBytes(to_), channels = to_.channels;
    for (size_t x = 0; x < from_.width; x++) {
      for (uint32_t k = 0; k < channels; k++, out += bytes) {
        const size_t channel = to_.blueFirst ? channels - 1 - k : k;
        const uint32_t value =
            grey_ ? luma(row, x) : sampleAt(from_, row, x * from_.channels + channel);
        putSample(out, bytes, lossless_ ? value : scaled(value));
      }
    }
  }

 private:
  void reverse(const uint8_t *row, uint8_t *out) const {
    for (size_t i = 0; i < size_t{3} * from_.width; i += 3) {
      out[i] = row[i + 2];
      out[i + 1] = row[i + 1];
      out[i + 2] = row[i];
    }
  }
  uint32_t scaled(uint32_t value) const {
    return from_.maxValue == 255 ? value : (value * 255 + from_.maxValue / 2) / from_.maxValue;
  }
  // T.871: the luminance of red, green and blue.
  uint32_t luma(const uint8_t *row, size_t x) const {
    const uint32_t red = sampleAt(from_, row, 3 * x), green = sampleAt(from_, row, 3 * x + 1);
    return (299 * red + 587 * green + 114 * sampleAt(from_, row, 3 * x + 2) + 500) / 1000;
  }

  PixelFormat from_, to_;
  bool grey_, lossless_;
};

// Why the library can't encode such samples, if anything.
uint32_t checkFormat(const EncodeJob &job, const PixelFormat &format, std::string *why) {
  const bool whole = (format.maxValue & (format.maxValue + 1)) == 0 && format.maxValue >= 3;
  if (job.lossless && !whole) {
    *why =
        "lossless files keep samples of 2 to 16 bits as they are: the largest value must be "
        "3, 7, 15 ... 65535, not " +
        std::to_string(format.maxValue);
  } else if (!job.lossless && format.channels == 2) {
    *why = "a picture of two components needs --lossless";
  }
  if (!why->empty()) return JPG_E_UNSUPPORTED;
  if (job.flags == 0) return JPG_OK;
  constexpr uint64_t kBytes = 2;  // of a coefficient
  const uint64_t width = (format.width + 15U) / 16 * 16, height = (format.height + 15U) / 16 * 16;
  return checkMemory(job.limits, width * height * format.channels * kBytes, why);
}

uint32_t encodeRows(const EncodeJob &job, SampleFile *file, const RowShaper &shaper, Writer *writer,
                    std::string *why) {
  const PixelFormat &format = shaper.format();
  std::vector<uint8_t> row(rowBytes(file->format())), band(rowBytes(format) * kBandRows);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(format.width);
  rect.height = static_cast<int32_t>(format.height);
  rect.channels = static_cast<int32_t>(format.channels);
  rect.bitsPerSample = static_cast<int32_t>(bitsOf(format));
  rect.stride = static_cast<int32_t>(rowBytes(format));
  rect.bits = band.data();
  Progress progress("encoding " + job.in);
  for (uint32_t y = 0; y < format.height; y += kBandRows) {
    const uint32_t rows = std::min(kBandRows, format.height - y);
    for (uint32_t i = 0; i < rows; i++) {
      if (!file->read(row.data())) {
        *why = "the file ends early, or is damaged";
        return JPG_NO_DATA;
      }
      shaper.shape(row.data(), band.data() + rowBytes(format) * i);
    }
    const uint32_t r = job.lossless ? jpgWriteSpatialFromRect(writer->handle(), &rect, rows)
                                    : jpgWriteFromRect(writer->handle(), &rect, rows);
    if (r != JPG_OK) return r;
    progress.update(y, format.height);
  }
  return JPG_OK;
}

// Encodes a file into the writer's memory. 0, or a code with the reason.
uint32_t encodeInto(const EncodeJob &job, Writer *writer, PixelFormat *format, std::string *why) {
  SampleFile file;
  if (const uint32_t r = file.open(job.in, job.limits, why); r != JPG_OK) return r;
  if (const uint32_t r = checkFormat(job, file.format(), why); r != JPG_OK) return r;
  const RowShaper shaper(file.format(), job);
  *format = shaper.format();
  std::vector<MarkerData> segments;
  if (const uint32_t r = collectSegments(job, *format, &segments, why); r != JPG_OK) return r;
  uint32_t r = writer->open(job.flags);
  if (r == JPG_OK) r = setUp(job, writer->handle(), *format, segments);
  if (r == JPG_OK) r = encodeRows(job, &file, shaper, writer, why);
  return r == JPG_OK ? writer->finish() : r;
}

int finish(const EncodeJob &job, const Writer &writer, const PixelFormat &format) {
  const int status = saveFile(job.out, writer.stream(), writer.size());
  if (status != kExitOk || !jsonWanted() || job.out == "-") return status;
  printJson({{"file", asText(job.in)},
             {"output", asText(job.out)},
             {"width", format.width},
             {"height", format.height},
             {"bytes", writer.size()}});
  return kExitOk;
}

int encodeOnce(const EncodeJob &job) {
  Writer writer;
  PixelFormat format;
  std::string why;
  const uint32_t r = encodeInto(job, &writer, &format, &why);
  if (r != JPG_OK) return why.empty() ? fail(job.in, r) : fail(job.in, why, r);
  return finish(job, writer, format);
}

// Tries every predictor and keeps the smallest file.
int encodeSmallest(EncodeJob job) {
  if (job.in == "-")
    return failUsage("--predictor auto needs a file: it reads the input several times");
  uint32_t smallest = 0;
  long best = 0;
  for (job.predictor = 1; job.predictor <= 7; job.predictor++) {
    Writer writer;
    PixelFormat format;
    std::string why;
    const uint32_t r = encodeInto(job, &writer, &format, &why);
    if (r != JPG_OK) return why.empty() ? fail(job.in, r) : fail(job.in, why, r);
    if (best == 0 || writer.size() < smallest) {
      smallest = writer.size();
      best = job.predictor;
    }
  }
  job.predictor = best;
  return encodeOnce(job);
}

int encode(const EncodeJob &job) {
  if (job.in != "-" && isSameFile(job.in, job.out)) {
    return fail(job.out, "is the input file", JPG_E_INVALID_PARAMETER);
  }
  return job.lossless && job.anyPredictor ? encodeSmallest(job) : encodeOnce(job);
}

}  // namespace

int runEncode(const Words &words) {
  EncodePlan plan;
  std::string why;
  if (!parseEncode(words, &plan, &why)) return failUsage(why);
  if (plan.batch.empty()) return encode(plan.job);
  return runBatch("encoding", plan.folder, plan.batch, plan.jobs, [&plan](const BatchItem &item) {
    EncodeJob job = plan.job;
    job.in = item.in;
    job.out = item.out;
    return encode(job);
  });
}

}  // namespace jpgtool
