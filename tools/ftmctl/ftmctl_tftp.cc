#include "ftmctl_tftp.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tftp/tftp_wire.h"

namespace {

// No report comes near this; it bounds the memory a wrong peer can take.
constexpr size_t kDownloadLimit = 1 << 20;
// Resends of one block prompted by the board's repeated ACKs: the board
// itself repeats an ACK at most this often before it gives up.
constexpr int kRepeatLimit = kTftpUploadRetries;

std::string Printable(const std::string& s) {
  std::string out;
  for (unsigned char c : s) {
    if (c < 0x20 || c == 0x7f || c == '"' || c == '\\') {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string Describe(const uint8_t* p, int length) {
  if (length < 2) return "runt datagram of " + std::to_string(length) + " bytes";
  char text[kTftpMaxMessage + 1];
  switch (TftpGet16(p)) {
    case TFTP_DATA:
      if (length < kTftpHeaderSize) break;
      return "DATA " + std::to_string(TftpGet16(p + 2)) + " (" +
             std::to_string(length - kTftpHeaderSize) + " bytes)";
    case TFTP_ACK:
      if (length < kTftpHeaderSize) break;
      return "ACK " + std::to_string(TftpGet16(p + 2));
    case TFTP_ERROR: {
      int code = TftpErrorMessage(p, length, text, sizeof text);
      if (code < 0) break;
      return "ERROR " + std::to_string(code) + " \"" + Printable(text) + "\"";
    }
    case TFTP_RRQ:
    case TFTP_WRQ:
      TftpRequestName(p, length, text, sizeof text);
      return std::string(TftpGet16(p) == TFTP_RRQ ? "RRQ " : "WRQ ") + Printable(text);
    default:
      break;
  }
  return "opcode " + std::to_string(TftpGet16(p)) + ", " + std::to_string(length) + " bytes";
}

}  // namespace

double FtmctlNow() {
  timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec / 1e9;
}

namespace {

double Monotonic() {
  timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<double>(ts.tv_sec) + ts.tv_nsec / 1e9;
}

}  // namespace

bool FtmctlParseBoard(const std::string& text, sockaddr_in* address, std::string* error) {
  std::string host = text;
  unsigned long port = 69;
  const size_t colon = text.rfind(':');
  if (colon != std::string::npos) {
    host = text.substr(0, colon);
    const std::string digits = text.substr(colon + 1);
    char* end = nullptr;
    errno = 0;
    port = std::strtoul(digits.c_str(), &end, 10);
    if (digits.empty() || *end != '\0' || errno != 0 || port == 0 || port > 65535 ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
      *error = "bad port in --board " + text;
      return false;
    }
  }
  if (host.empty()) {
    *error = "no host in --board " + text;
    return false;
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
    *error = "cannot resolve board address " + host;
    return false;
  }
  *address = *reinterpret_cast<const sockaddr_in*>(found->ai_addr);
  freeaddrinfo(found);
  address->sin_port = htons(static_cast<uint16_t>(port));
  return true;
}

std::string FtmctlBoardText(const sockaddr_in& address) {
  char ip[INET_ADDRSTRLEN] = "?";
  inet_ntop(AF_INET, &address.sin_addr, ip, sizeof ip);
  return std::string(ip) + ":" + std::to_string(ntohs(address.sin_port));
}

FtmctlTftp::FtmctlTftp(const sockaddr_in& board, const FtmctlTiming& timing,
                       std::vector<FtmctlLogLine>* log)
    : board_(board), timing_(timing), log_(log) {}

FtmctlTftp::~FtmctlTftp() {
  if (fd_ >= 0) ::close(fd_);
}

void FtmctlTftp::Note(const std::string& text) {
  if (log_ != nullptr) log_->push_back({FtmctlNow(), text});
}

bool FtmctlTftp::Open(FtmctlTransfer* result) {
  if (fd_ >= 0) return true;
  fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) {
    result->message = std::string("cannot open a UDP socket: ") + std::strerror(errno);
    return false;
  }
  // The board answers from the port it was asked on, so the socket can be
  // connected to it: the kernel then drops datagrams from anyone else, and
  // a board host that reports the port closed (ICMP port unreachable) ends
  // the wait at once instead of after the silence.
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&board_), sizeof board_) != 0) {
    result->message =
        std::string("cannot reach ") + FtmctlBoardText(board_) + ": " + std::strerror(errno);
    return false;
  }
  return true;
}

bool FtmctlTftp::Send(const uint8_t* bytes, int length, const std::string& what) {
  Note("> " + Describe(bytes, length) + what);
  const ssize_t n = ::send(fd_, bytes, static_cast<size_t>(length), 0);
  // An earlier datagram's port-unreachable report may come back here.
  if (n < 0 && errno == ECONNREFUSED) closed_ = true;
  return n == length;
}

int FtmctlTftp::Receive(uint8_t* buffer, int size, double seconds) {
  const double end = Monotonic() + seconds;
  for (;;) {
    if (closed_) return -1;
    const double left = end - Monotonic();
    if (left <= 0) return 0;
    pollfd p{fd_, POLLIN, 0};
    const int ready = ::poll(&p, 1, static_cast<int>(left * 1000) + 1);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) return -1;
    if (ready == 0) continue;
    const ssize_t n = ::recv(fd_, buffer, static_cast<size_t>(size), 0);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && errno == ECONNREFUSED) closed_ = true;
    if (n < 0) return -1;
    Note("< " + Describe(buffer, static_cast<int>(n)));
    return static_cast<int>(n);
  }
}

int FtmctlTftp::Await(uint8_t* packet, int size, double silentSince, double resendAfter,
                      const std::string& name, FtmctlTransfer* result) {
  double wait = silentSince + timing_.silence - Monotonic();
  if (resendAfter >= 0) wait = std::min(wait, silentSince + resendAfter - Monotonic());
  const int n = Receive(packet, size, wait);
  if (n < 0 && closed_) {
    Note("  port unreachable");
    result->message = "no answer from the board: nothing listens on that UDP port";
    return -1;
  }
  if (n < 0) {
    result->message = std::string("receive failed: ") + std::strerror(errno);
    return -1;
  }
  if (n == 0 && Monotonic() - silentSince >= timing_.silence) {
    result->message = "no answer from the board for " + name;
    return -1;
  }
  return n;
}

bool FtmctlTftp::TakeRefusal(const uint8_t* packet, int n, FtmctlTransfer* result) {
  char text[kTftpMaxMessage + 2];
  result->errorCode = TftpErrorMessage(packet, n, text, sizeof text);
  if (result->errorCode < 0) return false;
  result->outcome = FtmctlOutcome::kRefused;
  result->message = text;
  return true;
}

bool FtmctlTftp::SecondAck(uint16_t block) {
  // The resend waits in the board's queue while the handler works; the
  // task takes it one pass after the verdict went out.
  constexpr double kSlack = 0.2;
  const double end = Monotonic() + 2 * timing_.pass + kSlack;
  uint8_t packet[kTftpPacketSize];
  for (double left; (left = end - Monotonic()) > 0;) {
    const int n = Receive(packet, sizeof packet, left);
    if (n <= 0) return false;
    uint16_t acked = 0;
    if (TftpBlockPacket(packet, n, TFTP_ACK, &acked) && acked == block) return true;
  }
  return false;
}

int FtmctlTftp::Begin(TftpOpcode opcode, const std::string& name,
                      uint8_t (&request)[kTftpPacketSize], FtmctlTransfer* result) {
  if (!Open(result)) return -1;
  const int length = TftpBuildRequest(opcode, name.c_str(), request, sizeof request);
  if (length < 0) result->message = "file name too long";
  return length;
}

FtmctlTransfer FtmctlTftp::Download(const std::string& name) {
  FtmctlTransfer result;
  uint8_t request[kTftpPacketSize];
  const int requestLength = Begin(TFTP_RRQ, name, request, &result);
  if (requestLength < 0) return result;
  uint8_t packet[kTftpPacketSize + 1];
  uint8_t ack[kTftpHeaderSize];
  uint16_t expected = 1;
  bool requestResent = false;
  Send(request, requestLength, "");
  double silentSince = Monotonic();
  for (;;) {
    // Only the request is resent on a timer: the board resends DATA by
    // itself, and a repeated ACK would spend its one resend of the block.
    const bool mayResend = expected == 1 && !requestResent;
    const int n =
        Await(packet, sizeof packet, silentSince, mayResend ? timing_.resend : -1, name, &result);
    if (n < 0) return result;
    if (n == 0) {
      requestResent = true;
      Send(request, requestLength, " (again)");
      continue;
    }
    if (TftpOpcodeOf(packet, n) == TFTP_ERROR && TakeRefusal(packet, n, &result)) return result;
    uint16_t block = 0;
    if (!TftpBlockPacket(packet, n, TFTP_DATA, &block)) continue;
    silentSince = Monotonic();
    if (block == static_cast<uint16_t>(expected - 1) && expected > 1) {
      // Our ACK was lost and the board resent the block.
      Send(ack, TftpBuildAck(ack, block), " (again)");
      continue;
    }
    if (block != expected) continue;
    result.data.append(reinterpret_cast<const char*>(packet + kTftpHeaderSize),
                       static_cast<size_t>(n - kTftpHeaderSize));
    Send(ack, TftpBuildAck(ack, block), "");
    if (n - kTftpHeaderSize < kTftpBlockSize) {
      result.outcome = FtmctlOutcome::kAccepted;
      return result;
    }
    if (result.data.size() > kDownloadLimit) {
      result.message = "report larger than " + std::to_string(kDownloadLimit) + " bytes";
      return result;
    }
    ++expected;
  }
}

FtmctlTransfer FtmctlTftp::Upload(const std::string& name, const std::string& content, bool image) {
  FtmctlTransfer result;
  uint8_t request[kTftpPacketSize];
  const int requestLength = Begin(TFTP_WRQ, name, request, &result);
  if (requestLength < 0) return result;
  // A size that is a multiple of 512 ends with an empty block.
  const size_t blocks = content.size() / kTftpBlockSize + 1;
  uint8_t packet[kTftpPacketSize + 1];
  uint8_t data[kTftpPacketSize];
  size_t sent = 0;  // the block in flight; 0 is the request
  int dataLength = 0;
  bool resent = false;
  int repeats = 0;
  auto sendBlock = [&](size_t block) {
    const size_t offset = (block - 1) * kTftpBlockSize;
    const size_t count = std::min<size_t>(kTftpBlockSize, content.size() - offset);
    dataLength = TftpBuildData(data, static_cast<uint16_t>(block),
                               reinterpret_cast<const uint8_t*>(content.data()) + offset,
                               static_cast<int>(count));
    sent = block;
    resent = false;
    repeats = 0;
    Send(data, dataLength, "");
  };
  Send(request, requestLength, "");
  double silentSince = Monotonic();
  for (;;) {
    const bool last = sent == blocks;
    const double resendAfter = resent ? -1 : last ? timing_.lastResend : timing_.resend;
    const int n = Await(packet, sizeof packet, silentSince, resendAfter, name, &result);
    if (n < 0) return result;
    if (n == 0) {
      resent = true;
      if (sent == 0) {
        Send(request, requestLength, " (again)");
      } else {
        Send(data, dataLength, " (again)");
      }
      continue;
    }
    if (TftpOpcodeOf(packet, n) == TFTP_ERROR && TakeRefusal(packet, n, &result)) return result;
    uint16_t block = 0;
    if (!TftpBlockPacket(packet, n, TFTP_ACK, &block)) continue;
    silentSince = Monotonic();
    if (block == static_cast<uint16_t>(sent)) {
      if (sent == blocks) {
        result.outcome = resent && !image && !SecondAck(block) ? FtmctlOutcome::kUnconfirmed
                                                               : FtmctlOutcome::kAccepted;
        return result;
      }
      sendBlock(sent + 1);
    } else if (sent > 0 && block == static_cast<uint16_t>(sent - 1) && repeats < kRepeatLimit) {
      // The board did not get the block and acknowledges the one before.
      ++repeats;
      Send(data, dataLength, " (again)");
    }
  }
}
