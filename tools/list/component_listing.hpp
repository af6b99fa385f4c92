#pragma once

#include <string>
#include <vector>

#include "spec/catalogue.hpp"

namespace vesk::tools {

/// The specification text that loads a component: its three codes joined by ':'.
std::string specification_of(const ComponentInfo& component);

/// Why no host runs the component, in a few words; empty when one does.
std::string why_not_hosted(const ComponentInfo& component);

/// One line a component: specification text, name, and a remark where no host runs it.
std::string listing_text(const std::vector<ComponentInfo>& components);

/// The same as a JSON array of objects: specification, name, type, subtype, manufacturer, hosted,
/// v3, sandbox_safe.
std::string listing_json(const std::vector<ComponentInfo>& components);

}  // namespace vesk::tools
