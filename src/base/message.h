// The message that goes with a failed operation: short English text in a buffer of the caller.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string_view>

#if defined(__MINGW32__)
#define QX_PRINTF(formatIndex, firstArg) __attribute__((format(gnu_printf, formatIndex, firstArg)))
#else
#define QX_PRINTF(formatIndex, firstArg) __attribute__((format(printf, formatIndex, firstArg)))
#endif

namespace qx {

/// Length of the longest prefix of `text` that has at most `maxBytes` bytes and does not split a UTF-8 character. When the cut would fall
/// inside a character, that whole character is left out.
size_t Utf8CutLength(std::string_view text, size_t maxBytes);

/// A view of a caller's message buffer. Copies share the buffer. Buffer and size may be null and 0: writing is then a no-op.
/// Text that does not fit is cut at a UTF-8 character boundary; the buffer is always zero-terminated. Not thread-safe.
class Message {
 public:
  Message() = default;
  Message(char* buffer, size_t size) : buffer_(buffer), size_(buffer != nullptr ? size : 0) {}

  /// Replaces the text and returns -1, so that a failing operation can end with `return message.Fail(...)`.
  int Fail(const char* format, ...) const QX_PRINTF(2, 3);
  /// Replaces the text: for warnings that go with a success.
  void Set(const char* format, ...) const QX_PRINTF(2, 3);
  void SetV(const char* format, va_list arguments) const;
  void Clear() const;

  /// The current text; "" without a buffer.
  const char* text() const { return size_ > 0 ? buffer_ : ""; }
  bool empty() const { return text()[0] == '\0'; }

 private:
  char* buffer_ = nullptr;
  size_t size_ = 0;
};

/// A message together with its own storage of N bytes (terminator included).
template <size_t N>
class MessageBuffer {
 public:
  MessageBuffer() { storage_[0] = '\0'; }
  operator Message() { return Message(storage_, N); }
  Message view() { return Message(storage_, N); }
  const char* text() const { return storage_; }
  bool empty() const { return storage_[0] == '\0'; }
  void Clear() { storage_[0] = '\0'; }

 private:
  char storage_[N];
};

}  // namespace qx
