#include "reports/FTM_Progress.h"

#include <cstdlib>
#include <cstring>

#include "dispatch/ftm_status.h"
#include "xml/xml_doc.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

// Kept for the daemon's life once made.
XmlNode* FtmProgressDoc = nullptr;
char* g_progressText = nullptr;
int g_progressLength = 0;

// The document of the last supported-tests report, freed by the next one.
XmlNode* FtmTestModeOpDoc = nullptr;

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

constexpr size_t kWorkingBufferSize = 264;

}  // namespace

const char* FTM_GetProgressXml() {
  std::free(g_progressText);
  g_progressText = nullptr;
  g_progressLength = 0;
  if (FtmProgressDoc == nullptr) FtmProgressDoc = FTM_NewDownloadStatusDoc();
  XmlNode* status = XmlFindPath(FtmProgressDoc, "DOWNLOAD_STATUS", nullptr, nullptr);
  if (status != nullptr) {
    XmlSetText(status, FtmDownloadInProgress != 0 ? "NOT_DONE" : "DONE");
    FTM_BuildReportFile(&g_progressText, &g_progressLength, FtmProgressDoc);
  } else if (FtmProgressDoc == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlFileFailed);
  }
  if (g_progressText == nullptr) return nullptr;
  const char* start = std::strchr(g_progressText, '<');
  return start != nullptr ? start : g_progressText;
}

int FTM_GetTestModeOpXml(char** buffer, int* length) {
  char text[kWorkingBufferSize] = "";
  size_t used = 0;
  XmlAppendPiece(kFtmSupportedTestsPrefix, text, sizeof text, &used);
  for (const ActiveEntry& e : kActiveEntries) {
    if ((FtmActiveTests & e.bit) != 0) XmlAppendPiece(e.entry, text, sizeof text, &used);
  }
  XmlAppendPiece("</ACTIVE_TEST>", text, sizeof text, &used);

  XmlFreeNode(FtmTestModeOpDoc);
  FtmTestModeOpDoc = XmlParseDocument(text);
  return FTM_BuildReportFile(buffer, length, FtmTestModeOpDoc);
}
