#include "requests/FTM_PutEthernetPorts.h"

#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "dispatch/ftm_result.h"
#include "dispatch/ftm_text.h"
#include "platform/platform.h"
#include "reports/FTM_Stats4port.h"
#include "xml/xml_write.h"

namespace {

struct PortRow {
  const char* element;
  int utilityPort;  // the port's number for switch_utility
};
const PortRow kPorts[] = {
    {"PORT_1", 4}, {"PORT_2", 2}, {"PORT_3", 1}, {"PORT_4", 0}, {"PORT_5", 5},
};

const char kWorkFile[] = "/tmp/tmpPortFile.txt";
// The get command's output is read up to this many characters.
constexpr int kConfigChars = 31;
// The values the request replaces, counted from 1.
constexpr int kForceValue = 6;
constexpr int kLinkValue = 7;

// A value of the switch's configuration may go back into a command line
// only when it is a plain word: letters, digits, '.', '-', ':', '_'.
bool PlainWord(const char* begin, const char* end) {
  for (const char* p = begin; p < end; ++p) {
    char c = *p;
    bool ok = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
              c == '.' || c == '-' || c == ':' || c == '_';
    if (!ok) return false;
  }
  return true;
}

// The port's current configuration: the first line of the work file that
// the get command leaves (at most 31 characters), or empty. The file is
// removed once read.
void ReadConfiguration(int utilityPort, char (&config)[kConfigChars + 1]) {
  FtmCommandFirstLine(kWorkFile, config, sizeof config,
                      "switch_utility PortLinkCfgGet %d | cut -d'=' -f2 | tr -d '\n'", utilityPort);
}

// A configuration that cannot go back to the switch as it was read is
// refused ("Write data failed"), so that the station never takes an ACK for
// a port that was not set.
FtmResult PortStep(XmlNode* element, int utilityPort) {
  char config[kConfigChars + 1];
  ReadConfiguration(utilityPort, config);
  char command[128] = "switch_utility PortLinkCfgSet ";
  size_t used = std::strlen(command);

  if (element->children == nullptr) return FtmResult::Accepted();
  XmlNode* first = element->children[0];
  if (first == nullptr) return FtmResult::Failed();
  if (!FtmIs(first->name, "ETH_PORT_ACTIVE") || first->text == nullptr) {
    return FtmResult::Accepted();
  }
  const bool inactive = std::strcmp(first->text, "NO") == 0;

  // The values are the runs of characters between blanks; the blank that
  // the get command leaves before each value makes no empty value.
  int index = 0;
  for (const char* p = config; *p != '\0';) {
    if (*p == ' ') {
      ++p;
      continue;
    }
    const char* end = std::strchr(p, ' ');
    if (end == nullptr) end = p + std::strlen(p);
    ++index;
    // Anything but plain words never reaches the shell.
    if (!PlainWord(p, end)) return FtmResult::Refused(kFtmMsgWriteDataFailed);
    const char* value = p;
    int length = static_cast<int>(end - p);
    if (index == kForceValue) {
      value = "1";
      length = 1;
    } else if (index == kLinkValue) {
      value = inactive ? "1" : "0";
      length = 1;
    }
    // At most 16 values of 31 characters with their blanks: always fits.
    used += static_cast<size_t>(
        std::snprintf(command + used, sizeof command - used, " %.*s", length, value));
    if (used >= sizeof command) return FtmResult::Refused(kFtmMsgWriteDataFailed);
    p = end;
  }
  FtmRunCommand("%s", command);
  return FtmResult::Accepted();
}

}  // namespace

int FtmPutEthernetPorts(const char* text) {
  XmlDoc document = XmlParseCopy(text);
  XmlNode* ethernet = document ? XmlFindChild(document.get(), "ETHERNET") : nullptr;
  if (ethernet == nullptr) return FtmResult::Refused(kFtmMsgXmlFileInvalid).Report();
  // The four-port report's document is made here when it does not exist yet;
  // the request does not change it.
  FtmStats4portDocument();

  FtmResult result = FtmResult::Accepted();
  if (ethernet->children == nullptr) return 0;
  for (XmlNode** child = ethernet->children; *child != nullptr && result.accepted(); ++child) {
    for (const PortRow& port : kPorts) {
      if (!FtmIs((*child)->name, port.element)) continue;
      result = PortStep(*child, port.utilityPort);
      break;
    }
  }
  return result.Report();
}
