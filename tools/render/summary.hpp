#pragma once

#include <string>

#include "tools/render/arguments.hpp"
#include "tools/render/render_song.hpp"

namespace vesk::tools {

/// What a rendering came to, in lines for people.
std::string summary_text(const RenderArguments& arguments, const RenderReport& report);

/// The same as a JSON object, warnings included. Of a run that wrote nothing it has `status`, the
/// warnings, whether a host was started for it and, unless it is empty, `error`.
std::string summary_json(const RenderArguments& arguments, const RenderReport& report, int status,
                         const std::string& error);

}  // namespace vesk::tools
