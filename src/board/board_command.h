// Board command lines. Only fixed text and checked values (decimal digits,
// MAC addresses, plain words) ever go into one: nothing from a request
// reaches the shell unchecked.
#ifndef FTM_BOARD_BOARD_COMMAND_H_
#define FTM_BOARD_BOARD_COMMAND_H_

#include <cstddef>

#include "platform/ftm_log.h"

// Formats one command line into a bounded buffer and runs it through the
// platform, exactly as formatted. A line that does not fit is not run: -1.
// Otherwise the result of system().
int FtmRunCommand(const char* format, ...) FTM_PRINTF_FORMAT(1, 2);

// Runs the formatted command with its output into the work file `file`
// ("<command> > <file>"), reads the first line the command left there (at
// most size - 1 characters, its line feed kept) into `line` and removes the
// file. False, with `line` empty, when the file does not open or holds
// nothing.
bool FtmCommandFirstLine(const char* file, char* line, size_t size, const char* format, ...)
    FTM_PRINTF_FORMAT(4, 5);

#endif  // FTM_BOARD_BOARD_COMMAND_H_
