#include <cstddef>

#include "driver/tabulon.h"

int main(int argc, char** argv) {
  return tabulon::Run({argv, static_cast<size_t>(argc)});
}
