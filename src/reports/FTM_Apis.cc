#include "reports/FTM_Apis.h"

#include <cstdio>
#include <cstring>

#include "board/flash.h"
#include "board/gpio.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_status.h"
#include "dispatch/ftm_text.h"
#include "platform/ftm_log.h"
#include "xml/xml_write.h"

namespace {

// An element filled from a cell of a table's first data row.
struct CellSource {
  const char* element;
  int column;
};

// Each pass reads at most this many elements before it stops.
constexpr int kProductionLimit = 7;
constexpr int kSoftwareLimit = 4;
constexpr int kLoadLimit = 4;
constexpr int kXcvrLimit = 3;

const CellSource kProductionCells[] = {{"MODEL_NUM", 0}, {"SERIAL_NUM", 1}, {"MAC_ADDR", 2},
                                       {"PROD_DATE", 3}, {"PROD_REV", 4},   {"E_164", 5}};
const CellSource kAppSwCells[] = {{"SOFTWARE_VER", 2}, {"RELEASE_BUILD_VER", 4}};
const CellSource kProductTypeCells[] = {{"SOFTWARE_DESC", 0}};
const CellSource kLoadCells[] = {{"INI_FILENAME", 0}, {"INI_VERSION", 1}, {"SOFTWARE_LOAD", 2}};
const CellSource kXcvrCells[] = {{"XCVR_VER", 34}, {"XCVR_DESC", 36}};

// The boot delay's decimal text: an int and its terminator.
constexpr size_t kBootDelaySize = 16;

const char kOperation[] = "XMLS_GetModemInfoCM";

template <size_t N>
const CellSource* FindSource(const CellSource (&sources)[N], const char* name) {
  for (const CellSource& source : sources) {
    if (std::strcmp(source.element, name) == 0) return &source;
  }
  return nullptr;
}

// Walks the element's children from the first, letting fill() handle each;
// fill() returns true for a child it filled. Stops after the last child or
// once `limit` children were filled: names the pass doesn't know cost
// nothing, and a name met twice is filled, and counted, twice.
template <typename Fill>
void Walk(XmlNode* element, int limit, Fill fill) {
  if (element->children == nullptr) return;
  int filled = 0;
  for (XmlNode** child = element->children; *child != nullptr && filled < limit; ++child) {
    if (fill(*child)) ++filled;
  }
}

}  // namespace

int XMLS_GetModemInfoCM(XmlNode* element) {
  FtmCfgReader store;
  if (!store.ok()) return -1;

  // Pass 1: the production data and the boot loader's boot delay.
  if (FtmCfgTable production = store.Read("ProductionData", kOperation, __LINE__)) {
    Walk(element, kProductionLimit, [&production](XmlNode* child) {
      if (const CellSource* source = FindSource(kProductionCells, child->name)) {
        XmlSetText(child, production.Cell(0, source->column));
        return true;
      }
      if (std::strcmp(child->name, "BOOT_DELAY") != 0) return false;
      // A boot delay that cannot be read empties the element: the template's
      // "5" would look like a real delay.
      char delay[kBootDelaySize] = "";
      FTM_GetBootMode_Kestra(delay, sizeof delay);
      XmlSetText(child, delay);
      return true;
    });
  }

  // Pass 2: software versions and description, from two tables held together.
  if (FtmCfgTable appSw = store.Read("AppSwInfo", kOperation, __LINE__)) {
    if (FtmCfgTable productType = store.Read("ProductType", kOperation, __LINE__)) {
      Walk(element, kSoftwareLimit, [&appSw, &productType](XmlNode* child) {
        if (const CellSource* source = FindSource(kAppSwCells, child->name)) {
          XmlSetText(child, appSw.Cell(0, source->column));
          return true;
        }
        if (const CellSource* source = FindSource(kProductTypeCells, child->name)) {
          XmlSetText(child, productType.Cell(0, source->column));
          return true;
        }
        if (std::strcmp(child->name, "FTM_SOFTWARE_VER") != 0) return false;
        XmlSetText(child, FTM_GetSoftwareVersion());
        return true;
      });
    }
  }

  // Pass 3: the loaded INI file and the software load.
  if (FtmCfgTable load = store.Read("ProductInfo", kOperation, __LINE__)) {
    Walk(element, kLoadLimit, [&load](XmlNode* child) {
      const CellSource* source = FindSource(kLoadCells, child->name);
      if (source == nullptr) return false;
      XmlSetText(child, load.Cell(0, source->column));
      return true;
    });
  }

  // Pass 4: the transceiver; its table decides the result.
  FtmCfgTable xcvr = store.Read("Xcvr", kOperation, __LINE__);
  if (!xcvr) return -1;
  Walk(element, kXcvrLimit, [&xcvr](XmlNode* child) {
    const CellSource* source = FindSource(kXcvrCells, child->name);
    if (source == nullptr) return false;
    XmlSetText(child, xcvr.Cell(0, source->column));
    return true;
  });
  return 0;
}

int FtmWifiSwStat(XmlNode* doc) {
  // Reported on the console only: nothing of this item reaches the error record.
  bool enabled;
  {
    FtmCfgReader store(nullptr, FtmCfgReport::kConsole);
    if (!store.ok()) return -1;
    // A table without the 2.4 GHz radio's row is read as not read at all:
    // the element stays as it was.
    FtmCfgTable table = store.Read("WlanConfig", "FtmWifiSwStat", __LINE__, 1);
    if (!table) return -1;
    enabled = std::strcmp(table.Cell(0, 0), "1") == 0;
  }
  XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", "WIFI_PWR_SWITCH", "WIFI_PWR_STATUS");
  if (node == nullptr) return -1;
  XmlSetText(node, enabled ? "OPEN" : "CLOSED");
  return 0;
}

// ---------------------------------------------------------------------------
// The statistics report's sections.

namespace {

// Walks every child of `element` in document order; fill() handles the
// names it knows. A name met twice is filled twice.
template <typename Fill>
void WalkAll(XmlNode* element, Fill fill) {
  if (element->children == nullptr) return;
  for (XmlNode** child = element->children; *child != nullptr; ++child) fill(*child);
}

// Fills the children named in `sources` from one row of a table.
template <size_t N>
void FillRow(XmlNode* element, const CellSource (&sources)[N], const FtmCfgTable& table, int row) {
  WalkAll(element, [&](XmlNode* child) {
    if (const CellSource* source = FindSource(sources, child->name)) {
      XmlSetText(child, table.Cell(row, source->column));
    }
  });
}

// The first data row whose column 0 is `name`, or -1.
int FindInterfaceRow(const FtmCfgTable& table, const char* name) {
  for (int row = 0; row < table.rows(); ++row) {
    if (std::strcmp(table.Cell(row, 0), name) == 0) return row;
  }
  return -1;
}

const CellSource kEtherCells[] = {
    {"ETH_IN", 2}, {"ETH_DISCARD_IN", 4}, {"ETH_OUT", 10}, {"ETH_DISCARD_OUT", 12}};
const CellSource kAtmCells[] = {
    {"ATM_IN", 4}, {"ATM_OUT", 6}, {"ATM_DISCARD_IN", 27}, {"ATM_DISCARD_OUT", 28}};
const CellSource kVcCells[] = {{"VC_VPI", 2}, {"VC_VCI", 3}};
const CellSource kDslCells[] = {{"DSL_STATE", 0},
                                {"DSL_ACTIVITY_DOWNSTREAM", 1},
                                {"DSL_ACTIVITY_UPTREAM", 2},
                                {"DSL_FEC_DOWNSTREAM", 5},
                                {"DSL_FEC_UPSTREAM", 6},
                                {"DSL_CRC_DOWNSTREAM", 7},
                                {"DSL_CRC_UPSTREAM", 8},
                                {"DSL_HEC_DOWNSTREAM", 10},
                                {"DSL_HEC_UPSTREAM", 9},
                                {"DSL_ATTEN_DOWNSTREAM", 12},
                                {"DSL_ATTEN_UPSTREAM", 13},
                                {"DSL_MARGIN_DOWNSTREAM", 14},
                                {"DSL_MARGIN_UPSTREAM", 15},
                                {"DSL_POWER_DOWNSTREAM", 18},
                                {"DSL_POWER_UPSTREAM", 19},
                                {"SIGNAL_LOSS", 20}};
const CellSource kDslRates[] = {{"DSL_SPEED_DOWNSTREAM", 16}, {"DSL_SPEED_UPSTREAM", 17}};
const char* const kDslUnknown[] = {"MULTI_HYBRID", "HYBRID_1", "HYBRID_2", "HYBRID_3", "HYBRID_4"};
const CellSource kFlashCells[] = {
    {"DEV_TYPE", 0}, {"WRITE", 1}, {"ERASE", 2}, {"CORRUPT_FILE", 3}, {"FILE_CRC_ERROR", 4}};
const CellSource kWirelessCells[] = {
    {"WIRE_RXBYTES", 1}, {"WIRE_RXPACKETS", 2},  {"WIRE_RXERRORS", 3},  {"WIRE_RXDROPS", 4},
    {"WIRE_TXBYTES", 9}, {"WIRE_TXPACKETS", 10}, {"WIRE_TXERRORS", 11}, {"WIRE_TXDROPS", 12}};

// GPIO input of the auto-pair selector, and its value for the outer pair.
constexpr int kAutoPairPoint = 41;
constexpr int kAutoPairOuter = 2;

// A line rate in the store's units as the report shows it: the decimal
// integer, in single precision, divided by 1000, right-aligned in ten.
void FormatRate(const char* cell, char (&text)[32]) {
  const float rate = static_cast<float>(FtmDecimal(cell)) / 1000.0f;
  std::snprintf(text, sizeof text, "%10.3f", static_cast<double>(rate));
}

// A section filled from the first row of one table, read in a session of
// its own; a table without rows counts as unreadable. 0, or -1 when the
// session or the read failed.
template <typename Fill>
int FillFromFirstRow(const char* table, const char* operation, int line, Fill fill) {
  FtmCfgReader store;
  if (!store.ok()) return -1;
  FtmCfgTable read = store.Read(table, operation, line, 1);
  if (!read) return -1;
  fill(read);
  return 0;
}

bool Named(const char* name, const char* const* names, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (std::strcmp(name, names[i]) == 0) return true;
  }
  return false;
}

}  // namespace

int GetInterfaceName(const FtmCfgReader& store, const char* logicalName,
                     char (&name)[kFtmInterfaceNameSize]) {
  std::memset(name, 0, sizeof name);
  FtmCfgTable table = store.ReadQuietly("ProductInterfaces", "GetInterfaceName", __LINE__);
  if (!table) {
    FtmLogConsole("%s Interface Name is not available\n", logicalName);
    return -1;
  }
  // The last of the first run of rows that name the logical interface.
  const char* found = nullptr;
  for (int row = 0; row < table.rows(); ++row) {
    if (std::strcmp(table.Cell(row, 1), logicalName) == 0) {
      found = table.Cell(row, 2);
    } else if (found != nullptr) {
      break;
    }
  }
  // A name that does not fit is not cut: a cut name could name another
  // interface.
  if (found != nullptr && std::strlen(found) < sizeof name) {
    std::memcpy(name, found, std::strlen(found) + 1);
  }
  if (name[0] != '\0') return 0;
  FtmLogConsole("%s Interface Name is not available\n", logicalName);
  return -1;
}

int XMLS_initEtherStatCatCM(XmlNode* element) {
  FtmCfgReader store;
  if (!store.ok()) return -1;
  char name[kFtmInterfaceNameSize];
  if (GetInterfaceName(store, "SwingJack", name) != 0) return 0;
  // Without a row for the port's interface, the first row's counters: a
  // table without rows has none to give and counts as unreadable.
  FtmCfgTable netDev = store.Read("NetDev", "XMLS_initEtherStatCatCM", __LINE__, 1);
  if (!netDev) return -1;
  int row = FindInterfaceRow(netDev, name);
  FillRow(element, kEtherCells, netDev, row >= 0 ? row : 0);
  return 0;
}

int XMLS_initAtmStatCatCM(XmlNode* element) {
  return FillFromFirstRow("BcmAtm", "XMLS_initAtmStatCatCM", __LINE__,
                          [element](const FtmCfgTable& atm) {
                            WalkAll(element, [&atm](XmlNode* child) {
                              if (const CellSource* source = FindSource(kAtmCells, child->name)) {
                                XmlSetText(child, atm.Cell(0, source->column));
                              } else if (std::strcmp(child->name, "VC_CHAN_NUM") == 0) {
                                XmlSetText(child, "1");  // the one channel the board has
                                FillRow(child, kVcCells, atm, 0);
                              }
                            });
                          });
}

int XMLS_initDslStatCM(XmlNode* element) {
  return FillFromFirstRow(
      "Xcvr", "XMLS_initDslStatCM", __LINE__, [element](const FtmCfgTable& xcvr) {
        WalkAll(element, [&xcvr](XmlNode* child) {
          const char* name = child->name;
          if (const CellSource* source = FindSource(kDslCells, name)) {
            XmlSetText(child, xcvr.Cell(0, source->column));
          } else if (const CellSource* rate = FindSource(kDslRates, name)) {
            char text[32];
            FormatRate(xcvr.Cell(0, rate->column), text);
            XmlSetText(child, text);
          } else if (std::strcmp(name, "READY_STATUS") == 0) {
            XmlSetText(child, (FtmActiveTests & kFtmTestThroughput) != 0 ? "READY" : "NOT_READY");
          } else if (Named(name, kDslUnknown, sizeof kDslUnknown / sizeof kDslUnknown[0])) {
            XmlSetText(child, "UNKNOWN");
          } else if (std::strcmp(name, "AUTO_PAIR") == 0) {
            XmlSetText(child, GpioReadIo(kAutoPairPoint) == kAutoPairOuter ? "OUTER" : "INNER");
          }
        });
      });
}

int XMLS_GetFlashErrCM(XmlNode* element) {
  return FillFromFirstRow(
      "FlashErr", "XMLS_GetFlashErrCM", __LINE__,
      [element](const FtmCfgTable& flash) { FillRow(element, kFlashCells, flash, 0); });
}

int XMLS_Get_Wl0_StatCM(XmlNode* element) {
  FtmCfgReader store;
  if (!store.ok()) return -1;
  // Without a name the buffer stays empty and no row matches it.
  char name[kFtmInterfaceNameSize];
  GetInterfaceName(store, "Wireless", name);
  {
    FtmCfgTable netDev = store.Read("NetDev", "XMLS_Get_Wl0_StatCM", __LINE__);
    if (!netDev) return -1;
    // Without a row for the wireless interface (a table without rows has
    // none) the counters keep their values.
    int row = name[0] != '\0' ? FindInterfaceRow(netDev, name) : -1;
    if (row >= 0) FillRow(element, kWirelessCells, netDev, row);
  }
  // A table without rows has no count to give: a failed read.
  FtmCfgTable table = store.Read("WlanStations", "XMLS_Get_Wl0_StatCM", __LINE__, 1);
  if (!table) {
    WalkAll(element, [](XmlNode* child) {
      if (std::strcmp(child->name, "WIRE_STATIONS") == 0) XmlSetText(child, "Read Fail");
    });
    return -1;
  }
  WalkAll(element, [&table](XmlNode* child) {
    if (std::strcmp(child->name, "WIRE_STATIONS") == 0) XmlSetText(child, table.Cell(0, 0));
  });
  return 0;
}
