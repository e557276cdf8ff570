// Fuzzes the Ethernet port request with both of its inputs: the uploaded
// document and the link configuration the switch utility answers.
//
// Input: the configuration line, a NUL, then the document. Every command
// the request would run must be the fixed get command or a set command of
// plain words; anything else aborts.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz_board.h"
#include "requests/FTM_PutEthernetPorts.h"

namespace {

std::string g_config;

bool PlainSet(const char* command) {
  static const char kSet[] = "switch_utility PortLinkCfgSet ";
  if (std::strncmp(command, kSet, sizeof kSet - 1) != 0) return false;
  for (const char* p = command + sizeof kSet - 1; *p != '\0'; ++p) {
    char c = *p;
    bool ok = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
              c == ' ' || c == '.' || c == '-' || c == ':' || c == '_';
    if (!ok) return false;
  }
  return std::strlen(command) < 128;
}

// The get command leaves the configuration in the work file, as the
// board's pipeline would.
void Command(const char* command) {
  if (std::strstr(command, "PortLinkCfgGet") != nullptr) {
    FILE* f = std::fopen(FuzzBoard::Path("root/tmp/tmpPortFile.txt").c_str(), "wb");
    if (f == nullptr) std::abort();
    std::fwrite(g_config.data(), 1, g_config.size(), f);
    std::fclose(f);
    return;
  }
  if (!PlainSet(command)) {
    std::fprintf(stderr, "unexpected command: %s\n", command);
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  FuzzBoard::Start(FTM_FTMSIM, Command);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  const char* nul = static_cast<const char*>(std::memchr(text, '\0', size));
  if (nul == nullptr) return 0;
  g_config.assign(text, nul);
  std::string document(nul + 1, text + size);  // the transfer's NUL ends it
  FtmPutEthernetPorts(document.c_str());
  return 0;
}
