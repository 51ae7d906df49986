// Decodes the same streams with the library and with libjpeg in one run and prints both
// speeds and their ratio: bench_decode [BENCHMARK OPTION...] [FILE.jpg...]
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "jpg.h"
#include "picture.h"
#include "yardstick.h"

namespace {

using jpgbench::Bytes;

struct Subject {
  std::string name;
  Bytes stream;
  size_t pixelBytes;
};

// The size of the decoded picture in bytes; 0 for what the benchmark doesn't compare.
size_t pixelBytesOf(const Bytes &stream) {
  JPGHANDLE h = nullptr;
  uint32_t width = 0, height = 0, channels = 0, precision = 0, process = 0;
  const auto size = static_cast<int32_t>(stream.size());
  if (jpgReadPrologFromMemory(stream.data(), size, 0, &h) != JPG_OK) return 0;
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &channels);
  jpgReadGetSamplePrecision(h, &precision);
  jpgReadGetCodingProcess(h, &process);
  jpgReadEpilog(h);
  const bool comparable = precision == 8 && (channels == 1 || channels == 3);
  if (!comparable || process == JPG_PROCESS_LOSSLESS) return 0;
  return size_t{width} * height * channels;
}

bool decodeWithLibrary(const Bytes &stream, Bytes *pixels) {
  JPGHANDLE h = nullptr;
  uint32_t width = 0, height = 0, channels = 0, process = 0;
  const auto size = static_cast<int32_t>(stream.size());
  if (jpgReadPrologFromMemory(stream.data(), size, 0, &h) != JPG_OK) return false;
  jpgReadGetImageSize(h, &width, &height);
  jpgReadGetNumberOfChannels(h, &channels);
  jpgReadGetCodingProcess(h, &process);
  JpgRect rect = {};
  rect.width = static_cast<int32_t>(width);
  rect.stride = static_cast<int32_t>(width * channels);
  rect.bitsPerPixel = static_cast<int32_t>(8 * channels);
  rect.bits = pixels->data();
  const auto rows = static_cast<int32_t>(height);
  const uint32_t r = process == JPG_PROCESS_PROGRESSIVE
                         ? jpgReadProgressiveToRect(h, &rect, rows, JPG_PROGRESSIVE_ALL_SCANS)
                         : jpgReadToRect(h, &rect, rows);
  return jpgReadEpilog(h) == JPG_OK && r == JPG_OK;
}

using Decoder = bool (*)(const Bytes &stream, Bytes *pixels);

void run(benchmark::State &state, const Subject &subject, Decoder decode) {
  Bytes pixels(subject.pixelBytes);
  for (auto _ : state) {
    if (!decode(subject.stream, &pixels)) {
      state.SkipWithError("decoding failed");
      return;
    }
    benchmark::DoNotOptimize(pixels.data());
    benchmark::ClobberMemory();
  }
  const double megabytes = static_cast<double>(subject.pixelBytes) / 1e6;
  state.counters["MB/s"] =
      benchmark::Counter(megabytes, benchmark::Counter::kIsIterationInvariantRate);
}

// Prints the usual table and keeps the speeds for the ratios.
class Reporter : public benchmark::ConsoleReporter {
 public:
  Reporter() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      const auto speed = r.counters.find("MB/s");
      // With repetitions the last value is that of the aggregates; the median is kept.
      const bool wanted = r.run_type == Run::RT_Iteration || r.aggregate_name == "median";
      if (wanted && speed != r.counters.end()) speeds_[r.run_name.function_name] = speed->second;
    }
  }
  double speedOf(const std::string &name) const {
    const auto found = speeds_.find(name);
    return found != speeds_.end() ? found->second : 0;
  }

 private:
  std::map<std::string, double> speeds_;
};

std::string libraryName(const Subject &subject) { return "jpg/" + subject.name; }
std::string libjpegName(const Subject &subject) { return "libjpeg/" + subject.name; }

void printRatios(const std::vector<Subject> &subjects, const Reporter &reporter) {
  std::printf("\n%-32s %10s %10s %8s\n", "MB of pixels per second", "jpg", "libjpeg", "ratio");
  for (const Subject &subject : subjects) {
    const double ours = reporter.speedOf(libraryName(subject));
    const double theirs = reporter.speedOf(libjpegName(subject));
    if (ours > 0 && theirs > 0) {
      std::printf("%-32s %10.1f %10.1f %8.2f\n", subject.name.c_str(), ours, theirs, ours / theirs);
    }
  }
}

// False for a stream that can't be compared.
bool addSubject(const std::string &name, Bytes stream, std::vector<Subject> *subjects) {
  const size_t pixelBytes = pixelBytesOf(stream);
  if (pixelBytes == 0) {
    std::fprintf(stderr, "bench_decode: %s: not an 8-bit DCT picture of 1 or 3 components\n",
                 name.c_str());
    return false;
  }
  subjects->push_back({name.substr(name.rfind('/') + 1), std::move(stream), pixelBytes});
  return true;
}

bool addSubjects(int argc, char **argv, std::vector<Subject> *subjects) {
  bool all = true;
  for (int i = 1; i < argc; i++) {
    all = addSubject(argv[i], jpgbench::readFile(argv[i]), subjects) && all;
  }
  if (argc > 1) return all;
  all =
      addSubject("sample.jpg", jpgbench::readFile(JPG_SOURCE_DIR "/examples/sample.jpg"), subjects);
  return addSubject("made-2000x1500", jpgbench::makePhotograph(2000, 1500), subjects) && all;
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  std::vector<Subject> subjects;
  if (!addSubjects(argc, argv, &subjects)) return 1;
  for (const Subject &subject : subjects) {
    benchmark::RegisterBenchmark(libraryName(subject).c_str(), run, subject, decodeWithLibrary)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(libjpegName(subject).c_str(), run, subject,
                                 jpgbench::decodeWithLibjpeg)
        ->Unit(benchmark::kMillisecond);
  }
  Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printRatios(subjects, reporter);
  return 0;
}
