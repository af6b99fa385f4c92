#include "tools/live/session.hpp"

namespace vesk::tools {

bool play_live(const LiveSettings&, KeptPresets&, const Say&, std::string& error) {
  error = "this program was built without JACK";
  return false;
}

}  // namespace vesk::tools
