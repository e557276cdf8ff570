// The wireless driver of the simulated board, behind every socket that
// Platform::Socket makes: interfaces ath0 and ath4, radio devices wifi0 and
// wifi1. Each one's state is a directory of one-line files under wifi/
// (up, essid, freq, mode; country for the radio devices) that tests set and
// read; every change is logged as a "wifi" event, and every request, with
// the arguments a driver checks, as a "wifi <name> ioctl" event before it.
//
// The request numbers are the kernel's and the driver's own (the private
// ones counted from SIOCIWFIRSTPRIV), never the daemon's: a daemon that
// sends the wrong number is refused here as on the board.
#include <net/if.h>
#include <sys/ioctl.h>
// After net/if.h, whose interface request this header then uses.
#include <linux/wireless.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "sim_board.h"
#include "sim_device.h"

namespace {

// The driver's private requests.
constexpr unsigned long kSetCountry = SIOCIWFIRSTPRIV + 2;
constexpr unsigned long kGetCountry = SIOCIWFIRSTPRIV + 3;
constexpr unsigned long kGetMode = SIOCIWFIRSTPRIV + 17;
constexpr unsigned long kSetMode = SIOCIWFIRSTPRIV + 18;

bool IsInterface(const std::string& name) {
  return name == "ath0" || name == "ath4";
}
bool IsRadioDevice(const std::string& name) {
  return name == "wifi0" || name == "wifi1";
}

std::string StatePath(const std::string& name, const char* item) {
  return SimDir() + "/wifi/" + name + "/" + item;
}

// A state file's first line; empty when there is none.
std::string ReadState(const std::string& name, const char* item) {
  std::string text;
  if (!SimReadFile(StatePath(name, item), &text)) return "";
  return text.substr(0, text.find('\n'));
}

void WriteState(const std::string& name, const char* item, const std::string& value) {
  SimWriteFileAtomic(StatePath(name, item), value + "\n");
}

// The driver takes a channel number (a mantissa below 1000 with exponent 0)
// and reports the channel's centre frequency in units of 10 Hz.
long ReportedFrequency(long mantissa, int exponent) {
  if (exponent != 0 || mantissa < 0 || mantissa >= 1000) return mantissa;
  long mhz = mantissa <= 14 ? 2407 + 5 * mantissa : 5000 + 5 * mantissa;
  return mhz * 100000;
}

// The text a set request carries: at most `limit` bytes from its pointer,
// up to its terminator.
bool RequestText(const iwreq* request, size_t limit, std::string* text) {
  const char* p = static_cast<const char*>(request->u.data.pointer);
  size_t length = request->u.data.length;
  if (p == nullptr || length == 0 || length > limit) return false;
  *text = std::string(p, strnlen(p, length));
  return true;
}

// Answers a get request: the state text copied into the caller's buffer,
// never more than the length it gave.
int AnswerText(iwreq* request, const std::string& value) {
  char* p = static_cast<char*>(request->u.data.pointer);
  if (p == nullptr) return SimFail(EFAULT);
  size_t length = value.size() < request->u.data.length ? value.size() : request->u.data.length;
  std::memcpy(p, value.data(), length);
  request->u.data.length = static_cast<uint16_t>(length);
  return 0;
}

class WifiDevice final : public SimDevice {
 private:
  // "wifi <name> ioctl <request>" and the arguments the driver was handed.
  void Logged(const std::string& name, unsigned long request, const std::string& args) const {
    SimEvent("wifi " + name + " ioctl " + RequestName(request) + (args.empty() ? "" : " ") + args);
  }

 public:
  const char* RequestName(unsigned long request) const override {
    switch (request) {
      case SIOCSIFFLAGS:
        return "SIOCSIFFLAGS";
      case SIOCSIWFREQ:
        return "SIOCSIWFREQ";
      case SIOCGIWFREQ:
        return "SIOCGIWFREQ";
      case SIOCSIWESSID:
        return "SIOCSIWESSID";
      case SIOCGIWESSID:
        return "SIOCGIWESSID";
      case kSetCountry:
        return "SIOCIWSETCOUNTRY";
      case kGetCountry:
        return "SIOCIWGETCOUNTRY";
      case kGetMode:
        return "SIOCIWGETMODE";
      case kSetMode:
        return "SIOCIWSETMODE";
      default:
        return nullptr;
    }
  }

  int Ioctl(unsigned long request, void* arg) override {
    if (arg == nullptr) return SimFail(EFAULT);
    if (request == SIOCSIFFLAGS) {
      auto* flags = static_cast<ifreq*>(arg);
      std::string name(flags->ifr_name, strnlen(flags->ifr_name, IFNAMSIZ));
      if (!IsInterface(name)) return SimFail(ENODEV);
      bool up = (flags->ifr_flags & IFF_UP) != 0;
      Logged(name, request, "flags " + std::to_string(flags->ifr_flags));
      WriteState(name, "up", up ? "1" : "0");
      SimEvent("wifi " + name + (up ? " up" : " down"));
      return 0;
    }
    auto* wireless = static_cast<iwreq*>(arg);
    std::string name(wireless->ifr_ifrn.ifrn_name, strnlen(wireless->ifr_ifrn.ifrn_name, IFNAMSIZ));
    bool country = request == kSetCountry || request == kGetCountry;
    if (RequestName(request) == nullptr) return SimFail(EOPNOTSUPP);
    if (country ? !IsRadioDevice(name) : !IsInterface(name)) return SimFail(ENODEV);
    if (request == SIOCSIWFREQ) {
      Logged(
          name, request,
          "m " + std::to_string(wireless->u.freq.m) + " e " + std::to_string(wireless->u.freq.e));
    } else if (request == SIOCGIWFREQ) {
      Logged(name, request, "");
    } else {
      Logged(name, request,
             "length " + std::to_string(wireless->u.data.length) + " flags " +
                 std::to_string(wireless->u.data.flags));
    }
    std::string text;
    switch (request) {
      case SIOCSIWFREQ: {
        long m = wireless->u.freq.m;
        WriteState(name, "freq", std::to_string(ReportedFrequency(m, wireless->u.freq.e)));
        SimEvent("wifi " + name + " freq " + std::to_string(m));
        return 0;
      }
      case SIOCGIWFREQ:
        wireless->u.freq.m =
            static_cast<int32_t>(std::strtol(ReadState(name, "freq").c_str(), nullptr, 10));
        wireless->u.freq.e = 1;
        return 0;
      case SIOCSIWESSID:
        if (!RequestText(wireless, IW_ESSID_MAX_SIZE + 1, &text)) return SimFail(E2BIG);
        WriteState(name, "essid", text);
        SimEvent("wifi " + name + " essid " + text);
        return 0;
      case SIOCGIWESSID:
        return AnswerText(wireless, ReadState(name, "essid").substr(0, IW_ESSID_MAX_SIZE));
      case kSetMode:
        if (!RequestText(wireless, 16, &text)) return SimFail(E2BIG);
        WriteState(name, "mode", text);
        SimEvent("wifi " + name + " mode " + text);
        return 0;
      case kGetMode:
        return AnswerText(wireless, ReadState(name, "mode"));
      case kSetCountry:
        if (!RequestText(wireless, 3, &text)) return SimFail(E2BIG);
        WriteState(name, "country", text);
        SimEvent("wifi " + name + " country " + text);
        return 0;
      case kGetCountry:
        return AnswerText(wireless, ReadState(name, "country"));
      default:
        return SimFail(EOPNOTSUPP);
    }
  }
};

}  // namespace

SimDevice& SimWifiDevice() {
  static WifiDevice device;
  return device;
}
