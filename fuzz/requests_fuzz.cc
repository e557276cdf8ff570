// Fuzzes the requests that reach the switch tool and the INI library:
// "FTM_Stats_4port.xml" uploads with both of their inputs (the document and
// the link configuration the switch answers), and ".ini" uploads through
// the catalogue, the load, its reset and restart, and the simulated libIni
// writing the simulated store.
//
// Input: 'P', the configuration line, a NUL, the document; or 'I' and the
// INI text. Every command a port request runs must be the fixed get command
// or a set command of plain words, and no load may leave a file in the board
// directory or its store outside the tables it had; anything else aborts.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "dispatch/ftm_catalog.h"
#include "fuzz_board.h"
#include "requests/FTM_PutEthernetPorts.h"

namespace {

std::string g_board, g_config;
std::set<std::string> g_files, g_tables;

std::set<std::string> Listing(const std::string& dir) {
  std::set<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (struct dirent* e = readdir(d)) names.insert(e->d_name);
    closedir(d);
  }
  return names;
}

// The simulated board with no waits and no signals; board commands go to
// the check below instead of the shell.
class RequestBoard final : public InstantBoard {
 public:
  int System(const char* command) override {
    if (std::strstr(command, "PortLinkCfgGet") != nullptr) {
      // The configuration as the get pipeline would leave it.
      FILE* f = std::fopen((g_board + "/root/tmp/tmpPortFile.txt").c_str(), "wb");
      if (f == nullptr || std::fputs(g_config.c_str(), f) < 0) std::abort();
      return std::fclose(f);
    }
    // After "switch_utility PortLinkCfgSet " (30 characters), plain words.
    if (std::strncmp(command, "switch_utility PortLinkCfgSet ", 30) != 0 ||
        std::strlen(command) >= 128 ||
        std::strspn(command + 30,
                    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ .-:_") !=
            std::strlen(command + 30)) {
      std::fprintf(stderr, "unexpected command: %s\n", command);
      std::abort();
    }
    return 0;
  }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_board = FuzzMakeBoard([] { return new RequestBoard(); });
  g_files = Listing(g_board);
  g_tables = Listing(g_board + "/cfg");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);  // NUL-terminated
  if (data[0] == 'P') {
    size_t nul = input.find('\0');
    if (nul == std::string::npos) return 0;
    g_config = input.substr(0, nul);
    FtmPutEthernetPorts(input.c_str() + nul + 1);
  } else if (data[0] == 'I') {
    FTM_PutFile(&input[0], "fuzz.ini");
    if (Listing(g_board) != g_files || Listing(g_board + "/cfg") != g_tables) {
      std::fprintf(stderr, "the load left a file outside the store's tables\n");
      std::abort();
    }
  }
  return 0;
}
