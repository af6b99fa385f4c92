#include "spec/four_cc.hpp"

namespace vesk {

std::string four_cc(std::uint32_t code) {
  return {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
          static_cast<char>(code >> 8), static_cast<char>(code)};
}

}  // namespace vesk
