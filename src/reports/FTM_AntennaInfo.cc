#include "reports/FTM_AntennaInfo.h"

#include <cstdio>
#include <cstring>

#include "dispatch/ftm_status.h"
#include "modem/ftm_modem_query.h"
#include "platform/ftm_log.h"
#include "reports/ftm_report.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

void FtmReadAntennaText(const char* fill, char* text) {
  text[0] = '\0';
  if (unlockDevice() == 0) {
    FtmLogConsole("\n Failed to unlock %s device\n", kFtmModemDevice);
    return;
  }
  SignalValues signal;
  int result = getSignalValue(&signal);
  if (result == 0 || result == 2) {
    FtmLogConsole("\n Failed to get signal value\n");
    return;
  }
  FtmLogConsole("\n %s:%d sSignalValues.mainSignal = %s sSignalValues.auxSignal = %s\n", fill,
                __LINE__, signal.mainSignal, signal.auxSignal);
  // "Main: %s, Aux: %s". Two levels of up to 127 characters each may not
  // fit the field: the text is cut at its end, so a station sees at least
  // the main level whole.
  size_t used = 0;
  const char* const pieces[] = {"Main: ", signal.mainSignal, ", Aux: ", signal.auxSignal};
  for (const char* piece : pieces) {
    for (; *piece != '\0' && used < kAtValueSize - 1; ++piece) text[used++] = *piece;
  }
  text[used] = '\0';
}

int XMLS_GetAntennaInfoCM(XmlNode* element) {
  static const char kFill[] = "XMLS_GetAntennaInfoCM";
  FtmLogConsole("\n%s:%d\n", kFill, __LINE__);
  if (element->children == nullptr || element->children[0] == nullptr) return 0;
  FtmModemPort port(kFtmModemDevice);
  if (!port.usable()) FtmLogConsole("\n Failed to open %s device\n", kFtmModemDevice);
  for (XmlNode** child = element->children; *child != nullptr; ++child) {
    if (std::strcmp((*child)->name, "ANT") != 0) continue;
    char text[kAtValueSize] = "";
    if (port.usable()) FtmReadAntennaText(kFill, text);
    XmlSetText(*child, text);
    break;
  }
  return 0;
}

int FTM_GetAntennaInfoXml(char** buffer, int* length) {
  return FtmBuildFreshReport(buffer, length, kFtmAntennaInfoTemplate, "ANTENNA_INFO",
                             XMLS_GetAntennaInfoCM);
}
