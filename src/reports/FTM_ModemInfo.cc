#include "reports/FTM_ModemInfo.h"

#include "reports/FTM_Apis.h"
#include "reports/ftm_report.h"
#include "xml/xml_templates.h"

int FTM_GetModemInfoXml(char** buffer, int* length) {
  return FtmBuildFreshReport(buffer, length, kFtmModemInfoTemplate, "MODEM_INFO",
                             XMLS_GetModemInfoCM);
}
