// A platform that records every call as one line of text and fails the
// requests a test names, for checking exact device and command sequences.
#ifndef FTM_TESTS_RECORDING_PLATFORM_H_
#define FTM_TESTS_RECORDING_PLATFORM_H_

#include <cerrno>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"

class RecordingPlatform : public Platform {
 public:
  RecordingPlatform() { PlatformInstall(this); }
  ~RecordingPlatform() override { PlatformInstall(nullptr); }

  std::vector<std::string> calls;
  std::set<std::string> missing;             // paths that do not open
  std::set<unsigned long> failing_requests;  // ioctl requests that fail

  int Open(const char* path, int) override {
    calls.push_back(std::string("open ") + path);
    if (missing.count(path) != 0) return Fail();
    return 42;
  }
  int Ioctl(int, unsigned long request, void* arg) override {
    calls.push_back("ioctl " + std::to_string(request) + (arg == nullptr ? " null" : ""));
    return failing_requests.count(request) != 0 ? Fail() : 0;
  }
  int Close(int) override {
    calls.push_back("close");
    return 0;
  }
  int Socket(int, int, int) override { return Fail(); }
  FILE* Fopen(const char*, const char*) override { return nullptr; }
  int Unlink(const char* path) override {
    calls.push_back(std::string("unlink ") + path);
    return 0;
  }
  bool Exists(const char*) override { return false; }
  int System(const char* command) override {
    calls.push_back(std::string("system ") + command);
    return 0;
  }
  int Kill(pid_t pid, int sig) override {
    calls.push_back("kill " + std::to_string(pid) + " " + std::to_string(sig));
    return 0;
  }
  void Syslog(int priority, const char* message) override {
    calls.push_back("syslog " + std::to_string(priority) + " " + message);
  }
  void SleepMicros(unsigned long micros) override {
    calls.push_back("sleep " + std::to_string(micros));
  }
  unsigned long ScaleMicros(unsigned long) override { return 0; }
  int TftpPort() override { return 69; }

 private:
  static int Fail() {
    errno = EIO;
    return -1;
  }
};

#endif  // FTM_TESTS_RECORDING_PLATFORM_H_
