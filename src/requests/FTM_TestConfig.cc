#include "requests/FTM_TestConfig.h"

#include <fcntl.h>
#include <syslog.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "board/board_ops.h"
#include "board/gpio.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/platform.h"
#include "requests/FTM_AthWireless.h"
#include "requests/FTM_Voice.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

XmlNode* FtmTestConfigDoc = nullptr;

const char kFallbackMac[] = "02:5e:a3:00:00:01";
// "xx:xx:xx:xx:xx:xx" and its terminator.
constexpr size_t kMacSize = 18;
// "0." + VPI + "." + VCI: what the delete script is given.
constexpr size_t kCircuitSize = 48;

bool Is(const char* a, const char* b) {
  return a != nullptr && std::strcmp(a, b) == 0;
}

// 1 for "ON", 0 for "OFF", -1 for anything else.
int OnOff(const char* text) {
  if (Is(text, "ON")) return 1;
  if (Is(text, "OFF")) return 0;
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

// A refusal that also marks the request's failure flag.
int Refuse(const char* message, int32_t* flag) {
  ftm_SetErrorInfo(0, message);
  *flag = -1;
  return -1;
}

bool IsMac(const char* text) {
  if (std::strlen(text) != kMacSize - 1) return false;
  for (size_t i = 0; i < kMacSize - 1; ++i) {
    bool colon = i % 3 == 2;
    if (colon ? text[i] != ':' : !std::isxdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

int FtmSetSingleLed(XmlNode* child, int32_t* flag) {
  const char* pointText = AttrValue(child, 0);
  const char* state = AttrValue(child, 1);
  if (pointText == nullptr || state == nullptr) {
    return Refuse(kFtmMsgTestNotSupported, flag);
  }
  uint16_t point = static_cast<uint16_t>(FtmDecimal(pointText));
  if (point < 73 && OnOff(state) < 0) return Refuse(kFtmMsgTestNotSupported, flag);
  if (point >= 256) return Refuse(kFtmMsgTestNotSupported, flag);
  FtmActiveTests |= kFtmTestLed;
  XmlNode* doc = FtmTestConfigDocument();
  XmlNode* kept = doc != nullptr ? XmlFindPath(doc, "TEST_CONFIG", "LED", "SINGLE_LED") : nullptr;
  if (kept == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgNoCommandFound);
    return -1;
  }
  CopyAttributes(child, kept);
  if (OnOff(state) >= 0) GpioWriteIo(point, OnOff(state));
  return 0;
}

int FtmLedConfig(XmlNode* element, int32_t* flag) {
  int result = 0;
  if (element->children == nullptr) return 0;
  for (XmlNode** it = element->children; *it != nullptr; ++it) {
    XmlNode* child = *it;
    if (Is(child->name, "SINGLE_LED")) {
      if (FtmSetSingleLed(child, flag) == -1) return -1;
    } else if (Is(child->name, "ALL_LEDS")) {
      if (BoardCapability("ALL_LEDS") == 0) return Refuse(kFtmMsgWriteTestConfigFailed, flag);
      int value = OnOff(child->text);
      if (value < 0 || result == -1) return Refuse(kFtmMsgTestNotSupported, flag);
      if (GpioWriteIo(GPIO_ALL_LEDS, value) != 0) {
        ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
        return -1;
      }
    } else {
      const GpioLed* led = nullptr;
      for (const GpioLed& l : kGpioLeds) {
        if (Is(child->name, l.element)) led = &l;
      }
      if (led == nullptr) {
        ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
        return -1;
      }
      if (BoardCapability(led->element) == 0) return Refuse(kFtmMsgWriteTestConfigFailed, flag);
      int value = OnOff(child->text);
      if (value < 0) return Refuse(kFtmMsgTestNotSupported, flag);
      *flag = GpioWriteIo(led->point, value);
    }
    if (*flag != 0) {
      // The remaining LEDs are still switched.
      ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
      result = -1;
    } else if (result == 0) {
      FtmActiveTests |= kFtmTestLed;
    }
  }
  return result;
}

int FtmAutoPairConfig(XmlNode* element, int32_t* flag) {
  if (element->children != nullptr) {
    for (XmlNode** it = element->children; *it != nullptr; ++it) {
      XmlNode* child = *it;
      if (!Is(child->name, "AUTO_MODE")) continue;
      if (BoardCapability("AUTO_MODE") == 0) {
        ftm_SetErrorInfo(0, kFtmMsgWriteTestConfigFailed);
        return -1;
      }
      if (Is(child->text, "INNER")) {
        GpioWriteIo(GPIO_AUTO_PAIR, 0);
      } else if (Is(child->text, "OUTER")) {
        GpioWriteIo(GPIO_AUTO_PAIR, 1);
      } else if (Is(child->text, "AUTO")) {
        *flag = -1;
      } else {
        ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
        return -1;
      }
      if (*flag == -1) {
        ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
        return -1;
      }
    }
  }
  FtmActiveTests |= kFtmTestAutoPair;
  return 0;
}

int FtmEtherPortConfig(XmlNode* element, int32_t* flag) {
  if (element->children == nullptr) return 0;
  for (XmlNode** it = element->children; *it != nullptr; ++it) {
    if (!Is((*it)->name, "ETHER_PORT_SPD")) continue;
    *flag = 0;
    if (BoardCapability("ETHER_PORT_SPD") == 0) {
      ftm_SetErrorInfo(0, kFtmMsgWriteTestConfigFailed);
      return -1;
    }
    const char* speed = (*it)->text;
    if (!Is(speed, "AUTO") && !Is(speed, "10") && !Is(speed, "100")) {
      ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
      return -1;
    }
  }
  return 0;
}

// RESET_SWITCH (point 32) and WPS_SWITCH (point 43) drive their button lines
// directly. No message is recorded on failure.
int FtmSwitchConfig(XmlNode* element, int point, const char* name) {
  PlatformDevice device("/dev/gpioctrl", O_RDWR);
  if (!device.ok()) {
    FtmSyslog(LOG_ERR, "Cannot open gpio driver");
    return -1;
  }
  if (element->children == nullptr) return 0;
  XmlNode* first = element->children[0];
  if (first == nullptr) return -1;
  if (!Is(first->name, name) || first->text == nullptr) return 0;
  GpioIoRecord record = {point, Is(first->text, "OPEN") ? 0 : 1};
  if (device.Ioctl(GPIOCTRL_ENTERFTM, &record) != 0) {
    FtmSyslog(LOG_ERR, "GPIOCTRL_ENTERFTM ioctl failed");
    return -1;
  }
  if (device.Ioctl(GPIOCTRL_WRITEIO, &record) != 0) {
    FtmSyslog(LOG_ERR, "GPIOCTRL_WRITEIO ioctl failed");
    return -1;
  }
  return 0;
}

// Records the circuit on the kept THROUGHPUT element and changes it.
int FtmApplyThroughput(XmlNode* element, int32_t* flag) {
  XmlNode* doc = FtmTestConfigDocument();
  XmlNode* kept = doc != nullptr ? XmlFindPath(doc, "TEST_CONFIG", "THROUGHPUT", nullptr) : nullptr;
  if (kept == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgNoCommandFound);
    return -1;
  }
  const char* vpi = AttrValue(element, 0);
  const char* vci = AttrValue(element, 1);
  // A missing attribute or value is refused like a value that is not
  // decimal digits, the only form that may reach the scripts.
  if (!FtmIsDigits(vpi) || !FtmIsDigits(vci)) {
    ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
    return -1;
  }
  CopyAttributes(element, kept);
  *flag = ftm_ChangeVpiVci(vpi, vci);
  return *flag != 0 ? -1 : 0;
}

}  // namespace

XmlNode* FtmTestConfigDocument() {
  if (FtmTestConfigDoc == nullptr) FtmTestConfigDoc = FTM_NewTestConfigDoc();
  return FtmTestConfigDoc;
}

int FtmThroughputTest(XmlNode* element, int32_t* flag) {
  if (element->children != nullptr) {
    for (XmlNode** it = element->children; *it != nullptr; ++it) {
      if (!Is((*it)->name, "READY_STATUS")) continue;
      if (BoardCapability("READY_STATUS") == 0) {
        ftm_SetErrorInfo(0, kFtmMsgWriteTestConfigFailed);
        return -1;
      }
      if (!Is((*it)->text, "READY") && !Is((*it)->text, "NOT_READY")) {
        ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
        return -1;
      }
    }
  }
  FtmActiveTests |= kFtmTestThroughput;
  return FtmApplyThroughput(element, flag);
}

char* FTM_GetCurrentVpiVci(char* buffer, size_t size) {
  FtmCfgSession session(kFtmCfgReadMode, nullptr);
  if (!session.ok()) {
    FtmCfgReportNoSession();
    return nullptr;
  }
  FtmCfgTable table;
  if (!FtmCfgReadTable(session.id(), "VccStat", "FTM_GetCurrentVpiVci", __LINE__, &table)) {
    return nullptr;
  }
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
    ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
    return -1;
  }
  char mac[kMacSize];
  std::snprintf(mac, sizeof mac, "%s", kFallbackMac);
  int result = -1;
  {
    FtmCfgSession session(kFtmCfgReadMode, nullptr);
    FtmCfgTable table;
    if (!session.ok()) {
      FtmCfgReportNoSession();
    } else if (FtmCfgReadTable(session.id(), "ProductionData", "ftm_ChangeVpiVci", __LINE__,
                               &table)) {
      const char* stored = table.Cell(0, 2);
      // Anything but a MAC address of the usual form stays off the command line.
      if (IsMac(stored)) std::snprintf(mac, sizeof mac, "%s", stored);
      result = 0;
    }
  }

  char command[128];
  // Both lines are refused whole rather than cut.
  char newCircuit[128];
  int n = std::snprintf(newCircuit, sizeof newCircuit, "%s %s%s.%s %s", "/etc/init.d/NewVpiVci.sh",
                        "0.", vpi, vci, mac);
  if (n < 0 || static_cast<size_t>(n) >= sizeof newCircuit) {
    ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
    return -1;
  }
  char current[kCircuitSize];
  if (FTM_GetCurrentVpiVci(current, sizeof current) != nullptr) {
    n = std::snprintf(command, sizeof command, "%s %s", "/etc/init.d/DelOrgVpiVci.sh", current);
    if (n > 0 && static_cast<size_t>(n) < sizeof command) FtmPlatform().System(command);
  }
  FtmPlatform().System(newCircuit);
  return result;
}

int FtmPutTestConfig(const char* text) {
  XmlDoc document = XmlParseCopy(text);
  if (!document) {
    ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
    return -1;
  }
  XmlNode* config = XmlFindChild(document.get(), "TEST_CONFIG");
  if (config == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
    return -1;
  }
  if (FtmTestConfigDocument() == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return -1;
  }
  if (config->children == nullptr) return 0;

  int32_t flag = 0;
  int result = 0;
  for (XmlNode** it = config->children; *it != nullptr; ++it) {
    XmlNode* child = *it;
    const char* name = child->name;
    if (Is(name, "LED")) {
      result = FtmLedConfig(child, &flag);
    } else if (Is(name, "THROUGHPUT")) {
      result = FtmThroughputTest(child, &flag);
    } else if (Is(name, "AUTO_PAIR")) {
      result = FtmAutoPairConfig(child, &flag);
    } else if (Is(name, "WPS_SWITCH")) {
      result = FtmSwitchConfig(child, GPIO_WPS_SWITCH, "WPS_SW_STATUS");
    } else if (Is(name, "RESET_SWITCH")) {
      result = FtmSwitchConfig(child, GPIO_RESET_SWITCH, "RESET_SW_STATUS");
    } else if (Is(name, "ETHER_PORT")) {
      result = FtmEtherPortConfig(child, &flag);
    } else if (Is(name, "ATH_WIRELESS")) {
      result = FtmAthWirelessConfig(child);
    } else if (Is(name, "VOIP")) {
      result = FtmVoiceTest(child, &flag);
    } else {
      ftm_SetErrorInfo(0, kFtmMsgTestNotSupported);
      return -1;
    }
    if (result == -1) return -1;
  }
  return result;
}
