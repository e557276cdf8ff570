// ftmsim: makes and runs simulated boards.
//
//   ftmsim init DIR   make a new board in DIR (absent or empty)
//   ftmsim run DIR    start ftmd on the board in DIR, in the foreground
//
// The board's files are described in docs/simulator.md.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

struct BoardFile {
  const char* path;
  const char* text;
};

const BoardFile kBoardFiles[] = {
#include "sim_board_files.inc"
};

// Directories every board has, whether or not the template puts a file there.
const char* const kBoardDirs[] = {
    "root",      "root/dev", "root/tmp", "root/PRST", "root/etc",     "root/etc/init.d",
    "root/proc", "gpio",     "bin",      "cfg",       "cfg/defaults",
};

// Device files: a device exists while its file does.
const char* const kDevices[] = {"root/dev/gpioctrl", "root/dev/flshmgmt", "root/dev/dsl_cpe_api"};

int Usage() {
  std::fprintf(stderr,
               "usage: ftmsim init DIR   make a new simulated board in DIR\n"
               "       ftmsim run DIR    start ftmd on the board in DIR\n");
  return 2;
}

bool MakeDirs(const std::string& path) {
  for (size_t i = 1; i <= path.size(); ++i) {
    if (i == path.size() || path[i] == '/') {
      std::string part = path.substr(0, i);
      if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
  }
  return true;
}

bool WriteFile(const std::string& path, const char* text, mode_t mode) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  size_t length = std::strlen(text);
  bool ok = std::fwrite(text, 1, length, f) == length;
  ok = std::fclose(f) == 0 && ok;
  return ok && ::chmod(path.c_str(), mode) == 0;
}

bool IsEmptyOrAbsent(const std::string& dir) {
  struct stat st;
  if (::stat(dir.c_str(), &st) != 0) return errno == ENOENT;
  if (!S_ISDIR(st.st_mode)) return false;
  return ::rmdir(dir.c_str()) == 0 || errno == ENOENT;  // empty when rmdir works
}

int Init(const std::string& dir) {
  if (!IsEmptyOrAbsent(dir)) {
    std::fprintf(stderr, "ftmsim: %s exists and is not an empty directory\n", dir.c_str());
    return 1;
  }
  for (const char* sub : kBoardDirs) {
    if (!MakeDirs(dir + "/" + sub)) {
      std::fprintf(stderr, "ftmsim: cannot make %s/%s: %s\n", dir.c_str(), sub,
                   std::strerror(errno));
      return 1;
    }
  }
  for (const BoardFile& file : kBoardFiles) {
    std::string path = dir + "/" + file.path;
    std::string parent = path.substr(0, path.rfind('/'));
    bool executable = std::strncmp(file.path, "bin/", 4) == 0 ||
                      std::strncmp(file.path, "root/etc/init.d/", 16) == 0;
    bool ok = MakeDirs(parent) && WriteFile(path, file.text, executable ? 0755 : 0644);
    // The store starts as its defaults.
    if (ok && std::strncmp(file.path, "cfg/defaults/", 13) == 0) {
      ok = WriteFile(dir + "/cfg/" + (file.path + 13), file.text, 0644);
    }
    if (!ok) {
      std::fprintf(stderr, "ftmsim: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
      return 1;
    }
  }
  for (const char* device : kDevices) {
    if (!WriteFile(dir + "/" + device, "", 0644)) {
      std::fprintf(stderr, "ftmsim: cannot make %s/%s\n", dir.c_str(), device);
      return 1;
    }
  }
  for (const char* file : {"events.log", "syslog", "faults"}) {
    if (!WriteFile(dir + "/" + file, "", 0644)) {
      std::fprintf(stderr, "ftmsim: cannot make %s/%s\n", dir.c_str(), file);
      return 1;
    }
  }
  return 0;
}

int Run(const std::string& dir, const char* self) {
  char real[PATH_MAX];
  if (::realpath(dir.c_str(), real) == nullptr || ::access((dir + "/root").c_str(), F_OK) != 0) {
    std::fprintf(stderr, "ftmsim: %s is not a board; make one with 'ftmsim init %s'\n", dir.c_str(),
                 dir.c_str());
    return 1;
  }
  std::string daemon;
  if (const char* env = std::getenv("FTMD")) {
    daemon = env;
  } else {
    std::string me = self;
    size_t slash = me.rfind('/');
    daemon = (slash == std::string::npos ? std::string(".") : me.substr(0, slash)) + "/ftmd";
  }
  ::setenv("FTM_SIM_DIR", real, 1);
  char* argv[] = {&daemon[0], nullptr};
  ::execv(daemon.c_str(), argv);
  std::fprintf(stderr, "ftmsim: cannot start %s: %s\n", daemon.c_str(), std::strerror(errno));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return Usage();
  std::string command = argv[1];
  if (command == "init") return Init(argv[2]);
  if (command == "run") return Run(argv[2], argv[0]);
  return Usage();
}
