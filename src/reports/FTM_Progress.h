// The two reports about the daemon itself: download progress
// ("FTM_Progress.xml") and the supported and running tests
// ("FTM_TestModeOp.xml").
#ifndef FTM_REPORTS_FTM_PROGRESS_H_
#define FTM_REPORTS_FTM_PROGRESS_H_

// DOWNLOAD_STATUS "DONE", or "NOT_DONE" while an INI file is being loaded.
// Returns the text from its first '<' (kept until the next request), or null
// when no text could be made (the error record says why).
const char* FTM_GetProgressXml();

// SUPPORTED_TESTS (fixed) and ACTIVE_TEST (from FtmActiveTests) into a new
// text in *buffer (malloc'd, *length counts its NUL). 0, or -1 on failure.
int FTM_GetTestModeOpXml(char** buffer, int* length);

#endif  // FTM_REPORTS_FTM_PROGRESS_H_
