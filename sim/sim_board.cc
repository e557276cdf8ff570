#include "sim_board.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <sstream>

namespace {

std::string NormalizeBlanks(const std::string& line) {
  std::istringstream in(line);
  std::string word, out;
  while (in >> word) {
    if (!out.empty()) out += ' ';
    out += word;
  }
  return out;
}

std::string EscapeNewlines(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\n') {
      out += "\\n";
    } else {
      out += c;
    }
  }
  return out;
}

void AppendLine(const std::string& path, const std::string& line) {
  // One write() of the whole line with O_APPEND: lines from the daemon's two
  // threads and from the board tools never interleave.
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return;
  std::string out = line + "\n";
  ssize_t written = ::write(fd, out.data(), out.size());
  (void)written;
  ::close(fd);
}

}  // namespace

const std::string& SimDir() {
  static const std::string dir = [] {
    const char* env = std::getenv("FTM_SIM_DIR");
    if (env == nullptr || *env == '\0') {
      std::fprintf(stderr,
                   "ftmd: FTM_SIM_DIR is not set; make a board with 'ftmsim init DIR' and "
                   "start the daemon with 'ftmsim run DIR'\n");
      std::_Exit(2);
    }
    std::string d = env;
    while (d.size() > 1 && d.back() == '/') d.pop_back();
    return d;
  }();
  return dir;
}

std::string SimRootPath(const std::string& board_path) {
  return SimDir() + "/root" + board_path;
}

bool SimReadFile(const std::string& path, std::string* contents) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return false;
  contents->clear();
  char buf[4096];
  size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) contents->append(buf, n);
  std::fclose(f);
  return true;
}

bool SimWriteFileAtomic(const std::string& path, const std::string& contents) {
  std::string tmp = path + ".tmp." + std::to_string(::getpid());
  FILE* f = std::fopen(tmp.c_str(), "wb");
  if (f == nullptr) return false;
  bool ok = std::fwrite(contents.data(), 1, contents.size(), f) == contents.size();
  // No fsync: the simulated board fails by a killed process, never by a
  // lost machine, and the page cache outlives a process. The rename alone
  // gives a reader the old or the new file, never a mix.
  ok = (std::fclose(f) == 0) && ok;
  if (!ok || std::rename(tmp.c_str(), path.c_str()) != 0) {
    std::remove(tmp.c_str());
    return false;
  }
  return true;
}

bool SimFaultActive(const std::string& line) {
  std::string faults;
  if (!SimReadFile(SimDir() + "/faults", &faults)) return false;
  const std::string wanted = NormalizeBlanks(line);
  std::istringstream in(faults);
  std::string each;
  while (std::getline(in, each)) {
    if (NormalizeBlanks(each) == wanted) return true;
  }
  return false;
}

void SimEvent(const std::string& line) {
  AppendLine(SimDir() + "/events.log", EscapeNewlines(line));
}

void SimSyslog(int priority, const std::string& message) {
  const char* name = "info";
  switch (priority & LOG_PRIMASK) {
    case LOG_EMERG:
    case LOG_ALERT:
    case LOG_CRIT:
    case LOG_ERR:
      name = "err";
      break;
    case LOG_WARNING:
      name = "warning";
      break;
    case LOG_NOTICE:
      name = "notice";
      break;
    case LOG_DEBUG:
      name = "debug";
      break;
    default:
      break;
  }
  // syslogd drops a message's trailing line end; so does the simulated one.
  std::string text = message;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  AppendLine(SimDir() + "/syslog", std::string(name) + " " + EscapeNewlines(text));
}

double SimTimescale() {
  // Every wait of a transfer asks for the scale, so the file is read again
  // only when it has changed (a stat costs far less than a read).
  static std::mutex mutex;
  static struct stat seen = {};
  static bool known = false;
  static double scale = 1.0;
  const std::string path = SimDir() + "/timescale";
  struct stat st;
  bool present = ::stat(path.c_str(), &st) == 0;
  std::lock_guard<std::mutex> lock(mutex);
  if (!present) {
    known = false;
    return 1.0;
  }
  if (known && st.st_mtim.tv_sec == seen.st_mtim.tv_sec &&
      st.st_mtim.tv_nsec == seen.st_mtim.tv_nsec && st.st_size == seen.st_size &&
      st.st_ino == seen.st_ino) {
    return scale;
  }
  std::string text;
  scale = 1.0;
  known = SimReadFile(path, &text);
  seen = st;
  char* end = nullptr;
  double value = std::strtod(text.c_str(), &end);
  if (known && end != text.c_str() && value > 0.0 && value <= 1000.0) scale = value;
  return scale;
}

int SimPort() {
  std::string text;
  if (!SimReadFile(SimDir() + "/port", &text)) return 69;
  char* end = nullptr;
  long value = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || value < 1 || value > 65535) return 69;
  return static_cast<int>(value);
}
