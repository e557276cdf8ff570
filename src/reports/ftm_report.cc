#include "reports/ftm_report.h"

#include "dispatch/ftm_status.h"
#include "xml/xml_write.h"

int FtmBuildFreshReport(char** buffer, int* length, const char* templateText, const char* element,
                        int (*fill)(XmlNode* element)) {
  XmlDoc document = XmlParseCopy(templateText);
  if (!document) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  if (XmlNode* found = XmlFindChild(document.get(), element)) fill(found);
  return FTM_BuildReportFile(buffer, length, document.get());
}
