#include "reports/FTM_ModemInfo.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "dispatch/ftm_status.h"
#include "reports/FTM_Apis.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};
struct FreeDocument {
  void operator()(XmlNode* node) const { XmlFreeNode(node); }
};

}  // namespace

int FTM_GetModemInfoXml(char** buffer, int* length) {
  // The parser writes into its input, so it gets a copy of the template;
  // every request starts again from the template.
  std::unique_ptr<XmlNode, FreeDocument> document;
  {
    std::unique_ptr<char, FreeText> work(
        static_cast<char*>(std::malloc(std::strlen(kFtmModemInfoTemplate) + 1)));
    if (work != nullptr) {
      std::strcpy(work.get(), kFtmModemInfoTemplate);
      document.reset(XmlParseDocument(work.get()));
    }
  }
  if (document == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  if (XmlNode* info = XmlFindChild(document.get(), "MODEM_INFO")) XMLS_GetModemInfoCM(info);
  return FTM_BuildReportFile(buffer, length, document.get());
}
