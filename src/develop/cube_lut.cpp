#include "develop/cube_lut.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <limits>
#include <optional>
#include <span>

namespace qx {

namespace {

constexpr size_t kTitleBytes = 127;
constexpr uint64_t kLargestInteger = 100000000;
// "0 0 0" and its line end.
constexpr uint64_t kShortestRowBytes = 6;

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}
bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

void SkipBlanks(std::string_view& text) {
  size_t count = 0;
  while (count < text.size() && IsBlank(text[count])) ++count;
  text.remove_prefix(count);
}

// Only blanks, or blanks and a comment.
bool IsEndOfLine(std::string_view text) {
  SkipBlanks(text);
  return text.empty() || text[0] == '#';
}

// Cuts the next line off `text`; its end is LF, CR, CR LF or the end of the text.
std::string_view TakeLine(std::string_view& text) {
  size_t end = 0;
  while (end < text.size() && text[end] != '\n' && text[end] != '\r') ++end;
  const std::string_view line = text.substr(0, end);
  const bool isCrLf = text.substr(end, 2) == "\r\n";
  text.remove_prefix(std::min(text.size(), end + (isCrLf ? 2 : 1)));
  return line;
}

// True when a decimal number that has no value in double is too small rather than too large: the place of its first digit other than 0,
// exponent included, lies behind the decimal point. `number` has no sign.
bool IsTooSmall(std::string_view number) {
  const size_t exponentAt = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, exponentAt);
  const size_t point = std::min(digits.find('.'), digits.size());
  const size_t firstDigit = digits.find_first_not_of("0.");
  const int64_t place = firstDigit < point ? int64_t(point - firstDigit) : -int64_t(firstDigit - point);

  std::string_view exponentText = number.substr(std::min(exponentAt + 1, number.size()));
  if (!exponentText.empty() && exponentText[0] == '+') exponentText.remove_prefix(1);
  int64_t exponent = 0;
  const auto parsed = std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  if (parsed.ec == std::errc::result_out_of_range) return exponentText[0] == '-';
  return exponent < -place;
}

// Reads one number and the blank behind it off `text`. What is too small for float becomes 0, what is too large is no number.
std::optional<float> TakeNumber(std::string_view& text) {
  SkipBlanks(text);
  const bool isNegative = !text.empty() && text[0] == '-';
  if (isNegative || (!text.empty() && text[0] == '+')) text.remove_prefix(1);
  if (text.empty() || !(IsDigit(text[0]) || text[0] == '.')) return std::nullopt;

  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const size_t length = size_t(end - text.data());
  if (error == std::errc::result_out_of_range) {
    if (!IsTooSmall(text.substr(0, length))) return std::nullopt;
    value = 0;
  } else if (error != std::errc()) {
    return std::nullopt;
  }
  text.remove_prefix(length);
  if (!text.empty() && !IsBlank(text[0])) return std::nullopt;
  if (value > double(std::numeric_limits<float>::max())) return std::nullopt;
  return float(isNegative ? -value : value);
}

// Exactly `numbers.size()` numbers, then nothing but a comment.
bool ReadNumbers(std::string_view text, std::span<float> numbers) {
  for (float& number : numbers) {
    const auto value = TakeNumber(text);
    if (!value) return false;
    number = *value;
  }
  return IsEndOfLine(text);
}

// One integer of digits alone, then nothing but a comment.
std::optional<uint32_t> ReadInteger(std::string_view text) {
  SkipBlanks(text);
  uint64_t value = 0;
  size_t length = 0;
  for (; length < text.size() && IsDigit(text[length]); ++length) {
    value = value * 10 + uint64_t(text[length] - '0');
    if (value > kLargestInteger) return std::nullopt;
  }
  text.remove_prefix(length);
  if (length == 0 || !(text.empty() || IsBlank(text[0])) || !IsEndOfLine(text)) return std::nullopt;
  return uint32_t(value);
}

struct Range {
  float min = 0, max = 1;
};

class CubeParser {
 public:
  CubeParser(CubeLut* lut, Message message) : lut_(*lut), message_(message) {}

  int Parse(std::string_view text) {
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    while (!text.empty()) {
      const size_t bytesLeft = text.size();
      std::string_view line = TakeLine(text);
      ++lineNumber_;
      SkipBlanks(line);
      if (line.empty() || line[0] == '#') continue;
      const bool isData = IsDigit(line[0]) || line[0] == '+' || line[0] == '-' || line[0] == '.';
      const int result = isData ? ReadDataLine(line, bytesLeft) : ReadKeywordLine(line);
      if (result != 0) return result;
    }
    return Finish();
  }

 private:
  int FailLine(const char* format, ...) const QX_PRINTF(2, 3) {
    MessageBuffer<160> reason;
    va_list arguments;
    va_start(arguments, format);
    reason.view().SetV(format, arguments);
    va_end(arguments);
    return message_.Fail("line %d: %s", lineNumber_, reason.text());
  }

  int ReadKeywordLine(std::string_view line) {
    if (rowsRead_ > 0) return FailLine("keyword after the data started");
    const size_t length = std::min(line.find_first_of(" \t"), line.size());
    const std::string_view keyword = line.substr(0, length), value = line.substr(length);
    if (keyword == "TITLE") return ReadTitle(value);
    if (keyword == "LUT_1D_SIZE") return ReadSize("LUT_1D_SIZE", value, kMaxLut1DSize, &lut_.size1D);
    if (keyword == "LUT_3D_SIZE") return ReadSize("LUT_3D_SIZE", value, kMaxLut3DSize, &lut_.size3D);
    if (keyword == "DOMAIN_MIN") return ReadDomain("DOMAIN_MIN", value, &domainMin_);
    if (keyword == "DOMAIN_MAX") return ReadDomain("DOMAIN_MAX", value, &domainMax_);
    if (keyword == "LUT_1D_INPUT_RANGE") return ReadInputRange(value, &range1D_);
    if (keyword == "LUT_3D_INPUT_RANGE") return ReadInputRange(value, &range3D_);
    return 0;
  }

  int ReadTitle(std::string_view value) {
    SkipBlanks(value);
    if (value.empty() || value[0] != '"') return 0;
    const std::string_view title = value.substr(1, value.find('"', 1) - 1);
    lut_.title = title.substr(0, Utf8CutLength(title, kTitleBytes));
    return 0;
  }

  int ReadSize(const char* keyword, std::string_view value, uint32_t largest, uint32_t* size) {
    const auto number = ReadInteger(value);
    if (!number) return FailLine("LUT size must be an integer");
    if (*number < 2 || *number > largest) return FailLine("%s %ld — allowed 2…%d", keyword, long(*number), int(largest));
    if (*size != 0) return FailLine("size given twice");
    *size = *number;
    return 0;
  }

  int ReadDomain(const char* keyword, std::string_view value, std::array<float, 3>* domain) {
    return ReadNumbers(value, *domain) ? 0 : FailLine("%s — three numbers", keyword);
  }

  int ReadInputRange(std::string_view value, std::optional<Range>* range) {
    float numbers[2];
    if (!ReadNumbers(value, numbers)) return FailLine("INPUT_RANGE — two numbers");
    *range = Range{numbers[0], numbers[1]};
    return 0;
  }

  // `bytesLeft`: from the start of this line to the end of the text.
  int ReadDataLine(std::string_view line, uint64_t bytesLeft) {
    if (rowsRead_ == 0) {
      if (const int result = StartData(bytesLeft); result != 0) return result;
    }
    if (rowsRead_ == rowsNeeded_) return FailLine("extra data row (%zu needed)", rowsNeeded_);
    float row[3];
    if (!ReadNumbers(line, row)) return FailLine("three numbers expected");
    if (isStoring_) std::copy_n(row, 3, RowAt(rowsRead_));
    ++rowsRead_;
    return 0;
  }

  // A text too short for the rows that it promises fails at its end; until then its rows are checked and counted without tables, so that
  // a few bytes cannot ask for much memory.
  int StartData(uint64_t bytesLeft) {
    if (lut_.size1D == 0 && lut_.size3D == 0) return FailLine("data before LUT_1D_SIZE / LUT_3D_SIZE");
    const size_t rows3D = size_t(lut_.size3D) * lut_.size3D * lut_.size3D;
    rowsNeeded_ = lut_.size1D + rows3D;
    isStoring_ = bytesLeft + 1 >= rowsNeeded_ * kShortestRowBytes;  // the last row needs no line end
    if (!isStoring_) return 0;
    const bool allocated = lut_.table1D.Reserve(uint64_t(lut_.size1D) * 3) && lut_.table3D.Reserve(uint64_t(rows3D) * 3);
    return allocated ? 0 : message_.Fail("out of memory");
  }

  float* RowAt(size_t row) { return row < lut_.size1D ? lut_.table1D.data() + row * 3 : lut_.table3D.data() + (row - lut_.size1D) * 3; }

  int Finish() {
    if (lut_.size1D == 0 && lut_.size3D == 0) return message_.Fail("no LUT_1D_SIZE / LUT_3D_SIZE");
    if (rowsRead_ != rowsNeeded_ || rowsNeeded_ == 0) return message_.Fail("data rows %zu, %zu needed", rowsRead_, rowsNeeded_);
    const bool ordered = (lut_.size1D == 0 || SetDomain(range1D_, &lut_.domainMin1D, &lut_.domainMax1D)) &&
                         (lut_.size3D == 0 || SetDomain(range3D_, &lut_.domainMin3D, &lut_.domainMax3D));
    if (!ordered) return message_.Fail("domain: maximum is not greater than minimum");
    lut_.contentHash = Hash();
    return 0;
  }

  // False when a maximum is not greater than its minimum.
  bool SetDomain(const std::optional<Range>& range, std::array<float, 3>* min, std::array<float, 3>* max) const {
    *min = domainMin_;
    *max = domainMax_;
    if (range) {
      min->fill(range->min);
      max->fill(range->max);
    }
    for (int c = 0; c < 3; ++c) {
      if (!((*max)[c] > (*min)[c])) return false;
    }
    return true;
  }

  // 32-bit FNV-1a.
  uint32_t Hash() const {
    uint32_t hash = 2166136261u;
    const auto add = [&hash](const void* data, size_t bytes) {
      for (size_t i = 0; i < bytes; ++i) hash = (hash ^ static_cast<const uint8_t*>(data)[i]) * 16777619u;
    };
    const size_t rows3D = rowsNeeded_ - lut_.size1D;
    add(&lut_.size1D, sizeof(lut_.size1D));
    add(&lut_.size3D, sizeof(lut_.size3D));
    add(lut_.table1D.data(), size_t(lut_.size1D) * 3 * sizeof(float));
    add(lut_.table3D.data(), rows3D * 3 * sizeof(float));
    for (const auto* domain : {&lut_.domainMin1D, &lut_.domainMax1D, &lut_.domainMin3D, &lut_.domainMax3D}) add(domain, sizeof(*domain));
    return hash == 0 ? 1 : hash;
  }

  CubeLut& lut_;
  Message message_;
  int lineNumber_ = 0;
  std::array<float, 3> domainMin_ = {0, 0, 0}, domainMax_ = {1, 1, 1};
  std::optional<Range> range1D_, range3D_;
  size_t rowsRead_ = 0, rowsNeeded_ = 0;  // needed: known from the first data row on
  bool isStoring_ = false;
};

}  // namespace

int ParseCubeLut(std::string_view text, CubeLut* lut, Message message) {
  FreeCubeLut(lut);
  if (text.empty()) return message.Fail("empty file");
  if (text.size() > kMaxCubeFileBytes) return message.Fail("file larger than 64 MB");
  const int result = CubeParser(lut, message).Parse(text);
  if (result != 0) FreeCubeLut(lut);
  return result;
}

void FreeCubeLut(CubeLut* lut) {
  *lut = CubeLut{};
}

}  // namespace qx
