#include "ftmctl_requests.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "xml/xml_doc.h"
#include "xml/xml_write.h"

namespace {

// An element of a request as the tool builds it: names come from the tables
// below only; texts and attribute values are checked station values.
struct Element {
  std::string name;
  std::string text;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<Element> children;
};

void Skeleton(const Element& e, std::string* out) {
  *out += "<" + e.name + ">";
  for (const Element& c : e.children) Skeleton(c, out);
  *out += "</" + e.name + ">";
}

bool Fill(const Element& e, XmlNode* node) {
  if (!e.text.empty() && XmlSetText(node, e.text.c_str()) != 0) return false;
  for (const auto& a : e.attributes) {
    if (XmlSetAttribute(node, a.first.c_str(), a.second.c_str()) != 0) return false;
  }
  for (size_t i = 0; i < e.children.size(); ++i) {
    if (node->children == nullptr || node->children[i] == nullptr) return false;
    if (!Fill(e.children[i], node->children[i])) return false;
  }
  return true;
}

// The document goes through the daemon's own parser and writer, so it is
// written exactly as the board writes its reports: the prolog, two spaces
// of indentation per level, "\r\n" line ends.
bool Render(const Element& root, std::string* document) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
  Skeleton(root, &text);
  XmlDoc doc = XmlParseCopy(text.c_str());
  if (!doc || doc->children == nullptr || doc->children[0] == nullptr ||
      doc->children[1] == nullptr || !Fill(root, doc->children[1])) {
    return false;
  }
  const std::string out = XmlSerializeString(doc.get());
  // Like a report, the document starts at its first "<".
  const size_t start = out.find('<');
  if (start == std::string::npos) return false;
  document->assign(out, start, std::string::npos);
  return true;
}

std::string Upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

bool IsNumber(const std::string& s, long low, long high, long* value = nullptr) {
  if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos) {
    return false;
  }
  const long v = std::strtol(s.c_str(), nullptr, 10);
  if (value != nullptr) *value = v;
  return v >= low && v <= high;
}

bool IsAlnum(const std::string& s, size_t low, size_t high) {
  if (s.size() < low || s.size() > high) return false;
  for (unsigned char c : s) {
    if (!std::isalnum(c)) return false;
  }
  return true;
}

// A value that reaches the board as element text: printable, without the
// markup characters the board's parser would take as structure, and
// without surrounding blanks, which the parser drops.
bool IsPlainText(const std::string& s, size_t high) {
  if (s.empty() || s.size() > high || s.front() == ' ' || s.back() == ' ') return false;
  for (unsigned char c : s) {
    if (c < 0x20 || c >= 0x7f || c == '<' || c == '>' || c == '&' || c == '"') return false;
  }
  return true;
}

bool Split(const std::string& setting, std::string* key, std::string* value) {
  const size_t eq = setting.find('=');
  if (eq == std::string::npos || eq == 0) return false;
  *key = setting.substr(0, eq);
  *value = setting.substr(eq + 1);
  return true;
}

bool Refuse(std::string* error, const std::string& why) {
  *error = why;
  return false;
}

// ON/OFF and the other two-word choices, written as the board spells them.
bool Choice(const std::string& value, const char* a, const char* b, std::string* out) {
  const std::string u = Upper(value);
  if (u == Upper(a)) {
    *out = a;
  } else if (u == Upper(b)) {
    *out = b;
  } else {
    return false;
  }
  return true;
}

const char* const kLeds[] = {"WPS_LED",     "INTERNET_LED",  "USB_LED",
                             "LAN_LED",     "WAN_LED",       "WIFI_24G_LED",
                             "WIFI_5G_LED", "MOBILE_4G_LED", "MOBILE_3G_LED"};

constexpr char kCfg[] = "FTM_TestModeCfg.xml";
constexpr char kOp[] = "FTM_TestModeOp.xml";

// One TEST_CONFIG setting: the child of TEST_CONFIG it belongs to, the
// elements below it, and its checks.
struct Setting {
  std::string group;       // LED, WPS_SWITCH, ATH_WIRELESS, ...
  std::string radio;       // ATH_24G_WIRELESS / ATH_5G_WIRELESS
  Element leaf;            // the element that carries the value
  bool mergeable = false;  // the group's handler walks all its children
  std::vector<FtmctlCheck> checks;
};

FtmctlCheck Text(const std::string& path, const std::string& want,
                 FtmctlCheck::Kind kind = FtmctlCheck::kText) {
  FtmctlCheck c;
  c.report = kCfg;
  c.path = "TEST_CONFIG/" + path;
  c.kind = kind;
  c.want = want;
  return c;
}

FtmctlCheck Active(const std::string& entry) {
  FtmctlCheck c;
  c.report = kOp;
  c.path = "ACTIVE_TEST/" + entry;
  c.kind = FtmctlCheck::kPresent;
  return c;
}

bool Channel(const std::string& value, bool fiveGhz) {
  long ch = 0;
  if (!IsNumber(value, 0, 165, &ch)) return false;
  if (ch <= 11) return true;
  if (!fiveGhz) return false;
  if (ch >= 36 && ch <= 140 && ch % 4 == 0) return true;
  return ch == 149 || ch == 153 || ch == 157 || ch == 161 || ch == 165;
}

bool Radio(const std::string& band, const std::string& item, const std::string& value, Setting* s,
           std::string* error) {
  const bool five = band == "5g";
  if (!five && band != "24g") return Refuse(error, "radio is 24g or 5g, not " + band);
  const std::string suffix = five ? "_5G" : "_24G";
  s->group = "ATH_WIRELESS";
  s->radio = five ? "ATH_5G_WIRELESS" : "ATH_24G_WIRELESS";
  s->mergeable = true;
  std::string text = value;
  FtmctlCheck::Kind kind = FtmctlCheck::kText;
  if (item == "ssid") {
    s->leaf.name = "SSID" + suffix;
    if (!IsPlainText(value, 31)) return Refuse(error, "ssid: 1 to 31 plain characters");
  } else if (item == "channel") {
    s->leaf.name = "CHANNEL" + suffix;
    if (!Channel(value, five)) {
      return Refuse(error, five ? "channel: 0-11, 36-140 in steps of 4, 149-165 in steps of 4"
                                : "channel: 0 to 11");
    }
    text = std::to_string(std::strtol(value.c_str(), nullptr, 10));
  } else if (item == "mode") {
    s->leaf.name = "MODE" + suffix;
    if (!IsAlnum(value, 1, 15)) return Refuse(error, "mode: 1 to 15 letters and digits");
    kind = FtmctlCheck::kLooseText;
  } else if (item == "domain") {
    s->leaf.name = "DOMAIN" + suffix;
    if (!IsAlnum(value, 1, 2)) return Refuse(error, "domain: a country code of 1 or 2 letters");
    text = Upper(value);
    kind = FtmctlCheck::kLooseText;
  } else if (item == "power") {
    s->leaf.name = "WiFi" + suffix + "_Radio_Ctrl";
    if (!Choice(value, "ON", "OFF", &text)) return Refuse(error, "power: on or off");
  } else {
    return Refuse(error, "radio setting is ssid, channel, mode, domain or power, not " + item);
  }
  s->leaf.text = text;
  s->checks.push_back(Text("ATH_WIRELESS/" + s->radio + "/" + s->leaf.name, text, kind));
  return true;
}

bool Voice(const std::string& name, const std::string& value, Setting* s, std::string* error) {
  s->group = "VOIP";
  s->mergeable = true;
  s->leaf.name = Upper(name);
  const std::string& n = s->leaf.name;
  if (n.size() < 3 || (n.back() != '1' && n.back() != '2') || n[n.size() - 2] != '_') {
    return Refuse(error, "voice setting ends in _1 or _2: " + name);
  }
  const std::string base = n.substr(0, n.size() - 2);
  std::string text;
  if (base == "RING_VOLTAGE") {
    text = value;
    if (value != "25v" && value != "50v" && value != "75v") {
      return Refuse(error, n + ": 25v, 50v or 75v");
    }
  } else if (base == "HOOK" || base == "DECODER") {
    if (!Choice(value, "ON", "OFF", &text)) return Refuse(error, n + ": on or off");
  } else if (base == "CUT_RELAY") {
    if (!Choice(value, "Enable", "Disable", &text)) return Refuse(error, n + ": enable or disable");
  } else if (base == "TONE") {
    text = Upper(value) == "NONE" ? "None" : value;
    if (text != "None" && !IsAlnum(value, 1, 15)) {
      return Refuse(error, n + ": a tone number 1-10, a tone name, or none");
    }
  } else {
    return Refuse(error,
                  "voice setting is RING_VOLTAGE, HOOK, CUT_RELAY, DECODER or TONE "
                  "with _1 or _2, not " +
                      name);
  }
  s->leaf.text = text;
  return true;
}

bool ParseSetting(const std::string& setting, Setting* s, std::string* error) {
  std::string key, value;
  if (!Split(setting, &key, &value)) return Refuse(error, "a setting is KEY=VALUE: " + setting);
  const size_t dot = key.find('.');
  const std::string head = key.substr(0, dot);
  const std::string rest = dot == std::string::npos ? "" : key.substr(dot + 1);
  std::string text;
  if (head == "led" && !rest.empty()) {
    const std::string name = Upper(rest);
    bool known = false;
    for (const char* led : kLeds) known = known || name == led;
    if (!known) return Refuse(error, "unknown LED " + rest);
    if (!Choice(value, "ON", "OFF", &text)) return Refuse(error, key + ": on or off");
    s->group = "LED";
    s->mergeable = true;
    s->leaf = {name, text, {}, {}};
    s->checks.push_back(Text("LED/" + name, text));
  } else if (key == "leds") {
    if (!Choice(value, "ON", "OFF", &text)) return Refuse(error, "leds: on or off");
    s->group = "LED";
    s->mergeable = true;
    // ALL_LEDS is a point of the driver of its own, which the read-back of
    // the single LEDs need not reflect: nothing shows it.
    s->leaf = {"ALL_LEDS", text, {}, {}};
  } else if (key == "button.wps" || key == "button.reset") {
    const bool wps = key == "button.wps";
    if (!Choice(value, "OPEN", "CLOSED", &text)) return Refuse(error, key + ": open or closed");
    s->group = wps ? "WPS_SWITCH" : "RESET_SWITCH";
    s->leaf = {wps ? "WPS_SW_STATUS" : "RESET_SW_STATUS", text, {}, {}};
    s->checks.push_back(Text(s->group + "/" + s->leaf.name, text));
  } else if (key == "autopair") {
    if (!Choice(value, "INNER", "OUTER", &text)) return Refuse(error, "autopair: inner or outer");
    s->group = "AUTO_PAIR";
    s->leaf = {"AUTO_MODE", text, {}, {}};
    s->checks.push_back(Active("AUTO_PAIR"));
  } else if (head == "voice" && !rest.empty()) {
    return Voice(rest, value, s, error);
  } else if (head == "radio" && !rest.empty()) {
    const size_t dot2 = rest.find('.');
    if (dot2 == std::string::npos) return Refuse(error, "radio settings are radio.BAND.ITEM");
    return Radio(rest.substr(0, dot2), rest.substr(dot2 + 1), value, s, error);
  } else if (key == "throughput") {
    const size_t slash = value.find('/');
    const std::string vpi = value.substr(0, slash);
    const std::string vci = slash == std::string::npos ? "" : value.substr(slash + 1);
    if (!IsNumber(vpi, 0, 255) || !IsNumber(vci, 32, 65535)) {
      return Refuse(error, "throughput: VPI/VCI, VPI 0-255, VCI 32-65535");
    }
    s->group = "THROUGHPUT";
    s->leaf.name = "THROUGHPUT";
    s->leaf.attributes = {{"VPI", vpi}, {"VCI", vci}};
    FtmctlCheck c = Text("THROUGHPUT", vpi, FtmctlCheck::kAttribute);
    c.attribute = "VPI";
    s->checks.push_back(c);
    c.want = vci;
    c.attribute = "VCI";
    s->checks.push_back(c);
  } else {
    return Refuse(error, "unknown setting " + key);
  }
  return true;
}

}  // namespace

const char* FtmctlSettingKeys() {
  return "  led.NAME=on|off        NAME: WPS_LED INTERNET_LED USB_LED LAN_LED WAN_LED\n"
         "                         WIFI_24G_LED WIFI_5G_LED MOBILE_4G_LED MOBILE_3G_LED\n"
         "  leds=on|off            all LEDs\n"
         "  button.wps=open|closed, button.reset=open|closed\n"
         "  autopair=inner|outer\n"
         "  voice.NAME_L=VALUE     L 1 or 2: RING_VOLTAGE 25v|50v|75v, HOOK on|off,\n"
         "                         CUT_RELAY enable|disable, DECODER on|off,\n"
         "                         TONE 1-10|none|NAME\n"
         "  radio.BAND.ITEM=VALUE  BAND 24g|5g: ssid, channel, mode, domain, power on|off\n"
         "  throughput=VPI/VCI\n";
}

bool FtmctlTestModeOp(const std::string& command, const std::string& test, FtmctlRequest* request,
                      std::string* error) {
  static const char* const kTests[][2] = {
      {"LED", "LED"},
      {"RESET_SWITCH", "RESET_SWITCH"},
      {"THROUGHPUT", "THROUGH_PUT"},
      {"AUTO_PAIR", "AUTO_PAIR"},
      {"BCOM_WIRELESS", "BCOM_WIRELESS"},
      {"VOIP", "VOIP"},
  };
  // The board looks for the command directly under the document's root.
  Element root;
  FtmctlStep step;
  if (command == "enter") {
    const std::string name = Upper(test);
    const char* entry = nullptr;
    for (const auto& t : kTests) {
      if (name == t[0]) entry = t[1];
    }
    if (entry == nullptr) {
      return Refuse(error,
                    "test is LED, RESET_SWITCH, THROUGHPUT, AUTO_PAIR, BCOM_WIRELESS "
                    "or VOIP, not " +
                        test);
    }
    root = {"ENTER_TEST", "", {}, {{name, "", {}, {}}}};
    step.label = "enter " + name;
    step.checks.push_back(Active(entry));
  } else if (command == "leave") {
    root = {"EXIT_TEST", "", {}, {}};
    step.label = "leave";
    FtmctlCheck c;
    c.report = kOp;
    c.path = "ACTIVE_TEST";
    c.kind = FtmctlCheck::kNoChildren;
    step.checks.push_back(c);
  } else if (command == "resync" || command == "restart" || command == "restart-safe") {
    const char* name = command == "resync"    ? "RESYNC"
                       : command == "restart" ? "REBOOT"
                                              : "REBOOT_TO_SAFEBOOT";
    root = {name, "", {}, {}};
    step.label = command;
  } else {
    return Refuse(error, "unknown test mode command " + command);
  }
  request->file = kOp;
  request->steps = {step};
  return Render(root, &request->document) || Refuse(error, "out of memory");
}

bool FtmctlTestConfig(const std::vector<std::string>& settings, FtmctlRequest* request,
                      std::string* error) {
  if (settings.empty()) return Refuse(error, "no setting given");
  Element root{"TEST_CONFIG", "", {}, {}};
  request->steps.clear();
  std::string lastGroup, lastRadio;
  for (const std::string& text : settings) {
    Setting s;
    if (!ParseSetting(text, &s, error)) return false;
    // Settings of one group that follow each other share its element, as
    // long as the board's handler walks every child of that element.
    const bool join = s.mergeable && s.group == lastGroup && !root.children.empty();
    if (!join) root.children.push_back({s.group, "", {}, {}});
    Element* group = &root.children.back();
    if (s.group == "THROUGHPUT") {
      *group = s.leaf;
    } else if (!s.radio.empty()) {
      if (!join || s.radio != lastRadio) group->children.push_back({s.radio, "", {}, {}});
      group->children.back().children.push_back(s.leaf);
    } else {
      group->children.push_back(s.leaf);
    }
    lastGroup = s.group;
    lastRadio = s.radio;
    request->steps.push_back({text, s.checks});
  }
  request->file = kCfg;
  return Render(root, &request->document) || Refuse(error, "out of memory");
}

namespace {

// A production date as the board keeps it: MMDDYYYY.
bool IsDate(const std::string& s) {
  long v = 0;
  if (s.size() != 8 || !IsNumber(s, 0, 99999999, &v)) return false;
  const long month = v / 1000000, day = v / 10000 % 100, year = v % 10000;
  return month >= 1 && month <= 12 && day >= 1 && day <= 31 && year >= 2000;
}

bool IsMac(const std::string& s) {
  if (s.size() != 17) return false;
  for (size_t i = 0; i < s.size(); ++i) {
    const bool colon = i % 3 == 2;
    if (colon ? s[i] != ':' : !std::isxdigit(static_cast<unsigned char>(s[i]))) return false;
  }
  // A station writes a unicast address of its own: not broadcast, not group.
  const long first = std::strtol(s.substr(0, 2).c_str(), nullptr, 16);
  return (first & 1) == 0 && s != "00:00:00:00:00:00";
}

}  // namespace

bool FtmctlIdentity(const std::vector<std::string>& fields, FtmctlRequest* request,
                    std::string* error) {
  static const char* const kFields[][2] = {
      {"model", "MODEL_NUM"},       {"serial", "SERIAL_NUM"}, {"mac", "MAC_ADDR"},
      {"date", "PROD_DATE"},        {"rev", "PROD_REV"},      {"e164", "E_164"},
      {"boot-delay", "BOOT_DELAY"},
  };
  if (fields.empty()) return Refuse(error, "no identity field given");
  Element root{"MODEM_INFO", "", {}, {}};
  request->steps.clear();
  for (const std::string& field : fields) {
    std::string key, value;
    if (!Split(field, &key, &value)) return Refuse(error, "a field is NAME=VALUE: " + field);
    const char* element = nullptr;
    for (const auto& f : kFields) {
      if (key == f[0]) element = f[1];
    }
    if (element == nullptr) return Refuse(error, "unknown identity field " + key);
    std::string text = value;
    if (key == "mac") {
      if (!IsMac(value)) return Refuse(error, "mac: six hex pairs with colons, a unicast address");
    } else if (key == "date") {
      if (!IsDate(value)) return Refuse(error, "date: MMDDYYYY");
    } else if (key == "boot-delay") {
      long v = 0;
      if (!IsNumber(value, 0, 255, &v)) return Refuse(error, "boot-delay: 0 to 255 seconds");
      text = std::to_string(v);
    } else if (key == "e164") {
      if (value.empty() || value.size() > 15 ||
          value.find_first_not_of("0123456789", value[0] == '+' ? 1 : 0) != std::string::npos) {
        return Refuse(error, "e164: up to 15 digits, optionally after +");
      }
    } else if (!IsPlainText(value, 63)) {
      return Refuse(error, key + ": 1 to 63 plain characters");
    }
    root.children.push_back({element, text, {}, {}});
    FtmctlStep step{field, {}};
    // The board's report has no E_164 element.
    if (key != "e164") {
      FtmctlCheck c;
      c.report = "FTM_ModemInfo.xml";
      c.path = std::string("MODEM_INFO/") + element;
      c.want = text;
      c.kind = key == "mac" ? FtmctlCheck::kLooseText : FtmctlCheck::kText;
      step.checks.push_back(c);
    }
    request->steps.push_back(step);
  }
  request->file = "FTM_ModemInfo.xml";
  return Render(root, &request->document) || Refuse(error, "out of memory");
}

bool FtmctlPorts(const std::vector<std::string>& ports, FtmctlRequest* request,
                 std::string* error) {
  if (ports.empty()) return Refuse(error, "no port given");
  Element root{"ETHERNET", "", {}, {}};
  request->steps.clear();
  for (const std::string& port : ports) {
    std::string key, value, text;
    if (!Split(port, &key, &value) || !IsNumber(key, 1, 5)) {
      return Refuse(error, "a port is N=on|off with N from 1 to 5: " + port);
    }
    if (!Choice(value, "YES", "NO", &text)) {
      const std::string u = Upper(value);
      if (u != "ON" && u != "OFF") return Refuse(error, "port " + key + ": on or off");
      text = u == "ON" ? "YES" : "NO";
    }
    root.children.push_back({"PORT_" + key, "", {}, {{"ETH_PORT_ACTIVE", text, {}, {}}}});
    // The four-port report shows the link, not the configuration.
    request->steps.push_back({port, {}});
  }
  request->file = "FTM_Stats_4port.xml";
  return Render(root, &request->document) || Refuse(error, "out of memory");
}
