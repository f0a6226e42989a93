#include <cstdio>

int main() {
  std::fputs("usage: mkdtl scan|synth ...\n", stderr);
  return 2;
}
