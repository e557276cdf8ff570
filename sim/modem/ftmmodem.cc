// ftmmodem: the simulated LTE modem of a simulated board.
//
//   ftmmodem DIR
//
// Opens a pseudo-terminal, points DIR/root/dev/ttyUSB1 at it and answers
// each AT command (the bytes up to and including "\r") from the scenario
// file DIR/modem/scenario, byte for byte and with the pauses it asks for,
// until SIGTERM, SIGINT or SIGHUP; then removes the link. The scenario is
// read again for every command. Format and examples: docs/simulator.md.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <sstream>
#include <string>
#include <vector>

#include "modem_scenario.h"
#include "sim_board.h"

namespace {

volatile sig_atomic_t g_stop = 0;

void Stop(int) {
  g_stop = 1;
}

// A command longer than this is not one the daemon sends: it is dropped.
constexpr size_t kMaxCommand = 1024;

double NowMs() {
  struct timespec ts;
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec * 1000.0 + ts.tv_nsec / 1e6;
}

// A command as events.log shows it: without its "\r", other control bytes
// and backslashes escaped.
std::string Printable(const std::string& command) {
  std::string out;
  char hex[8];
  for (unsigned char c : command) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c < 0x20 || c >= 0x7f) {
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

class Modem {
 public:
  explicit Modem(int master) : master_(master) {}

  // Runs until a stop signal arrives (with the signals blocked outside
  // ppoll, so none is missed).
  void Run(const sigset_t& waitMask) {
    while (!g_stop) {
      double now = NowMs();
      int timeout = 1000;
      bool due = false;
      if (!pending_.empty()) {
        if (now >= dueMs_) {
          due = true;
          timeout = 0;
        } else {
          timeout = static_cast<int>(std::ceil(dueMs_ - now));
        }
      }
      struct pollfd p = {master_, static_cast<short>(POLLIN | (due ? POLLOUT : 0)), 0};
      struct timespec ts = {timeout / 1000, (timeout % 1000) * 1000000L};
      int ready = ::ppoll(&p, 1, &ts, &waitMask);
      if (ready < 0) {
        if (errno == EINTR) continue;
        std::perror("ftmmodem: poll");
        return;
      }
      if (p.revents & POLLIN) Receive();
      if (due && (p.revents & POLLOUT)) Send();
      // With the port closed the master reports a hang-up without pause;
      // what is written meanwhile waits in the port for its next opening.
      // The pause lets a stop signal in: a ready poll never does.
      if ((p.revents & POLLHUP) && !(p.revents & POLLIN) && !due) {
        struct timespec pause = {0, 10 * 1000000L};
        ::ppoll(nullptr, 0, &pause, &waitMask);
      }
    }
  }

 private:
  void Receive() {
    char bytes[256];
    ssize_t got = ::read(master_, bytes, sizeof bytes);
    if (got <= 0) return;  // EIO: the port is closed right now
    for (ssize_t i = 0; i < got; ++i) {
      command_ += bytes[i];
      if (bytes[i] == '\r') {
        command_.pop_back();
        Answer(command_);
        command_.clear();
      } else if (command_.size() > kMaxCommand) {
        command_.clear();
      }
    }
  }

  void Answer(const std::string& command) {
    SimEvent("modem " + Printable(command));
    std::string text;
    ModemScenario scenario;
    if (SimReadFile(SimDir() + "/modem/scenario", &text)) {
      std::vector<std::string> warnings;
      scenario = ModemParseScenario(text, &warnings);
      for (const std::string& w : warnings) std::fprintf(stderr, "ftmmodem: %s\n", w.c_str());
    }
    const ModemAnswer* answer = ModemFindAnswer(scenario, command);
    if (answer == nullptr) return;  // silence
    for (const ModemPiece& piece : answer->pieces) {
      if (pending_.empty()) StartPiece(piece.delayMs);
      pending_.push_back(piece);
    }
  }

  // The piece at the head of the queue is due `delayMs` of board time from
  // now: after its command arrived, or after the piece before it went out.
  void StartPiece(double delayMs) {
    dueMs_ = NowMs() + delayMs * SimTimescale();
    sent_ = 0;
  }

  void Send() {
    const ModemPiece& piece = pending_.front();
    size_t total = piece.bytes.size() * piece.repeat;
    while (sent_ < total) {
      size_t offset = sent_ % piece.bytes.size();
      ssize_t n = ::write(master_, piece.bytes.data() + offset, piece.bytes.size() - offset);
      if (n < 0) {
        if (errno == EINTR) continue;
        if (errno != EAGAIN) sent_ = total;  // nobody can take it: dropped
        break;
      }
      sent_ += static_cast<size_t>(n);
    }
    if (sent_ < total) return;  // the port is full: more when it drains
    pending_.pop_front();
    if (!pending_.empty()) StartPiece(pending_.front().delayMs);
  }

  int master_;
  std::string command_;
  std::deque<ModemPiece> pending_;
  double dueMs_ = 0;
  size_t sent_ = 0;
};

int Fail(const char* what) {
  std::fprintf(stderr, "ftmmodem: %s: %s\n", what, std::strerror(errno));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: ftmmodem DIR   answer AT commands on DIR/root/dev/ttyUSB1\n");
    return 2;
  }
  ::setenv("FTM_SIM_DIR", argv[1], 1);

  sigset_t stopSignals, waitMask;
  sigemptyset(&stopSignals);
  for (int sig : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&stopSignals, sig);
  ::sigprocmask(SIG_BLOCK, &stopSignals, &waitMask);
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = Stop;
  for (int sig : {SIGTERM, SIGINT, SIGHUP}) ::sigaction(sig, &action, nullptr);

  int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
    return Fail("pseudo-terminal");
  }
  ::fcntl(master, F_SETFD, FD_CLOEXEC);
  ::fcntl(master, F_SETFL, ::fcntl(master, F_GETFL) | O_NONBLOCK);
  const char* name = ::ptsname(master);
  if (name == nullptr) return Fail("pseudo-terminal name");
  std::string pts = name;

  // The port starts raw and at the modem's speed, as a USB serial port that
  // nobody has set up yet would not, but as the modem expects.
  int port = ::open(pts.c_str(), O_RDWR | O_NOCTTY);
  if (port < 0) return Fail(pts.c_str());
  struct termios tios;
  if (::tcgetattr(port, &tios) == 0) {
    ::cfmakeraw(&tios);
    ::cfsetspeed(&tios, B115200);
    ::tcsetattr(port, TCSANOW, &tios);
  }
  ::close(port);

  // The link appears at once, whole: a daemon never sees a half-made one.
  std::string link = SimRootPath("/dev/ttyUSB1");
  std::string tmp = link + ".tmp." + std::to_string(::getpid());
  ::unlink(tmp.c_str());
  if (::symlink(pts.c_str(), tmp.c_str()) != 0 || ::rename(tmp.c_str(), link.c_str()) != 0) {
    ::unlink(tmp.c_str());
    return Fail(link.c_str());
  }

  Modem(master).Run(waitMask);

  // Only our own link goes: another modem may have taken its place.
  char target[4096];
  ssize_t length = ::readlink(link.c_str(), target, sizeof target - 1);
  if (length > 0) {
    target[length] = '\0';
    if (pts == target) ::unlink(link.c_str());
  }
  ::close(master);
  return 0;
}
