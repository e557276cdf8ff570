// Fuzzes the INI upload path: the catalogue, the load with its reset and
// restart, and the simulated board's libIni writing the simulated store.
// Whatever the file, nothing may appear in the board directory outside the
// store's tables and the files the board always has.
#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "dispatch/ftm_catalog.h"
#include "fuzz_board.h"

namespace {

std::set<std::string> Listing(const std::string& dir) {
  std::set<std::string> names;
  if (DIR* d = opendir(dir.c_str())) {
    while (struct dirent* e = readdir(d)) names.insert(e->d_name);
    closedir(d);
  }
  return names;
}

std::set<std::string> g_board, g_cfg;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  FuzzBoard::Start(FTM_FTMSIM, nullptr);
  g_board = Listing(FuzzBoard::Path(""));
  g_cfg = Listing(FuzzBoard::Path("cfg"));
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);  // NUL-terminated copy
  FTM_PutFile(&text[0], "fuzz.ini");
  // events.log grows with every commit; anything else new is a write where
  // none belongs.
  if (Listing(FuzzBoard::Path("")) != g_board || Listing(FuzzBoard::Path("cfg")) != g_cfg) {
    std::fprintf(stderr, "the load left a file outside the store's tables\n");
    std::abort();
  }
  return 0;
}
