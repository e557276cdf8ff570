// ftmctl: the station's client for the board. It speaks the board's TFTP
// dialect (see ftmctl_tftp.h), builds and checks the request documents the
// board takes, reads reports back to confirm them, and tells the result by
// its exit status:
//   0 accepted, 1 refused by the board (its message on standard error),
//   2 no answer or transport failure, 3 bad arguments.
#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

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
#include "ftmctl_report.h"
#include "ftmctl_requests.h"
#include "ftmctl_tftp.h"
#include "tftp/tftp_wire.h"
#include "xml/xml_doc.h"
#include "xml/xml_write.h"

namespace {

// Seconds of silence before any exchange is given up, whatever the time
// scale (see the timing below).
constexpr double kShortestSilence = 3.0;
// `wait` reads its report this often (board time), and waits this long
// unless told otherwise (seconds).
constexpr double kWaitPoll = 0.5;
constexpr double kWaitDefault = 30;

using Json = nlohmann::ordered_json;

enum Exit { kAccepted = 0, kRefused = 1, kNoAnswer = 2, kBadArguments = 3 };

const char* const kResultNames[] = {"accepted", "refused", "no answer", "bad arguments"};

// Every report the board serves.
const char* const kReports[] = {"FTM_ModemInfo.xml",   "FTM_TestModeOp.xml", "FTM_Progress.xml",
                                "FTM_TestModeCfg.xml", "FTM_Statistics.xml", "FTM_Stats_4port.xml",
                                "FTM_MobileInfo.xml",  "FTM_AntennaInfo.xml"};

// The inputs `wait` watches: the element of "FTM_TestModeCfg.xml" that
// shows each.
const char* const kInputs[][3] = {
    {"button", "wps", "TEST_CONFIG/WPS_SWITCH/WPS_SW_STATUS"},
    {"button", "reset", "TEST_CONFIG/RESET_SWITCH/RESET_SW_STATUS"},
    {"switch", "wifi", "TEST_CONFIG/WIFI_PWR_SWITCH/WIFI_PWR_STATUS"},
};

constexpr char kUsage[] =
    "usage: ftmctl [OPTIONS] COMMAND [ARGS]\n"
    "Reports:\n"
    "  get REPORT                 FTM_ModemInfo.xml FTM_TestModeOp.xml FTM_Progress.xml\n"
    "                             FTM_TestModeCfg.xml FTM_Statistics.xml FTM_Stats_4port.xml\n"
    "                             FTM_MobileInfo.xml FTM_AntennaInfo.xml\n"
    "  get REPORT --expect PATH=LOW..HIGH   a number of the report within limits\n"
    "  wait button wps|reset open|closed | wait switch wifi open|closed [--timeout SECONDS]\n"
    "                             until the board shows the input so (default 30 s)\n"
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
    "Options (--name VALUE or --name=VALUE):\n"
    "  --board HOST[:PORT]  the board (default: $FTM_BOARD; port 69)\n"
    "  --timeout SECONDS    longest silence of the board before giving up (default 8);\n"
    "                       for wait: how long to wait for the input\n"
    "  --timescale FACTOR   the board's clock factor (simulated boards; default 1)\n"
    "  --verify             read the matching report back and compare\n"
    "  --expect PATH=LOW..HIGH  with get: a number within limits (repeatable)\n"
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
  std::vector<std::string> expects;
  std::vector<std::string> words;  // the command and its arguments
};

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

std::string Upper(std::string s) {
  for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return s;
}

// What a check of a read-back found: the text it compares and its verdict.
bool Compare(const FtmctlCheck& check, const XmlNode* node, Json* got) {
  const std::string text = node->text != nullptr ? node->text : "";
  switch (check.kind) {
    case FtmctlCheck::kText:
      *got = text;
      return text == check.want;
    case FtmctlCheck::kLooseText:
      *got = text;
      return Loose(text) == Loose(check.want);
    case FtmctlCheck::kAttribute:
      for (int i = 0; node->attrNames != nullptr && node->attrNames[i] != nullptr; ++i) {
        if (check.attribute == node->attrNames[i]) *got = node->attrValues[i];
      }
      return got->is_string() && got->get<std::string>() == check.want;
    case FtmctlCheck::kPresent:
      *got = "present";
      return true;
    case FtmctlCheck::kNoChildren: {
      const bool empty = node->children == nullptr || node->children[0] == nullptr;
      *got = empty ? "empty" : "not empty";
      return empty;
    }
  }
  return false;
}

Json CheckJson(const FtmctlCheck& check) {
  Json c{{"report", check.report}, {"path", check.path}};
  if (!check.attribute.empty()) c["attribute"] = check.attribute;
  c["want"] = check.kind == FtmctlCheck::kPresent      ? "present"
              : check.kind == FtmctlCheck::kNoChildren ? "empty"
                                                       : check.want;
  return c;
}

bool Checkable(const FtmctlRequest& request) {
  for (const FtmctlStep& s : request.steps) {
    if (!s.checks.empty()) return true;
  }
  return false;
}

std::string Labels(const FtmctlRequest& request) {
  std::string out;
  for (const FtmctlStep& s : request.steps) out += (out.empty() ? "" : ", ") + s.label;
  return out;
}

class Station {
 public:
  explicit Station(const Options& o) : options_(o) {}

  int Run();

 private:
  bool Prepare(std::string* error);
  int Dispatch();
  int Fail(int status, const std::string& message);
  int Succeed(const std::string& line);
  int NoAnswer(const std::string& message);
  int Refusal(const FtmctlTransfer& t);

  int Get(const std::string& name);
  int Expect(const Json& numbers);
  int Wait();
  bool Download(const std::string& name, FtmctlTransfer* transfer);

  int Upload(const FtmctlRequest& request, bool image);
  int DryRun(const FtmctlRequest& request);
  int RefusedUpload(const FtmctlTransfer& t, const FtmctlRequest& request, const Json& steps,
                    bool verified);
  int Judge(const FtmctlTransfer& t, const FtmctlRequest& request, const Json& steps, bool verified,
            bool allApplied);

  // Reads back the reports the request's checks name and fills *steps;
  // false when a report could not be read.
  bool Verify(const FtmctlRequest& request, Json* steps, bool* allApplied);
  bool VerifyStep(const FtmctlStep& step, Json* steps, bool* applied);
  bool Check(const FtmctlCheck& check, Json* checks);
  const XmlNode* Report(const std::string& name);

  bool Build(FtmctlRequest* request, bool* image, std::string* error);
  bool BuildFile(FtmctlRequest* request, bool* image, std::string* error);
  bool BuildTestModeOp(FtmctlRequest* request, std::string* error);
  bool Settings(std::vector<std::string>* settings, std::string* error);

  void WriteLog(int status);
  FtmctlTftp& Client();

  Options options_;
  sockaddr_in board_{};
  FtmctlTiming timing_;
  std::vector<FtmctlLogLine> log_;
  std::unique_ptr<FtmctlTftp> client_;
  std::map<std::string, XmlDoc> readBack_;  // reports read for one --verify
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
  } else if (status == kRefused && boardMessage_ && message.empty()) {
    std::fprintf(stderr, "ftmctl: the board refused %s with an empty message (ERROR %d)\n",
                 result_.value("file", result_.value("report", "")).c_str(),
                 result_.value("error_code", 0));
  } else if (status == kRefused && boardMessage_) {
    // The board's own words, exactly as sent.
    std::fputs(message.c_str(), stderr);
    if (message.back() != '\n') std::fputc('\n', stderr);
  } else {
    std::fprintf(stderr, "ftmctl: %s\n", message.c_str());
  }
  return status;
}

// Text mode says what was accepted in one line on standard output.
int Station::Succeed(const std::string& line) {
  result_["status"] = kAccepted;
  result_["result"] = kResultNames[kAccepted];
  if (options_.json) {
    std::printf("%s\n", result_.dump(2).c_str());
  } else if (!line.empty()) {
    std::printf("%s\n", line.c_str());
  }
  return kAccepted;
}

// The transfer code says "no answer from the board for NAME"; the station
// also wants to know which board.
int Station::NoAnswer(const std::string& message) {
  const std::string prefix = "no answer from the board";
  const std::string where = prefix + " at " + FtmctlBoardText(board_);
  if (message.compare(0, prefix.size(), prefix) == 0) {
    return Fail(kNoAnswer, where + message.substr(prefix.size()));
  }
  return Fail(kNoAnswer, FtmctlBoardText(board_) + ": " + message);
}

int Station::Refusal(const FtmctlTransfer& t) {
  boardMessage_ = true;
  result_["error_code"] = t.errorCode;
  return Fail(kRefused, t.message);
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
  if (t.outcome == FtmctlOutcome::kRefused) return Refusal(t);
  if (t.outcome != FtmctlOutcome::kAccepted) return NoAnswer(t.message);
  const Json report = FtmctlReportJson(name, t.data);
  if (!options_.expects.empty()) {
    result_.update(report);
    return Expect(report["numbers"]);
  }
  if (!options_.json) {
    std::fwrite(t.data.data(), 1, t.data.size(), stdout);
    return kAccepted;
  }
  result_.update(report);
  return Succeed("");
}

// Each expectation is a measurement: its value and limits are kept in the
// result whether it passes or not.
int Station::Expect(const Json& numbers) {
  Json measurements = Json::array();
  std::string failed, lines;
  for (const std::string& text : options_.expects) {
    FtmctlExpectation e;
    std::string error;
    FtmctlParseExpectation(text, &e, &error);  // checked before anything was sent
    const Json value = numbers.contains(e.path) ? numbers[e.path] : Json();
    const bool ok = value.is_number() && (e.low.is_null() || value >= e.low) &&
                    (e.high.is_null() || value <= e.high);
    measurements.push_back(
        {{"path", e.path}, {"value", value}, {"low", e.low}, {"high", e.high}, {"ok", ok}});
    const std::string shown = value.is_null() ? "no number" : value.dump();
    lines += e.path + " = " + shown + " (" + (e.low.is_null() ? "" : e.low.dump()) + ".." +
             (e.high.is_null() ? "" : e.high.dump()) + ") " + (ok ? "pass" : "FAIL") + "\n";
    if (!ok) failed += (failed.empty() ? "" : ", ") + e.path + " = " + shown;
  }
  result_["measurements"] = measurements;
  if (!options_.json) std::fputs(lines.c_str(), stdout);
  if (!failed.empty()) return Fail(kRefused, "outside the limits: " + failed);
  if (options_.json) return Succeed("");
  result_["status"] = kAccepted;
  return kAccepted;
}

// `wait button|switch NAME open|closed`: reads "FTM_TestModeCfg.xml" until the
// input shows the state or the time is up.
int Station::Wait() {
  const std::vector<std::string>& w = options_.words;
  std::string path;
  for (const auto& input : kInputs) {
    if (w.size() == 4 && w[1] == input[0] && w[2] == input[1]) path = input[2];
  }
  const std::string want = w.size() == 4 ? Upper(w[3]) : "";
  if (path.empty() || (want != "OPEN" && want != "CLOSED")) {
    return Fail(kBadArguments,
                "wait takes: button wps|reset open|closed, or switch wifi open|closed");
  }
  const double limit = options_.timeout > 0 ? options_.timeout : kWaitDefault;
  const double start = FtmctlNow();
  result_["input"] = w[2];
  result_["want"] = want;
  for (;;) {
    FtmctlTransfer t;
    Download("FTM_TestModeCfg.xml", &t);
    if (t.outcome == FtmctlOutcome::kRefused) return Refusal(t);
    if (t.outcome != FtmctlOutcome::kAccepted) return NoAnswer(t.message);
    XmlDoc doc = XmlParseCopy(t.data.c_str());
    const XmlNode* node = doc ? Find(doc.get(), path) : nullptr;
    const std::string got = node != nullptr && node->text != nullptr ? node->text : "";
    const double waited = FtmctlNow() - start;
    result_["got"] = got;
    result_["seconds"] = std::round(waited * 10) / 10;
    char line[160];
    std::snprintf(line, sizeof line, "%s %s %s after %.1f s", w[1].c_str(), w[2].c_str(),
                  got.c_str(), waited);
    if (got == want) return Succeed(line);
    if (waited >= limit) {
      std::snprintf(line, sizeof line, "%s %s stayed %s for %g s", w[1].c_str(), w[2].c_str(),
                    got.c_str(), limit);
      return Fail(kRefused, line);
    }
    ::usleep(static_cast<useconds_t>(std::max(0.02, kWaitPoll * options_.timescale) * 1e6));
  }
}

const XmlNode* Station::Report(const std::string& name) {
  auto it = readBack_.find(name);
  if (it == readBack_.end()) {
    FtmctlTransfer t;
    if (!Download(name, &t)) return nullptr;
    it = readBack_.emplace(name, XmlParseCopy(t.data.c_str())).first;
  }
  return it->second ? it->second.get() : nullptr;
}

// One comparison; false when its report could not be read.
bool Station::Check(const FtmctlCheck& check, Json* checks) {
  if (Report(check.report) == nullptr && readBack_.count(check.report) == 0) return false;
  XmlNode* root = readBack_[check.report].get();
  const XmlNode* node = root != nullptr ? Find(root, check.path) : nullptr;
  Json c = CheckJson(check);
  Json got = nullptr;
  const bool ok = node != nullptr && Compare(check, node, &got);
  c["got"] = got;
  c["ok"] = ok;
  checks->push_back(c);
  return true;
}

bool Station::VerifyStep(const FtmctlStep& step, Json* steps, bool* applied) {
  Json checks = Json::array();
  for (const FtmctlCheck& check : step.checks) {
    if (!Check(check, &checks)) return false;
  }
  *applied = true;
  for (const Json& c : checks) *applied = *applied && c["ok"].get<bool>();
  Json s{{"setting", step.label}};
  // A setting that no report shows is neither applied nor not.
  s["applied"] = step.checks.empty() ? Json() : Json(*applied);
  s["checks"] = checks;
  steps->push_back(s);
  return true;
}

bool Station::Verify(const FtmctlRequest& request, Json* steps, bool* allApplied) {
  readBack_.clear();
  *allApplied = true;
  for (const FtmctlStep& step : request.steps) {
    bool applied = true;
    if (!VerifyStep(step, steps, &applied)) return false;
    *allApplied = *allApplied && applied;
  }
  return true;
}

int Station::DryRun(const FtmctlRequest& request) {
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

int Station::RefusedUpload(const FtmctlTransfer& t, const FtmctlRequest& request, const Json& steps,
                           bool verified) {
  const int status = Refusal(t);
  if (options_.json) return status;
  if (request.steps.size() > 1) {
    std::fputs(
        "ftmctl: the board applies the settings in order and stops at the first failure: "
        "the settings before the refused one may already be applied",
        stderr);
    std::fputs(options_.verify ? "\n" : " (--verify tells which)\n", stderr);
  }
  for (const Json& s : verified ? steps : Json::array()) {
    const char* state = s["applied"].is_null()     ? "not shown by any report"
                        : s["applied"].get<bool>() ? "applied"
                                                   : "not applied";
    std::fprintf(stderr, "ftmctl: %s: %s\n", s["setting"].get<std::string>().c_str(), state);
  }
  return status;
}

// An upload the board answered with an ACK: what the read-back and the way
// the ACK came say about it.
int Station::Judge(const FtmctlTransfer& t, const FtmctlRequest& request, const Json& steps,
                   bool verified, bool allApplied) {
  if (options_.verify && !verified) {
    return NoAnswer("no answer from the board while reading back");
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
  return Succeed("accepted: " + Labels(request) + " (" + request.file +
                 (verified ? ", read back)" : ")"));
}

int Station::Upload(const FtmctlRequest& request, bool image) {
  result_["file"] = request.file;
  if (options_.dryRun) return DryRun(request);
  const FtmctlTransfer t = Client().Upload(request.file, request.document, image);
  if (t.outcome == FtmctlOutcome::kNoAnswer) return NoAnswer(t.message);
  answered_ = true;
  Json steps = Json::array();
  bool allApplied = false, verified = false;
  if (options_.verify) {
    verified = Verify(request, &steps, &allApplied);
    result_["verify"] = steps;
  }
  if (t.outcome == FtmctlOutcome::kRefused) return RefusedUpload(t, request, steps, verified);
  return Judge(t, request, steps, verified, allApplied);
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

bool Station::BuildFile(FtmctlRequest* request, bool* image, std::string* error) {
  const std::vector<std::string>& w = options_.words;
  if (!Arity(w, 1, 1, error) || !ReadFile(w[1], &request->document, error)) return false;
  request->file = options_.as.empty() ? BaseName(w[1]) : options_.as;
  const std::string last = Extension(request->file, false);
  *image = last == ".upg" || last == ".hex";
  if (request->file.empty() || request->file.size() > kTftpMaxMessage) {
    *error = "bad file name";
    return false;
  }
  if (w[0] == "ini" && Extension(request->file, true) != ".ini") {
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
  request->steps = {{w[0] + " " + request->file, {}}};
  return true;
}

bool Station::BuildTestModeOp(FtmctlRequest* request, std::string* error) {
  const std::vector<std::string>& w = options_.words;
  if (w[0] == "enter")
    return Arity(w, 1, 1, error) && FtmctlTestModeOp("enter", w[1], request, error);
  const std::string command = w[0] == "restart" && options_.safe ? "restart-safe" : w[0];
  return Arity(w, 0, 0, error) && FtmctlTestModeOp(command, "", request, error);
}

// The typed commands of "FTM_TestModeCfg.xml" as the settings of `cfg`.
bool Station::Settings(std::vector<std::string>* settings, std::string* error) {
  const std::vector<std::string>& w = options_.words;
  const std::string& command = w[0];
  if (command == "cfg") {
    settings->assign(w.begin() + 1, w.end());
  } else if (command == "led") {
    if (!Arity(w, 2, 2, error)) return false;
    *settings = {"led." + w[1] + "=" + w[2]};
  } else if (command == "leds" || command == "autopair") {
    if (!Arity(w, 1, 1, error)) return false;
    *settings = {command + "=" + w[1]};
  } else if (command == "button" || command == "voice") {
    if (!Arity(w, 2, 2, error)) return false;
    *settings = {command + "." + w[1] + "=" + w[2]};
  } else if (command == "radio") {
    if (!Arity(w, 3, 3, error)) return false;
    *settings = {"radio." + w[1] + "." + w[2] + "=" + w[3]};
  } else if (command == "throughput") {
    if (!Arity(w, 2, 2, error)) return false;
    *settings = {"throughput=" + w[1] + "/" + w[2]};
  } else {
    *error = "unknown command " + command;
    return false;
  }
  return true;
}

bool Station::Build(FtmctlRequest* request, bool* image, std::string* error) {
  const std::vector<std::string>& w = options_.words;
  const std::string& command = w[0];
  *image = false;
  if (command == "put" || command == "ini") return BuildFile(request, image, error);
  if (command == "enter" || command == "leave" || command == "resync" || command == "restart") {
    return BuildTestModeOp(request, error);
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
  return Settings(&settings, error) && FtmctlTestConfig(settings, request, error);
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

// The board's address and the waits; false with *error for bad arguments.
bool Station::Prepare(std::string* error) {
  if (options_.board.empty()) {
    const char* env = std::getenv("FTM_BOARD");
    if (env != nullptr) options_.board = env;
  }
  if (!options_.dryRun) {
    if (options_.board.empty()) {
      *error = "no board given (--board HOST[:PORT])";
      return false;
    }
    if (!FtmctlParseBoard(options_.board, &board_, error)) return false;
    result_["board"] = FtmctlBoardText(board_);
  }
  // The board's own waits run on its clock; a handler's work (board tools,
  // the store, the modem) takes real time on every board, so no exchange is
  // given up sooner than 3 s. For `wait`, --timeout is the wait itself.
  const bool silenceGiven = options_.timeout > 0 && options_.words[0] != "wait";
  timing_.resend *= options_.timescale;
  timing_.lastResend *= options_.timescale;
  timing_.pass *= options_.timescale;
  timing_.silence = silenceGiven ? options_.timeout
                                 : std::max(timing_.silence * options_.timescale, kShortestSilence);
  return true;
}

int Station::Dispatch() {
  const std::vector<std::string>& w = options_.words;
  std::string error;
  if (w[0] == "get") {
    if (!Arity(w, 1, 1, &error)) return Fail(kBadArguments, error);
    if (options_.dryRun) return Fail(kBadArguments, "--dry-run is for uploads");
    if (std::find(std::begin(kReports), std::end(kReports), w[1]) == std::end(kReports)) {
      std::string known;
      for (const char* report : kReports) known += std::string(known.empty() ? "" : " ") + report;
      return Fail(kBadArguments,
                  "the board serves no report " + w[1] + " (reports: " + known + ")");
    }
    return Get(w[1]);
  }
  if (!options_.expects.empty()) return Fail(kBadArguments, "--expect is for get");
  if (w[0] == "wait")
    return options_.dryRun ? Fail(kBadArguments, "--dry-run is for uploads") : Wait();
  FtmctlRequest request;
  bool image = false;
  if (!Build(&request, &image, &error)) return Fail(kBadArguments, error);
  if (options_.verify && !Checkable(request)) {
    return Fail(kBadArguments, "--verify: no report of the board shows " + Labels(request) +
                                   "; leave out --verify and read a report instead");
  }
  return Upload(request, image);
}

int Station::Run() {
  std::string error;
  result_["command"] = options_.words[0];
  if (!Prepare(&error)) return Fail(kBadArguments, error);
  for (const std::string& text : options_.expects) {
    FtmctlExpectation e;
    if (!FtmctlParseExpectation(text, &e, &error)) return Fail(kBadArguments, error);
  }
  const int status = Dispatch();
  if (!options_.dryRun && status != kBadArguments) WriteLog(status);
  return status;
}

bool ParseOptions(int argc, char** argv, Options* o, std::string* error) {
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    // "--name=value" is "--name value".
    std::string inlineValue;
    const size_t eq = a.find('=');
    const bool hasInline = a.compare(0, 2, "--") == 0 && eq != std::string::npos;
    if (hasInline) {
      inlineValue = a.substr(eq + 1);
      a = a.substr(0, eq);
    }
    auto value = [&](std::string* out) {
      if (hasInline) {
        *out = inlineValue;
        return true;
      }
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
    auto flag = [&](bool* out) {
      if (hasInline) {
        *error = a + " takes no value";
        return false;
      }
      *out = true;
      return true;
    };
    bool ok = true;
    std::string expect;
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
    } else if (a == "--expect") {
      ok = value(&expect);
      o->expects.push_back(expect);
    } else if (a == "--verify") {
      ok = flag(&o->verify);
    } else if (a == "--json") {
      ok = flag(&o->json);
    } else if (a == "--dry-run") {
      ok = flag(&o->dryRun);
    } else if (a == "--safe") {
      ok = flag(&o->safe);
    } else if (hasInline || (a.size() > 1 && a[0] == '-' && a.find('=') == std::string::npos)) {
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
