// The simulated board: a directory (FTM_SIM_DIR) of plain files that tests
// and station engineers set up and observe while the daemon runs. The
// contract is described in docs/simulator.md.
#ifndef FTM_SIM_SIM_BOARD_H_
#define FTM_SIM_SIM_BOARD_H_

#include <string>

// The board directory, from FTM_SIM_DIR. The process ends with a message
// when the variable is not set: a simulated daemon without a board would
// touch the PC's own files.
const std::string& SimDir();

// A board path ("/tmp/x") as a PC path under the board's root/.
std::string SimRootPath(const std::string& board_path);

// True while the faults file holds exactly this line (blanks around words
// and between them do not matter).
bool SimFaultActive(const std::string& line);

// Appends one line to events.log; a newline inside is written as "\n".
void SimEvent(const std::string& line);

// Appends "<priority> <message>" to the board's syslog file.
void SimSyslog(int priority, const std::string& message);

// The factor applied to every sleep and timed wait (timescale file; 1).
double SimTimescale();

// The UDP port to serve (port file; 69).
int SimPort();

// Reads a whole small file; false when it cannot be read.
bool SimReadFile(const std::string& path, std::string* contents);

// Replaces a file's contents through a temporary file and a rename, so that
// a reader never sees it half-written.
bool SimWriteFileAtomic(const std::string& path, const std::string& contents);

#endif  // FTM_SIM_SIM_BOARD_H_
