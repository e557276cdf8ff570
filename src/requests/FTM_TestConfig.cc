#include "requests/FTM_TestConfig.h"

#include <fcntl.h>
#include <syslog.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "board/board_ops.h"
#include "board/gpio.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_result.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "requests/FTM_AthWireless.h"
#include "requests/FTM_Voice.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

XmlKeptDoc FtmTestConfigDoc(FTM_NewTestConfigDoc);

const char kFallbackMac[] = "02:5e:a3:00:00:01";
// "xx:xx:xx:xx:xx:xx" and its terminator.
constexpr size_t kMacSize = 18;
// "0." + VPI + "." + VCI: what the delete script is given.
constexpr size_t kCircuitSize = 48;

// 1 for "ON", 0 for "OFF", -1 for anything else.
int OnOff(const char* text) {
  if (FtmIs(text, "ON")) return 1;
  if (FtmIs(text, "OFF")) return 0;
  return -1;
}

// The value of attribute `index`, or null when the element has no such
// attribute or it has no value.
const char* AttrValue(XmlNode* node, int index) {
  if (node->attrNames == nullptr) return nullptr;
  for (int i = 0; i < index; ++i) {
    if (node->attrNames[i] == nullptr) return nullptr;
  }
  if (node->attrNames[index] == nullptr) return nullptr;
  const char* value = node->attrValues[index];
  return value != nullptr && *value != '\0' ? value : nullptr;
}

// Copies the first two attributes (name and value) onto the kept element.
void CopyAttributes(XmlNode* from, XmlNode* to) {
  for (int i = 0; i < 2; ++i) XmlSetAttribute(to, from->attrNames[i], from->attrValues[i]);
}

bool IsMac(const char* text) {
  if (std::strlen(text) != kMacSize - 1) return false;
  for (size_t i = 0; i < kMacSize - 1; ++i) {
    bool colon = i % 3 == 2;
    if (colon ? text[i] != ':' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

FtmResult FtmSetSingleLed(XmlNode* child) {
  const char* pointText = AttrValue(child, 0);
  const char* state = AttrValue(child, 1);
  if (pointText == nullptr || state == nullptr) return FtmResult::Refused(kFtmMsgTestNotSupported);
  uint16_t point = static_cast<uint16_t>(FtmDecimal(pointText));
  if (point < 73 && OnOff(state) < 0) return FtmResult::Refused(kFtmMsgTestNotSupported);
  if (point >= 256) return FtmResult::Refused(kFtmMsgTestNotSupported);
  FtmActiveTests |= kFtmTestLed;
  XmlNode* doc = FtmTestConfigDocument();
  XmlNode* kept = doc != nullptr ? XmlFindPath(doc, "TEST_CONFIG", "LED", "SINGLE_LED") : nullptr;
  if (kept == nullptr) return FtmResult::Refused(kFtmMsgNoCommandFound);
  CopyAttributes(child, kept);
  if (OnOff(state) >= 0) GpioWriteIo(point, OnOff(state));
  return FtmResult::Accepted();
}

FtmResult FtmLedConfig(XmlNode* element) {
  // A failed write refuses the request, but the remaining LEDs are still
  // switched; ALL_LEDS after a failed write is refused outright.
  bool writeFailed = false;
  if (element->children == nullptr) return FtmResult::Accepted();
  for (XmlNode** it = element->children; *it != nullptr; ++it) {
    XmlNode* child = *it;
    if (FtmIs(child->name, "SINGLE_LED")) {
      FtmResult single = FtmSetSingleLed(child);
      if (!single.accepted()) return single;
    } else if (FtmIs(child->name, "ALL_LEDS")) {
      if (BoardCapability("ALL_LEDS") == 0) return FtmResult::Refused(kFtmMsgWriteTestConfigFailed);
      int value = OnOff(child->text);
      if (value < 0 || writeFailed) return FtmResult::Refused(kFtmMsgTestNotSupported);
      if (GpioWriteIo(GPIO_ALL_LEDS, value) != 0) return FtmResult::Refused(kFtmMsgWriteDataFailed);
    } else {
      const GpioLed* led = nullptr;
      for (const GpioLed& l : kGpioLeds) {
        if (FtmIs(child->name, l.element)) led = &l;
      }
      if (led == nullptr) return FtmResult::Refused(kFtmMsgTestNotSupported);
      if (BoardCapability(led->element) == 0) {
        return FtmResult::Refused(kFtmMsgWriteTestConfigFailed);
      }
      int value = OnOff(child->text);
      if (value < 0) return FtmResult::Refused(kFtmMsgTestNotSupported);
      if (GpioWriteIo(led->point, value) != 0) {
        writeFailed = true;
        continue;
      }
    }
    if (!writeFailed) FtmActiveTests |= kFtmTestLed;
  }
  return writeFailed ? FtmResult::Refused(kFtmMsgWriteDataFailed) : FtmResult::Accepted();
}

FtmResult FtmAutoPairConfig(XmlNode* element) {
  if (element->children != nullptr) {
    for (XmlNode** it = element->children; *it != nullptr; ++it) {
      XmlNode* child = *it;
      if (!FtmIs(child->name, "AUTO_MODE")) continue;
      if (BoardCapability("AUTO_MODE") == 0) {
        return FtmResult::Refused(kFtmMsgWriteTestConfigFailed);
      }
      if (FtmIs(child->text, "INNER")) {
        GpioWriteIo(GPIO_AUTO_PAIR, 0);
      } else if (FtmIs(child->text, "OUTER")) {
        GpioWriteIo(GPIO_AUTO_PAIR, 1);
      } else {
        return FtmResult::Refused(kFtmMsgTestNotSupported);  // AUTO too
      }
    }
  }
  FtmActiveTests |= kFtmTestAutoPair;
  return FtmResult::Accepted();
}

FtmResult FtmEtherPortConfig(XmlNode* element) {
  if (element->children == nullptr) return FtmResult::Accepted();
  for (XmlNode** it = element->children; *it != nullptr; ++it) {
    if (!FtmIs((*it)->name, "ETHER_PORT_SPD")) continue;
    if (BoardCapability("ETHER_PORT_SPD") == 0) {
      return FtmResult::Refused(kFtmMsgWriteTestConfigFailed);
    }
    const char* speed = (*it)->text;
    if (!FtmIs(speed, "AUTO") && !FtmIs(speed, "10") && !FtmIs(speed, "100")) {
      return FtmResult::Refused(kFtmMsgTestNotSupported);
    }
  }
  return FtmResult::Accepted();
}

// RESET_SWITCH (point 32) and WPS_SWITCH (point 43) drive their button lines
// directly. No message is recorded on failure.
FtmResult FtmSwitchConfig(XmlNode* element, int point, const char* name) {
  GpioDevice device(GpioReport::kSyslog);  // opened before the element is looked at
  if (!device.ok()) return FtmResult::Failed();
  if (element->children == nullptr) return FtmResult::Accepted();
  XmlNode* first = element->children[0];
  if (first == nullptr) return FtmResult::Failed();
  if (!FtmIs(first->name, name) || first->text == nullptr) return FtmResult::Accepted();
  return FtmResult::Of(device.SetSwitch(point, FtmIs(first->text, "OPEN") ? 0 : 1));
}

// Records the circuit on the kept THROUGHPUT element and changes it.
FtmResult FtmApplyThroughput(XmlNode* element) {
  XmlNode* doc = FtmTestConfigDocument();
  XmlNode* kept = doc != nullptr ? XmlFindPath(doc, "TEST_CONFIG", "THROUGHPUT", nullptr) : nullptr;
  if (kept == nullptr) return FtmResult::Refused(kFtmMsgNoCommandFound);
  const char* vpi = AttrValue(element, 0);
  const char* vci = AttrValue(element, 1);
  // A missing attribute or value is refused like a value that is not
  // decimal digits, the only form that may reach the scripts.
  if (!FtmIsDigits(vpi) || !FtmIsDigits(vci)) return FtmResult::Refused(kFtmMsgTestNotSupported);
  CopyAttributes(element, kept);
  return ftm_ChangeVpiVci(vpi, vci) == 0 ? FtmResult::Accepted() : FtmResult::Failed();
}

}  // namespace

XmlNode* FtmTestConfigDocument() {
  return FtmTestConfigDoc.get();
}

FtmResult FtmThroughputTest(XmlNode* element) {
  if (element->children != nullptr) {
    for (XmlNode** it = element->children; *it != nullptr; ++it) {
      if (!FtmIs((*it)->name, "READY_STATUS")) continue;
      if (BoardCapability("READY_STATUS") == 0) {
        return FtmResult::Refused(kFtmMsgWriteTestConfigFailed);
      }
      if (!FtmIs((*it)->text, "READY") && !FtmIs((*it)->text, "NOT_READY")) {
        return FtmResult::Refused(kFtmMsgTestNotSupported);
      }
    }
  }
  FtmActiveTests |= kFtmTestThroughput;
  return FtmApplyThroughput(element);
}

char* FTM_GetCurrentVpiVci(char* buffer, size_t size) {
  FtmCfgReader store;
  if (!store.ok()) return nullptr;
  FtmCfgTable table = store.Read("VccStat", "FTM_GetCurrentVpiVci", __LINE__);
  if (!table) return nullptr;
  for (int row = 0; row < table.rows(); ++row) {
    if (std::strcmp(table.Cell(row, 0), "nas0") != 0) continue;
    const char* vpi = table.Cell(row, 1);
    const char* vci = table.Cell(row, 2);
    // The circuit goes onto a command line: only decimal values count.
    if (!FtmIsDigits(vpi) || !FtmIsDigits(vci)) return nullptr;
    int n = std::snprintf(buffer, size, "%s%s.%s", "0.", vpi, vci);
    return n >= 0 && static_cast<size_t>(n) < size ? buffer : nullptr;
  }
  return nullptr;
}

int ftm_ChangeVpiVci(const char* vpi, const char* vci) {
  if (!FtmIsDigits(vpi) || !FtmIsDigits(vci)) {
    return FtmResult::Refused(kFtmMsgTestNotSupported).Report();
  }
  char mac[kMacSize];
  std::snprintf(mac, sizeof mac, "%s", kFallbackMac);
  int result = -1;
  {
    FtmCfgReader store;
    FtmCfgTable table;
    if (store.ok() && (table = store.Read("ProductionData", "ftm_ChangeVpiVci", __LINE__))) {
      const char* stored = table.Cell(0, 2);
      // Anything but a MAC address of the usual form stays off the command line.
      if (IsMac(stored)) std::snprintf(mac, sizeof mac, "%s", stored);
      result = 0;
    }
  }

  // The new circuit's line is refused whole rather than cut.
  char newCircuit[128];
  int n = std::snprintf(newCircuit, sizeof newCircuit, "%s %s%s.%s %s", "/etc/init.d/NewVpiVci.sh",
                        "0.", vpi, vci, mac);
  if (n < 0 || static_cast<size_t>(n) >= sizeof newCircuit) {
    return FtmResult::Refused(kFtmMsgTestNotSupported).Report();
  }
  char current[kCircuitSize];
  if (FTM_GetCurrentVpiVci(current, sizeof current) != nullptr) {
    FtmRunCommand("%s %s", "/etc/init.d/DelOrgVpiVci.sh", current);
  }
  FtmRunCommand("%s", newCircuit);
  return result;
}

namespace {

FtmResult FtmTestConfigChild(XmlNode* child) {
  const char* name = child->name;
  if (FtmIs(name, "LED")) return FtmLedConfig(child);
  if (FtmIs(name, "THROUGHPUT")) return FtmThroughputTest(child);
  if (FtmIs(name, "AUTO_PAIR")) return FtmAutoPairConfig(child);
  if (FtmIs(name, "WPS_SWITCH")) return FtmSwitchConfig(child, GPIO_WPS_SWITCH, "WPS_SW_STATUS");
  if (FtmIs(name, "RESET_SWITCH")) {
    return FtmSwitchConfig(child, GPIO_RESET_SWITCH, "RESET_SW_STATUS");
  }
  if (FtmIs(name, "ETHER_PORT")) return FtmEtherPortConfig(child);
  if (FtmIs(name, "ATH_WIRELESS")) return FtmAthWirelessConfig(child);
  if (FtmIs(name, "VOIP")) return FtmVoiceTest(child);
  return FtmResult::Refused(kFtmMsgTestNotSupported);
}

FtmResult FtmTestConfig(const char* text) {
  XmlDoc document = XmlParseCopy(text);
  XmlNode* config = document ? XmlFindChild(document.get(), "TEST_CONFIG") : nullptr;
  if (config == nullptr) return FtmResult::Refused(kFtmMsgXmlFileInvalid);
  if (FtmTestConfigDocument() == nullptr) return FtmResult::Refused(kFtmMsgCreateXmlDataObjFailed);
  if (config->children == nullptr) return FtmResult::Accepted();
  // Only a status of -1 stops the walk; the request answers with the last
  // child's result.
  FtmResult result = FtmResult::Accepted();
  for (XmlNode** it = config->children; *it != nullptr; ++it) {
    result = FtmTestConfigChild(*it);
    if (result.stops()) break;
  }
  return result;
}

}  // namespace

int FtmPutTestConfig(const char* text) {
  return FtmTestConfig(text).Report();
}
