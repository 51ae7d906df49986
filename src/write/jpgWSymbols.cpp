// SPDX-License-Identifier: MIT
#include "write/jpgWSymbols.h"

#include "share/jpgAssert.h"
#include "write/jpgWMark.h"
#include "write/jpgWVLC.h"

namespace jpg {

SymbolWriter beginSymbols(JpgContext *c, const JpgHuffCode *codes, uint8_t *room) {
  const JpgStream &s = c->stream;
  return {c, codes, {s.bitBuffer, kBitBufferSize - s.bitCount, room, room, room}};
}

Result finishSymbols(SymbolWriter *writer) { return endRun(writer->c, writer->run); }

Result SymbolWriter::endMcu() {
  const auto bytes = static_cast<uint32_t>(run.out - run.begin);
  JPG_ASSERT(bytes <= kGatherRoom);
  if (bytes < kGatheredBytes) return JPG_OK;
  run.out = run.begin;
  return writeBytes(c, run.begin, bytes);
}

Result SymbolWriter::restart() {
  if (const Result r = finishSymbols(this); r != JPG_OK) return r;
  const Result r = writeRestart(c);
  *this = beginSymbols(c, codes, run.begin);
  return r;
}

}  // namespace jpg
