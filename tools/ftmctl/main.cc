// ftmctl: the station's client for the board. It speaks the board's TFTP
// dialect (see ftmctl_tftp.h), builds and checks the request documents the
// board takes, reads reports back to confirm them, and tells the result by
// its exit status:
//   0 accepted, 1 refused by the board (its message on standard error),
//   2 no answer or transport failure, 3 bad arguments.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "ftm_version.h"
#include "ftmctl_requests.h"
#include "ftmctl_tftp.h"
#include "tftp/tftp_wire.h"
#include "xml/xml_doc.h"
#include "xml/xml_write.h"

namespace {

// Seconds of silence before any exchange is given up, whatever the time
// scale (see the timing below).
constexpr double kShortestSilence = 3.0;

using Json = nlohmann::ordered_json;

enum Exit { kAccepted = 0, kRefused = 1, kNoAnswer = 2, kBadArguments = 3 };

const char* const kResultNames[] = {"accepted", "refused", "no answer", "bad arguments"};

constexpr char kUsage[] =
    "usage: ftmctl [OPTIONS] COMMAND [ARGS]\n"
    "Reports:\n"
    "  get REPORT                 FTM_ModemInfo.xml FTM_TestModeOp.xml FTM_Progress.xml\n"
    "                             FTM_TestModeCfg.xml FTM_Statistics.xml FTM_Stats_4port.xml\n"
    "                             FTM_MobileInfo.xml FTM_AntennaInfo.xml\n"
    "Uploads:\n"
    "  put FILE [--as NAME]       any file, under its own name or NAME\n"
    "  ini FILE [--as NAME]       a configuration file (NAME ends in .ini)\n"
    "  enter TEST                 LED RESET_SWITCH THROUGHPUT AUTO_PAIR BCOM_WIRELESS VOIP\n"
    "  leave                      leave every test\n"
    "  resync | restart [--safe]  DSL resync, restart, restart into the safe image\n"
    "  identity FIELD=VALUE...    model serial mac date(MMDDYYYY) rev e164 boot-delay\n"
    "  port N on|off [N on|off]   Ethernet ports 1 to 5\n"
    "  led NAME on|off | leds on|off | button wps|reset open|closed\n"
    "  autopair inner|outer | voice NAME_L VALUE | radio 24g|5g ITEM VALUE\n"
    "  throughput VPI VCI\n"
    "  cfg SETTING...             several settings in one FTM_TestModeCfg.xml:\n";

constexpr char kUsageOptions[] =
    "Options:\n"
    "  --board HOST[:PORT]  the board (default: $FTM_BOARD; port 69)\n"
    "  --timeout SECONDS    longest silence of the board before giving up (default 8)\n"
    "  --timescale FACTOR   the board's clock factor (simulated boards; default 1)\n"
    "  --verify             read the matching report back and compare\n"
    "  --json               print the result (and reports) as JSON\n"
    "  --log DIR            append every exchange to DIR/<serial number>.log\n"
    "  --dry-run            print the document that would be sent, send nothing\n"
    "  --version            print ftmctl's version and stop\n"
    "Exit status: 0 accepted, 1 refused by the board, 2 no answer, 3 bad arguments.\n";

struct Options {
  std::string board;
  double timeout = -1;
  double timescale = 1;
  bool verify = false;
  bool json = false;
  bool dryRun = false;
  bool safe = false;
  std::string as;
  std::string logDir;
  std::vector<std::string> words;  // the command and its arguments
};

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

Json ReportJson(const std::string& text) {
  Json values = Json::object(), attributes = Json::object();
  XmlDoc doc = XmlParseCopy(text.c_str());
  if (doc) Flatten(doc.get(), "", &values, &attributes);
  return Json{{"values", values}, {"attributes", attributes}};
}

// The element at "A/B/C" under the document's root, or null.
const XmlNode* Find(XmlNode* root, const std::string& path) {
  XmlNode* node = root;
  std::stringstream parts(path);
  std::string part;
  while (node != nullptr && std::getline(parts, part, '/')) node = XmlFindChild(node, part.c_str());
  return node;
}

std::string Loose(const std::string& s) {
  std::string out;
  for (unsigned char c : s) {
    if (std::isalnum(c)) out += static_cast<char>(std::toupper(c));
  }
  return out;
}

class Station {
 public:
  explicit Station(const Options& o) : options_(o) {}

  int Run();

 private:
  int Fail(int status, const std::string& message);
  int Get(const std::string& name);
  int Upload(const FtmctlRequest& request, bool image);
  // Reads back the reports the request's checks name and fills "verify";
  // false when a report could not be read.
  bool Verify(const FtmctlRequest& request, Json* steps, bool* allApplied);
  bool Download(const std::string& name, FtmctlTransfer* transfer);
  bool Build(FtmctlRequest* request, bool* image, std::string* error);
  void WriteLog(int status);
  FtmctlTftp& Client();

  Options options_;
  sockaddr_in board_{};
  FtmctlTiming timing_;
  std::vector<FtmctlLogLine> log_;
  std::unique_ptr<FtmctlTftp> client_;
  Json result_ = Json::object();
  std::string serial_;  // from the last FTM_ModemInfo.xml read
  bool answered_ = false;
  bool boardMessage_ = false;  // the message is the board's ERROR text
};

FtmctlTftp& Station::Client() {
  if (!client_) client_.reset(new FtmctlTftp(board_, timing_, &log_));
  return *client_;
}

int Station::Fail(int status, const std::string& message) {
  result_["status"] = status;
  result_["result"] = kResultNames[status];
  result_["message"] = message;
  if (options_.json) {
    std::printf("%s\n", result_.dump(2).c_str());
  } else if (status == kRefused && boardMessage_) {
    // The board's own words, exactly as sent.
    std::fputs(message.c_str(), stderr);
    if (message.empty() || message.back() != '\n') std::fputc('\n', stderr);
  } else {
    std::fprintf(stderr, "ftmctl: %s\n", message.c_str());
  }
  return status;
}

bool Station::Download(const std::string& name, FtmctlTransfer* transfer) {
  *transfer = Client().Download(name);
  if (transfer->outcome != FtmctlOutcome::kNoAnswer) answered_ = true;
  if (transfer->outcome == FtmctlOutcome::kAccepted && name == "FTM_ModemInfo.xml") {
    XmlDoc doc = XmlParseCopy(transfer->data.c_str());
    const XmlNode* serial = doc ? Find(doc.get(), "MODEM_INFO/SERIAL_NUM") : nullptr;
    if (serial != nullptr && serial->text != nullptr) serial_ = serial->text;
  }
  return transfer->outcome == FtmctlOutcome::kAccepted;
}

int Station::Get(const std::string& name) {
  result_["command"] = "get";
  result_["report"] = name;
  FtmctlTransfer t;
  Download(name, &t);
  if (t.outcome == FtmctlOutcome::kRefused) {
    boardMessage_ = true;
    return Fail(kRefused, t.message);
  }
  if (t.outcome != FtmctlOutcome::kAccepted) return Fail(kNoAnswer, t.message);
  if (!options_.json) {
    std::fwrite(t.data.data(), 1, t.data.size(), stdout);
    return kAccepted;
  }
  result_["status"] = kAccepted;
  result_["result"] = kResultNames[kAccepted];
  result_.update(ReportJson(t.data));
  std::printf("%s\n", result_.dump(2).c_str());
  return kAccepted;
}

bool Station::Verify(const FtmctlRequest& request, Json* steps, bool* allApplied) {
  std::map<std::string, XmlDoc> reports;
  *allApplied = true;
  for (const FtmctlStep& step : request.steps) {
    Json checks = Json::array();
    bool applied = true;
    for (const FtmctlCheck& check : step.checks) {
      auto it = reports.find(check.report);
      if (it == reports.end()) {
        FtmctlTransfer t;
        if (!Download(check.report, &t)) return false;
        it = reports.emplace(check.report, XmlParseCopy(t.data.c_str())).first;
      }
      const XmlNode* node = it->second ? Find(it->second.get(), check.path) : nullptr;
      Json got = nullptr;
      bool ok = false;
      if (node != nullptr) {
        const std::string text = node->text != nullptr ? node->text : "";
        switch (check.kind) {
          case FtmctlCheck::kText:
            got = text;
            ok = text == check.want;
            break;
          case FtmctlCheck::kLooseText:
            got = text;
            ok = Loose(text) == Loose(check.want);
            break;
          case FtmctlCheck::kAttribute:
            for (int i = 0; node->attrNames != nullptr && node->attrNames[i] != nullptr; ++i) {
              if (check.attribute == node->attrNames[i]) got = node->attrValues[i];
            }
            ok = got.is_string() && got.get<std::string>() == check.want;
            break;
          case FtmctlCheck::kPresent:
            got = "present";
            ok = true;
            break;
          case FtmctlCheck::kNoChildren:
            ok = node->children == nullptr || node->children[0] == nullptr;
            got = ok ? "empty" : "not empty";
            break;
        }
      }
      Json c{{"report", check.report}, {"path", check.path}};
      if (!check.attribute.empty()) c["attribute"] = check.attribute;
      c["want"] = check.kind == FtmctlCheck::kPresent      ? "present"
                  : check.kind == FtmctlCheck::kNoChildren ? "empty"
                                                           : check.want;
      c["got"] = got;
      c["ok"] = ok;
      checks.push_back(c);
      applied = applied && ok;
    }
    Json s{{"setting", step.label}};
    if (step.checks.empty()) {
      s["applied"] = nullptr;  // nothing the board reports shows it
    } else {
      s["applied"] = applied;
      *allApplied = *allApplied && applied;
    }
    s["checks"] = checks;
    steps->push_back(s);
  }
  return true;
}

int Station::Upload(const FtmctlRequest& request, bool image) {
  result_["file"] = request.file;
  if (options_.dryRun) {
    if (options_.json) {
      result_["document"] = request.document;
      std::printf("%s\n", result_.dump(2).c_str());
    } else {
      std::fwrite(request.document.data(), 1, request.document.size(), stdout);
      std::fprintf(stderr, "ftmctl: would upload %s (%zu bytes)\n", request.file.c_str(),
                   request.document.size());
    }
    return kAccepted;
  }
  const FtmctlTransfer t = Client().Upload(request.file, request.document, image);
  if (t.outcome != FtmctlOutcome::kNoAnswer) answered_ = true;
  const bool several = request.steps.size() > 1;
  bool checkable = false;
  for (const FtmctlStep& s : request.steps) checkable = checkable || !s.checks.empty();

  Json steps = Json::array();
  bool allApplied = false;
  bool verified = false;
  if (options_.verify && checkable && t.outcome != FtmctlOutcome::kNoAnswer) {
    verified = Verify(request, &steps, &allApplied);
    result_["verify"] = steps;
  }
  if (options_.verify && !checkable) {
    result_["verify"] = "nothing the board reports shows this request";
  }

  if (t.outcome == FtmctlOutcome::kRefused) {
    boardMessage_ = true;
    result_["error_code"] = t.errorCode;
    const int status = Fail(kRefused, t.message);
    if (!options_.json && several) {
      std::fputs(
          "ftmctl: the board applies the settings in order and stops at the first failure: "
          "the settings before the refused one may already be applied",
          stderr);
      std::fputs(options_.verify ? "\n" : " (--verify tells which)\n", stderr);
    }
    if (!options_.json && verified) {
      for (const Json& s : steps) {
        const char* state = s["applied"].is_null()     ? "not shown by any report"
                            : s["applied"].get<bool>() ? "applied"
                                                       : "not applied";
        std::fprintf(stderr, "ftmctl: %s: %s\n", s["setting"].get<std::string>().c_str(), state);
      }
    }
    return status;
  }
  if (t.outcome == FtmctlOutcome::kNoAnswer) return Fail(kNoAnswer, t.message);
  if (options_.verify && checkable && !verified) {
    return Fail(kNoAnswer, "no answer from the board while reading back");
  }
  if (verified && !allApplied) {
    std::string which;
    for (const Json& s : steps) {
      if (s["applied"].is_boolean() && !s["applied"].get<bool>()) {
        which += (which.empty() ? "" : ", ") + s["setting"].get<std::string>();
      }
    }
    return Fail(kRefused, "the board's reports do not show " + which);
  }
  if (t.outcome == FtmctlOutcome::kUnconfirmed && !verified) {
    return Fail(kNoAnswer,
                "the board's answer to the last block was lost; the ACK to its resend does not "
                "tell whether " +
                    request.file + " was accepted (--verify reads it back)");
  }
  result_["status"] = kAccepted;
  result_["result"] = kResultNames[kAccepted];
  if (options_.json) std::printf("%s\n", result_.dump(2).c_str());
  return kAccepted;
}

bool ReadFile(const std::string& path, std::string* content, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  std::ostringstream s;
  s << in.rdbuf();
  *content = s.str();
  return true;
}

std::string BaseName(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string Extension(const std::string& name, bool first) {
  const size_t dot = first ? name.find('.') : name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(dot);
}

bool Arity(const std::vector<std::string>& w, size_t low, size_t high, std::string* error) {
  if (w.size() - 1 < low || w.size() - 1 > high) {
    *error = "wrong number of arguments for " + w[0];
    return false;
  }
  return true;
}

bool Station::Build(FtmctlRequest* request, bool* image, std::string* error) {
  const std::vector<std::string>& w = options_.words;
  const std::string& command = w[0];
  *image = false;
  if (command == "put" || command == "ini") {
    if (!Arity(w, 1, 1, error) || !ReadFile(w[1], &request->document, error)) return false;
    request->file = options_.as.empty() ? BaseName(w[1]) : options_.as;
    const std::string last = Extension(request->file, false);
    *image = last == ".upg" || last == ".hex";
    if (request->file.empty() || request->file.size() > kTftpMaxMessage) {
      *error = "bad file name";
      return false;
    }
    if (command == "ini" && Extension(request->file, true) != ".ini") {
      *error =
          "the board loads a configuration only from a name whose first dot starts "
          "\".ini\" at its end: " +
          request->file + " (give --as NAME.ini)";
      return false;
    }
    if (!*image && request->document.size() > static_cast<size_t>(kTftpUploadLimit)) {
      *error = request->file + " is " + std::to_string(request->document.size()) +
               " bytes; the board takes at most " + std::to_string(kTftpUploadLimit);
      return false;
    }
    request->steps = {{command + " " + request->file, {}}};
    return true;
  }
  if (command == "enter")
    return Arity(w, 1, 1, error) && FtmctlTestModeOp("enter", w[1], request, error);
  if (command == "leave" || command == "resync") {
    return Arity(w, 0, 0, error) && FtmctlTestModeOp(command, "", request, error);
  }
  if (command == "restart") {
    return Arity(w, 0, 0, error) &&
           FtmctlTestModeOp(options_.safe ? "restart-safe" : "restart", "", request, error);
  }
  if (command == "identity") {
    return FtmctlIdentity(std::vector<std::string>(w.begin() + 1, w.end()), request, error);
  }
  if (command == "port") {
    if (w.size() < 3 || w.size() % 2 == 0) return Arity(w, 2, 2, error);
    std::vector<std::string> ports;
    for (size_t i = 1; i + 1 < w.size(); i += 2) ports.push_back(w[i] + "=" + w[i + 1]);
    return FtmctlPorts(ports, request, error);
  }
  std::vector<std::string> settings;
  if (command == "cfg") {
    settings.assign(w.begin() + 1, w.end());
  } else if (command == "led") {
    if (!Arity(w, 2, 2, error)) return false;
    settings = {"led." + w[1] + "=" + w[2]};
  } else if (command == "leds" || command == "autopair") {
    if (!Arity(w, 1, 1, error)) return false;
    settings = {command + "=" + w[1]};
  } else if (command == "button" || command == "voice") {
    if (!Arity(w, 2, 2, error)) return false;
    settings = {command + "." + w[1] + "=" + w[2]};
  } else if (command == "radio") {
    if (!Arity(w, 3, 3, error)) return false;
    settings = {"radio." + w[1] + "." + w[2] + "=" + w[3]};
  } else if (command == "throughput") {
    if (!Arity(w, 2, 2, error)) return false;
    settings = {"throughput=" + w[1] + "/" + w[2]};
  } else {
    *error = "unknown command " + command;
    return false;
  }
  return FtmctlTestConfig(settings, request, error);
}

// A serial number as a file name: letters, digits, '-', '_' and inner dots.
std::string SafeName(const std::string& serial) {
  std::string out;
  for (unsigned char c : serial.substr(0, 64)) {
    out += std::isalnum(c) || c == '-' || c == '_' || (c == '.' && !out.empty()) ? char(c) : '_';
  }
  return out.empty() ? "unknown" : out;
}

std::string Stamp(double when) {
  const time_t seconds = static_cast<time_t>(when);
  tm t;
  gmtime_r(&seconds, &t);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", t.tm_year + 1900,
                t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec,
                static_cast<int>(std::fmod(when, 1.0) * 1000));
  return text;
}

void Station::WriteLog(int status) {
  if (options_.logDir.empty()) return;
  // The log is named after the board's serial number: read it unless this
  // run already did, and only from a board that answers.
  if (serial_.empty() && answered_) {
    FtmctlTransfer t;
    Download("FTM_ModemInfo.xml", &t);
  }
  std::string command;
  for (const std::string& word : options_.words) command += (command.empty() ? "" : " ") + word;
  const std::string path = options_.logDir + "/" + SafeName(serial_) + ".log";
  FILE* out = std::fopen(path.c_str(), "a");
  if (out == nullptr) {
    std::fprintf(stderr, "ftmctl: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
    return;
  }
  const double start = log_.empty() ? FtmctlNow() : log_.front().when;
  std::fprintf(out, "%s board %s: ftmctl %s\n", Stamp(start).c_str(),
               FtmctlBoardText(board_).c_str(), command.c_str());
  for (const FtmctlLogLine& line : log_) {
    std::fprintf(out, "%s %s\n", Stamp(line.when).c_str(), line.text.c_str());
  }
  std::string message = result_.value("message", "");
  if (!message.empty() && message.back() == '\n') message.pop_back();
  std::fprintf(out, "%s result: %d %s%s%s\n", Stamp(FtmctlNow()).c_str(), status,
               kResultNames[status], message.empty() ? "" : ": ", message.c_str());
  std::fclose(out);
}

int Station::Run() {
  const std::vector<std::string>& w = options_.words;
  std::string error;
  if (options_.board.empty()) {
    const char* env = std::getenv("FTM_BOARD");
    if (env != nullptr) options_.board = env;
  }
  if (!options_.dryRun) {
    if (options_.board.empty()) return Fail(kBadArguments, "no board given (--board HOST[:PORT])");
    if (!FtmctlParseBoard(options_.board, &board_, &error)) return Fail(kBadArguments, error);
    result_["board"] = FtmctlBoardText(board_);
  }
  result_["command"] = w[0];
  // The board's own waits run on its clock; a handler's work (board tools,
  // the store, the modem) takes real time on every board, so no exchange is
  // given up sooner than 3 s.
  timing_.resend *= options_.timescale;
  timing_.lastResend *= options_.timescale;
  timing_.pass *= options_.timescale;
  timing_.silence = options_.timeout > 0
                        ? options_.timeout
                        : std::max(timing_.silence * options_.timescale, kShortestSilence);

  int status;
  if (w[0] == "get") {
    if (!Arity(w, 1, 1, &error)) return Fail(kBadArguments, error);
    if (options_.dryRun) return Fail(kBadArguments, "--dry-run is for uploads");
    status = Get(w[1]);
  } else {
    FtmctlRequest request;
    bool image = false;
    if (!Build(&request, &image, &error)) return Fail(kBadArguments, error);
    status = Upload(request, image);
  }
  if (!options_.dryRun) WriteLog(status);
  return status;
}

bool ParseOptions(int argc, char** argv, Options* o, std::string* error) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&](std::string* out) {
      if (i + 1 >= argc) {
        *error = a + " needs a value";
        return false;
      }
      *out = argv[++i];
      return true;
    };
    auto number = [&](double* out) {
      std::string v;
      if (!value(&v)) return false;
      char* end = nullptr;
      *out = std::strtod(v.c_str(), &end);
      if (v.empty() || *end != '\0' || !(*out > 0) || *out > 3600) {
        *error = a + " takes a number of seconds or a factor above 0";
        return false;
      }
      return true;
    };
    bool ok = true;
    if (a == "--board") {
      ok = value(&o->board);
    } else if (a == "--timeout") {
      ok = number(&o->timeout);
    } else if (a == "--timescale") {
      ok = number(&o->timescale);
    } else if (a == "--log") {
      ok = value(&o->logDir);
    } else if (a == "--as") {
      ok = value(&o->as);
    } else if (a == "--verify") {
      o->verify = true;
    } else if (a == "--json") {
      o->json = true;
    } else if (a == "--dry-run") {
      o->dryRun = true;
    } else if (a == "--safe") {
      o->safe = true;
    } else if (a.size() > 1 && a[0] == '-' && a.find('=') == std::string::npos) {
      *error = "unknown option " + a;
      ok = false;
    } else {
      o->words.push_back(a);
    }
    if (!ok) return false;
  }
  if (o->words.empty()) {
    *error = "no command given";
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
      std::printf("%s%s%s", kUsage, FtmctlSettingKeys(), kUsageOptions);
      return kAccepted;
    }
    if (std::strcmp(argv[i], "--version") == 0) {
      std::printf("ftmctl %s\n", FTM_VERSION);
      return kAccepted;
    }
  }
  Options options;
  std::string error;
  if (!ParseOptions(argc, argv, &options, &error)) {
    for (int i = 1; i < argc; ++i) {
      if (std::strcmp(argv[i], "--json") == 0) {
        const Json result{
            {"status", kBadArguments}, {"result", kResultNames[kBadArguments]}, {"message", error}};
        std::printf("%s\n", result.dump(2).c_str());
        return kBadArguments;
      }
    }
    std::fprintf(stderr, "ftmctl: %s\n%s%s%s", error.c_str(), kUsage, FtmctlSettingKeys(),
                 kUsageOptions);
    return kBadArguments;
  }
  if (!options.logDir.empty()) {
    struct stat st;
    if (::stat(options.logDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
      std::fprintf(stderr, "ftmctl: --log %s is not a directory\n", options.logDir.c_str());
      return kBadArguments;
    }
  }
  Station station(options);
  return station.Run();
}
