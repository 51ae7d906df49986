// SPDX-License-Identifier: MIT
// The getters, which serve write handles too.
#include "whole/state/arguments.h"
#include "whole/state/machine.h"

namespace jpgtest {
namespace {

// The model's getters; both models have them all.
template <typename Model>
uint32_t getFrom(Model *model, const Call &call, uint32_t *first, uint32_t *second) {
  switch (call.op) {
    case Op::kReadGetCodingProcess:
      return model->getCodingProcess(first);
    case Op::kReadGetImageSize:
      return model->getImageSize(first, second);
    case Op::kReadGetNumberOfChannels:
      return model->getNumberOfChannels(first);
    case Op::kReadGetSamplePrecision:
      return model->getSamplePrecision(first);
    default:
      return model->getScaledSize(first, second, call.a[1]);
  }
}

uint32_t get(JPGHANDLE h, const Call &call, uint32_t *first, uint32_t *second) {
  switch (call.op) {
    case Op::kReadGetCodingProcess:
      return jpgReadGetCodingProcess(h, first);
    case Op::kReadGetImageSize:
      return jpgReadGetImageSize(h, first, second);
    case Op::kReadGetNumberOfChannels:
      return jpgReadGetNumberOfChannels(h, first);
    case Op::kReadGetSamplePrecision:
      return jpgReadGetSamplePrecision(h, first);
    default:
      return jpgReadScaleOutputGetImageSize(h, first, second, call.a[1]);
  }
}

bool isGetter(Op op) {
  return (op >= Op::kReadGetCodingProcess && op <= Op::kReadGetSamplePrecision) ||
         op == Op::kReadScaleOutputGetImageSize;
}

}  // namespace

bool Machine::getting(const Call &call) {
  if (!isGetter(call.op)) return false;
  const int32_t nulls = call.op == Op::kReadScaleOutputGetImageSize ? call.a[2] : call.a[1];
  uint32_t want[2] = {kPattern, kPattern}, have[2] = {kPattern, kPattern};
  uint32_t expected = JPG_E_INVALID_HANDLE;
  uint32_t *first = orNull(&want[0], nulls, 0), *second = orNull(&want[1], nulls, 1);
  if (ReaderState *r = reader(call.a[0]); r != nullptr) expected = getFrom(r, call, first, second);
  if (WriterState *w = writer(call.a[0]); w != nullptr) expected = getFrom(w, call, first, second);
  sameResult(expected,
             get(handle(call.a[0]), call, orNull(&have[0], nulls, 0), orNull(&have[1], nulls, 1)));
  same("first output", want[0], have[0]);
  same("second output", want[1], have[1]);
  return true;
}

}  // namespace jpgtest
