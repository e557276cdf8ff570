#include "dispatch/ftm_catalog.h"

#include <cstdlib>
#include <cstring>

#include "reports/FTM_AntennaInfo.h"
#include "reports/FTM_MobileInfo.h"
#include "reports/FTM_ModemInfo.h"
#include "reports/FTM_Progress.h"
#include "reports/FTM_Statistics.h"
#include "reports/FTM_Stats4port.h"
#include "reports/FTM_TestModeCfg.h"
#include "reports/FTM_TestModeOp.h"
#include "requests/FTM_LoadIniFile.h"
#include "requests/FTM_PutEthernetPorts.h"
#include "requests/FTM_PutModemInfo.h"
#include "requests/FTM_TestConfig.h"
#include "requests/FTM_TestModeOp.h"

namespace {

// A report whose builder fills the catalogue's slot for it.
using SlotBuilder = int (*)(char** text, int* length);
// A report whose builder keeps its own text and returns it (null = failure).
using OwnBuilder = const char* (*)();

struct DownloadRow {
  const char* name;
  SlotBuilder slotBuilder;
  OwnBuilder ownBuilder;
  char* text;  // the slot: the last text built for this report
  int length;
};

// In the order in which names are compared. A row without a builder is a
// report this build does not make yet: it is answered "File Not Supported".
DownloadRow g_downloads[] = {
    {"FTM_ModemInfo.xml", FTM_GetModemInfoXml, nullptr, nullptr, 0},
    {"FTM_TestModeOp.xml", FTM_GetTestModeOpXml, nullptr, nullptr, 0},
    {"FTM_TestModeCfg.xml", nullptr, FTM_GetTestModeCfgXml, nullptr, 0},
    {"FTM_Statistics.xml", FTM_GetStatisticsXml, nullptr, nullptr, 0},
    {"FTM_Progress.xml", nullptr, FTM_GetProgressXml, nullptr, 0},
    {"FTM_Stats_4port.xml", FTM_GetStats4portXml, nullptr, nullptr, 0},
    {"FTM_AntennaInfo.xml", FTM_GetAntennaInfoXml, nullptr, nullptr, 0},
    {"FTM_MobileInfo.xml", FTM_GetMobileInfoXml, nullptr, nullptr, 0},
};

using Handler = int (*)(const char* text);

struct UploadRow {
  const char* name;
  Handler handler;
};

// A row without a handler is a request this build does not handle yet.
const UploadRow kUploads[] = {
    {"FTM_ModemInfo.xml", FtmPutModemInfo},
    {"FTM_TestModeOp.xml", FtmPutTestModeOp},
    {"FTM_TestModeCfg.xml", FtmPutTestConfig},
    {"FTM_Stats_4port.xml", FtmPutEthernetPorts},
};

FtmErrorInfo* NotSupported() {
  ftm_SetErrorInfo(0, kFtmMsgFileNotSupported);
  return FtmGetErrorInfo();
}

}  // namespace

const char* FTM_GetFile(const char* name, FtmErrorInfo** error) {
  *error = nullptr;
  for (DownloadRow& row : g_downloads) {
    if (std::strcmp(name, row.name) != 0) continue;
    const char* text = nullptr;
    if (row.slotBuilder != nullptr) {
      std::free(row.text);
      row.text = nullptr;
      row.length = 0;
      if (row.slotBuilder(&row.text, &row.length) == 0) text = row.text;
    } else if (row.ownBuilder != nullptr) {
      text = row.ownBuilder();
    } else {
      break;  // not made by this build
    }
    if (text == nullptr) {
      *error = FtmGetErrorInfo();
      return nullptr;
    }
    const char* start = std::strchr(text, '<');
    return start != nullptr ? start : text + std::strlen(text);
  }
  *error = NotSupported();
  return nullptr;
}

FtmErrorInfo* FTM_PutFile(char* text, const char* name) {
  const char* dot = std::strchr(name, '.');
  if (dot != nullptr && std::strcmp(dot, ".ini") == 0) {
    FtmDownloadInProgress = 1;
    FtmErrorInfo* result = FtmLoadIniFile(text, name);
    FtmDownloadInProgress = 0;
    return result;
  }
  for (const UploadRow& row : kUploads) {
    if (std::strcmp(name, row.name) != 0) continue;
    if (row.handler == nullptr) break;  // not handled by this build
    // A handler that failed without recording a message of its own (a
    // board call failed) is answered with the record as it stands: the
    // message of the last failure before it, or an empty one. That is the
    // board's answer, kept here on purpose and nowhere else.
    return row.handler(text) == 0 ? nullptr : FtmGetErrorInfo();
  }
  return NotSupported();
}
