#include "reports/FTM_Apis.h"

#include <cstdio>
#include <cstring>

#include "board/flash.h"
#include "cfgstore/ftm_cfg.h"
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
  FtmCfgSession session(kFtmCfgReadMode, nullptr);
  if (!session.ok()) {
    FtmCfgReportNoSession();
    return -1;
  }

  // Pass 1: the production data and the boot loader's boot delay.
  FtmCfgTable production;
  if (FtmCfgReadTable(session.id(), "ProductionData", kOperation, __LINE__, &production)) {
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
    production.Free();
  }

  // Pass 2: software versions and description, from two tables held together.
  FtmCfgTable appSw;
  FtmCfgTable productType;
  if (FtmCfgReadTable(session.id(), "AppSwInfo", kOperation, __LINE__, &appSw)) {
    if (FtmCfgReadTable(session.id(), "ProductType", kOperation, __LINE__, &productType)) {
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
    appSw.Free();
    productType.Free();
  }

  // Pass 3: the loaded INI file and the software load.
  FtmCfgTable load;
  if (FtmCfgReadTable(session.id(), "ProductInfo", kOperation, __LINE__, &load)) {
    Walk(element, kLoadLimit, [&load](XmlNode* child) {
      const CellSource* source = FindSource(kLoadCells, child->name);
      if (source == nullptr) return false;
      XmlSetText(child, load.Cell(0, source->column));
      return true;
    });
    load.Free();
  }

  // Pass 4: the transceiver; its table decides the result.
  FtmCfgTable xcvr;
  if (!FtmCfgReadTable(session.id(), "Xcvr", kOperation, __LINE__, &xcvr)) {
    return -1;
  }
  Walk(element, kXcvrLimit, [&xcvr](XmlNode* child) {
    const CellSource* source = FindSource(kXcvrCells, child->name);
    if (source == nullptr) return false;
    XmlSetText(child, xcvr.Cell(0, source->column));
    return true;
  });
  xcvr.Free();
  return 0;
}

int FtmWifiSwStat(XmlNode* doc) {
  // Reported on the console only: nothing of this item reaches the error record.
  FtmCfgSession session(kFtmCfgReadMode, nullptr);
  if (!session.ok()) {
    std::fputs("error: failed to start session\n", stderr);
    return -1;
  }
  FtmCfgTable table;
  if (table.Read(session.id(), "WlanConfig", "FtmWifiSwStat", __LINE__) != 0 || !table.ok()) {
    std::printf("error: failed to read table: %s\n", "WlanConfig");
    return -1;
  }
  bool enabled = std::strcmp(table.Cell(0, 0), "1") == 0;
  table.Free();
  XmlNode* node = XmlFindPath(doc, "TEST_CONFIG", "WIFI_PWR_SWITCH", "WIFI_PWR_STATUS");
  if (node == nullptr) return -1;
  XmlSetText(node, enabled ? "OPEN" : "CLOSED");
  return 0;
}
