// SPDX-License-Identifier: MIT
#include "model/encoderTables.h"

#include <algorithm>
#include <cstdlib>

namespace jpgtest {
namespace {

// ---- Tables of T.81 Annex K -----------------------------------------------

constexpr int kLuminance[8][8] = {
    {16, 11, 10, 16, 24, 40, 51, 61},     {12, 12, 14, 19, 26, 58, 60, 55},
    {14, 13, 16, 24, 40, 57, 69, 56},     {14, 17, 22, 29, 51, 87, 80, 62},
    {18, 22, 37, 56, 68, 109, 103, 77},   {24, 35, 55, 64, 81, 104, 113, 92},
    {49, 64, 78, 87, 103, 121, 120, 101}, {72, 92, 95, 98, 112, 100, 103, 99}};

// K.2 is 99 outside its corner.
int chrominance(int row, int column) {
  constexpr int kCorner[4][4] = {
      {17, 18, 24, 47}, {18, 21, 26, 66}, {24, 26, 56, 99}, {47, 66, 99, 99}};
  return row < 4 && column < 4 ? kCorner[row][column] : 99;
}

}  // namespace

std::vector<ZigZagPlace> zigZag() {
  std::vector<ZigZagPlace> places;
  int row = 0, column = 0;
  bool up = true;
  for (int k = 0; k < 64; k++) {
    places.push_back({row, column});
    if (up) {
      if (column == 7) {
        row++;
        up = false;
      } else if (row == 0) {
        column++;
        up = false;
      } else {
        row--;
        column++;
      }
    } else if (row == 7) {
      column++;
      up = true;
    } else if (column == 0) {
      row++;
      up = true;
    } else {
      row++;
      column--;
    }
  }
  return places;
}

namespace {

std::vector<int> parseHex(const std::string &text) {
  std::vector<int> out;
  for (size_t i = 0; i + 1 < text.size(); i += 2)
    out.push_back(std::stoi(text.substr(i, 2), nullptr, 16));
  return out;
}

std::vector<int> categories() { return {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}; }

}  // namespace

const AnnexKTable &annexK(bool ac, int id) {
  static const AnnexKTable kDc0 = {{0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0}, categories()};
  static const AnnexKTable kDc1 = {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0}, categories()};
  static const AnnexKTable kAc0 = {
      {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
      parseHex("0102030004110512213141061351610722711432819"
               "1A1082342B1C11552D1F02433627282090A161718191A25262728292A3435363738393A434445464"
               "748494A535455565758595A636465666768696A737475767778797A838485868788898A929394959"
               "69798999AA2A3A4A5A6A7A8A9AAB2B3B4B5B6B7B8B9BAC2C3C4C5C6C7C8C9CAD2D3D4D5D6D7D8D9D"
               "AE1E2E3E4E5E6E7E8E9EAF1F2F3F4F5F6F7F8F9FA")};
  static const AnnexKTable kAc1 = {
      {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119},
      parseHex("0001020311040521310612415107617113223281081442"
               "91A1B1C109233352F0156272D10A162434E125F11718191A262728292A35363738393A4344454647"
               "48494A535455565758595A636465666768696A737475767778797A82838485868788898A92939495"
               "969798999AA2A3A4A5A6A7A8A9AAB2B3B4B5B6B7B8B9BAC2C3C4C5C6C7C8C9CAD2D3D4D5D6D7D8D9"
               "DAE2E3E4E5E6E7E8E9EAF2F3F4F5F6F7F8F9FA")};
  if (ac) return id == 0 ? kAc0 : kAc1;
  return id == 0 ? kDc0 : kDc1;
}

std::map<int, std::string> codeWords(const AnnexKTable &from) {
  std::map<int, std::string> words;
  unsigned code = 0;
  size_t next = 0;
  for (unsigned length = 1; length <= 16; length++) {
    for (int i = 0; i < from.counts[length - 1]; i++) {
      std::string word;
      for (unsigned bit = length; bit > 0; bit--) word += (code >> (bit - 1) & 1) != 0 ? '1' : '0';
      words[from.symbols[next++]] = word;
      code++;
    }
    code *= 2;
  }
  return words;
}

int quantStep(int quality, int table, const ZigZagPlace &p) {
  const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  const int base = table == 0 ? kLuminance[p.row][p.column] : chrominance(p.row, p.column);
  const int value = (base * scale + 50) / 100;
  return value == 0 ? 1 : std::min(value, 255);
}

std::string additionalBits(int value, int *category) {
  *category = 0;
  for (int m = std::abs(value); m != 0; m /= 2) ++*category;
  const int raw = value < 0 ? value + (1 << *category) - 1 : value;
  std::string text;
  for (int bit = *category - 1; bit >= 0; bit--) text += (raw >> bit & 1) != 0 ? '1' : '0';
  return text;
}

}  // namespace jpgtest
