// SPDX-License-Identifier: MIT
// The workloads: a table of jobs, each done by the library and by other codecs.
#ifndef JPG_BENCH_WORKLOADS_H
#define JPG_BENCH_WORKLOADS_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "codec.h"
#include "material.h"

namespace jpgbench {

// One line of the table.
struct Definition {
  const char *name;  // "decode 4:2:0 q90"
  Task task;
  Content content;
  Coding coding;
  double must;  // the ratio that the library must reach
  uint32_t denominator = 1;
  bool smooth = false;
};

// A codec in a workload: its results, one per picture.
struct Side {
  const Codec *codec;
  std::vector<Output> outputs;
};

class Workload {
 public:
  // `builds` compares the library with another build of it, not with other codecs.
  Workload(const Definition &definition, std::string size, std::shared_ptr<Material> material,
           bool builds);
  void rename(std::string name) { name_ = std::move(name); }

  const std::string &name() const { return name_; }
  const std::string &size() const { return size_; }
  double must() const { return definition_.must; }
  bool lossless() const { return definition_.coding.predictor > 0; }
  // The codecs that can do the job, the library first.
  std::vector<Side> &sides() { return sides_; }

  // Makes the input and does the first calls, whose results must agree between the codecs.
  // Prints errors to stderr.
  bool prepare();
  // Frees the memory of prepare() and of the calls.
  void release();
  // Does the job for all of the pictures.
  bool call(Side *side) const;
  // Pixels of all pictures; known after prepare().
  double pixels() const { return pixels_; }
  size_t pictures() const { return streams_.empty() ? inputs_->size() : streams_.size(); }
  // The coded bytes of all pictures: the decoder's input, or the side's output.
  size_t codedBytes(const Side &side) const;

 private:
  bool makeInput();
  bool makeStreams();
  bool agree();
  bool agreesWith(const Side &other) const;
  double difference(const Side &side) const;
  double loss(const Side &side) const;
  bool sizesAgree(const Side &side) const;

  Definition definition_;
  std::string name_, size_;
  std::shared_ptr<Material> material_;
  Job job_;
  Pictures inputs_;
  std::vector<Bytes> streams_;
  std::vector<Side> sides_;
  double pixels_ = 0;
};

// Which workloads: the table's; of these one size of photographs, as for counting instructions; a
// few for comparing two builds; two at sizes from 8 x 8 pixels to 100 megapixels; or some two
// hundred combinations of sizes, layouts, qualities and contents.
enum class Choice { kAll, kOneSize, kQuick, kSizes, kMany };

// `corpus` and `kept` as for Material.
std::vector<Workload> makeWorkloads(const std::string &corpus, const std::string &kept,
                                    Choice choice);

}  // namespace jpgbench

#endif
