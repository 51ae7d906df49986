#include "workloads.h"

#include <cstdio>
#include <memory>

#include "library.h"
#include "losslessYardstick.h"
#include "yardstick.h"

namespace jpgbench {
namespace {

constexpr uint32_t k420 = 0x00221111, k444 = 0x00111111;

class List {
 public:
  // Both sides decode the same stream, made by libjpeg.
  void decode(const std::string &name, const std::shared_ptr<Picture> &picture,
              const Coding &coding, uint32_t denominator, double must) {
    auto stream = std::make_shared<Bytes>();
    add(
        name, *picture, must, [=] { return encodeWithLibjpeg(*picture, coding, stream.get()); },
        [stream, denominator](Bytes *out) { return decodeWithLibrary(*stream, denominator, out); },
        [stream, denominator](Bytes *out) { return decodeWithLibjpeg(*stream, denominator, out); });
  }
  void encode(const std::string &name, const std::shared_ptr<Picture> &picture,
              const Coding &coding, double must) {
    add(
        name, *picture, must, [] { return true; },
        [=](Bytes *out) { return encodeWithLibrary(*picture, coding, out); },
        [=](Bytes *out) { return encodeWithLibjpeg(*picture, coding, out); });
  }
  void lossless(const std::string &name, const std::shared_ptr<Picture> &picture) {
    constexpr int kPredictor = 1;
    constexpr double kMust = 2;
    auto stream = std::make_shared<Bytes>();
    add(
        "decode lossless " + name, *picture, kMust,
        [=] { return encodeLosslesslyWithLibrary(*picture, kPredictor, stream.get()); },
        [stream](Bytes *out) { return decodeWithLibrary(*stream, 1, out); },
        [stream](Bytes *out) { return decodeWithAvcodec(*stream, out); });
    const auto theirs = picture->bits > 8 ? encodeWithDcmtk : encodeWithAvcodec;
    add(
        "encode lossless " + name, *picture, kMust, [] { return true; },
        [=](Bytes *out) { return encodeLosslesslyWithLibrary(*picture, kPredictor, out); },
        [=](Bytes *out) { return theirs(*picture, kPredictor, out); });
  }
  std::vector<Workload> take() { return std::move(list_); }

 private:
  template <typename Prepare, typename Ours, typename Theirs>
  void add(const std::string &name, const Picture &picture, double must, Prepare prepare, Ours ours,
           Theirs theirs) {
    char size[32];
    std::snprintf(size, sizeof(size), "%.*f MP", picture.megapixels() < 0.1 ? 2 : 1,
                  picture.megapixels());
    // Each side keeps its buffer from call to call.
    auto a = std::make_shared<Bytes>(), b = std::make_shared<Bytes>();
    list_.push_back({name, size, picture.megapixels(), must, prepare, [=] { return ours(a.get()); },
                     [=] { return theirs(b.get()); }});
  }
  std::vector<Workload> list_;
};

void addSizes(List *list, const std::string &folder, double megapixels) {
  const auto color = std::make_shared<Picture>(photographOf(folder, megapixels));
  const auto gray = std::make_shared<Picture>(toGray(*color));
  list->decode("decode 4:2:0 q75", color, {75, k420, false}, 1, 1);
  list->decode("decode 4:2:0 q90", color, {90, k420, false}, 1, 1);
  list->decode("decode 4:4:4 q90", color, {90, k444, false}, 1, 1);
  list->decode("decode grey q90", gray, {90, 0x11, false}, 1, 1);
  list->decode("decode progressive 4:2:0 q90", color, {90, k420, true}, 1, 1);
  for (const uint32_t denominator : {2U, 4U, 8U}) {
    list->decode("decode 4:2:0 q90 at 1/" + std::to_string(denominator), color, {90, k420, false},
                 denominator, 1.1);
  }
  for (const uint32_t sampling : {k420, k444}) {
    for (const int quality : {75, 90}) {
      const std::string name = sampling == k420 ? "encode 4:2:0 q" : "encode 4:4:4 q";
      list->encode(name + std::to_string(quality), color, {quality, sampling, false}, 1);
    }
  }
  list->lossless("8 bits x 3", color);
  list->lossless("16 bits x 1", std::make_shared<Picture>(toWords(*color)));
}

}  // namespace

std::vector<Workload> makeWorkloads(const std::string &folder, const std::vector<double> &sizes) {
  List list;
  const auto thumbnail = std::make_shared<Picture>(cropped(photographOf(folder, 0.3), 200, 150));
  list.decode("thumbnail 4:2:0 q75", thumbnail, {75, k420, false}, 1, 1.5);
  for (const double megapixels : sizes) addSizes(&list, folder, megapixels);
  return list.take();
}

}  // namespace jpgbench
