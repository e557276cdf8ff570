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
#include "fuzz_board.h"

namespace upload_fuzz {

inline std::string g_events;
inline unsigned g_runs = 0;

inline void Initialize() {
  g_events = FuzzMakeBoard([] { return new InstantBoard(); }) + "/events.log";
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
