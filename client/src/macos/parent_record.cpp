#include "client/src/parent_record.hpp"

// Nothing on macOS reads it yet: the Audio Units there are asked by the system's own calls, and a
// host hands on no functions of its own.
namespace vesk::client {

struct ParentRecord::Memory {};

std::unique_ptr<ParentRecord> ParentRecord::create(const Options&, std::string&) {
  return nullptr;
}
ParentRecord::~ParentRecord() = default;
int ParentRecord::descriptor() const noexcept {
  return -1;
}
int ParentRecord::bell_descriptor() const noexcept {
  return -1;
}
void ParentRecord::ring() const noexcept {}
bool ParentRecord::is_attached() const noexcept {
  return false;
}
const std::uint32_t& ParentRecord::render_thread() const noexcept {
  static const std::uint32_t nobody = 0;
  return nobody;
}
void ParentRecord::write(const Transport&, bool) noexcept VESK_REALTIME {}

}  // namespace vesk::client
