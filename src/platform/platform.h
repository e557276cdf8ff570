// The platform seam: every call by which the daemon reaches outside its own
// process passes through one object of this interface, except the TFTP
// socket, the reads and writes on the modem's port (its open and termio
// settings do pass here) and the console lines (platform/ftm_log.h).
//
// Two backends implement it and the build picks one: `linux` (a thin
// pass-through to the real system, for the board) and `sim` (the simulated
// board of a PC, see docs/simulator.md). The daemon's logic never knows which
// one it runs on. Tests derive from PlatformWrapper, override the calls they
// watch and install it with PlatformInstall().
//
// Paths are the board's absolute paths exactly as the daemon writes them
// ("/dev/gpioctrl", "/PRST/current.cfg"); a backend maps them as it must.
#ifndef FTM_PLATFORM_PLATFORM_H_
#define FTM_PLATFORM_PLATFORM_H_

#include <sys/types.h>

#include <cstdio>

class Platform {
 public:
  virtual ~Platform() = default;

  // open(2): a descriptor, or -1 with errno set.
  virtual int Open(const char* path, int flags) = 0;
  // ioctl(2) on a descriptor from Open() or Socket(): the driver's result,
  // -1 on failure.
  virtual int Ioctl(int fd, unsigned long request, void* arg) = 0;
  // close(2) of a descriptor from Open() or Socket().
  virtual int Close(int fd) = 0;
  // socket(2) for the interface and wireless ioctls (not the TFTP socket).
  virtual int Socket(int domain, int type, int protocol) = 0;
  // fopen(3): a stream the caller closes with fclose(3), or null.
  virtual FILE* Fopen(const char* path, const char* mode) = 0;
  // unlink(2): 0 or -1.
  virtual int Unlink(const char* path) = 0;
  // True when the path names an existing file or device.
  virtual bool Exists(const char* path) = 0;
  // system(3) with the board's command line exactly as given: the shell's
  // wait status, or -1 when no shell could be run.
  virtual int System(const char* command) = 0;
  // kill(2): 0 or -1.
  virtual int Kill(pid_t pid, int sig) = 0;
  // syslog(3) of an already formatted message at a LOG_* priority.
  virtual void Syslog(int priority, const char* message) = 0;
  // Sleeps the given number of microseconds of board time.
  virtual void SleepMicros(unsigned long micros) = 0;
  // Converts board time to the wall-clock time a timed wait must last; the
  // identity on the board, scaled on the simulated board.
  virtual unsigned long ScaleMicros(unsigned long micros) = 0;
  // The UDP port the TFTP server listens on: 69 on the board.
  virtual int TftpPort() = 0;
};

// A platform that passes every call on to another one (the build's backend
// unless given). A test platform derives from it and overrides only the
// calls it watches or changes.
class PlatformWrapper : public Platform {
 public:
  PlatformWrapper();
  explicit PlatformWrapper(Platform* target) : target_(target) {}

  int Open(const char* path, int flags) override { return target_->Open(path, flags); }
  int Ioctl(int fd, unsigned long request, void* arg) override {
    return target_->Ioctl(fd, request, arg);
  }
  int Close(int fd) override { return target_->Close(fd); }
  int Socket(int domain, int type, int protocol) override {
    return target_->Socket(domain, type, protocol);
  }
  FILE* Fopen(const char* path, const char* mode) override { return target_->Fopen(path, mode); }
  int Unlink(const char* path) override { return target_->Unlink(path); }
  bool Exists(const char* path) override { return target_->Exists(path); }
  int System(const char* command) override { return target_->System(command); }
  int Kill(pid_t pid, int sig) override { return target_->Kill(pid, sig); }
  void Syslog(int priority, const char* message) override { target_->Syslog(priority, message); }
  void SleepMicros(unsigned long micros) override { target_->SleepMicros(micros); }
  unsigned long ScaleMicros(unsigned long micros) override { return target_->ScaleMicros(micros); }
  int TftpPort() override { return target_->TftpPort(); }

 private:
  Platform* target_;
};

// The platform in use: the one installed last, else the build's backend.
Platform& FtmPlatform();

// Installs a platform (a test fake) in place of the backend, or restores the
// backend when given null. Not thread-safe: call before any daemon thread.
void PlatformInstall(Platform* platform);

// The build's own backend; defined once by each backend.
Platform& PlatformBackend();

// One device or file descriptor opened through the platform for one
// operation, and closed on every path out of it.
class PlatformDevice {
 public:
  PlatformDevice(const char* path, int flags) : fd_(FtmPlatform().Open(path, flags)) {}
  ~PlatformDevice() {
    if (fd_ >= 0) FtmPlatform().Close(fd_);
  }
  PlatformDevice(const PlatformDevice&) = delete;
  PlatformDevice& operator=(const PlatformDevice&) = delete;

  bool ok() const { return fd_ >= 0; }
  int Ioctl(unsigned long request, void* arg) { return FtmPlatform().Ioctl(fd_, request, arg); }

 private:
  int fd_;
};

// One stream opened through the platform for one operation, and closed on
// every path out of it.
class PlatformFile {
 public:
  PlatformFile(const char* path, const char* mode) : f_(FtmPlatform().Fopen(path, mode)) {}
  ~PlatformFile() {
    if (f_ != nullptr) std::fclose(f_);
  }
  PlatformFile(const PlatformFile&) = delete;
  PlatformFile& operator=(const PlatformFile&) = delete;

  FILE* get() const { return f_; }

 private:
  FILE* f_;
};

// Sleeps like usleep(3) in board time.
inline void FtmUsleep(unsigned long micros) {
  FtmPlatform().SleepMicros(micros);
}

#endif  // FTM_PLATFORM_PLATFORM_H_
