// The board's reports as a station reads them: element paths and texts,
// the values that are measurements as numbers, and limits on them.
#ifndef FTM_TOOLS_FTMCTL_FTMCTL_REPORT_H_
#define FTM_TOOLS_FTMCTL_FTMCTL_REPORT_H_

#include <nlohmann/json.hpp>
#include <string>

// {"values": {PATH: TEXT}, "attributes": {PATH: {NAME: VALUE}},
//  "numbers": {PATH: NUMBER}} of the report `name` whose bytes are `text`.
// PATH runs from the report element down ("FTM_STATS/DSL/DSL_STATE"); an
// element met a second time gets "[2]"; an element with children and no
// text is left out of "values". "numbers" holds the counters, rates and
// margins of the two statistics reports and the antenna levels, one per
// label ("MOBILE_INFO/ANT/Main").
nlohmann::ordered_json FtmctlReportJson(const std::string& name, const std::string& text);

// A limit check, "PATH=LOW..HIGH"; either limit may be left out (null).
struct FtmctlExpectation {
  std::string path;
  nlohmann::ordered_json low, high;
};

// False with the reason in *error for text not of that form.
bool FtmctlParseExpectation(const std::string& text, FtmctlExpectation* e, std::string* error);

#endif  // FTM_TOOLS_FTMCTL_FTMCTL_REPORT_H_
