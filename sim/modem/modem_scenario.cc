#include "modem_scenario.h"

#include <cstdlib>
#include <sstream>

namespace {

// Bounds that keep a mistyped scenario from stalling a test for hours or
// filling memory.
constexpr double kMaxDelayMs = 600000;
constexpr size_t kMaxRepeat = 1000000;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Splits off the first blank-separated word of `rest`; the rest keeps what
// follows the one blank after the word.
bool NextWord(std::string* rest, std::string* word) {
  if (rest->empty() || (*rest)[0] == ' ') return false;
  size_t blank = rest->find(' ');
  *word = rest->substr(0, blank);
  *rest = blank == std::string::npos ? "" : rest->substr(blank + 1);
  return true;
}

bool ParseNumber(const std::string& word, double max, double* value) {
  char* end = nullptr;
  double v = std::strtod(word.c_str(), &end);
  if (word.empty() || *end != '\0' || !(v >= 0) || v > max) return false;
  *value = v;
  return true;
}

}  // namespace

bool ModemUnescape(const std::string& text, std::string* bytes) {
  bytes->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      *bytes += text[i];
      continue;
    }
    if (++i == text.size()) return false;
    switch (text[i]) {
      case 'r':
        *bytes += '\r';
        break;
      case 'n':
        *bytes += '\n';
        break;
      case 't':
        *bytes += '\t';
        break;
      case '\\':
        *bytes += '\\';
        break;
      case 'x': {
        if (i + 2 >= text.size()) return false;
        int high = HexDigit(text[i + 1]);
        int low = HexDigit(text[i + 2]);
        if (high < 0 || low < 0) return false;
        *bytes += static_cast<char>(high * 16 + low);
        i += 2;
        break;
      }
      default:
        return false;
    }
  }
  return true;
}

ModemScenario ModemParseScenario(const std::string& text, std::vector<std::string>* warnings) {
  ModemScenario scenario;
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::string rest = line, keyword, word;
    bool ok = NextWord(&rest, &keyword);
    if (ok && keyword == "command") {
      ModemAnswer answer;
      answer.any = rest == "*";
      ok = answer.any || (ModemUnescape(rest, &answer.command) && !answer.command.empty() &&
                          answer.command.find('\r') == std::string::npos);
      if (ok) scenario.answers.push_back(answer);
    } else if (ok && (keyword == "send" || keyword == "repeat") && !scenario.answers.empty()) {
      ModemPiece piece;
      double count = 1;
      if (keyword == "repeat") {
        ok = NextWord(&rest, &word) && ParseNumber(word, kMaxRepeat, &count) && count >= 1 &&
             count == static_cast<double>(static_cast<size_t>(count));
      }
      ok = ok && NextWord(&rest, &word) && ParseNumber(word, kMaxDelayMs, &piece.delayMs) &&
           ModemUnescape(rest, &piece.bytes) && (keyword == "send" || !piece.bytes.empty());
      piece.repeat = static_cast<size_t>(count);
      if (ok) scenario.answers.back().pieces.push_back(piece);
    } else {
      ok = false;
    }
    if (!ok) warnings->push_back("scenario line " + std::to_string(number) + " skipped: " + line);
  }
  return scenario;
}

const ModemAnswer* ModemFindAnswer(const ModemScenario& scenario, const std::string& command) {
  const ModemAnswer* any = nullptr;
  for (const ModemAnswer& answer : scenario.answers) {
    if (!answer.any && answer.command == command) return &answer;
    if (answer.any && any == nullptr) any = &answer;
  }
  return any;
}
