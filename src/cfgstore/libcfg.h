// The configuration store library (libcfg): exactly the calls the daemon
// makes, as the board's library offers them. The board build links the
// board's own library; the simulated board links its replacement, which
// keeps the tables as files (docs/simulator.md).
//
// Every call returns a 32-bit integer; zero is success and is the only
// result the daemon tests.
#ifndef FTM_CFGSTORE_LIBCFG_H_
#define FTM_CFGSTORE_LIBCFG_H_

#include <cstddef>
#include <cstdint>

extern "C" {

// An opaque session handle; 0 means that no session could be opened.
typedef int32_t CfgSession;

// A table as the library hands it out: allocated by the library, released
// only with cfg_freeTable(). The cell array holds (rowCount + 1) rows of
// colCount cells each, row by row; the first row is the library's leading
// row, data row r starts at index (r + 1) * colCount.
struct CfgTable {
  int32_t libraryWords[3];  // the library's own; never read by the daemon
  int32_t rowCount;         // data rows
  int32_t colCount;
  char** cells;
};

// mode and tag as the daemon uses them: (0, null) to read, (0,
// "FtmUpdateAthWireless"), (0, "reset_cfg"), (5, "FTM write").
CfgSession cfg_startSession(int32_t mode, const char* tag);
int32_t cfg_endSession(CfgSession session);

// Reads a whole table into *table. file, function and line name the call
// site ("FTM_Apis.c", the reading operation, the line of the call).
int32_t cl_cfg_getTable(CfgSession session, const char* name, CfgTable** table, const char* file,
                        const char* function, int32_t line);
int32_t cfg_freeTable(CfgTable* table);

// The index of a column, by name.
int32_t cfg_findCol(CfgSession session, const char* table, const char* column);
// Writes one cell, inside the session's transaction when one is open.
int32_t cfg_setField(CfgSession session, const char* table, int32_t row, int32_t column,
                     const char* value);

int32_t cfg_startTransaction(CfgSession session);
int32_t cfg_commitTransaction(CfgSession session);
int32_t cfg_abortTransaction(CfgSession session);

// Restores every table to the board's defaults.
int32_t cfg_resetCfg(CfgSession session, int32_t flags);

}  // extern "C"

// The daemon reads the record's fields at fixed offsets of the board's
// 32-bit layout; a library built with another layout would be misread.
static_assert(sizeof(void*) != 4 ||
                  (offsetof(CfgTable, rowCount) == 12 && offsetof(CfgTable, colCount) == 16 &&
                   offsetof(CfgTable, cells) == 20),
              "CfgTable must keep the board library's layout");

#endif  // FTM_CFGSTORE_LIBCFG_H_
