// Fuzzes every report over the board's own data: the store's tables, the
// drivers' answers and the files the builders read, all of arbitrary
// content. Each input sets some of those sources, then one report, or every
// report, is built through the download dispatch (FTM_GetFile).
//
// Input: a byte that picks the report (modulo nine: the eight reports in
// catalogue order, then every report in turn; one report an input keeps a
// run several times faster, and every report over the same data still comes
// up), then records separated by NUL bytes; a record's first byte picks the
// source (modulo their count), the rest is its content:
//   a table: its data rows as the store keeps them (tab-separated cells,
//     one row a line, "\N" an absent cell) under the table's own heading;
//   a file: its whole text ("/proc/scsi/scsi", the switch's RMON readings,
//     the boot delay);
//   the flash driver: the version it writes (up to 32 bytes, as they come);
//   the GPIO driver: one byte per point read, in order; 0xff fails the read.
// A source the input does not set keeps the board's default (a table), or
// is absent (a file, a driver's answer: the query fails).
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "board/flash.h"
#include "board/gpio.h"
#include "dispatch/ftm_catalog.h"
#include "fuzz_board.h"

namespace {

const char* const kTables[] = {
    "AppSwInfo",         "BcmAtm",       "FlashErr",       "NetDev",     "ProductInfo",
    "ProductInterfaces", "ProductType",  "ProductionData", "SwitchStat", "VccStat",
    "WlanConfig",        "WlanStations", "Xcvr",
};
constexpr int kTableCount = sizeof kTables / sizeof kTables[0];
const char* const kFiles[] = {"/proc/scsi/scsi", "/tmp/Recpkt", "/tmp/Transpkt",
                              "/tmp/BootDelayVer"};
constexpr int kFileCount = sizeof kFiles / sizeof kFiles[0];
constexpr int kFlashSource = kTableCount + kFileCount;
constexpr int kGpioSource = kFlashSource + 1;
constexpr int kSources = kGpioSource + 1;

const char* const kReports[] = {
    "FTM_ModemInfo.xml", "FTM_TestModeOp.xml",  "FTM_TestModeCfg.xml", "FTM_Statistics.xml",
    "FTM_Progress.xml",  "FTM_Stats_4port.xml", "FTM_MobileInfo.xml",  "FTM_AntennaInfo.xml",
};

constexpr int kGpioFd = 1000;
constexpr int kFlashFd = 1001;

std::string g_board;
std::string g_default[kTableCount];  // each table's text after ftmsim init
bool g_dirty[kTableCount];
std::string g_source[kSources];
bool g_given[kSources];
size_t g_gpioNext = 0;

std::string TablePath(int table) {
  return g_board + "/cfg/" + kTables[table] + ".tsv";
}

void WriteTable(int table, const std::string& text) {
  std::ofstream out(TablePath(table), std::ios::binary | std::ios::trunc);
  out << text;
  if (!out) std::abort();
}

// Devices answer from the input; the modem is absent, so that its reports
// fail at once (the AT harness feeds the modem).
class ReportBoard final : public InstantBoard {
 public:
  int Open(const char* path, int) override {
    if (std::strcmp(path, "/dev/gpioctrl") == 0) return kGpioFd;
    if (std::strcmp(path, "/dev/flshmgmt") == 0) return kFlashFd;
    errno = ENOENT;
    return -1;
  }
  int Close(int fd) override {
    return fd == kGpioFd || fd == kFlashFd ? 0 : InstantBoard::Close(fd);
  }
  int Ioctl(int fd, unsigned long request, void* arg) override {
    if (fd == kFlashFd && request == FLSHMGMT_GET_FTMSOFTWAREVERSION) {
      const std::string& answer = g_source[kFlashSource];
      if (!g_given[kFlashSource]) return -1;
      std::memcpy(arg, answer.data(), std::min(answer.size(), kFtmSoftwareVersionSize));
      return 0;
    }
    if (fd == kGpioFd && request == GPIOCTRL_READIO) {
      const std::string& answers = g_source[kGpioSource];
      if (g_gpioNext >= answers.size()) return -1;
      uint8_t answer = static_cast<uint8_t>(answers[g_gpioNext++]);
      if (answer == 0xff) return -1;
      static_cast<GpioIoRecord*>(arg)->value = answer;
      return 0;
    }
    if (fd == kGpioFd || fd == kFlashFd) return 0;
    return InstantBoard::Ioctl(fd, request, arg);
  }
  FILE* Fopen(const char* path, const char* mode) override {
    for (int f = 0; f < kFileCount; ++f) {
      if (std::strcmp(path, kFiles[f]) != 0) continue;
      std::string& text = g_source[kTableCount + f];
      if (!g_given[kTableCount + f] || mode[0] != 'r') return nullptr;
      // fmemopen refuses an empty buffer in some C libraries.
      return text.empty() ? std::fopen("/dev/null", "r") : fmemopen(&text[0], text.size(), "r");
    }
    return InstantBoard::Fopen(path, mode);
  }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  g_board = FuzzMakeBoard([] { return new ReportBoard(); });
  for (int t = 0; t < kTableCount; ++t) {
    std::ifstream in(TablePath(t), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    g_default[t] = text.str();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  constexpr int kReportCount = sizeof kReports / sizeof kReports[0];
  const int pick = data[0] % (kReportCount + 1);
  ++data;
  --size;
  for (int s = 0; s < kSources; ++s) {
    g_source[s].clear();
    g_given[s] = false;
  }
  const char* p = reinterpret_cast<const char*>(data);
  const char* end = p + size;
  while (p < end) {
    const char* nul = static_cast<const char*>(std::memchr(p, '\0', end - p));
    if (nul == nullptr) nul = end;
    if (nul > p) {
      int s = static_cast<uint8_t>(*p) % kSources;
      g_source[s].assign(p + 1, nul);
      g_given[s] = true;
    }
    p = nul + 1;
  }
  for (int t = 0; t < kTableCount; ++t) {
    if (g_given[t]) {
      WriteTable(t, g_default[t].substr(0, g_default[t].find('\n') + 1) + g_source[t]);
      g_dirty[t] = true;
    } else if (g_dirty[t]) {
      WriteTable(t, g_default[t]);
      g_dirty[t] = false;
    }
  }
  g_gpioNext = 0;
  for (int r = 0; r < kReportCount; ++r) {
    if (pick != kReportCount && pick != r) continue;
    FtmErrorInfo* error;
    FTM_GetFile(kReports[r], &error);
  }
  FuzzForgetEvents(g_board);
  return 0;
}
