// A simulated board for the request harnesses: made once per run in a
// temporary directory and removed at exit, with a platform that makes no
// waits and sends no signals. Board commands go to the harness's own
// command hook instead of the shell.
#ifndef FTM_FUZZ_FUZZ_BOARD_H_
#define FTM_FUZZ_FUZZ_BOARD_H_

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/platform.h"

class FuzzBoard final : public PlatformWrapper {
 public:
  using CommandHook = void (*)(const char* command);

  // Makes the board with ftmsim and installs the platform.
  static FuzzBoard* Start(const char* ftmsim, CommandHook hook) {
    static char dir[] = "/tmp/ftm-request-fuzz-XXXXXX";
    if (mkdtemp(dir) == nullptr) std::abort();
    s_dir = dir;
    std::atexit([] {
      std::string remove = "rm -rf " + s_dir;
      if (std::system(remove.c_str()) != 0)
        std::fprintf(stderr, "could not remove %s\n", s_dir.c_str());
    });
    std::string board = s_dir + "/board";
    std::string init = std::string(ftmsim) + " init " + board;
    if (std::system(init.c_str()) != 0) std::abort();
    setenv("FTM_SIM_DIR", board.c_str(), 1);
    auto* platform = new FuzzBoard(hook);  // after FTM_SIM_DIR: it wraps the board's backend
    PlatformInstall(platform);
    // The daemon's progress lines would drown the fuzzer's own.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    return platform;
  }

  static std::string Path(const std::string& rel) { return s_dir + "/board/" + rel; }

  int System(const char* command) override {
    if (hook_ != nullptr) hook_(command);
    return 0;
  }
  int Kill(pid_t, int) override { return 0; }
  void Syslog(int, const char*) override {}
  void SleepMicros(unsigned long) override {}
  unsigned long ScaleMicros(unsigned long) override { return 0; }

 private:
  explicit FuzzBoard(CommandHook hook) : hook_(hook) {}
  CommandHook hook_;
  static inline std::string s_dir;
};

#endif  // FTM_FUZZ_FUZZ_BOARD_H_
