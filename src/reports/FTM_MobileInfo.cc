#include "reports/FTM_MobileInfo.h"

#include <syslog.h>

#include <cstdio>
#include <cstring>

#include "dispatch/ftm_status.h"
#include "modem/ftm_modem_query.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "reports/FTM_AntennaInfo.h"
#include "reports/ftm_report.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

const char kFill[] = "XMLS_GetMobileInfoCM";
const char kSimFailed[] = "SIM not inserted/Failed";
// The walk stops once this many elements are filled.
constexpr int kMobileLimit = 5;

void FillSim(XmlNode* child, bool usable) {
  if (!usable) {
    XmlSetText(child, kSimFailed);
    return;
  }
  char status[kAtValueSize] = "";
  switch (getPINStatus(status)) {
    case 0:
      FtmLogConsole("\n Failed to get SIM PIN status\n");
      XmlSetText(child, kSimFailed);
      break;
    case 2:
      // The modem answered, without the line: a SIM that needs nothing.
      FtmLogConsole("\n Failed to get SIM PIN status\n");
      FtmLogSyslog(LOG_DEBUG, "\n%s:%d: Got Just Ok No Data\n", kFill, __LINE__);
      XmlSetText(child, "READY");
      break;
    default:
      XmlSetText(child, status);
      break;
  }
}

// One "ATI" exchange for one of the identity elements.
struct IdentityField {
  const char* element;
  const char* failure;
  const char* trace;  // null: no trace
  char (ManufactureInfo::*text)[kAtValueSize];
};

const IdentityField kIdentity[] = {
    {"IMEI", "\n Failed to get imei value", "\n %s:%d sManufactureInfo.imei = %s\n",
     &ManufactureInfo::imei},
    {"MODEL", "\n Failed to get model value", "\n %s:%d sManufactureInfo.model = %s\n",
     &ManufactureInfo::model},
    {"CGMR", "\n Failed to get cgmr value", nullptr, &ManufactureInfo::revision},
};

void FillIdentity(XmlNode* child, const IdentityField& field, bool usable) {
  if (!usable) {
    XmlSetText(child, "");
    return;
  }
  ManufactureInfo info;
  int result = getManufacturerInfo(&info);
  if (result == 0 || result == 2) {
    FtmLogConsole("%s\n", field.failure);
    XmlSetText(child, "");
    return;
  }
  const char* text = info.*field.text;
  if (field.trace != nullptr) FtmLogConsole(field.trace, kFill, __LINE__, text);
  XmlSetText(child, text);
}

}  // namespace

int XMLS_GetMobileInfoCM(XmlNode* element) {
  FtmLogConsole("\n%s:%d\n", kFill, __LINE__);
  if (element->children == nullptr || element->children[0] == nullptr) return 0;
  FtmModemPort port(kFtmModemDevice);
  bool usable = port.usable();
  if (!usable) FtmLogConsole("\n Failed to open %s device\n", kFtmModemDevice);
  int filled = 0;
  for (XmlNode** child = element->children; *child != nullptr && filled < kMobileLimit; ++child) {
    const char* name = (*child)->name;
    if (std::strcmp(name, "SIM") == 0) {
      FillSim(*child, usable);
    } else if (std::strcmp(name, "ANT") == 0) {
      char text[kAtValueSize] = "";
      if (usable) FtmReadAntennaText(kFill, text);
      XmlSetText(*child, text);
    } else {
      const IdentityField* identity = nullptr;
      for (const IdentityField& field : kIdentity) {
        if (std::strcmp(name, field.element) == 0) identity = &field;
      }
      if (identity == nullptr) continue;  // not the modem's: does not count
      FillIdentity(*child, *identity, usable);
    }
    ++filled;
  }
  return 0;
}

int FTM_GetMobileInfoXml(char** buffer, int* length) {
  return FtmBuildFreshReport(buffer, length, kFtmMobileInfoTemplate, "MOBILE_INFO",
                             XMLS_GetMobileInfoCM);
}
