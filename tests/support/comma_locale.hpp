#pragma once

#include <clocale>
#include <cstdlib>
#include <string>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {

/// A locale with a decimal comma, made for the test where none may be installed.
class CommaLocale {
 public:
  static constexpr const char* name = "de_DE.UTF-8";

  CommaLocale()
      : is_there_(
            std::system(
                ("localedef -i de_DE -f UTF-8 " + (folder_ / name) + " >/dev/null 2>&1").c_str()) ==
            0) {}

  /// False where there is nothing to make it from.
  bool is_there() const { return is_there_; }
  /// What tells a process where it is, as "NAME=value".
  std::string place() const { return "LOCPATH=" + folder_.path(); }
  /// Makes it this process's locale, as a careless library does. False where there is none.
  bool enter() const {
    return is_there() && setenv("LOCPATH", folder_.path().c_str(), 1) == 0 &&
           std::setlocale(LC_ALL, name) != nullptr;
  }
  static void leave() { std::setlocale(LC_ALL, "C"); }

 private:
  ScratchFolder folder_;
  bool is_there_;
};

}  // namespace vesk::tests
