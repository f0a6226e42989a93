#include "driver/tabulon.h"

int main(int argc, char** argv) {
  tabulon::RealMain(argc, argv);
}
