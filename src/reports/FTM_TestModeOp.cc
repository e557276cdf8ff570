#include "reports/FTM_TestModeOp.h"

#include <cstdint>

#include "dispatch/ftm_status.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

// The document of the last report, freed by the next request.
XmlDoc FtmTestModeOpDoc;

struct ActiveEntry {
  uint16_t bit;
  const char* entry;
};

// In the order they are listed. The throughput entry is THROUGH_PUT, with
// the underscore, unlike THROUGHPUT among the supported tests.
const ActiveEntry kActiveEntries[] = {
    {kFtmTestLed, "<LED/>"},
    {kFtmTestResetSwitch, "<RESET_SWITCH/>"},
    {kFtmTestThroughput, "<THROUGH_PUT/>"},
    {kFtmTestAutoPair, "<AUTO_PAIR/>"},
    {kFtmTestWireless, "<BCOM_WIRELESS/>"},
    {kFtmTestVoice, "<VOIP/>"},
};

// The fixed prefix (132), every entry (70) and the closing tag (14), and
// the terminator, with room to spare.
constexpr size_t kWorkingBufferSize = 264;

}  // namespace

int FTM_GetTestModeOpXml(char** buffer, int* length) {
  char text[kWorkingBufferSize] = "";
  size_t used = 0;
  XmlAppendPiece(kFtmSupportedTestsPrefix, text, sizeof text, &used);
  for (const ActiveEntry& e : kActiveEntries) {
    if ((FtmActiveTests & e.bit) != 0) XmlAppendPiece(e.entry, text, sizeof text, &used);
  }
  XmlAppendPiece("</ACTIVE_TEST>", text, sizeof text, &used);

  FtmTestModeOpDoc = XmlParseCopy(text);
  if (!FtmTestModeOpDoc) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  return FTM_BuildReportFile(buffer, length, FtmTestModeOpDoc.get());
}
