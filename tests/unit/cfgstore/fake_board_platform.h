// A recording platform with a flash driver that reports a version and a
// boot-delay work file with given contents.
#ifndef FTM_TESTS_CFGSTORE_FAKE_BOARD_PLATFORM_H_
#define FTM_TESTS_CFGSTORE_FAKE_BOARD_PLATFORM_H_

#include <cstdio>
#include <string>

#include "board/flash.h"
#include "recording_platform.h"

class FakeBoardPlatform : public RecordingPlatform {
 public:
  std::string version = "FTM-2.04";
  bool bootDelayFile = true;
  std::string bootDelayText = "3\n";

  int Ioctl(int fd, unsigned long request, void* arg) override {
    int rc = RecordingPlatform::Ioctl(fd, request, arg);
    if (rc == 0 && request == FLSHMGMT_GET_FTMSOFTWAREVERSION) {
      std::snprintf(static_cast<char*>(arg), kFtmSoftwareVersionSize, "%s", version.c_str());
    }
    return rc;
  }
  FILE* Fopen(const char* path, const char* mode) override {
    calls.push_back(std::string("fopen ") + path + " " + mode);
    if (!bootDelayFile) return nullptr;
    FILE* f = std::tmpfile();
    if (f == nullptr) return nullptr;
    std::fputs(bootDelayText.c_str(), f);
    std::rewind(f);
    return f;
  }
};

#endif  // FTM_TESTS_CFGSTORE_FAKE_BOARD_PLATFORM_H_
