// Matching lines against patterns as they are printed: "frames {} of {}".
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

namespace line_pattern {

/// Takes the pattern up to its next "{}" (or its end) off both.
inline bool TakeLiteral(std::string_view* text, std::string_view* pattern) {
  const size_t field = pattern->find("{}");
  const std::string_view literal = pattern->substr(0, field);
  if (!text->starts_with(literal)) return false;
  *text = text->substr(literal.size());
  *pattern = field == std::string_view::npos ? std::string_view() : pattern->substr(field + 2);
  return true;
}

template <typename Number>
bool TakeNumber(std::string_view* text, Number* number) {
  const auto [stop, error] = std::from_chars(text->data(), text->data() + text->size(), *number);
  if (error != std::errc()) return false;
  text->remove_prefix(size_t(stop - text->data()));
  return true;
}

inline bool TakeField(std::string_view* text, std::string_view, int64_t* number) {
  return TakeNumber(text, number);
}
inline bool TakeField(std::string_view* text, std::string_view, double* number) {
  return TakeNumber(text, number) && std::isfinite(*number);
}
/// As few characters as let the literal behind the field follow; all of them for a field at the pattern's end.
inline bool TakeField(std::string_view* text, std::string_view behind, std::string* field) {
  const std::string_view literal = behind.substr(0, behind.find("{}"));
  const size_t end = literal.empty() ? text->size() : text->find(literal);
  if (end == std::string_view::npos) return false;
  field->assign(text->substr(0, end));
  text->remove_prefix(end);
  return true;
}

}  // namespace line_pattern

/// True when `text` is the pattern with a field for each "{}"; the fields (int64_t, double, std::string) are then set. Two fields need a
/// literal between them.
template <typename... Fields>
bool MatchLine(std::string_view text, std::string_view pattern, Fields*... fields) {
  const bool matched = ((line_pattern::TakeLiteral(&text, &pattern) && line_pattern::TakeField(&text, pattern, fields)) && ...);
  return matched && line_pattern::TakeLiteral(&text, &pattern) && text.empty();
}

}  // namespace tool
