// What the harnesses that need a simulated board share: a board made with
// ftmsim for the run (removed at its end), and a platform on that board's
// backend that runs no command, sends no signal, logs nothing and never
// waits, so that an input costs only the daemon's own work.
#ifndef FTM_FUZZ_FUZZ_BOARD_H_
#define FTM_FUZZ_FUZZ_BOARD_H_

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/platform.h"

class InstantBoard : public PlatformWrapper {
 public:
  int System(const char*) override { return 0; }
  int Kill(pid_t, int) override { return 0; }
  void Syslog(int, const char*) override {}
  void SleepMicros(unsigned long) override {}
  unsigned long ScaleMicros(unsigned long) override { return 0; }
};

// Makes the board, points FTM_SIM_DIR at it, installs the platform that
// make() returns (made afterwards: it wraps the board's backend) and
// silences the daemon's progress lines, which would drown the fuzzer's own.
// Returns the board directory.
template <typename Make>
std::string FuzzMakeBoard(Make make) {
  // In memory where the machine has it: rewriting a table on a disk file
  // system can cost a write-back per input (ext4 flushes a truncated file
  // on close), which would slow the harness several times over.
  static char dir[32];
  std::snprintf(dir, sizeof dir, "%s/ftm-fuzz-XXXXXX",
                access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
  if (mkdtemp(dir) == nullptr) std::abort();
  std::atexit([] {
    if (std::system((std::string("rm -rf ") + dir).c_str()) != 0) std::perror(dir);
  });
  std::string board = std::string(dir) + "/board";
  if (std::system((std::string(FTM_FTMSIM) + " init " + board).c_str()) != 0) std::abort();
  setenv("FTM_SIM_DIR", board.c_str(), 1);
  PlatformInstall(make());
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  return board;
}

// The board's event log takes a line for every store call and command, so
// over a run of millions of inputs it would fill the memory it lives in
// (gigabytes). Called once an input; empties the log every 1024 inputs.
inline void FuzzForgetEvents(const std::string& board) {
  static unsigned runs = 0;
  if (++runs % 1024 == 0 && truncate((board + "/events.log").c_str(), 0) != 0) std::abort();
}

#endif  // FTM_FUZZ_FUZZ_BOARD_H_
