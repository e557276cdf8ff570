// The file catalogue: the names the station may read and write, and the two
// dispatch operations that route a transfer to the code behind a name.
// Names are compared whole, exactly and case-sensitively.
#ifndef FTM_DISPATCH_FTM_CATALOG_H_
#define FTM_DISPATCH_FTM_CATALOG_H_

#include "dispatch/ftm_status.h"

// Builds the named report. Returns its text from the first '<' on, or null
// with *error set to the error record ("File Not Supported" for a name that
// is not a report). The text stays valid until the same report is asked for
// again.
const char* FTM_GetFile(const char* name, FtmErrorInfo** error);

// Hands a completed upload (NUL-terminated) to its handler. Returns null on
// success, else the error record. The text is the transfer's; handlers copy
// what they keep.
FtmErrorInfo* FTM_PutFile(char* text, const char* name);

#endif  // FTM_DISPATCH_FTM_CATALOG_H_
