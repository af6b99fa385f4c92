#pragma once

#include <initializer_list>

namespace vesk::platform {

/// Names this host in the lines of `report`; `label` must outlive the process.
void set_report_label(const char* label);

/// Writes "plugin host LABEL: ", the pieces and a line end to standard error in one write, so that
/// lines of several hosts do not mix. At most 7 pieces. Async-signal-safe; keeps errno.
void report(std::initializer_list<const char*> pieces);

/// A small number's decimal digits, for `report`. Async-signal-safe.
class Digits {
 public:
  explicit Digits(unsigned number);
  const char* text() const { return start_; }

 private:
  char digits_[11];
  const char* start_;
};

}  // namespace vesk::platform
