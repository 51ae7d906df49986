// SPDX-License-Identifier: MIT
#include "workloads.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace jpgbench {
namespace {

constexpr Scans kSeq = Scans::kSequential;
constexpr Task kDecode = Task::kDecode, kEncode = Task::kEncode;
constexpr Content kPhoto = Content::kPhoto, kGray = Content::kGray, kWords = Content::kWords,
                  kNoise = Content::kNoise, kScreen = Content::kScreen,
                  kThumbnail = Content::kThumbnail;

// Photographs, in all sizes.
const Definition kPhotographs[] = {
    {"decode 4:2:0 q75", kDecode, kPhoto, {75, k420}, 1.15},
    {"decode 4:2:0 q90", kDecode, kPhoto, {90, k420}, 1.15},
    {"decode 4:2:0 q98", kDecode, kPhoto, {98, k420}, 1.1},
    {"decode 4:2:2 q90", kDecode, kPhoto, {90, k422}, 1.15},
    {"decode 4:4:4 q90", kDecode, kPhoto, {90, k444}, 1.15},
    {"decode grey q90", kDecode, kGray, {90, kOne}, 1.2},
    {"decode 4:2:0 q90, restarts", kDecode, kPhoto, {90, k420, kSeq, true}, 1.15},
    {"decode progressive 4:2:0 q90", kDecode, kPhoto, {90, k420, Scans::kProgressive}, 1.3},
    {"decode spectral selection 4:2:0 q90", kDecode, kPhoto, {90, k420, Scans::kSpectral}, 1.2},
    {"decode 4:2:0 q90, accurate smooth", kDecode, kPhoto, {90, k420}, 0.9, 1, true},
    {"decode 4:2:2 q90, accurate smooth", kDecode, kPhoto, {90, k422}, 0.9, 1, true},
    {"decode 4:2:0 q90 at 1/2", kDecode, kPhoto, {90, k420}, 1.2, 2},
    {"decode 4:2:0 q90 at 1/4", kDecode, kPhoto, {90, k420}, 1.2, 4},
    {"decode 4:2:0 q90 at 1/8", kDecode, kPhoto, {90, k420}, 1.2, 8},
    {"encode 4:2:0 q75", kEncode, kPhoto, {75, k420}, 1.15},
    {"encode 4:2:0 q90", kEncode, kPhoto, {90, k420}, 1.15},
    {"encode 4:4:4 q75", kEncode, kPhoto, {75, k444}, 1.15},
    {"encode 4:4:4 q90", kEncode, kPhoto, {90, k444}, 1.15},
    {"encode grey q90", kEncode, kGray, {90, kOne}, 1},
    {"encode optimized 4:2:0 q75", kEncode, kPhoto, {75, k420, kSeq, false, 0, true}, 1.2},
    {"encode optimized 4:2:0 q90", kEncode, kPhoto, {90, k420, kSeq, false, 0, true}, 1.2},
    {"encode progressive 4:2:0 q75", kEncode, kPhoto, {75, k420, Scans::kProgressive}, 1.2},
    {"encode progressive 4:2:0 q90", kEncode, kPhoto, {90, k420, Scans::kProgressive}, 1.2},
    {"decode lossless 8 bits x 3", kDecode, kPhoto, {0, k444, kSeq, false, 1}, 2},
    {"encode lossless 8 bits x 3", kEncode, kPhoto, {0, k444, kSeq, false, 1}, 3},
    {"decode lossless 16 bits x 1", kDecode, kWords, {0, kOne, kSeq, false, 1}, 1.6},
    {"encode lossless 16 bits x 1", kEncode, kWords, {0, kOne, kSeq, false, 1}, 3},
};

// Small pictures, from open to close.
const Definition kSmall[] = {
    {"decode small 4:2:0 q90", kDecode, kPhoto, {90, k420}, 1},
    {"encode small 4:2:0 q90", kEncode, kPhoto, {90, k420}, 1},
};
constexpr uint32_t kSmallSides[] = {8, 16, 32, 64};

const Definition kThumbnails[] = {
    {"thumbnail 4:2:0 q75", kDecode, kThumbnail, {75, k420}, 1.3},
    {"Exif thumbnail", Task::kExifThumbnail, kThumbnail, {75, k420}, 1.1},
};

// Contents that aren't photographs, 1 megapixel.
const Definition kContents[] = {
    {"decode noise 4:2:0 q90", kDecode, kNoise, {90, k420}, 1},
    {"encode noise 4:2:0 q90", kEncode, kNoise, {90, k420}, 1},
    {"decode screen 4:2:0 q90", kDecode, kScreen, {90, k420}, 1},
    {"encode screen 4:2:0 q90", kEncode, kScreen, {90, k420}, 1},
    {"decode screen 4:4:4 q90", kDecode, kScreen, {90, k444}, 1},
    {"encode screen 4:4:4 q90", kEncode, kScreen, {90, k444}, 1},
};

const char *const kQuick[] = {"decode 4:2:0 q90",
                              "decode 4:4:4 q90",
                              "decode progressive 4:2:0 q90",
                              "decode 4:2:0 q90 at 1/2",
                              "decode 4:2:0 q90 at 1/8",
                              "encode 4:2:0 q90",
                              "encode 4:4:4 q90",
                              "decode lossless 8 bits x 3",
                              "encode lossless 8 bits x 3",
                              "decode lossless 16 bits x 1",
                              "thumbnail 4:2:0 q75",
                              "decode small 4:2:0 q90",
                              "decode noise 4:2:0 q90",
                              "encode screen 4:2:0 q90"};

bool isQuick(const std::string &name) {
  for (const char *quick : kQuick) {
    if (name == quick) return true;
  }
  return false;
}

Pictures picturesOf(Content content, const std::string &size, Material *material) {
  if (content == kThumbnail) return material->thumbnails();
  if (content == kNoise || content == kScreen) return material->made(content);
  for (const SheetSize &sheet : kSheetSizes) {
    if (size == sheet.label) return material->sheets(content, sheet);
  }
  if (size == kLargestSheet.label) return material->sheets(content, kLargestSheet);
  return material->cuts(static_cast<uint32_t>(std::strtoul(size.c_str(), nullptr, 10)));
}

// Larger than any difference.
constexpr double kNever = 1000;

double meanDifference(const Bytes &a, const uint8_t *b, size_t size) {
  uint64_t sum = 0;
  for (size_t i = 0; i < size; i++) sum += static_cast<uint64_t>(std::abs(a[i] - b[i]));
  return size > 0 ? static_cast<double>(sum) / static_cast<double>(size) : 0;
}

// Another codec that decodes such streams.
const Codec *decoderOf(const Job &job, const Codec *encoder) {
  const Codecs &all = codecs();
  for (const Codec *codec : {all.libjpeg, all.newLibjpeg, all.avcodec, all.ours}) {
    if (codec != nullptr && codec != encoder && codec->can(job)) return codec;
  }
  return nullptr;
}

}  // namespace

Workload::Workload(const Definition &definition, std::string size,
                   std::shared_ptr<Material> material, bool builds)
    : definition_(definition),
      name_(definition.name),
      size_(std::move(size)),
      material_(std::move(material)) {
  job_.task = definition.task;
  job_.coding = definition.coding;
  job_.denominator = definition.denominator;
  job_.smooth = definition.smooth;
  job_.channels = definition.content == kGray || definition.content == kWords ? 1 : 3;
  job_.bits = definition.content == kWords ? 16 : 8;
  const Codecs &all = codecs();
  const auto add = [this](const Codec *codec) {
    if (codec != nullptr && codec->can(job_)) sides_.push_back({codec, {}});
  };
  add(all.ours);
  if (builds) {
    add(all.base);
    return;
  }
  for (const Codec *codec : {all.libjpeg, all.newLibjpeg, all.avcodec, all.dcmtk}) add(codec);
}

bool Workload::call(Side *side) const {
  bool good = true;
  for (size_t i = 0; i < side->outputs.size(); i++) {
    Output *out = &side->outputs[i];
    good = good && (job_.task == kEncode ? side->codec->encode(job_, (*inputs_)[i], out)
                                         : side->codec->decode(job_, streams_[i], out));
  }
  return good;
}

// Both sides decode the same streams: libjpeg's, lossless ones the library's.
bool Workload::makeStreams() {
  const Codecs &all = codecs();
  const Codec *encoder = job_.lossless() ? all.ours : all.libjpeg;
  for (const Picture &picture : *inputs_) {
    Output stream;
    if (!encoder->encode(job_, picture, &stream)) return false;
    stream.bytes.resize(stream.size);
    streams_.push_back(std::move(stream.bytes));
  }
  return true;
}

bool Workload::makeInput() {
  if (job_.task == Task::kExifThumbnail) {
    streams_ = material_->exifFiles();
    return !streams_.empty();
  }
  inputs_ = picturesOf(definition_.content, size_, material_.get());
  for (const Picture &p : *inputs_) pixels_ += static_cast<double>(p.count());
  return job_.task == kEncode || makeStreams();
}

// The mean of the differences between the side's pixels and the library's.
double Workload::difference(const Side &side) const {
  double sum = 0;
  for (size_t i = 0; i < side.outputs.size(); i++) {
    const Output &a = sides_[0].outputs[i], &b = side.outputs[i];
    if (a.size == 0 || a.size != b.size) return kNever;
    sum += meanDifference(a.bytes, b.bytes.data(), a.size);
  }
  return sum / static_cast<double>(side.outputs.size());
}

// The mean difference between the pictures and the side's streams as another codec decodes them.
double Workload::loss(const Side &side) const {
  Job decoding = job_;
  decoding.task = kDecode;
  const Codec *decoder = decoderOf(decoding, side.codec);
  if (decoder == nullptr) return kNever;
  double sum = 0;
  for (size_t i = 0; i < side.outputs.size(); i++) {
    const Picture &input = (*inputs_)[i];
    Output stream = side.outputs[i], pixels;
    stream.bytes.resize(stream.size);
    if (!decoder->decode(decoding, stream.bytes, &pixels)) return kNever;
    if (pixels.size != input.pixels.size()) return kNever;
    sum += meanDifference(pixels.bytes, input.pixels.data(), pixels.size);
  }
  return sum / static_cast<double>(side.outputs.size());
}

bool Workload::sizesAgree(const Side &side) const {
  const double ratio =
      static_cast<double>(codedBytes(side)) / static_cast<double>(codedBytes(sides_[0]));
  // A stream with colour differences may be much shorter.
  const double most = side.codec == codecs().avcodec ? 4 : job_.lossless() ? 1.4 : 1.15;
  return ratio > 1 / most && ratio < most;
}

// Checks that the codecs did the same work. Lossless pictures must agree exactly, others within 8
// levels, since the library's inverse transform rounds differently (docs/quality.md) and these
// pictures are sharp. Encoders' streams must have about the same size, unless one of them uses
// optimised codes, and at most twice the error of libjpeg's. libavcodec's encoder codes colour
// differences, which no other decoder undoes, so only its size is checked.
bool Workload::agreesWith(const Side &other) const {
  if (job_.task != kEncode) return difference(other) <= (job_.lossless() ? 0 : 8);
  if (!sizesAgree(other)) return false;
  if (other.codec == codecs().avcodec) return true;
  const double lost = loss(other);
  return lost < kNever && lost <= (job_.lossless() ? 0 : 2 * loss(sides_.back()) + 1);
}

bool Workload::agree() {
  for (const Side &side : sides_) {
    if (agreesWith(side)) continue;
    std::fprintf(stderr, "%s, %s: %s gives something else\n", name_.c_str(), size_.c_str(),
                 side.codec->name);
    return false;
  }
  return true;
}

bool Workload::prepare() {
  pixels_ = 0;
  streams_.clear();
  if (!makeInput()) {
    std::fprintf(stderr, "%s, %s: no input\n", name_.c_str(), size_.c_str());
    return false;
  }
  for (Side &side : sides_) {
    side.outputs.assign(pictures(), Output());
    if (!call(&side)) {
      std::fprintf(stderr, "%s, %s: %s fails\n", name_.c_str(), size_.c_str(), side.codec->name);
      return false;
    }
  }
  if (!agree()) return false;
  for (Side &side : sides_) {
    for (Output &out : side.outputs) out.keep = false;
  }
  if (job_.task == Task::kExifThumbnail) {
    for (const Output &out : sides_[0].outputs) pixels_ += static_cast<double>(out.size) / 3;
  }
  return true;
}

void Workload::release() {
  for (Side &side : sides_) side.outputs = {};
  streams_ = {};
  inputs_.reset();
}

size_t Workload::codedBytes(const Side &side) const {
  size_t sum = 0;
  for (const Bytes &stream : streams_) sum += stream.size();
  if (!streams_.empty()) return sum;
  for (const Output &out : side.outputs) sum += out.size;
  return sum;
}

namespace {

// Adds workloads to a list.
struct Maker {
  std::shared_ptr<Material> material;
  Choice choice;
  std::vector<Workload> *list;

  void add(const Definition &d, const std::string &size) const {
    if (d.task == Task::kExifThumbnail && material->exifFiles().empty()) return;
    if (choice == Choice::kQuick && !isQuick(d.name)) return;
    list->emplace_back(d, size, material, choice == Choice::kQuick);
  }
  void addNamed(Definition d, const std::string &name, const std::string &size) const {
    add(d, size);
    list->back().rename((d.task == kEncode ? "encode " : "decode ") + name);
  }
  // Decoding and encoding.
  void addBoth(Definition d, const std::string &name, const std::string &size) const {
    d.task = kDecode;
    addNamed(d, name, size);
    d.task = kEncode;
    addNamed(d, name, size);
  }
};

std::string square(uint32_t side) { return std::to_string(side) + " x " + std::to_string(side); }

std::string qualityName(int quality) { return " q" + std::to_string(quality); }

// The table's workloads, or some of them.
void addTable(const Maker &maker) {
  const bool all = maker.choice == Choice::kAll, quick = maker.choice == Choice::kQuick;
  for (const uint32_t side : kSmallSides) {
    if (quick && side != 16) continue;
    for (const Definition &d : kSmall) maker.add(d, square(side));
  }
  for (const Definition &d : kThumbnails) maker.add(d, "160 x 120");
  for (const Definition &d : kContents) maker.add(d, "1.0 MP");
  for (const SheetSize &size : kSheetSizes) {
    if (!all && &size != &kSheetSizes[quick ? 1 : 0]) continue;
    for (const Definition &d : kPhotographs) maker.add(d, size.label);
  }
}

void addSizes(const Maker &maker) {
  const Definition d = {"", kDecode, kPhoto, {90, k420}, 1};
  for (const uint32_t side : {8U, 16U, 32U, 64U, 128U, 256U}) {
    maker.addBoth(d, "4:2:0 q90", square(side));
  }
  for (const SheetSize &size : kSheetSizes) maker.addBoth(d, "4:2:0 q90", size.label);
  maker.addBoth(d, "4:2:0 q90", kLargestSheet.label);
}

struct Layout {
  const char *name;
  uint32_t sampling;
  Content content;
};
constexpr Layout kLayouts[] = {{"4:2:0", k420, kPhoto},
                               {"4:2:2", k422, kPhoto},
                               {"4:4:4", k444, kPhoto},
                               {"grey", kOne, kGray}};

// Layouts and qualities of photographs, restarts, progressive and reduced ones.
void addManyPhotographs(const Maker &maker, const std::string &size) {
  for (const Layout &layout : kLayouts) {
    for (const int q : {50, 75, 85, 90, 95, 98}) {
      maker.addBoth({"", kDecode, layout.content, {q, layout.sampling}, 1},
                    layout.name + qualityName(q), size);
    }
  }
  for (const Layout &layout : {kLayouts[0], kLayouts[2]}) {
    for (const int q : {75, 95}) {
      const std::string name = layout.name + qualityName(q);
      maker.addNamed({"", kDecode, kPhoto, {q, layout.sampling, kSeq, true}, 1},
                     name + ", restarts", size);
      maker.addNamed({"", kDecode, kPhoto, {q, layout.sampling, Scans::kProgressive}, 1},
                     "progressive " + name, size);
      for (const uint32_t part : {2U, 4U, 8U}) {
        maker.addNamed({"", kDecode, kPhoto, {q, layout.sampling}, 1, part},
                       name + " at 1/" + std::to_string(part), size);
      }
    }
  }
}

void addMany(const Maker &maker) {
  for (const uint32_t side : kSmallSides) {
    maker.addBoth({"", kDecode, kPhoto, {90, k420}, 1}, "4:2:0 q90", square(side));
  }
  for (const SheetSize &size : kSheetSizes) addManyPhotographs(maker, size.label);
  for (const Layout &layout : {kLayouts[0], kLayouts[2]}) {
    for (const int q : {75, 90, 98}) {
      const std::string name = layout.name + qualityName(q);
      maker.addBoth({"", kDecode, kNoise, {q, layout.sampling}, 1}, "noise " + name, "1.0 MP");
      maker.addBoth({"", kDecode, kScreen, {q, layout.sampling}, 1}, "screen " + name, "1.0 MP");
    }
  }
}

}  // namespace

std::vector<Workload> makeWorkloads(const std::string &corpus, const std::string &kept,
                                    Choice choice) {
  std::vector<Workload> list;
  const Maker maker = {std::make_shared<Material>(corpus, kept), choice, &list};
  if (choice == Choice::kSizes) {
    addSizes(maker);
  } else if (choice == Choice::kMany) {
    addMany(maker);
  } else {
    addTable(maker);
  }
  return list;
}

}  // namespace jpgbench
