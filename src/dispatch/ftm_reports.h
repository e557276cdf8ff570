// The builders and handlers behind the catalogue's names. A name whose
// builder or handler this build does not have stands as null, and the
// catalogue answers it "File Not Supported".
#ifndef FTM_DISPATCH_FTM_REPORTS_H_
#define FTM_DISPATCH_FTM_REPORTS_H_

#include "dispatch/ftm_status.h"
#include "reports/FTM_ModemInfo.h"
#include "reports/FTM_Progress.h"
#include "requests/FTM_PutModemInfo.h"

// Downloads.
#define FTM_REPORT_MODEMINFO FTM_GetModemInfoXml
#define FTM_REPORT_TESTMODEOP FTM_GetTestModeOpXml
#define FTM_REPORT_TESTMODECFG nullptr
#define FTM_REPORT_STATISTICS nullptr
#define FTM_REPORT_PROGRESS FTM_GetProgressXml
#define FTM_REPORT_STATS4PORT nullptr
#define FTM_REPORT_ANTENNAINFO nullptr
#define FTM_REPORT_MOBILEINFO nullptr

// Uploads.
#define FTM_HANDLER_MODEMINFO FtmPutModemInfo
#define FTM_HANDLER_TESTMODEOP nullptr
#define FTM_HANDLER_TESTMODECFG nullptr
#define FTM_HANDLER_STATS4PORT nullptr

// An INI file this build cannot load is refused like an unknown name.
inline FtmErrorInfo* FTM_INI_LOAD(const char*, const char*) {
  ftm_SetErrorInfo(0, kFtmMsgFileNotSupported);
  return FtmGetErrorInfo();
}

#endif  // FTM_DISPATCH_FTM_REPORTS_H_
