// The INI library (libIni): exactly the call the daemon makes, as the
// board's library offers it. The board build links the board's own library;
// the simulated board links its replacement (docs/simulator.md).
#ifndef FTM_CFGSTORE_LIBINI_H_
#define FTM_CFGSTORE_LIBINI_H_

#include <cstddef>
#include <cstdint>

extern "C" {

// The parse context the library works in: 64 bytes on the board, of which
// the daemon sets two fields before each call and leaves the rest to the
// library (what it stored there on an earlier call stays).
struct IniParseContext {
  int32_t libraryWords[9];  // the library's own
  int32_t textLength;       // string length of the text, in bytes
  int32_t moreWords[2];     // the library's own
  char* text;               // the uploaded text, NUL-terminated
  int32_t tailWords[3];     // the library's own
};

// Parses and applies the text named by the context. The library sets
// *restart to 1 to ask for a restart and leaves *reset at 1 to ask for a
// configuration reset (or changes it). 0 on success. `flags` is 0.
int32_t ParseIniFile(IniParseContext* context, int32_t* restart, int32_t* reset, int32_t flags);

}  // extern "C"

// The library finds the length and the text at these offsets of the board's
// 32-bit layout; a context laid out otherwise would be misread.
static_assert(sizeof(void*) != 4 ||
                  (offsetof(IniParseContext, textLength) == 36 &&
                   offsetof(IniParseContext, text) == 48 && sizeof(IniParseContext) == 64),
              "IniParseContext must keep the board library's layout");

#endif  // FTM_CFGSTORE_LIBINI_H_
