#pragma once

#include <cstdint>
#include <fstream>
#include <string>

namespace vesk::tests {

/// Writes a preset of a component that sets nothing: one to be rewritten.
inline void write_empty_preset(const std::string& path, std::uint32_t type, std::uint32_t subtype,
                               std::uint32_t manufacturer) {
  std::ofstream(path) << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                      << "<key>version</key><integer>0</integer>"
                      << "<key>type</key><integer>" << type << "</integer>"
                      << "<key>subtype</key><integer>" << subtype << "</integer>"
                      << "<key>manufacturer</key><integer>" << manufacturer << "</integer>"
                      << "</dict></plist>\n";
}

}  // namespace vesk::tests
