#include "reports/FTM_TestModeCfg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/gpio.h"
#include "dispatch/ftm_status.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "reports/FTM_Apis.h"
#include "requests/FTM_AthWireless.h"
#include "requests/FTM_TestConfig.h"
#include "xml/xml_write.h"

namespace {

char* g_text = nullptr;
int g_length = 0;

const char kScsiFile[] = "/proc/scsi/scsi";
// A line of "/proc/scsi/scsi" as read: at most 127 characters.
constexpr int kLineSize = 128;

void Write(XmlNode* doc, const char* a, const char* b, const char* text) {
  if (XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", a, b)) XmlSetText(node, text);
}

void ResetSwitch(XmlNode* doc) {
  int reading = GpioReadIo(GPIO_RESET_SWITCH);
  XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", "RESET_SWITCH", "RESET_SW_STATUS");
  // A reset press outranks a WPS press; the reset marker itself stays.
  if (FtmPlatform().Exists("/tmp/ResetSwitch")) {
    FtmPlatform().Unlink("/tmp/Wps_pressed");
    reading = 1;
  }
  if (node != nullptr) XmlSetText(node, reading != 0 ? "CLOSED" : "OPEN");
}

void WpsSwitch(XmlNode* doc) {
  int reading = GpioReadIo(GPIO_WPS_SWITCH);
  XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", "WPS_SWITCH", "WPS_SW_STATUS");
  bool pressed = FtmPlatform().Exists("/tmp/Wps_pressed");
  if (node != nullptr) XmlSetText(node, pressed || reading != 0 ? "CLOSED" : "OPEN");
}

void Throughput(XmlNode* doc) {
  XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", "THROUGHPUT", nullptr);
  if (node == nullptr) return;
  node = XmlFindPath(node, "READY_STATUS", nullptr, nullptr);
  if (node != nullptr) {
    XmlSetText(node, (FtmActiveTests & kFtmTestThroughput) != 0 ? "READY" : "NOT_READY");
  }
}

void AutoPair(XmlNode* doc) {
  const char* mode = "AUTO";
  if (FtmActiveTests != 0) {
    int reading = GpioReadIo(GPIO_AUTO_PAIR);
    mode = reading == 0 ? "INNER" : reading == 1 ? "OUTER" : "UNKNOWN";
  }
  Write(doc, "AUTO_PAIR", "AUTO_MODE", mode);
}

// The USB fields, in the order they are written.
enum UsbField { kHost, kChannel, kId, kLun, kVendor, kModel, kRev, kType, kAnsi, kUsbFields };
const char* const kUsbElements[kUsbFields] = {"HOST",  "CHANNEL", "ID",   "LUN",          "VENDOR",
                                              "MODEL", "REV",     "TYPE", "ANSI_SCSI_REV"};
struct Label {
  const char* text;
  size_t skip;  // characters after the label before the field starts
};
const Label kLabels[kUsbFields] = {
    {"Host: ", 0}, {"Channel: ", 0}, {"Id: ", 0},
    {"Lun: ", 0},  {"Vendor:", 1},   {"Model:", 1},
    {"Rev:", 1},   {"Type:", 1},     {"ANSI SCSI revision:", 1},
};

// Reads one line of at most 127 characters, cut at its newline; false at
// the end of the file.
bool ReadLine(FILE* f, char* line) {
  if (std::fgets(line, kLineSize, f) == nullptr) return false;
  line[std::strcspn(line, "\n")] = '\0';
  return true;
}

// Splits one line into the fields [first, last]: each from its label
// (searched after the previous one) to the next label. A missing label
// leaves its field empty, the one before it running to the line's end and
// the ones after it "NA".
void SplitLine(const char* line, int first, int last, std::string* fields) {
  const char* starts[kUsbFields] = {};
  const char* labels[kUsbFields] = {};
  const char* cursor = line;
  int found = last + 1;
  for (int f = first; f <= last; ++f) {
    const char* at = std::strstr(cursor, kLabels[f].text);
    if (at == nullptr) {
      found = f;
      break;
    }
    labels[f] = at;
    const char* start = at + std::strlen(kLabels[f].text);
    // "one character after the label", but never past the line's end
    for (size_t i = 0; i < kLabels[f].skip && *start != '\0'; ++i) ++start;
    starts[f] = start;
    cursor = start;
  }
  for (int f = first; f <= last; ++f) {
    if (f < found) {
      const char* end = f + 1 < found ? labels[f + 1] : line + std::strlen(line);
      fields[f].assign(starts[f], end > starts[f] ? end - starts[f] : 0);
    } else if (f == found) {
      fields[f].clear();
    } else {
      fields[f] = "NA";
    }
  }
}

void Usb(XmlNode* doc) {
  PlatformFile file(kScsiFile, "r");
  if (file.get() == nullptr) {
    FtmLogConsole("failed to open %s\n", kScsiFile);
    return;
  }
  std::string fields[kUsbFields];
  for (std::string& f : fields) f = "NA";
  char line[kLineSize];
  const int ranges[3][2] = {{kHost, kLun}, {kVendor, kRev}, {kType, kAnsi}};
  if (ReadLine(file.get(), line)) {  // the heading
    for (const auto& range : ranges) {
      if (!ReadLine(file.get(), line)) break;
      SplitLine(line, range[0], range[1], fields);
    }
  }
  for (int f = 0; f < kUsbFields; ++f) Write(doc, "USB", kUsbElements[f], fields[f].c_str());
}

}  // namespace

const char* FTM_GetTestModeCfgXml() {
  std::free(g_text);
  g_text = nullptr;
  g_length = 0;
  XmlNode* doc = FtmTestConfigDocument();
  if (doc == nullptr) {
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
    return nullptr;
  }
  for (const GpioLed& led : kGpioLeds) {
    Write(doc, "LED", led.element, GpioReadIo(led.point) != 0 ? "ON" : "OFF");
  }
  ResetSwitch(doc);
  WpsSwitch(doc);
  Write(doc, "WIFI_SWITCH", "WIFI_SW_STATUS",
        GpioReadIo(GPIO_WIFI_SWITCH) != 0 ? "CLOSED" : "OPEN");
  FtmWifiSwStat(doc);
  Throughput(doc);
  Write(doc, "MULTI_HYBRID", "MULTI_MODE", "UNKNOWN");
  AutoPair(doc);
  FtmUpdateAthWireless();
  Usb(doc);
  if (FTM_BuildReportFile(&g_text, &g_length, doc) != 0) return nullptr;
  return std::strchr(g_text, '<');
}
