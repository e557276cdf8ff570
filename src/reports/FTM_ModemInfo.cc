#include "reports/FTM_ModemInfo.h"

#include "dispatch/ftm_status.h"
#include "reports/FTM_Apis.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

int FTM_GetModemInfoXml(char** buffer, int* length) {
  // Every request starts again from the template.
  XmlDoc document = XmlParseCopy(kFtmModemInfoTemplate);
  if (!document) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  if (XmlNode* info = XmlFindChild(document.get(), "MODEM_INFO")) XMLS_GetModemInfoCM(info);
  return FTM_BuildReportFile(buffer, length, document.get());
}
