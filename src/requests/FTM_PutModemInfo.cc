#include "requests/FTM_PutModemInfo.h"

#include <cstdio>
#include <cstring>

#include "board/board_command.h"
#include "cfgstore/ftm_cfg.h"
#include "dispatch/ftm_result.h"
#include "dispatch/ftm_text.h"
#include "platform/platform.h"
#include "xml/xml_write.h"

namespace {

const char kTable[] = "ProductionData";

// The request's elements that are stored, and their columns.
struct StoreField {
  const char* element;
  const char* column;
};
const StoreField kStoreFields[] = {
    {"MODEL_NUM", "ModelNum"}, {"SERIAL_NUM", "SerialNum"}, {"MAC_ADDR", "MacAddr"},
    {"PROD_DATE", "Date"},     {"PROD_REV", "Revision"},    {"E_164", "E164"},
};

const char* StoreColumn(const char* element) {
  for (const StoreField& field : kStoreFields) {
    if (std::strcmp(field.element, element) == 0) return field.column;
  }
  return nullptr;
}

// The boot delay is the boot loader's, not the store's: it is set at once
// and is not undone when a later element fails.
void SetBootDelay(const char* text) {
  // Only the converted number reaches the command line, never the text.
  FtmRunCommand("uboot_env --set --name bootdelay --value %d", FtmDecimal(text));
}

void RemoveSavedConfiguration() {
  FtmPlatform().Unlink("/PRST/current.cfg");
  FtmPlatform().Unlink("/PRST/current.bak");
}

// Writes the elements in document order inside one transaction; the result
// of the commit, or -1 when an element fails (everything stored is then
// rolled back).
int WriteElements(const FtmCfgWrite& write, XmlNode* info) {
  for (XmlNode** child = info->children; *child != nullptr; ++child) {
    const char* name = (*child)->name;
    if (const char* column = StoreColumn(name)) {
      // An element without text is handed to the store without a value.
      if (FtmCfgSetField(write.session(), kTable, column, 0, (*child)->text) != 0) return -1;
    } else if (std::strcmp(name, "BOOT_DELAY") == 0) {
      if ((*child)->text == nullptr) return -1;
      SetBootDelay((*child)->text);
    }
  }
  return 0;
}

}  // namespace

int FtmPutModemInfo(const char* text) {
  XmlDoc document = XmlParseCopy(text);
  if (!document) return FtmResult::Refused(kFtmMsgCreateXmlDataObjFailed).Report();

  XmlNode* info = XmlFindChild(document.get(), "MODEM_INFO");
  if (info == nullptr || info->children == nullptr || info->children[0] == nullptr) {
    document.reset();
    RemoveSavedConfiguration();
    return 0;
  }

  int rc;
  {
    FtmCfgWrite write;
    if (!write.ok()) return -1;  // the saved files stay
    rc = WriteElements(write, info);
    if (rc == 0) {
      rc = write.Commit();
    } else {
      write.Abort();
    }
  }  // the session ends here
  document.reset();
  RemoveSavedConfiguration();
  return (rc == 0 ? FtmResult::Accepted() : FtmResult::Refused(kFtmMsgWriteDataFailed, rc))
      .Report();
}
