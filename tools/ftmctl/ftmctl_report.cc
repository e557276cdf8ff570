#include "ftmctl_report.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

#include "xml/xml_doc.h"

namespace {

using Json = nlohmann::ordered_json;

// A report as JSON: each element's path (from the report element down,
// "A/B/C") maps to its text ("" for an element without text); elements
// with children and no text are left out; attributes go under the same
// path in "attributes". A path met again gets "[2]", "[3]", ...
void Flatten(const XmlNode* node, const std::string& prefix, Json* values, Json* attributes) {
  if (node->children == nullptr) return;
  std::map<std::string, int> seen;
  for (XmlNode* const* c = node->children; *c != nullptr; ++c) {
    const XmlNode* child = *c;
    if (prefix.empty() && std::strcmp(child->name, "xml") == 0) continue;
    std::string path = prefix + child->name;
    const int count = ++seen[path];
    if (count > 1) path += "[" + std::to_string(count) + "]";
    const bool hasChildren = child->children != nullptr && child->children[0] != nullptr;
    if (child->text != nullptr || !hasChildren) {
      (*values)[path] = child->text != nullptr ? child->text : "";
    }
    if (child->attrNames != nullptr && child->attrNames[0] != nullptr) {
      Json a = Json::object();
      for (int i = 0; child->attrNames[i] != nullptr; ++i) {
        a[child->attrNames[i]] = child->attrValues[i] != nullptr ? child->attrValues[i] : "";
      }
      (*attributes)[path] = a;
    }
    Flatten(child, path + "/", values, attributes);
  }
}

// A decimal number filling the whole text: an integer stays one.
bool ParseNumber(const std::string& text, Json* out) {
  if (text.empty() || text.size() > 32) return false;
  char* end = nullptr;
  errno = 0;
  if (text.find_first_of(".eE") == std::string::npos) {
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (*end != '\0' || errno != 0) return false;
    *out = v;
    return true;
  }
  const double v = std::strtod(text.c_str(), &end);
  if (*end != '\0' || errno != 0 || !std::isfinite(v)) return false;
  *out = v;
  return true;
}

// The antenna levels, "Main: -62.5, Aux: -70.1": one number per label.
void SplitLevels(const std::string& path, const std::string& text, Json* numbers) {
  std::stringstream parts(text);
  std::string part;
  while (std::getline(parts, part, ',')) {
    const size_t colon = part.find(':');
    if (colon == std::string::npos) continue;
    std::string label = part.substr(0, colon), value = part.substr(colon + 1);
    label.erase(0, label.find_first_not_of(' '));
    value.erase(0, value.find_first_not_of(' '));
    Json v;
    if (!label.empty() && ParseNumber(value, &v)) (*numbers)[path + "/" + label] = v;
  }
}

// The values of a report that are measurements, as numbers: every counter,
// rate and margin of the two statistics reports, and the antenna levels.
Json Numbers(const std::string& report, const Json& values) {
  Json numbers = Json::object();
  const bool counters = report == "FTM_Statistics.xml" || report == "FTM_Stats_4port.xml";
  const bool modem = report == "FTM_MobileInfo.xml" || report == "FTM_AntennaInfo.xml";
  for (const auto& item : values.items()) {
    const std::string& path = item.key();
    const std::string text = item.value().get<std::string>();
    Json v;
    if (counters && ParseNumber(text, &v)) numbers[path] = v;
    const bool antenna = path.size() >= 4 && path.compare(path.size() - 4, 4, "/ANT") == 0;
    if (modem && antenna) SplitLevels(path, text, &numbers);
  }
  return numbers;
}

}  // namespace

Json FtmctlReportJson(const std::string& name, const std::string& text) {
  Json values = Json::object(), attributes = Json::object();
  XmlDoc doc = XmlParseCopy(text.c_str());
  if (doc) Flatten(doc.get(), "", &values, &attributes);
  return Json{{"values", values}, {"attributes", attributes}, {"numbers", Numbers(name, values)}};
}

bool FtmctlParseExpectation(const std::string& text, FtmctlExpectation* e, std::string* error) {
  const size_t eq = text.rfind('=');
  const size_t dots = eq == std::string::npos ? eq : text.find("..", eq);
  *error = "--expect takes PATH=LOW..HIGH (either limit may be left out): " + text;
  if (eq == std::string::npos || eq == 0 || dots == std::string::npos) return false;
  e->path = text.substr(0, eq);
  const std::string low = text.substr(eq + 1, dots - eq - 1), high = text.substr(dots + 2);
  if (low.empty() && high.empty()) return false;
  if (!low.empty() && !ParseNumber(low, &e->low)) return false;
  if (!high.empty() && !ParseNumber(high, &e->high)) return false;
  return true;
}
