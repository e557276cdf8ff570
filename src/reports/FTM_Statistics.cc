#include "reports/FTM_Statistics.h"

#include "dispatch/ftm_status.h"
#include "reports/FTM_Apis.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

XmlKeptDoc FtmStatisticsDoc(FTM_NewStatsDoc);

}  // namespace

int FtmUpdStatistics() {
  using Fill = int (*)(XmlNode*);
  struct Section {
    const char* name;
    Fill fill;
  };
  static const Section kSections[] = {
      {"ETHERNET", XMLS_initEtherStatCatCM}, {"ATM", XMLS_initAtmStatCatCM},
      {"DSL", XMLS_initDslStatCM},           {"FLASH", XMLS_GetFlashErrCM},
      {"ATH_WIRELESS", XMLS_Get_Wl0_StatCM},
  };
  for (const Section& section : kSections) {
    // A fill's failure is in the error record; the report is served anyway.
    if (XmlNode* element =
            XmlFindPath(FtmStatisticsDoc.get(), "FTM_STATS", section.name, nullptr)) {
      section.fill(element);
    }
  }
  return 0;
}

int FTM_GetStatisticsXml(char** buffer, int* length) {
  if (FtmStatisticsDoc.get() == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  int rc = FtmUpdStatistics();
  if (rc != 0) return rc;
  return FTM_BuildReportFile(buffer, length, FtmStatisticsDoc.get());
}
