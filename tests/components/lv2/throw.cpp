#include <stdexcept>

extern "C" void test_throw() {
  throw std::runtime_error("pressed in vain");
}
