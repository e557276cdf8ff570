#include "reports/FTM_Progress.h"

#include <cstdlib>
#include <cstring>

#include "dispatch/ftm_status.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

// Kept for the daemon's life once made, with the last text built from it.
XmlKeptDoc FtmProgressDoc(FTM_NewDownloadStatusDoc);
char* g_text = nullptr;
int g_length = 0;

}  // namespace

const char* FTM_GetProgressXml() {
  std::free(g_text);
  g_text = nullptr;
  g_length = 0;
  XmlNode* doc = FtmProgressDoc.get();
  if (doc == nullptr) {
    // No memory for the template: as for every document that cannot be made.
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return nullptr;
  }
  if (XmlNode* status = XmlFindPath(doc, "DOWNLOAD_STATUS", nullptr, nullptr)) {
    XmlSetText(status, FtmDownloadInProgress != 0 ? "NOT_DONE" : "DONE");
    FTM_BuildReportFile(&g_text, &g_length, doc);
  }
  return g_text != nullptr ? std::strchr(g_text, '<') : nullptr;
}
