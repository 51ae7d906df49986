// SPDX-License-Identifier: MIT
// The accurate transform by the procedure of IEEE 1180-1990: random blocks go through an exact
// forward transform, are rounded to integers, and come back by an exact inverse transform and by
// the kernel.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "kernels/kernelSets.h"

namespace {

using jpgtest::KernelTest;

using Numbers = std::array<double, 64>;

// The procedure's own generator of numbers.
class ProcedureRandom {
 public:
  // A whole number of -least .. most.
  int between(int least, int most) {
    state_ = state_ * 1103515245U + 12345U;
    const double part = double(state_ & 0x7FFFFFFE) / double(0x7FFFFFFF);
    return static_cast<int>(part * (least + most + 1)) - least;
  }

 private:
  uint32_t state_ = 1;
};

// Entry [u][x]: what the frequency u has at the place x.
std::array<std::array<double, 8>, 8> waves() {
  std::array<std::array<double, 8>, 8> wave;
  for (size_t u = 0; u < 8; u++) {
    for (size_t x = 0; x < 8; x++) {
      const double angle = (2 * double(x) + 1) * double(u) * std::acos(-1.0) / 16;
      wave[u][x] = (u == 0 ? std::sqrt(0.125) : 0.5) * std::cos(angle);
    }
  }
  return wave;
}

// Both dimensions, forward or inverse, in floating point.
Numbers transformed(const Numbers &in, bool forward) {
  static const auto wave = waves();
  const auto weight = [&](size_t to, size_t from) {
    return forward ? wave[to][from] : wave[from][to];
  };
  Numbers rows = {}, out = {};
  for (size_t i = 0; i < 64; i++) {
    for (size_t k = 0; k < 8; k++) rows[i] += in[i / 8 * 8 + k] * weight(i % 8, k);
  }
  for (size_t i = 0; i < 64; i++) {
    for (size_t k = 0; k < 8; k++) out[i] += rows[8 * k + i % 8] * weight(i / 8, k);
  }
  return out;
}

int rounded(double v, int least, int most) {
  return std::clamp(static_cast<int>(std::floor(v + 0.5)), least, most);
}

struct Errors {
  int peak = 0;
  double worstMeanSquare = 0, meanSquare = 0, worstMean = 0, mean = 0;
};

// A range of samples, and the numbers that go in: of -least .. most, times sign.
struct Series {
  int least, most, sign;
  int leastSample, mostSample;
};

constexpr int kBlocks = 10000;

Errors errorsOf(jpg::InverseKernel kernel, const Series &s) {
  ProcedureRandom random;
  Numbers squares = {}, sums = {};
  Errors errors;
  for (int n = 0; n < kBlocks; n++) {
    Numbers in;
    for (double &v : in) v = s.sign * random.between(s.least, s.most);
    Numbers coefs = transformed(in, true);
    std::array<int16_t, 64> block;
    for (size_t i = 0; i < 64; i++) {
      coefs[i] = rounded(coefs[i], -2048, 2047);
      block[i] = static_cast<int16_t>(coefs[i]);
    }
    const Numbers exact = transformed(coefs, false);
    kernel(block.data(), 63);
    for (size_t i = 0; i < 64; i++) {
      const int made = std::clamp<int>(block[i], s.leastSample, s.mostSample);
      const int error = made - rounded(exact[i], s.leastSample, s.mostSample);
      errors.peak = std::max(errors.peak, std::abs(error));
      squares[i] += error * error;
      sums[i] += error;
    }
  }
  for (size_t i = 0; i < 64; i++) {
    errors.worstMeanSquare = std::max(errors.worstMeanSquare, squares[i] / kBlocks);
    errors.worstMean = std::max(errors.worstMean, std::abs(sums[i]) / kBlocks);
    errors.meanSquare += squares[i] / (64 * kBlocks);
    errors.mean += sums[i] / (64 * kBlocks);
  }
  return errors;
}

class Accuracy : public KernelTest {
 protected:
  jpg::InverseKernel kernelOf(jpg::Transform transform) const {
    return tested_->inverseTransform[static_cast<uint32_t>(transform)][3];
  }
};

void expectWithinTheLimits(jpg::InverseKernel kernel, int leastSample, int mostSample) {
  constexpr int kRanges[][2] = {{256, 255}, {5, 5}, {300, 300}};
  for (const auto &range : kRanges) {
    for (const int sign : {1, -1}) {
      const Errors e = errorsOf(kernel, {range[0], range[1], sign, leastSample, mostSample});
      const std::string what = std::to_string(range[0]) + ", sign " + std::to_string(sign);
      std::printf(
          "%s: peak %d, mean square %.4f at the worst place, %.4f over all; mean %.4f, "
          "%.5f\n",
          what.c_str(), e.peak, e.worstMeanSquare, e.meanSquare, e.worstMean, e.mean);
      EXPECT_LE(e.peak, 1) << what;
      EXPECT_LE(e.worstMeanSquare, 0.06) << what;
      EXPECT_LE(e.meanSquare, 0.02) << what;
      EXPECT_LE(e.worstMean, 0.015) << what;
      EXPECT_LE(std::abs(e.mean), 0.0015) << what;
    }
  }
}

// The procedure's samples have 9 bits, which samples of 12 bits hold.
TEST_P(Accuracy, OfTheWideTransformMeetsTheLimitsOfIeee1180) {
  expectWithinTheLimits(kernelOf(jpg::Transform::kWide), -256, 255);
}

// The same with our range of samples, to which both results are cut.
TEST_P(Accuracy, OfTheAccurateTransformMeetsTheLimitsOfIeee1180) {
  expectWithinTheLimits(kernelOf(jpg::Transform::kAccurate), -128, 127);
}

TEST_P(Accuracy, ZerosStayZerosByEachTransform) {
  for (const auto &transforms : tested_->inverseTransform) {
    std::array<int16_t, 64> block = {};
    transforms[3](block.data(), 63);
    EXPECT_EQ(block, (std::array<int16_t, 64>{}));
  }
}

// The figures tell transforms apart: the usual one is far outside of the limits.
TEST_P(Accuracy, OfTheUsualTransformIsFarFromTheLimits) {
  const Errors e = errorsOf(kernelOf(jpg::Transform::kUsual), {256, 255, 1, -128, 127});
  EXPECT_GT(e.peak, 10);
  EXPECT_GT(e.meanSquare, 1);
}

INSTANTIATE_TEST_SUITE_P(Sets, Accuracy, ::testing::ValuesIn(jpgtest::kernelSets()),
                         jpgtest::nameOfSet);

}  // namespace
