#pragma once

#include <functional>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "spec/chain_text.hpp"

namespace vesk::tools {

/// One option of a command line; it either takes a value or sets a flag.
struct Option {
  /// Reads a value; false with what is wrong in `error`, to be read after the option's name.
  using Setter = std::function<bool(const std::string& value, std::string& error)>;

  const char* name;
  const char* short_name = nullptr;
  Setter take = {};
  bool* flag = nullptr;
};

/// Reads the words after a program's name: options, as "--name value", "--name=value" or by their
/// short names, and operands, which is all that follows a "--" as well. False with a sentence in
/// `error` for an unknown option, and for a value that is missing or refused.
bool read_command_line(const std::vector<std::string>& words, std::span<const Option> options,
                       std::vector<std::string>& operands, std::string& error);

/// The same where the one operand is a chain. False with a sentence in `error` for a second one.
bool read_command_line(const std::vector<std::string>& words, std::span<const Option> options,
                       std::string& chain, std::string& error);

/// Parses a chain that may start with an instrument or an effect. False with a sentence in `error`
/// that names the chain.
bool read_chain(const std::string& text, ChainElements& chain, std::string& error);

/// Makes `path` the preset file of a plugin, in the place of the one that it may name.
void name_preset(ChainElement& plugin, const std::string& path);

/// What the parser of chains says is wrong, without its example, a plugin that nobody here has.
std::string syntax_error(const std::string& reason);

/// The text that a command line asks for instead of work, whatever else stands in it: `help`, or
/// the version of `program`. Empty when it asks for neither.
std::string text_asked_for(const std::vector<std::string>& words, const char* program,
                           const char* help);

/// A finite number that is all of `text`.
bool to_number(const std::string& text, double& value);

/// A whole number within bounds that is all of `text`.
bool to_whole(const std::string& text, int low, int high, int& value);

/// A setter of a file name, which may not be empty.
Option::Setter takes_path(std::string& target);

/// A setter that keeps the values of every use of its option.
Option::Setter takes_each(std::vector<std::string>& target);

/// A setter of a whole number from `low` to `high`; `what` names the unit, with a space before it.
template <typename Number>
Option::Setter takes_whole(int low, int high, const char* what, Number& target) {
  return [low, high, what, &target](const std::string& value, std::string& error) {
    int number = 0;
    if (!to_whole(value, low, high, number)) {
      error = "takes " + std::to_string(low) + " to " + std::to_string(high) + what + ", not \"" +
              value + "\"";
      return false;
    }
    target = static_cast<Number>(number);
    return true;
  };
}

}  // namespace vesk::tools
