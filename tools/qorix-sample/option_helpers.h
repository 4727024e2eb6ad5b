// Kinds of command-line options that CLI11 does not have as one call. What is wrong with a text is told together with the option's help.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "parse.h"

namespace tool {

/// An option whose texts go through a parser of parse.h; `store` receives each value and says whether it suits.
template <typename Parser, typename Store>
CLI::Option* AddParsed(CLI::App* command, const std::string& name, const std::string& help, const char* form, Parser parse, Store store) {
  const auto take = [name, help, form, parse, store](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      auto value = parse(text);
      if (!value || !store(std::move(*value))) throw CLI::ValidationError(name, "\"" + text + "\" is not " + form + " (" + help + ")");
    }
    return true;
  };
  return command->add_option(name, CLI::callback_t(take), help)
      ->type_name(form)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

/// The same for one value that always suits.
template <typename Parser, typename Value>
CLI::Option* AddParsedValue(CLI::App* command, const std::string& name, const std::string& help, const char* form, Parser parse,
                            Value* value) {
  return AddParsed(command, name, help, form, parse, [value](auto parsed) {
    *value = std::move(parsed);
    return true;
  });
}

using Numbers = std::vector<int64_t>;

/// An option of whole numbers, "N,N,…".
template <typename Store>
CLI::Option* AddNumbers(CLI::App* command, const std::string& name, const std::string& help, const char* form, Store store) {
  return AddParsed(
      command, name, help, form, [](std::string_view text) { return ParseNumbers(text, ','); }, store);
}

/// Whole numbers that are added to a list; may be repeated.
template <typename Number>
CLI::Option* AddList(CLI::App* command, const std::string& name, const std::string& help, std::vector<Number>* list) {
  return AddNumbers(command, name, help, "N,N,...", [list](const Numbers& more) {
    for (const int64_t number : more) list->push_back(Number(number));
    return true;
  });
}

/// An option whose texts each stand for a value.
template <typename Value>
CLI::Option* AddChoice(CLI::App* command, const std::string& name, const std::string& help, const std::map<std::string, Value>& values,
                       std::function<void(Value)> store) {
  std::vector<std::string> texts;
  for (const auto& [text, value] : values) texts.push_back(text);
  return command
      ->add_option_function<std::string>(
          name, [values, store](const std::string& text) { store(values.at(text)); }, help)
      ->check(CLI::IsMember(texts).description(""))
      ->type_name(CLI::detail::join(texts, "|"));
}

/// A flag that sets `value` to false.
inline CLI::Option* AddSwitchOff(CLI::App* command, const std::string& name, const std::string& help, bool* value) {
  return command->add_flag_callback(
      name, [value] { *value = false; }, help);
}

}  // namespace tool
