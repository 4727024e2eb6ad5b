#include "base/message.h"

#include <cstdio>
#include <cstring>

namespace qx {

namespace {

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

size_t Utf8CutLength(std::string_view text, size_t maxBytes) {
  if (text.size() <= maxBytes) return text.size();
  size_t length = maxBytes;
  while (length > 0 && IsContinuation(text[length])) --length;
  return length;
}

void Message::SetV(const char* format, va_list arguments) const {
  if (size_ == 0) return;
  va_list again;
  va_copy(again, arguments);
  const int wanted = std::vsnprintf(buffer_, size_, format, arguments);
  if (wanted < 0) {
    buffer_[0] = '\0';
  } else if (static_cast<size_t>(wanted) >= size_) {
    // vsnprintf cut between bytes. Only the byte after the cut tells whether a character was split, so format once more with room for it.
    char probe[2048];
    const bool probed = size_ < sizeof(probe) && std::vsnprintf(probe, size_ + 1, format, again) >= 0;
    const size_t kept = probed ? Utf8CutLength(std::string_view(probe, size_), size_ - 1) : Utf8CutLength(buffer_, size_ - 1);
    buffer_[kept] = '\0';
  }
  va_end(again);
}

void Message::Set(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  SetV(format, arguments);
  va_end(arguments);
}

int Message::Fail(const char* format, ...) const {
  va_list arguments;
  va_start(arguments, format);
  SetV(format, arguments);
  va_end(arguments);
  return -1;
}

void Message::Clear() const {
  if (size_ > 0) buffer_[0] = '\0';
}

}  // namespace qx
