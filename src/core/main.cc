// ftmd: the factory-test-mode daemon. It takes no arguments and reads no
// configuration; everything it needs comes from the board.
#include <cstdio>

#include "core/FTM_Task.h"

int main() {
  // Progress lines go to the console as they happen, even when it is a pipe
  // or a file, so a station log shows them in order with its own.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  FtmMain();
}
