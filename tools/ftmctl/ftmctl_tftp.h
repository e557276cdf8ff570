// The station side of the board's TFTP dialect: one request at a time from
// an ephemeral port to the board's server port, every reply expected from
// that same port, octet mode, 512-byte blocks, no options.
#ifndef FTM_TOOLS_FTMCTL_FTMCTL_TFTP_H_
#define FTM_TOOLS_FTMCTL_FTMCTL_TFTP_H_

#include <netinet/in.h>

#include <string>
#include <vector>

#include "tftp/tftp_wire.h"

// Every wait of the client, in seconds. The defaults follow the board's
// waits (tftp_wire.h): it takes one request per pass, resends a DATA block
// or an ACK itself after its wait for an ACK or a DATA block, and for its
// grace passes after an upload answers a resent last block with the last
// ACK. All are multiplied by the board's time scale (1 on a real board).
struct FtmctlTiming {
  // A request (RRQ, WRQ) or a block other than the last is sent again once
  // after this much silence: longer than the board's own resend, so a lost
  // reply is first recovered by the board, shorter than its give-up.
  double resend = 3.5;
  // The last block of an upload is sent again once after this much silence,
  // well inside the board's 2.75 s grace period.
  double lastResend = 1.0;
  // After the last block was sent again, an ACK is the handler's verdict
  // only if a second ACK (the grace period's answer to the resend) follows
  // within one pass of the board's task; a lone ACK is the grace period's
  // and says nothing of the verdict, which was lost.
  double pass = TftpSeconds(kTftpTickMicros);
  // No datagram from the board for this long ends the exchange: longer than
  // the board's longest recovery of a download (two waits of 3.25 s).
  double silence = 8.0;
};

static_assert(FtmctlTiming{}.resend > TftpSeconds(kTftpDataPollMicros, kTftpDataPolls) &&
                  FtmctlTiming{}.resend > TftpSeconds(kTftpAckPollMicros, kTftpAckPolls),
              "a request is resent after the board's own resend");
static_assert(FtmctlTiming{}.lastResend < TftpSeconds(kTftpTickMicros, kTftpGraceTicks),
              "the last block is resent within the grace period");
static_assert(FtmctlTiming{}.silence > 2 * TftpSeconds(kTftpAckPollMicros, kTftpAckPolls),
              "silence outlasts the board's recovery of a download");

// One line of the exchange log, with its time.
struct FtmctlLogLine {
  double when;  // seconds since the epoch
  std::string text;
};

enum class FtmctlOutcome {
  kAccepted,     // the board answered the last block (or served the report)
  kRefused,      // the board sent an ERROR
  kNoAnswer,     // silence, or a transport failure
  kUnconfirmed,  // only the resent last block was acknowledged: the ACK of
                 // the board's grace period, sent whether or not the
                 // request itself was accepted
};

struct FtmctlTransfer {
  FtmctlOutcome outcome = FtmctlOutcome::kNoAnswer;
  int errorCode = 0;
  std::string message;  // the board's ERROR text, or why there was no answer
  std::string data;     // a download's bytes
};

class FtmctlTftp {
 public:
  FtmctlTftp(const sockaddr_in& board, const FtmctlTiming& timing, std::vector<FtmctlLogLine>* log);
  ~FtmctlTftp();
  FtmctlTftp(const FtmctlTftp&) = delete;
  FtmctlTftp& operator=(const FtmctlTftp&) = delete;

  FtmctlTransfer Download(const std::string& name);
  // `image`: the board receives ".upg"/".hex" files without a handler, so
  // the ACK of a resent last block confirms them.
  FtmctlTransfer Upload(const std::string& name, const std::string& content, bool image);

 private:
  bool Open(FtmctlTransfer* result);
  // Opens the socket and builds the request: its length, or -1 with
  // *result saying why not.
  int Begin(TftpOpcode opcode, const std::string& name, uint8_t (&request)[kTftpPacketSize],
            FtmctlTransfer* result);
  bool Send(const uint8_t* bytes, int length, const std::string& what);
  // Waits up to `seconds` for a datagram from the board's port. Returns its
  // length, 0 on time-out, -1 on a socket failure.
  int Receive(uint8_t* buffer, int size, double seconds);
  // Waits for the board's next datagram after `silentSince`: its length; 0
  // when `resendAfter` seconds (negative: none) have passed without one and
  // the caller is to resend; -1 when the exchange is over (no answer within
  // the silence, or a socket failure), with *result saying why.
  int Await(uint8_t* packet, int size, double silentSince, double resendAfter,
            const std::string& name, FtmctlTransfer* result);
  // An ERROR packet that the board sent: *result becomes its refusal (true),
  // or nothing changes for one too short to carry a message (false).
  bool TakeRefusal(const uint8_t* packet, int n, FtmctlTransfer* result);
  // After an ACK of the resent last block: true when a second ACK of the
  // same block follows within a pass of the board's task (and some slack).
  bool SecondAck(uint16_t block);
  void Note(const std::string& text);

  sockaddr_in board_;
  FtmctlTiming timing_;
  std::vector<FtmctlLogLine>* log_;
  int fd_ = -1;
  bool closed_ = false;  // the board host reported the port closed
};

// Parses "HOST[:PORT]" (IPv4 address or name; port 69 when none).
bool FtmctlParseBoard(const std::string& text, sockaddr_in* address, std::string* error);
std::string FtmctlBoardText(const sockaddr_in& address);
double FtmctlNow();

#endif  // FTM_TOOLS_FTMCTL_FTMCTL_TFTP_H_
