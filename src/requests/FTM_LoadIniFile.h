// The configuration load (any upload named "*.ini", by its first dot): the
// board's INI library applies the text, then the store is reset and the
// board restarted as the library asks.
#ifndef FTM_REQUESTS_FTM_LOADINIFILE_H_
#define FTM_REQUESTS_FTM_LOADINIFILE_H_

#include "dispatch/ftm_status.h"

// Hands the text (NUL-terminated, not kept) to ParseIniFile with the restart
// flag at 0 and the reset flag at 1. When the library fails: "Write data
// failed" in the error record, "Process INI Fail!" on standard output, and
// the error record is returned; nothing else happens. Otherwise, with the
// reset flag still 1 the store is reset (in a session tagged "reset_cfg";
// skipped silently when none opens), and with the restart flag 1 process 1
// gets SIGTERM one second later. Returns null on success. `name` is not used.
FtmErrorInfo* FtmLoadIniFile(char* text, const char* name);

#endif  // FTM_REQUESTS_FTM_LOADINIFILE_H_
