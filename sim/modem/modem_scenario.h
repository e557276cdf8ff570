// The scenario of the simulated modem: for each AT command, the exact bytes
// it answers, in pieces with pauses. The text format is described in
// docs/simulator.md.
#ifndef FTM_SIM_MODEM_MODEM_SCENARIO_H_
#define FTM_SIM_MODEM_MODEM_SCENARIO_H_

#include <cstddef>
#include <string>
#include <vector>

// One write of the answer: `bytes` written `repeat` times in a row, after
// `delayMs` of board time from the command (first piece) or from the piece
// before.
struct ModemPiece {
  double delayMs = 0;
  std::string bytes;
  size_t repeat = 1;
};

struct ModemAnswer {
  std::string command;  // without its "\r"
  bool any = false;     // "command *": every command without its own entry
  std::vector<ModemPiece> pieces;
};

struct ModemScenario {
  std::vector<ModemAnswer> answers;
};

// Parses a scenario text. Lines it cannot read are skipped, each with a
// warning naming its line number.
ModemScenario ModemParseScenario(const std::string& text, std::vector<std::string>* warnings);

// The answer to a command (its bytes before "\r"): its own entry (the first
// one), else the "command *" entry, else null for silence.
const ModemAnswer* ModemFindAnswer(const ModemScenario& scenario, const std::string& command);

// Turns the escapes \r \n \t \\ and \xHH into their bytes; false for any
// other backslash sequence.
bool ModemUnescape(const std::string& text, std::string* bytes);

#endif  // FTM_SIM_MODEM_MODEM_SCENARIO_H_
