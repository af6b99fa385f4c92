#pragma once

#include <string>
#include <vector>

namespace vesk::tools {

/// What a warning is about. All but `note` are slips: nobody asks for them on purpose.
enum class WarningKind {
  note,               ///< worth knowing, and nothing is wrong
  no_such_parameter,  ///< the chain sets a parameter that the plugin does not have
  out_of_range,       ///< the chain sets a parameter to a value that it does not take
  no_preset,          ///< the chain names a preset file that is not there
  not_finite,         ///< the output has samples that are infinite or no numbers
  silent,             ///< the output is silent from beginning to end
};

/// One sentence that somebody should read about a rendering that went through.
struct Warning {
  WarningKind kind = WarningKind::note;
  std::string text;
};

/// What programs call the kind: "note", "no_such_parameter", ...
const char* name_of(WarningKind kind);

/// The exit status of the first slip, 3 to 7; 0 when there is none.
int strict_status(const std::vector<Warning>& warnings);

}  // namespace vesk::tools
