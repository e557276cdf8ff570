// ftmsim: makes and runs simulated boards.
//
//   ftmsim init DIR              make a new board in DIR (absent or empty)
//   ftmsim init --distinct DIR   the same board with data that tell every
//                                source apart (see DistinctTables)
//   ftmsim run DIR               start the modem simulator and ftmd on the
//                                board in DIR, in the foreground; ends with
//                                ftmd's status
//
// The board's files are described in docs/simulator.md.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cfg_tsv.h"

namespace {

struct BoardFile {
  const char* path;
  const char* text;
};

const BoardFile kBoardFiles[] = {
#include "sim_board_files.inc"
};

// The distinct board's own GPIO inputs, wireless state, USB device, switch
// ports, boot delay and version, written over the fresh board's.
const BoardFile kDistinctFiles[] = {
#include "sim_distinct_files.inc"
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
               "usage: ftmsim init [--distinct] DIR   make a new simulated board in DIR\n"
               "       ftmsim run DIR                 start the modem simulator and ftmd on the "
               "board in DIR\n");
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

bool IsDecimal(const std::string& text) {
  size_t i = !text.empty() && text[0] == '-' ? 1 : 0;
  if (i == text.size()) return false;
  for (; i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  return true;
}

// Columns that name things the daemon looks up (interfaces, logical names,
// the link state, the circuit's interface): the distinct board keeps them,
// so that every look-up still finds its row.
bool KeptColumn(const std::string& table, const std::string& column) {
  static const char* const kKept[][2] = {{"NetDev", "Interface"},
                                         {"ProductInterfaces", "LogicalName"},
                                         {"ProductInterfaces", "IfName"},
                                         {"SwitchStat", "Link"},
                                         {"VccStat", "Interface"}};
  for (const auto& kept : kKept) {
    if (table == kept[0] && column == kept[1]) return true;
  }
  return false;
}

// The store of the distinct board: every cell holds a value found nowhere
// else on the board, derived from the table's place among the tables (t,
// counted from 0 in name order), the data row (r) and the column (c):
//   a cell whose default is a decimal number: (t+1)*10000 + r*100 + c,
//     still a number (line rates, packet counts, circuits, flags);
//   the MAC address: 02:5e:a3:tt:rr:cc, still a MAC address;
//   any other cell: "Table.r.c", so a report shows where a value came from.
// Key columns keep their text. The defaults are the same tables, so that a
// configuration reset gives them back.
bool DistinctTables(const std::string& dir) {
  std::vector<std::string> names;
  for (const BoardFile& file : kBoardFiles) {
    std::string path = file.path;
    if (path.compare(0, 13, "cfg/defaults/") == 0) names.push_back(path.substr(13));
  }
  std::sort(names.begin(), names.end());
  for (size_t t = 0; t < names.size(); ++t) {
    std::string table = names[t].substr(0, names[t].size() - 4);
    std::string text;
    FILE* f = std::fopen((dir + "/cfg/" + names[t]).c_str(), "rb");
    if (f == nullptr) return false;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, n);
    std::fclose(f);
    CfgTsvTable tsv;
    if (!CfgTsvParse(text, &tsv)) return false;
    for (size_t r = 0; r < tsv.rows.size(); ++r) {
      for (size_t c = 0; c < tsv.columns.size(); ++c) {
        std::string& cell = tsv.rows[r][c];
        if (KeptColumn(table, tsv.columns[c])) continue;
        if (table == "ProductionData" && tsv.columns[c] == "MacAddr") {
          char mac[32];
          std::snprintf(mac, sizeof mac, "02:5e:a3:%02u:%02u:%02u", unsigned(t % 100),
                        unsigned(r % 100), unsigned(c % 100));
          cell = mac;
        } else if (IsDecimal(cell)) {
          cell = std::to_string((t + 1) * 10000 + r * 100 + c);
        } else {
          cell = table + "." + std::to_string(r) + "." + std::to_string(c);
        }
      }
    }
    text = CfgTsvFormat(tsv);
    for (const char* sub : {"/cfg/", "/cfg/defaults/"}) {
      if (!WriteFile(dir + sub + names[t], text.c_str(), 0644)) return false;
    }
  }
  for (const BoardFile& file : kDistinctFiles) {
    std::string path = dir + "/" + file.path;
    if (!MakeDirs(path.substr(0, path.rfind('/'))) || !WriteFile(path, file.text, 0644)) {
      return false;
    }
  }
  return true;
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

// A program beside ftmsim, or the one an environment variable names.
std::string Beside(const char* self, const char* name, const char* variable) {
  if (const char* env = std::getenv(variable)) return env;
  std::string me = self;
  size_t slash = me.rfind('/');
  return (slash == std::string::npos ? std::string(".") : me.substr(0, slash)) + "/" + name;
}

// The daemon's process, for the signal handler: SIGINT and SIGTERM go on to
// it, and ftmsim ends when it ends.
volatile sig_atomic_t g_daemon = 0;

void Forward(int sig) {
  if (g_daemon > 0) ::kill(g_daemon, sig);
}

// Starts a program with the signals the parent blocks unblocked again.
pid_t Spawn(const std::string& path, char* const argv[], const sigset_t& mask) {
  pid_t pid = ::fork();
  if (pid == 0) {
    // The forwarding handler is inherited until the exec; a signal caught by
    // it here would find no daemon to forward to and be lost.
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    ::execv(path.c_str(), argv);
    std::fprintf(stderr, "ftmsim: cannot start %s: %s\n", path.c_str(), std::strerror(errno));
    ::_exit(127);
  }
  return pid;
}

int Wait(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

// Starts the modem simulator and waits until the board's modem device
// points at it. Its process, or -1; -1 also when one of the forwarded
// signals (still blocked) comes in meanwhile, which *stop then holds: a
// board asked to stop while it starts never starts its daemon.
pid_t StartModem(const std::string& board, const char* self, const sigset_t& mask,
                 const sigset_t& forwarded, int* stop) {
  std::string modem = Beside(self, "ftmmodem", "FTMMODEM");
  std::string link = board + "/root/dev/ttyUSB1";
  ::unlink(link.c_str());  // a link left by a modem that was killed
  std::string dir = board;
  char* argv[] = {&modem[0], &dir[0], nullptr};
  pid_t pid = Spawn(modem, argv, mask);
  if (pid < 0) return -1;
  struct stat st;
  for (int tries = 0; tries < 3000; ++tries) {  // 30 s: slow emulators
    if (::lstat(link.c_str(), &st) == 0) return pid;
    int status;
    if (::waitpid(pid, &status, WNOHANG) == pid) return -1;
    const struct timespec tick = {0, 10 * 1000 * 1000};
    *stop = ::sigtimedwait(&forwarded, nullptr, &tick);
    if (*stop > 0) break;
    *stop = 0;
  }
  ::kill(pid, SIGTERM);
  Wait(pid);
  return -1;
}

// Ends ftmsim the way a signal ends a process, so a caller sees that signal.
[[noreturn]] void EndBy(int sig) {
  ::signal(sig, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, sig);
  ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
  ::raise(sig);
  ::_exit(128 + sig);
}

int Run(const std::string& dir, const char* self) {
  char real[PATH_MAX];
  if (::realpath(dir.c_str(), real) == nullptr || ::access((dir + "/root").c_str(), F_OK) != 0) {
    std::fprintf(stderr, "ftmsim: %s is not a board; make one with 'ftmsim init %s'\n", dir.c_str(),
                 dir.c_str());
    return 1;
  }
  ::setenv("FTM_SIM_DIR", real, 1);

  // The forwarding handler is in place before the daemon exists; a signal
  // that comes in between waits, blocked, until the daemon's process is known.
  sigset_t forwarded, original;
  sigemptyset(&forwarded);
  sigaddset(&forwarded, SIGINT);
  sigaddset(&forwarded, SIGTERM);
  ::sigprocmask(SIG_BLOCK, &forwarded, &original);
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = Forward;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &action, nullptr);
  ::sigaction(SIGTERM, &action, nullptr);

  int stop = 0;
  pid_t modem = StartModem(real, self, original, forwarded, &stop);
  if (stop > 0) EndBy(stop);
  if (modem < 0) {
    std::fprintf(stderr, "ftmsim: the modem simulator did not start\n");
    return 1;
  }
  std::string daemon = Beside(self, "ftmd", "FTMD");
  char* argv[] = {&daemon[0], nullptr};
  pid_t pid = Spawn(daemon, argv, original);
  g_daemon = pid;
  ::sigprocmask(SIG_SETMASK, &original, nullptr);
  int status = pid > 0 ? Wait(pid) : -1;

  ::kill(modem, SIGTERM);
  Wait(modem);
  if (status == -1) return 1;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  EndBy(WTERMSIG(status));  // the way the daemon ended
}

}  // namespace

int main(int argc, char** argv) {
  std::string command = argc > 1 ? argv[1] : "";
  if (command == "init" && argc == 4 && std::strcmp(argv[2], "--distinct") == 0) {
    int rc = Init(argv[3]);
    if (rc == 0 && !DistinctTables(argv[3])) {
      std::fprintf(stderr, "ftmsim: cannot write the distinct data of %s\n", argv[3]);
      return 1;
    }
    return rc;
  }
  if (argc != 3) return Usage();
  if (command == "init") return Init(argv[2]);
  if (command == "run") return Run(argv[2], argv[0]);
  return Usage();
}
