// Checks of option values, in words of our own: the library's range checks print limits with up to 309 digits.
#pragma once

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <string>

namespace tool {

template <typename Number>
bool ReadNumber(const std::string& text, Number* number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
  return error == std::errc() && stop == text.data() + text.size();
}

inline CLI::Validator WholeNumber(int64_t least, int64_t most) {
  const std::string range = most == INT64_MAX ? fmt::format("{} or more", least) : fmt::format("{} to {}", least, most);
  return CLI::Validator(
      [=](std::string& text) {
        int64_t number = 0;
        const bool fits = ReadNumber(text, &number) && number >= least && number <= most;
        return fits ? std::string() : fmt::format("\"{}\" is not a whole number ({})", text, range);
      },
      range);
}

inline CLI::Validator FrameRate() {
  return CLI::Validator(
      [](std::string& text) {
        double number = 0;
        const bool fits = ReadNumber(text, &number) && std::isfinite(number) && number >= 0.1 && number <= 1000;
        return fits ? std::string() : fmt::format("\"{}\" is not a rate (0.1 to 1000 frames a second)", text);
      },
      "0.1 to 1000");
}

inline CLI::Validator PictureName() {
  return CLI::Validator(
      [](std::string& text) {
        const std::string extension = std::filesystem::path(text).extension().string();
        const bool known = extension == ".png" || extension == ".ppm" || extension == ".raw";
        return known ? std::string() : fmt::format("\"{}\" does not end in .png, .ppm or .raw", text);
      },
      "");
}

}  // namespace tool
