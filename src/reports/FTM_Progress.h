// The download progress report ("FTM_Progress.xml"): DOWNLOAD_STATUS
// "DONE", or "NOT_DONE" while an uploaded INI file is being loaded.
#ifndef FTM_REPORTS_FTM_PROGRESS_H_
#define FTM_REPORTS_FTM_PROGRESS_H_

// Refreshes the kept DOWNLOAD_STATUS document and builds its text, which
// this builder keeps until the next request. Returns the text from its first
// '<', or null when none could be made (the error record says why).
const char* FTM_GetProgressXml();

#endif  // FTM_REPORTS_FTM_PROGRESS_H_
