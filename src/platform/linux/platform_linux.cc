// The board's backend: every call goes straight to the system.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "platform/platform.h"

namespace {

class LinuxPlatform final : public Platform {
 public:
  int Open(const char* path, int flags) override { return ::open(path, flags); }
  int Ioctl(int fd, unsigned long request, void* arg) override { return ::ioctl(fd, request, arg); }
  int Close(int fd) override { return ::close(fd); }
  int Socket(int domain, int type, int protocol) override {
    return ::socket(domain, type, protocol);
  }
  FILE* Fopen(const char* path, const char* mode) override { return std::fopen(path, mode); }
  int Unlink(const char* path) override { return ::unlink(path); }
  bool Exists(const char* path) override {
    struct stat st;
    return ::stat(path, &st) == 0;
  }
  int System(const char* command) override { return std::system(command); }
  int Kill(pid_t pid, int sig) override { return ::kill(pid, sig); }
  // Never openlog(): the board's default identity and facility apply.
  void Syslog(int priority, const char* message) override { ::syslog(priority, "%s", message); }
  void SleepMicros(unsigned long micros) override {
    struct timespec ts = {static_cast<time_t>(micros / 1000000),
                          static_cast<long>(micros % 1000000) * 1000};
    while (::nanosleep(&ts, &ts) != 0) {
    }
  }
  unsigned long ScaleMicros(unsigned long micros) override { return micros; }
  int TftpPort() override { return 69; }
};

}  // namespace

Platform& PlatformBackend() {
  static LinuxPlatform platform;
  return platform;
}
