// The daemon's lines on syslog and on the console, all of them. Their bytes
// are the board software's own output, spelling, blanks and line ends
// ("\n\r" included) as the board prints them: station logs are matched
// against them, so they are kept exactly and never tidied. Every format is
// checked against its arguments.
#ifndef FTM_PLATFORM_FTM_LOG_H_
#define FTM_PLATFORM_FTM_LOG_H_

#define FTM_PRINTF_FORMAT(string, first) __attribute__((format(printf, string, first)))

// A syslog message through the platform, formatted into a bounded buffer
// (longer text is cut).
void FtmLogSyslog(int priority, const char* format, ...) FTM_PRINTF_FORMAT(2, 3);

// Text on standard output, exactly as formatted (the caller's line ends).
void FtmLogConsole(const char* format, ...) FTM_PRINTF_FORMAT(1, 2);

// Text on standard error, exactly as formatted.
void FtmLogStderr(const char* format, ...) FTM_PRINTF_FORMAT(1, 2);

// A failure the board reports twice: at LOG_ERR on syslog, then the same
// text as one line on standard output ("Cannot open gpio driver").
void FtmLogBoth(const char* format, ...) FTM_PRINTF_FORMAT(1, 2);

// Ends the process at once with status -1, after logging `before` (when
// given) and then `message` at LOG_ERR, and `console` (when given) as one
// line on standard output. No orderly shutdown: the other thread may be
// mid-transfer, so no destructor runs under its feet.
[[noreturn]] void FtmFatalExit(const char* message, const char* console = nullptr,
                               const char* before = nullptr);

#endif  // FTM_PLATFORM_FTM_LOG_H_
