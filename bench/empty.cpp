// The reference for start-up: an empty C++ program. It tells that `main` was reached by one byte
// on the descriptor named in its argument, and ends.

#include <unistd.h>

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
  // Something of the C++ library, so that it is linked.
  const std::string byte(1, argc == 2 ? '1' : '0');
  return argc == 2 && write(std::atoi(argv[1]), byte.data(), 1) == 1 ? 0 : 1;
}
