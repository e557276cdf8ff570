// The simulated board's backend: board paths resolve under root/, devices are
// models (sim_device.h), board commands run through the real /bin/sh with the
// simulator's tools first on PATH, and every effect is logged in events.log.
#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "sim_board.h"
#include "sim_device.h"

extern char** environ;

namespace {

// Puts the board's root in front of every absolute path that starts a word
// of the command line, so "cut ... > /tmp/x" writes root/tmp/x. The root is
// single-quoted, so a board directory with blanks in its name still works.
std::string MapCommandPaths(const std::string& command) {
  std::string root = SimDir() + "/root";
  std::string quoted = "'";
  for (char c : root) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  quoted += "'";
  std::string out;
  for (size_t i = 0; i < command.size(); ++i) {
    char c = command[i];
    if (c == '/' && (i == 0 || std::strchr(" \t<>|;&(=", command[i - 1]) != nullptr)) {
      out += quoted;
    }
    out += c;
  }
  return out;
}

// The termio requests on a real tty (the modem simulator's pseudo-terminal).
// They are carried out with the termios calls, exactly as the kernel turns
// a termio request into termios settings: the low 16 bits of each mode, the
// line discipline and the first NCC control characters. qemu-user does not
// translate the termio requests for its guest, but it does translate these.
// The read time-out (VTIME) is board time: it is scaled by the time scale,
// and a time-out never shrinks below one tenth of a second.
int TermioIoctl(int fd, unsigned long request, void* arg, double timescale) {
  struct termios tios;
  if (::tcgetattr(fd, &tios) != 0) return -1;
  struct termio* t = static_cast<struct termio*>(arg);
  if (request == TCGETA) {
    t->c_iflag = static_cast<unsigned short>(tios.c_iflag);
    t->c_oflag = static_cast<unsigned short>(tios.c_oflag);
    t->c_cflag = static_cast<unsigned short>(tios.c_cflag);
    t->c_lflag = static_cast<unsigned short>(tios.c_lflag);
    t->c_line = static_cast<decltype(t->c_line)>(tios.c_line);
    for (int i = 0; i < NCC; ++i) t->c_cc[i] = tios.c_cc[i];
    return 0;
  }
  tios.c_iflag = (tios.c_iflag & ~0xffffu) | t->c_iflag;
  tios.c_oflag = (tios.c_oflag & ~0xffffu) | t->c_oflag;
  tios.c_cflag = (tios.c_cflag & ~0xffffu) | t->c_cflag;
  tios.c_lflag = (tios.c_lflag & ~0xffffu) | t->c_lflag;
  tios.c_line = static_cast<cc_t>(t->c_line);
  for (int i = 0; i < NCC; ++i) tios.c_cc[i] = t->c_cc[i];
  if (t->c_cc[VTIME] != 0) {
    long tenths = std::lround(t->c_cc[VTIME] * timescale);
    tios.c_cc[VTIME] = static_cast<cc_t>(tenths < 1 ? 1 : tenths > 255 ? 255 : tenths);
  }
  return ::tcsetattr(fd, TCSANOW, &tios);
}

struct FlagName {
  unsigned bits;
  const char* name;
};

// The names of the set flags among `names`, joined by "|"; bits no name
// covers in hexadecimal; "0" for none.
template <size_t N>
std::string FlagNames(unsigned value, const FlagName (&names)[N]) {
  std::string out;
  for (const FlagName& flag : names) {
    if ((value & flag.bits) != flag.bits || flag.bits == 0) continue;
    out += (out.empty() ? "" : "|") + std::string(flag.name);
    value &= ~flag.bits;
  }
  if (value != 0) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", value);
    out += (out.empty() ? "" : "|") + std::string(hex);
  }
  return out.empty() ? "0" : out;
}

const FlagName kInputFlags[] = {{IGNBRK, "IGNBRK"},  {BRKINT, "BRKINT"}, {IGNPAR, "IGNPAR"},
                                {PARMRK, "PARMRK"},  {INPCK, "INPCK"},   {ISTRIP, "ISTRIP"},
                                {INLCR, "INLCR"},    {IGNCR, "IGNCR"},   {ICRNL, "ICRNL"},
                                {IXON, "IXON"},      {IXANY, "IXANY"},   {IXOFF, "IXOFF"},
                                {IMAXBEL, "IMAXBEL"}};
const FlagName kOutputFlags[] = {
    {OPOST, "OPOST"}, {ONLCR, "ONLCR"}, {OCRNL, "OCRNL"}, {ONOCR, "ONOCR"}, {ONLRET, "ONLRET"}};
const FlagName kControlFlags[] = {{CSTOPB, "CSTOPB"}, {CREAD, "CREAD"}, {PARENB, "PARENB"},
                                  {PARODD, "PARODD"}, {HUPCL, "HUPCL"}, {CLOCAL, "CLOCAL"}};
const FlagName kLocalFlags[] = {{ISIG, "ISIG"},     {ICANON, "ICANON"}, {ECHO, "ECHO"},
                                {ECHOE, "ECHOE"},   {ECHOK, "ECHOK"},   {ECHONL, "ECHONL"},
                                {NOFLSH, "NOFLSH"}, {TOSTOP, "TOSTOP"}, {IEXTEN, "IEXTEN"}};
// Speed and character size are fields of the control modes, each named whole.
const FlagName kSpeeds[] = {{B9600, "B9600"},   {B19200, "B19200"},   {B38400, "B38400"},
                            {B57600, "B57600"}, {B115200, "B115200"}, {B230400, "B230400"}};
const FlagName kSizes[] = {{CS5, "CS5"}, {CS6, "CS6"}, {CS7, "CS7"}, {CS8, "CS8"}};

template <size_t N>
std::string FieldName(unsigned value, const FlagName (&names)[N]) {
  for (const FlagName& field : names) {
    if (field.bits == value) return field.name;
  }
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%x", value);
  return hex;
}

// The settings a TCSETA hands the serial driver, as one events.log line.
std::string TermioLine(const std::string& path, const struct termio& t) {
  unsigned control = t.c_cflag;
  return "tty " + path + " TCSETA speed " + FieldName(control & CBAUD, kSpeeds) + " size " +
         FieldName(control & CSIZE, kSizes) + " cflag " +
         FlagNames(control & ~(CBAUD | CSIZE), kControlFlags) + " iflag " +
         FlagNames(t.c_iflag, kInputFlags) + " oflag " + FlagNames(t.c_oflag, kOutputFlags) +
         " lflag " + FlagNames(t.c_lflag, kLocalFlags) + " vmin " + std::to_string(t.c_cc[VMIN]) +
         " vtime " + std::to_string(t.c_cc[VTIME]);
}

class SimPlatform final : public Platform {
 public:
  int Open(const char* path, int flags) override {
    if (SimFaultActive(std::string("open ") + path)) return SimFail(ENOENT);
    SimDevice* device = SimDeviceFor(path);
    int fd = ::open(SimRootPath(path).c_str(), flags | O_CLOEXEC);
    if (fd < 0) return -1;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (device != nullptr) devices_[fd] = device;
      paths_[fd] = path;
    }
    if (device != nullptr) device->Opened();
    return fd;
  }

  int Ioctl(int fd, unsigned long request, void* arg) override {
    SimDevice* device = nullptr;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = devices_.find(fd);
      if (it != devices_.end()) device = it->second;
    }
    if (device == nullptr) return TtyIoctl(fd, request, arg);
    const char* name = device->RequestName(request);
    if (name != nullptr && SimFaultActive(std::string("ioctl ") + name)) return SimFail(EIO);
    return device->Ioctl(request, arg);
  }

  int Close(int fd) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      devices_.erase(fd);
      paths_.erase(fd);
    }
    return ::close(fd);
  }

  int Socket(int domain, int type, int protocol) override {
    if (SimFaultActive("socket")) return SimFail(EACCES);
    int fd = ::socket(domain, type | SOCK_CLOEXEC, protocol);
    if (fd < 0) return -1;
    // The socket is the way to the wireless driver.
    std::lock_guard<std::mutex> lock(mutex_);
    devices_[fd] = &SimWifiDevice();
    return fd;
  }

  FILE* Fopen(const char* path, const char* mode) override {
    if (SimFaultActive(std::string("open ") + path)) {
      errno = ENOENT;
      return nullptr;
    }
    return std::fopen(SimRootPath(path).c_str(), mode);
  }

  int Unlink(const char* path) override { return ::unlink(SimRootPath(path).c_str()); }

  bool Exists(const char* path) override {
    if (SimFaultActive(std::string("open ") + path)) return false;
    struct stat st;
    return ::stat(SimRootPath(path).c_str(), &st) == 0;
  }

  int System(const char* command) override {
    SimEvent(std::string("shell ") + command);
    std::string mapped = MapCommandPaths(command);
    std::vector<std::string> env_strings;
    const char* path = std::getenv("PATH");
    env_strings.push_back("PATH=" + SimDir() +
                          "/bin:" + (path != nullptr ? path : "/usr/bin:/bin"));
    env_strings.push_back("FTM_SIM_DIR=" + SimDir());
    for (char** e = environ; *e != nullptr; ++e) {
      if (std::strncmp(*e, "PATH=", 5) != 0 && std::strncmp(*e, "FTM_SIM_DIR=", 12) != 0) {
        env_strings.push_back(*e);
      }
    }
    std::vector<char*> envp;
    for (auto& s : env_strings) envp.push_back(&s[0]);
    envp.push_back(nullptr);
    char sh[] = "/bin/sh", dash_c[] = "-c";
    char* argv[] = {sh, dash_c, &mapped[0], nullptr};
    pid_t pid;
    if (::posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv, envp.data()) != 0) return -1;
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
      if (errno != EINTR) return -1;
    }
    return status;
  }

  // The simulated board never signals a process: it records the signal.
  int Kill(pid_t pid, int sig) override {
    SimEvent("kill " + std::to_string(pid) + " " + std::to_string(sig));
    return 0;
  }

  void Syslog(int priority, const char* message) override { SimSyslog(priority, message); }

  void SleepMicros(unsigned long micros) override {
    unsigned long scaled = ScaleMicros(micros);
    struct timespec ts = {static_cast<time_t>(scaled / 1000000),
                          static_cast<long>(scaled % 1000000) * 1000};
    while (::nanosleep(&ts, &ts) != 0) {
    }
  }

  unsigned long ScaleMicros(unsigned long micros) override {
    return static_cast<unsigned long>(std::llround(static_cast<double>(micros) * SimTimescale()));
  }

  int TftpPort() override { return SimPort(); }

 private:
  // A descriptor that is no device model: a real tty gets the real request
  // (the termio ones scaled, above), anything else has no ioctls.
  int TtyIoctl(int fd, unsigned long request, void* arg) {
    if (!::isatty(fd)) return SimFail(ENOTTY);
    if (request == TCGETA || request == TCSETA) {
      const char* name = request == TCGETA ? "TCGETA" : "TCSETA";
      if (SimFaultActive(std::string("ioctl ") + name)) return SimFail(EIO);
      int rc = TermioIoctl(fd, request, arg, SimTimescale());
      if (rc == 0 && request == TCSETA) {
        std::string path;
        {
          std::lock_guard<std::mutex> lock(mutex_);
          auto it = paths_.find(fd);
          if (it != paths_.end()) path = it->second;
        }
        SimEvent(TermioLine(path, *static_cast<const struct termio*>(arg)));
      }
      return rc;
    }
    return ::ioctl(fd, request, arg);
  }

  std::mutex mutex_;
  std::map<int, SimDevice*> devices_;
  std::map<int, std::string> paths_;  // the board path each descriptor was opened with
};

}  // namespace

Platform& PlatformBackend() {
  static SimPlatform platform;
  return platform;
}
