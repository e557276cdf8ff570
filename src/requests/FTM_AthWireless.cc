#include "requests/FTM_AthWireless.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>
// After net/if.h, which this header's own copy of the interface request
// gives way to.
#include <linux/wireless.h>

#include <cctype>
#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "platform/platform.h"
#include "requests/FTM_TestConfig.h"
#include "xml/xml_write.h"

static_assert(kFtmSiocSifFlags == SIOCSIFFLAGS, "interface flags request");
static_assert(kFtmSiocSiwFreq == SIOCSIWFREQ && kFtmSiocGiwFreq == SIOCGIWFREQ, "frequency");
static_assert(kFtmSiocSiwEssid == SIOCSIWESSID && kFtmSiocGiwEssid == SIOCGIWESSID, "essid");
static_assert(kFtmSiocIwSetCountry == SIOCIWFIRSTPRIV + 2 &&
                  kFtmSiocIwGetCountry == SIOCIWFIRSTPRIV + 3 &&
                  kFtmSiocIwGetMode == SIOCIWFIRSTPRIV + 17 &&
                  kFtmSiocIwSetMode == SIOCIWFIRSTPRIV + 18,
              "private requests");

namespace {

struct Radio {
  const char* interface;
  const char* device;
  const char* element;  // under TEST_CONFIG / ATH_WIRELESS
};
const Radio kRadios[] = {
    {"ath0", "wifi0", "ATH_24G_WIRELESS"},
    {"ath4", "wifi1", "ATH_5G_WIRELESS"},
};

// Network names are shorter than this; the read-back's buffer holds one more.
constexpr size_t kSsidLimit = 32;
constexpr size_t kSsidReadLength = 33;
// The driver's mode text: the read-back asks for 16 bytes, and a mode name
// sent must fit in them with its terminator.
constexpr size_t kModeLength = 16;
// Country codes are shorter than this.
constexpr size_t kCountryLength = 3;

// The wireless socket, closed on every path out of a handler.
class WifiSocket {
 public:
  WifiSocket() : fd_(FtmPlatform().Socket(AF_INET, SOCK_DGRAM, 0)) {
    if (fd_ < 0) {
      // Without the socket no radio can be set or read: the daemon ends.
      FtmFatalExit("FTM Cannot open socket", "FTM Error openning socket");
    }
  }
  ~WifiSocket() { FtmPlatform().Close(fd_); }
  WifiSocket(const WifiSocket&) = delete;
  WifiSocket& operator=(const WifiSocket&) = delete;

  // One request; a failure is logged with the request's name. 0 or -1.
  int Request(unsigned long request, const char* name, void* arg) {
    if (FtmPlatform().Ioctl(fd_, request, arg) >= 0) return 0;
    FtmLogSyslog(LOG_ERR, "FTM %s on %s failed", FtmWifiRequestName(request), name);
    return -1;
  }

  int SetFlags(const char* name, short flags) {
    struct ifreq request;
    std::memset(&request, 0, sizeof request);
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    request.ifr_flags = flags;
    return Request(kFtmSiocSifFlags, name, &request);
  }

  // A wireless request on `name`; for text requests `text` and `length`
  // (the terminator counted) with `flags`.
  int Wireless(unsigned long code, const char* name, char* text, size_t length, int flags,
               struct iwreq* out = nullptr) {
    struct iwreq request;
    std::memset(&request, 0, sizeof request);
    std::strncpy(request.ifr_ifrn.ifrn_name, name, IFNAMSIZ - 1);
    if (text != nullptr) {
      request.u.data.pointer = text;
      request.u.data.length = static_cast<uint16_t>(length);
      request.u.data.flags = static_cast<uint16_t>(flags);
    }
    int rc = Request(code, name, &request);
    if (out != nullptr) *out = request;
    return rc;
  }

  // A text the driver reports, into `text` (room for `length` bytes and a
  // terminator), cleared first: a failed request leaves it empty. 0 or -1.
  int GetText(unsigned long code, const char* name, char* text, size_t length) {
    std::memset(text, 0, length + 1);
    if (Wireless(code, name, text, length, 0) != 0) {
      text[0] = '\0';
      return -1;
    }
    text[length] = '\0';
    return 0;
  }

  int SetFrequency(const char* name, int mantissa) {
    struct iwreq request;
    std::memset(&request, 0, sizeof request);
    std::strncpy(request.ifr_ifrn.ifrn_name, name, IFNAMSIZ - 1);
    request.u.freq.m = mantissa;
    request.u.freq.e = 0;
    return Request(kFtmSiocSiwFreq, name, &request);
  }

  // The frequency mantissa, or -1 with *ok false.
  int GetFrequency(const char* name, bool* ok) {
    struct iwreq request;
    std::memset(&request, 0, sizeof request);
    std::strncpy(request.ifr_ifrn.ifrn_name, name, IFNAMSIZ - 1);
    *ok = Request(kFtmSiocGiwFreq, name, &request) == 0;
    return *ok ? request.u.freq.m : 0;
  }

 private:
  int fd_;
};

bool ChannelAccepted(int radio, int channel) {
  if (channel >= 0 && channel <= 11) return true;
  if (radio == 0) return false;
  if (channel >= 36 && channel <= 140 && channel % 4 == 0) return true;
  return channel == 149 || channel == 153 || channel == 157 || channel == 161 || channel == 165;
}

// A setting element's kind, from its name.
enum class Setting { kChannel, kSsid, kMode, kDomain, kRadioCtrl, kUnknown };

Setting SettingOf(const char* name) {
  if (FtmIs(name, "CHANNEL_24G") || FtmIs(name, "CHANNEL_5G")) return Setting::kChannel;
  if (FtmIs(name, "SSID_24G") || FtmIs(name, "SSID_5G")) return Setting::kSsid;
  if (FtmIs(name, "MODE_24G") || FtmIs(name, "MODE_5G")) return Setting::kMode;
  if (FtmIs(name, "DOMAIN_24G") || FtmIs(name, "DOMAIN_5G")) return Setting::kDomain;
  if (FtmIs(name, "WiFi_24G_Radio_Ctrl") || FtmIs(name, "WiFi_5G_Radio_Ctrl")) {
    return Setting::kRadioCtrl;
  }
  return Setting::kUnknown;
}

// One setting of a radio: accepted, refused, or failed with a request.
FtmResult ApplySetting(WifiSocket& wifi, const Radio& radio, int index, XmlNode* child) {
  const char* value = child->text;
  const char* ifname = radio.interface;
  // Text requests hand the driver a copy it may not write past.
  char text[kSsidLimit + 1];
  std::memset(text, 0, sizeof text);
  switch (SettingOf(child->name)) {
    case Setting::kChannel: {
      if (!FtmIsDigits(value)) return FtmResult::Refused(kFtmMsgTestNotSupported);
      int channel = FtmDecimal(value);
      if (!ChannelAccepted(index, channel)) return FtmResult::Refused(kFtmMsgTestNotSupported);
      if (wifi.SetFlags(ifname, 0) != 0 || wifi.SetFrequency(ifname, channel) != 0)
        return FtmResult::Failed();
      return FtmResult::Of(wifi.SetFlags(ifname, 1));
    }
    case Setting::kSsid: {
      size_t length = std::strlen(value);
      if (length >= kSsidLimit) return FtmResult::Refused(kFtmMsgTestNotSupported);
      std::memcpy(text, value, length);
      if (wifi.Wireless(kFtmSiocSiwEssid, ifname, text, length + 1, 1) != 0)
        return FtmResult::Failed();
      if (wifi.SetFlags(ifname, 0) != 0) return FtmResult::Failed();
      return FtmResult::Of(wifi.SetFlags(ifname, 1));
    }
    case Setting::kMode: {
      size_t length = std::strlen(value);
      if (length >= kModeLength) return FtmResult::Refused(kFtmMsgTestNotSupported);
      std::memcpy(text, value, length);
      if (wifi.SetFlags(ifname, 0) != 0) return FtmResult::Failed();
      FtmLogConsole("Put Mode is %s\n", text);
      if (wifi.Wireless(kFtmSiocIwSetMode, ifname, text, length + 1, 1) != 0) {
        FtmUsleep(2000000);
        return FtmResult::Failed();
      }
      return FtmResult::Of(wifi.SetFlags(ifname, 1));
    }
    case Setting::kDomain: {
      size_t length = std::strlen(value);
      if (length >= kCountryLength) return FtmResult::Accepted();  // skipped
      std::memcpy(text, value, length);
      FtmLogConsole("Set counry is %s\n", text);
      return FtmResult::Of(wifi.Wireless(kFtmSiocIwSetCountry, radio.device, text, length + 1, 1));
    }
    case Setting::kRadioCtrl: {
      int on;
      if (FtmIs(value, "ON")) {
        on = 1;
      } else if (FtmIs(value, "OFF")) {
        on = 0;
      } else {
        return FtmResult::Accepted();  // skipped
      }
      // The store's row follows the radio element, not the setting's name.
      FtmRunCommand("cfg_write WlanConfig.%d.Enabled=%d", index, on);
      return FtmResult::Of(wifi.SetFlags(ifname, static_cast<short>(on)));
    }
    case Setting::kUnknown:
      FtmLogConsole("No Element %s Found \n", child->name);
      return FtmResult::Accepted();
  }
  return FtmResult::Accepted();
}

// The kept element for one radio's item; records "Xml File InValid" when a
// level is missing.
XmlNode* KeptItem(XmlNode* doc, const Radio& radio, const char* item) {
  XmlNode* element = XmlFindPath(doc, "TEST_CONFIG", "ATH_WIRELESS", radio.element);
  if (element == nullptr) return nullptr;
  XmlNode* found = XmlFindChild(element, item);
  if (found == nullptr) ftm_SetErrorInfo(0, kFtmMsgXmlFileInvalid);
  return found;
}

// Keeps the letters and digits of text, in place.
void KeepAlnum(char* text) {
  char* out = text;
  for (const char* in = text; *in != '\0'; ++in) {
    if (std::isalnum(static_cast<unsigned char>(*in))) *out++ = *in;
  }
  *out = '\0';
}

// A text item the driver reports into a kept element: letters and digits
// only, and printed with `trace`. False when the request failed (the
// element is then emptied).
bool ReadTextItem(WifiSocket& wifi, XmlNode* node, unsigned long code, const char* name,
                  size_t length, const char* trace) {
  static_assert(kCountryLength <= kModeLength, "one buffer holds both items");
  char text[kModeLength + 1];
  const bool ok = wifi.GetText(code, name, text, length) == 0;
  KeepAlnum(text);
  FtmLogConsole(trace, text);
  XmlSetText(node, text);
  return ok;
}

// Reads one radio's four driver items into the kept document; false when a
// request failed.
bool ReadRadio(WifiSocket& wifi, XmlNode* doc, int index) {
  const Radio& radio = kRadios[index];
  bool ok = true;
  const char* suffix = index == 0 ? "24G" : "5G";
  char item[32];

  std::snprintf(item, sizeof item, "SSID_%s", suffix);
  if (XmlNode* node = KeptItem(doc, radio, item)) {
    char ssid[kSsidReadLength + 1];
    if (wifi.GetText(kFtmSiocGiwEssid, radio.interface, ssid, kSsidReadLength) != 0) ok = false;
    XmlSetText(node, ssid);
  }

  std::snprintf(item, sizeof item, "CHANNEL_%s", suffix);
  if (XmlNode* node = KeptItem(doc, radio, item)) {
    bool read;
    long long m = wifi.GetFrequency(radio.interface, &read);
    char channel[24] = "";
    if (!read) {
      ok = false;
    } else if (index == 0) {
      std::snprintf(channel, sizeof channel, "%lld", (m - 241200000) / 500000 + 1);
    } else {
      std::snprintf(channel, sizeof channel, "%lld",
                    m > 518000000 ? (m - 518000000) / 500000 + 36 : 36);
    }
    XmlSetText(node, channel);
  }

  std::snprintf(item, sizeof item, "MODE_%s", suffix);
  if (XmlNode* node = KeptItem(doc, radio, item)) {
    ok =
        ReadTextItem(wifi, node, kFtmSiocIwGetMode, radio.interface, kModeLength, "Mode is %s\n") &&
        ok;
  }

  std::snprintf(item, sizeof item, "DOMAIN_%s", suffix);
  if (XmlNode* node = KeptItem(doc, radio, item)) {
    ok = ReadTextItem(wifi, node, kFtmSiocIwGetCountry, radio.device, kCountryLength,
                      index == 0 ? "COUNTRY_24 code is %s\n" : "COUNTRY code is %s\n") &&
         ok;
  }
  return ok;
}

}  // namespace

const char* FtmWifiRequestName(unsigned long request) {
  switch (request) {
    case kFtmSiocSifFlags:
      return "SIOCSIFFLAGS";
    case kFtmSiocSiwFreq:
      return "SIOCSIWFREQ";
    case kFtmSiocGiwFreq:
      return "SIOCGIWFREQ";
    case kFtmSiocSiwEssid:
      return "SIOCSIWESSID";
    case kFtmSiocGiwEssid:
      return "SIOCGIWESSID";
    case kFtmSiocIwSetCountry:
      return "SIOCIWSETCOUNTRY";
    case kFtmSiocIwGetCountry:
      return "SIOCIWGETCOUNTRY";
    case kFtmSiocIwGetMode:
      return "SIOCIWGETMODE";
    case kFtmSiocIwSetMode:
      return "SIOCIWSETMODE";
    default:
      return nullptr;
  }
}

FtmResult FtmAthWirelessConfig(XmlNode* element) {
  FtmResult result = FtmResult::Accepted();
  if (element->children == nullptr) return result;
  for (XmlNode** it = element->children; *it != nullptr; ++it) {
    if (FtmIs((*it)->name, "ATH_24G_WIRELESS")) {
      result = FtmAthRadioConfig(*it, 0);
    } else if (FtmIs((*it)->name, "ATH_5G_WIRELESS")) {
      result = FtmAthRadioConfig(*it, 1);
    } else {
      continue;
    }
    if (result.stops()) break;
  }
  return result;
}

FtmResult FtmAthRadioConfig(XmlNode* radioElement, int radio) {
  WifiSocket wifi;
  if (radioElement->children == nullptr) return FtmResult::Accepted();
  for (XmlNode** it = radioElement->children; *it != nullptr; ++it) {
    if ((*it)->text == nullptr) continue;
    FtmResult result = ApplySetting(wifi, kRadios[radio], radio, *it);
    if (!result.accepted()) return result;
  }
  return FtmResult::Accepted();
}

int FtmUpdateAthWireless() {
  WifiSocket wifi;
  XmlNode* doc = FtmTestConfigDocument();
  if (doc == nullptr) return -1;
  int result = 0;
  {
    FtmCfgReader store("FtmUpdateAthWireless");
    FtmCfgTable table;
    if (!store.ok()) {
      result = -1;
    } else if (!(table = store.Read("WlanConfig", "FtmUpdateAthWireless", __LINE__, 2))) {
      // Both radios' rows are needed: without them both items stay as they were.
      result = -1;
    } else {
      const char* items[] = {"WiFi_24G_Radio_Ctrl", "WiFi_5G_Radio_Ctrl"};
      for (int row = 0; row < 2; ++row) {
        if (XmlNode* node = KeptItem(doc, kRadios[row], items[row])) {
          XmlSetText(node, FtmDecimal(table.Cell(row, 0)) != 0 ? "ON" : "OFF");
        }
      }
    }
  }
  for (int radio = 0; radio < 2; ++radio) {
    if (!ReadRadio(wifi, doc, radio)) result = -1;
  }
  return result;
}
