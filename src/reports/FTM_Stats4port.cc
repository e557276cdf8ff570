#include "reports/FTM_Stats4port.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/platform.h"
#include "xml/xml_templates.h"
#include "xml/xml_write.h"

namespace {

constexpr int kSwitchPorts = 5;
// The port whose counts come from the switch utility, not the store.
constexpr int kRmonPort = 4;

// SwitchStat columns.
constexpr int kLinkColumn = 0;
constexpr int kTransmittedColumn = 3;
constexpr int kReceivedColumn = 4;

// The states of a record: 0 down with nothing pending, 2 just came up, 1 up,
// 3 just went down.
enum CounterState { kDown = 0, kUp = 1, kCameUp = 2, kWentDown = 3 };

struct PortCounter {
  int state;
  int32_t current;
  int32_t base;
};

// Zero at start, kept for the daemon's life: a port's totals outlive its
// link drops.
PortCounter g_counters[kSwitchPorts][2];

XmlKeptDoc FtmStats4portDoc(FTM_NewEthernetDoc);

struct PortRow {
  const char* element;
  int statRow;  // the port's SwitchStat row, also its counter records' index
};
const PortRow kPorts[] = {
    {"PORT_1", 3}, {"PORT_2", 2}, {"PORT_3", 1}, {"PORT_4", 0}, {"PORT_5", 4},
};

const char kOperation[] = "FtmUpdStats4portNew";

// 32-bit two's complement sum, without the undefined behaviour of a signed
// overflow.
int32_t Add32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

// The two counts of a port: from the SwitchStat row, or for port 5 from the
// switch utility's RMON counters through a work file.
struct Counter {
  const char* element;
  int column;
  const char* rmonCommand;
  const char* rmonFile;
  FtmPortDirection direction;
};
const Counter kCounters[] = {
    {"ETH_IN", kReceivedColumn,
     "switch_utility RMON_Get 5 | grep 'Receive Packet' | cut -d'=' -f2 | cut -d ' ' -f2",
     "/tmp/Recpkt", kFtmPortReceived},
    {"ETH_OUT", kTransmittedColumn,
     "switch_utility RMON_Get 5 | grep 'Transmit Packet' | cut -d'=' -f2 | cut -d ' ' -f2",
     "/tmp/Transpkt", kFtmPortTransmitted},
};

void FillCount(XmlNode* child, const char* reading, bool linkUp, int port,
               FtmPortDirection direction) {
  FtmUpdatePortCounter(reading, linkUp, port, direction);
  char count[16];
  std::snprintf(count, sizeof count, "%d", FtmPortCount(port, direction));
  XmlSetText(child, count);
}

void FillPort(XmlNode* element, int port, const FtmCfgTable& table) {
  if (element->children == nullptr) return;
  // The link state comes from the port's row whatever the order of the
  // element's children, so a count met before ETH_PORT_ACTIVE (or without
  // one) uses the same state as the report shows.
  const bool linkUp = std::strcmp(table.Cell(port, kLinkColumn), "up") == 0;
  for (XmlNode** child = element->children; *child != nullptr; ++child) {
    const char* name = (*child)->name;
    if (std::strcmp(name, "ETH_PORT_ACTIVE") == 0) {
      XmlSetText(*child, linkUp ? "YES" : "NO");
    } else if (std::strcmp(name, "ETH_DISCARD_IN") == 0 ||
               std::strcmp(name, "ETH_DISCARD_OUT") == 0) {
      XmlSetText(*child, "Not Support");
    } else {
      for (const Counter& counter : kCounters) {
        if (std::strcmp(name, counter.element) != 0) continue;
        if (port != kRmonPort) {
          // An absent cell is no reading: the record stays, the element
          // shows the previous total.
          FillCount(*child, table.CellOrNull(port, counter.column), linkUp, port,
                    counter.direction);
          break;
        }
        // The RMON line's number, at most 9 characters; empty when there is none.
        char reading[10];
        FtmCommandFirstLine(counter.rmonFile, reading, sizeof reading, "%s", counter.rmonCommand);
        FillCount(*child, reading, linkUp, port, counter.direction);
      }
    }
  }
}

}  // namespace

int FtmUpdatePortCounter(const char* reading, bool linkUp, int statRow,
                         FtmPortDirection direction) {
  if (reading == nullptr || statRow < 0 || statRow >= kSwitchPorts) return 0;
  int32_t value = FtmDecimal(reading);
  if (value < 0) return 0;
  PortCounter& c = g_counters[statRow][direction];
  switch (c.state) {
    case kDown:
      if (linkUp) c.state = kCameUp;
      break;
    case kUp:
    case kCameUp:
      if (linkUp) {
        c.state = kUp;
      } else {
        // The last count seen while the link was up stays in the total.
        c.state = kWentDown;
        c.base = Add32(c.base, c.current);
      }
      break;
    default:  // kWentDown
      c.state = linkUp ? kCameUp : kDown;
      break;
  }
  c.current = value;
  return 1;
}

int FtmPortCount(int statRow, FtmPortDirection direction) {
  if (statRow < 0 || statRow >= kSwitchPorts) return 0;
  const PortCounter& c = g_counters[statRow][direction];
  return Add32(c.base, c.current);
}

XmlNode* FtmStats4portDocument() {
  XmlNode* doc = FtmStats4portDoc.get();
  if (doc == nullptr) ftm_SetErrorInfo(0, kFtmMsgCreateXmlDataObjFailed);
  return doc;
}

int FtmUpdStats4portNew() {
  FtmCfgReader store;
  if (!store.ok()) return -1;
  // Read and released at once: only its failure is reported.
  store.Read("ProductionData", kOperation, __LINE__);
  // Every port's link is in its row: a table without the five rows is
  // unreadable, and nothing is refreshed.
  FtmCfgTable table = store.Read("SwitchStat", kOperation, __LINE__, kSwitchPorts);
  if (!table) return -1;
  for (const PortRow& port : kPorts) {
    if (XmlNode* element = XmlFindPath(FtmStats4portDoc.get(), "ETHERNET", port.element, nullptr)) {
      FillPort(element, port.statRow, table);
    }
  }
  return 0;
}

int FTM_GetStats4portXml(char** buffer, int* length) {
  if (FtmStats4portDocument() == nullptr) return -1;
  int rc = FtmUpdStats4portNew();
  if (rc != 0) return rc;
  return FTM_BuildReportFile(buffer, length, FtmStats4portDoc.get());
}
