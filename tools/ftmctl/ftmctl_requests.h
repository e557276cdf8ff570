// The request documents the board takes, built from checked values, and
// what to read back to see that each was applied.
#ifndef FTM_TOOLS_FTMCTL_FTMCTL_REQUESTS_H_
#define FTM_TOOLS_FTMCTL_FTMCTL_REQUESTS_H_

#include <string>
#include <vector>

// One comparison against a report read back from the board.
struct FtmctlCheck {
  enum Kind {
    kText,        // the element's text equals `want`
    kLooseText,   // equal once both are reduced to letters and digits, any case
    kAttribute,   // the attribute `attribute` of the element equals `want`
    kPresent,     // the element exists
    kNoChildren,  // the element exists and has no child elements
  };
  std::string report;  // "FTM_TestModeCfg.xml"
  std::string path;    // "TEST_CONFIG/LED/WAN_LED", from the report element down
  Kind kind = kText;
  std::string want;
  std::string attribute;
};

// One setting of a request, in the order the board applies them. No
// checks: nothing the board reports shows it.
struct FtmctlStep {
  std::string label;  // as the station wrote it: "led.WAN_LED=on"
  std::vector<FtmctlCheck> checks;
};

struct FtmctlRequest {
  std::string file;      // the name to upload under
  std::string document;  // the bytes to upload
  std::vector<FtmctlStep> steps;
};

// Each builder checks its values; on a bad value it returns false with the
// reason in *error and builds nothing.

// FTM_TestModeOp.xml: command "enter" with a test name (LED, RESET_SWITCH,
// THROUGHPUT, AUTO_PAIR, BCOM_WIRELESS, VOIP), "leave", "resync",
// "restart", "restart-safe".
bool FtmctlTestModeOp(const std::string& command, const std::string& test, FtmctlRequest* request,
                      std::string* error);

// FTM_TestModeCfg.xml from settings written KEY=VALUE (see FtmctlSettingKeys),
// sent as one document in the given order.
bool FtmctlTestConfig(const std::vector<std::string>& settings, FtmctlRequest* request,
                      std::string* error);
// The accepted setting keys, for the usage text.
const char* FtmctlSettingKeys();

// FTM_ModemInfo.xml from FIELD=VALUE pairs: model, serial, mac, date, rev,
// e164, boot-delay.
bool FtmctlIdentity(const std::vector<std::string>& fields, FtmctlRequest* request,
                    std::string* error);

// FTM_Stats_4port.xml from PORT=on|off pairs, ports 1 to 5.
bool FtmctlPorts(const std::vector<std::string>& ports, FtmctlRequest* request, std::string* error);

#endif  // FTM_TOOLS_FTMCTL_FTMCTL_REQUESTS_H_
