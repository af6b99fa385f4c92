#include "platform/linux/app_kit/thrown.hpp"

#include <exception>
#include <new>

namespace vesk::platform {

std::optional<std::string> thrown_by(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown exception";
  }
  return std::nullopt;
}

}  // namespace vesk::platform
