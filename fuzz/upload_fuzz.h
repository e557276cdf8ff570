// The common part of the upload harnesses: one request file's text, as a
// station could upload it, goes through the upload dispatch (FTM_PutFile)
// on a simulated board made for the run. Devices, the wireless driver and
// the store are the board's models; commands are not run and no wait takes
// time.
#ifndef FTM_FUZZ_UPLOAD_FUZZ_H_
#define FTM_FUZZ_UPLOAD_FUZZ_H_

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "dispatch/ftm_catalog.h"
#include "platform/platform.h"

namespace upload_fuzz {

class InstantBoard final : public PlatformWrapper {
 public:
  int System(const char*) override { return 0; }
  int Kill(pid_t, int) override { return 0; }
  void Syslog(int, const char*) override {}
  void SleepMicros(unsigned long) override {}
  unsigned long ScaleMicros(unsigned long) override { return 0; }
};

inline char g_boardDir[] = "/tmp/ftm-upload-fuzz-XXXXXX";
inline std::string g_events;
inline unsigned g_runs = 0;

inline void RemoveBoard() {
  std::string remove = std::string("rm -rf ") + g_boardDir;
  if (std::system(remove.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", g_boardDir);
}

inline void Initialize() {
  if (mkdtemp(g_boardDir) == nullptr) std::abort();
  std::atexit(RemoveBoard);
  std::string board = std::string(g_boardDir) + "/board";
  std::string init = std::string(FTM_FTMSIM) + " init " + board;
  if (std::system(init.c_str()) != 0) std::abort();
  setenv("FTM_SIM_DIR", board.c_str(), 1);
  g_events = board + "/events.log";
  PlatformInstall(new InstantBoard());  // after FTM_SIM_DIR: it wraps the board's backend
  // The handlers' progress lines would drown the fuzzer's own.
  if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
}

// Uploads the bytes under `name`, as the transfer hands them over: a
// NUL-terminated copy.
inline void Upload(const char* name, const uint8_t* data, size_t size) {
  std::vector<char> text(data, data + size);
  text.push_back('\0');
  FTM_PutFile(text.data(), name);
  // The board's event log would grow for the whole run.
  if (++g_runs % 4096 == 0 && truncate(g_events.c_str(), 0) != 0) std::abort();
}

}  // namespace upload_fuzz

#endif  // FTM_FUZZ_UPLOAD_FUZZ_H_
