// The AT command channel to the LTE modem on the USB serial port
// "/dev/ttyUSB1": open the port in raw mode at 115200 baud, write a command,
// read the answer up to its final result code, pick values out of it, close
// the port. The state below is the one port's and is touched only by the
// transfer task's thread, one exchange at a time.
//
// Results follow the board software: the channel answers 1 for success and
// 0 for failure; opening answers 0, -1 (the port would not take its
// settings) or -2 (the port would not open).
#ifndef FTM_MODEM_FTM_AT_H_
#define FTM_MODEM_FTM_AT_H_

#include <cstddef>

// The modem's serial port.
extern const char kFtmModemDevice[];  // "/dev/ttyUSB1"

// Every answer buffer handed to readFromDevice has this many bytes; an
// answer keeps at most kAtResponseSize - 1 characters.
constexpr size_t kAtResponseSize = 4096;
// Every value buffer handed to getResponseValue has this many bytes; a
// value keeps at most kAtValueSize - 1 characters.
constexpr size_t kAtValueSize = 128;
constexpr size_t kAtResultTextSize = 1024;

// The code of the last final result recognised: -1 "+CME ERROR",
// -2 "NO CARRIER", -3 "RING", -4 "CONNECT", -5 "OK", -6 "ERROR"; 0 before
// the first.
extern int lastResultCode;
// Emptied by every read and set to the final result's text on a match; the
// queries put a "+CME ERROR" detail or "RETRY" here.
extern char lastResultText[kAtResultTextSize];

// Opens the port for reading and writing (no other flags) and keeps the
// descriptor, also a failed one, until closeModemDevice. 0 when open and set
// up, -1 when the settings were refused (the port stays open), -2 when the
// open failed.
int openModemDevice(const char* path);

// Closes the kept descriptor, if any, and forgets it. Always 0.
int closeModemDevice();

// Puts the port into raw mode with the termio requests TCGETA and TCSETA:
// 115200 baud, 8N1, receiver on, hang-up on close, modem lines ignored, no
// input, output or local processing, reads that return after one byte or
// after 2 seconds without one. Fields outside these keep what the port had.
// 0, or -1 when either request fails.
int setTtyAttributes(int fd);

// Writes `length` bytes of the command in one call. 1 on success (and
// without writing when no port is open), 0 when the write fails.
int writeToDevice(const char* command, int length);

// Reads the modem's answer byte by byte into `buffer` (kAtResponseSize
// bytes, a string; its old text is cleared) until one of the final result
// codes is complete: 1, with lastResultCode and lastResultText set. 0 when
// the port is silent for 2 seconds, a read fails, or the answer fills the
// buffer without a final result; the part read stays in the buffer. The
// read stops at the result's last character: the rest of its line stays in
// the port for the next read. Matching progress carries over between reads.
int readFromDevice(char* buffer);

// Finds `key` in `response` (ignoring case) and copies the text after it, up
// to the next line feed and without the character just before that line
// feed, into `value` (kAtValueSize bytes; a longer value is cut). 1 when
// copied; 0, leaving `value` alone, when the key is missing or no line feed
// follows it.
int getResponseValue(const char* key, const char* response, char* value);

// The port opened for one report and closed on every path out of it.
class FtmModemPort {
 public:
  explicit FtmModemPort(const char* path) : result_(openModemDevice(path)) {}
  ~FtmModemPort() { closeModemDevice(); }
  FtmModemPort(const FtmModemPort&) = delete;
  FtmModemPort& operator=(const FtmModemPort&) = delete;

  // False after either failure of openModemDevice.
  bool usable() const { return result_ == 0; }

 private:
  int result_;
};

#endif  // FTM_MODEM_FTM_AT_H_
