// SPDX-License-Identifier: MIT
// The division that the ARMv7 build brings along, against the machine's.
#include "platform/device/divide.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Powers of two, their neighbours, and some numbers between them.
template <typename Word>
std::vector<Word> numbers() {
  std::vector<Word> out;
  for (unsigned bit = 0; bit < 8 * sizeof(Word); bit++) {
    const auto power = static_cast<Word>(Word{1} << bit);
    out.push_back(power - 1);
    out.push_back(power);
    out.push_back(power + 1);
    out.push_back(power / 7 * 5);
  }
  out.push_back(static_cast<Word>(-1));
  out.push_back(1000000007U);
  return out;
}

template <typename Word>
void expectQuotientsOfTheMachine() {
  for (const Word dividend : numbers<Word>()) {
    for (const Word divisor : numbers<Word>()) {
      if (divisor == 0) continue;
      const jpg::Divided<Word> d = jpg::divide(dividend, divisor);
      ASSERT_EQ(d.quotient, dividend / divisor) << dividend << " / " << divisor;
      ASSERT_EQ(d.remainder, dividend % divisor) << dividend << " / " << divisor;
    }
  }
}

TEST(Divide, WordsAreDividedAsTheMachineDoes) { expectQuotientsOfTheMachine<uint32_t>(); }

TEST(Divide, DoubleWordsAreDividedAsTheMachineDoes) { expectQuotientsOfTheMachine<uint64_t>(); }

}  // namespace
