// Boxes of an MP4 file in memory: a size, a type of four characters, contents.
#pragma once

#include <cstdint>
#include <optional>

#include "base/byte_reader.h"

namespace qx {

constexpr uint32_t BoxType(const char (&text)[5]) {
  return uint32_t(uint8_t(text[0])) << 24 | uint32_t(uint8_t(text[1])) << 16 | uint32_t(uint8_t(text[2])) << 8 | uint32_t(uint8_t(text[3]));
}

struct BoxHead {
  uint32_t type = 0;
  uint64_t headBytes = 0, totalBytes = 0;
};

/// The head of the box at the start of `bytes`, of which `left` bytes (more than `bytes` when these are only the beginning) belong to the
/// parent. Nothing when it does not fit its parent. A size of 0 reaches to the parent's end.
inline std::optional<BoxHead> ReadBoxHead(Bytes bytes, uint64_t left) {
  ByteReader in(bytes);
  const uint32_t size = in.U32Be();
  BoxHead head{in.U32Be(), 8, size == 0 ? left : size};
  if (size == 1) head = {head.type, 16, in.U64Be()};
  if (!in.ok() || head.totalBytes < head.headBytes || head.totalBytes > left) return std::nullopt;
  return head;
}

struct Box {
  uint32_t type = 0;
  Bytes contents;
};

/// Takes the next child off the front of `rest`; nothing at the end and at the first box that does not fit. Each step gets shorter, so
/// walking all children is linear in their bytes.
inline std::optional<Box> NextBox(Bytes* rest) {
  const std::optional<BoxHead> head = ReadBoxHead(*rest, rest->size());
  if (!head) return std::nullopt;
  const Box box{head->type, rest->subspan(size_t(head->headBytes), size_t(head->totalBytes - head->headBytes))};
  *rest = rest->subspan(size_t(head->totalBytes));
  return box;
}

/// Contents of the first child of a type; nothing when there is none.
inline std::optional<Bytes> FindBox(Bytes parent, uint32_t type) {
  while (const std::optional<Box> box = NextBox(&parent)) {
    if (box->type == type) return box->contents;
  }
  return std::nullopt;
}

}  // namespace qx
