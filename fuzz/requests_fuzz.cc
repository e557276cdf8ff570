// Fuzzes every upload through the upload dispatch (FTM_PutFile) on a
// simulated board of its own, with no shell and no waits: the identity, the
// test mode operations and the test configuration, the port switching with
// both of its inputs (the document and the link configuration the switch
// answers), the INI loads through the load, its reset and restart and the
// simulated libIni writing the simulated store, and any other name.
//
// Input: a selector byte, then
//   'P': the configuration line, a NUL, the "FTM_Stats_4port.xml" document;
//   'I': the INI text (uploaded as "fuzz.ini");
//   'M', 'O', 'C': the "FTM_ModemInfo.xml", "FTM_TestModeOp.xml" or
//        "FTM_TestModeCfg.xml" document;
//   'N': a name, a NUL, the text.
// Every command a request runs must be a fixed line of the daemon or one of
// its command lines with only plain words in the variable part, and no load
// may leave a file in the board directory or its store outside the tables it
// had; anything else aborts.
#include <dirent.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "dispatch/ftm_catalog.h"
#include "fuzz_board.h"

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

// The command lines whose tail carries values from a request or the store.
const char* const kVariableCommands[] = {
    "switch_utility PortLinkCfgSet ", "uboot_env --set --name bootdelay --value ",
    "cfg_write WlanConfig.",          "/etc/init.d/DelOrgVpiVci.sh ",
    "/etc/init.d/NewVpiVci.sh ",
};
const char* const kFixedPrefixes[] = {
    "switch_utility PortLinkCfgGet ",  // followed by a port number from the daemon
    "uboot_env --get --name bootdelay > /tmp/BootDelayVer",
};

bool Allowed(const char* command) {
  if (std::strlen(command) >= 128) return false;
  for (const char* prefix : kFixedPrefixes) {
    if (std::strncmp(command, prefix, std::strlen(prefix)) == 0) return true;
  }
  for (const char* prefix : kVariableCommands) {
    size_t n = std::strlen(prefix);
    if (std::strncmp(command, prefix, n) != 0) continue;
    const char* tail = command + n;
    return std::strspn(tail,
                       "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ .-:_=") ==
           std::strlen(tail);
  }
  return false;
}

// The simulated board with no waits and no signals; board commands go to
// the check above instead of the shell.
class RequestBoard final : public InstantBoard {
 public:
  int System(const char* command) override {
    if (!Allowed(command)) {
      std::fprintf(stderr, "unexpected command: %s\n", command);
      std::abort();
    }
    if (std::strstr(command, "PortLinkCfgGet") != nullptr) {
      // The configuration as the get pipeline would leave it.
      FILE* f = std::fopen((g_board + "/root/tmp/tmpPortFile.txt").c_str(), "wb");
      if (f == nullptr || std::fputs(g_config.c_str(), f) < 0) std::abort();
      return std::fclose(f);
    }
    return 0;
  }
};

unsigned g_runs = 0;

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
  size_t nul = input.find('\0');
  switch (data[0]) {
    case 'P':
      if (nul == std::string::npos) return 0;
      g_config = input.substr(0, nul);
      FTM_PutFile(&input[nul + 1], "FTM_Stats_4port.xml");
      break;
    case 'I':
      FTM_PutFile(&input[0], "fuzz.ini");
      if (Listing(g_board) != g_files || Listing(g_board + "/cfg") != g_tables) {
        std::fprintf(stderr, "the load left a file outside the store's tables\n");
        std::abort();
      }
      break;
    case 'M':
      FTM_PutFile(&input[0], "FTM_ModemInfo.xml");
      break;
    case 'O':
      FTM_PutFile(&input[0], "FTM_TestModeOp.xml");
      break;
    case 'C':
      FTM_PutFile(&input[0], "FTM_TestModeCfg.xml");
      // Now and then the read-back of whatever the requests left in its
      // document.
      if (g_runs % 64 == 0) {
        FtmErrorInfo* error;
        FTM_GetFile("FTM_TestModeCfg.xml", &error);
      }
      break;
    case 'N':
      if (nul == std::string::npos) return 0;
      FTM_PutFile(&input[nul + 1], input.c_str());
      break;
    default:
      return 0;
  }
  ++g_runs;
  FuzzForgetEvents(g_board);
  return 0;
}
