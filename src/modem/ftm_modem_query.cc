#include "modem/ftm_modem_query.h"

#include <cstdio>
#include <cstring>

#include "platform/ftm_log.h"

namespace {

const char kSimFailed[] = "SIM not inserted/Failed";

// One query: the command, the keys read from an "OK" answer in this order,
// and the fields they fill.
struct Query {
  const char* name;
  const char* command;
  int length;
  const char* const* keys;
  char* const* fields;
  size_t count;
  // The PIN query: its status also carries the "+CME ERROR" detail, and it
  // prints nothing for other error results.
  bool pin;
};

void Copy(char* field, const char* text) {
  std::snprintf(field, kAtValueSize, "%s", text);
}

int Run(const Query& query) {
  char response[kAtResponseSize] = {};
  char value[kAtValueSize] = {};
  for (size_t i = 0; i < query.count; ++i) query.fields[i][0] = '\0';
  if (writeToDevice(query.command, query.length) == 0) return 0;
  if (readFromDevice(response) == 0) return 0;
  FtmLogConsole("\n%s: Read %s \n", query.name, response);
  switch (lastResultCode) {
    case -5:  // OK
      for (size_t i = 0; i < query.count; ++i) {
        getResponseValue(query.keys[i], response, value);
        if (value[0] == '\0') return 2;
        Copy(query.fields[i], value);
        value[0] = '\0';
      }
      return 1;
    case -1:  // +CME ERROR
      FtmLogConsole("\n%s: Read failed \n", query.name);
      // The read stopped at "+CME ERROR": the ": " found is the first in the
      // answer, usually the rest of an earlier error's line.
      if (getResponseValue(": ", response, value) == 1) {
        std::snprintf(lastResultText, sizeof lastResultText, "%s", value);
        if (query.pin) Copy(query.fields[0], value);
      } else {
        std::snprintf(lastResultText, sizeof lastResultText, "%s", "RETRY");
        if (query.pin) Copy(query.fields[0], kSimFailed);
      }
      return 1;
    default:
      if (!query.pin) FtmLogConsole("\n%s: Read failed \n", query.name);
      return 1;
  }
}

}  // namespace

int getPINStatus(char* status) {
  static const char* const keys[] = {"+CPIN: "};
  char* const fields[] = {status};
  return Run({"getPINStatus", "AT+CPIN?\r", 9, keys, fields, 1, true});
}

int getSignalValue(SignalValues* signal) {
  static const char* const keys[] = {"Rx0:  AGC: ", "Rx1:  AGC: "};
  char* const fields[] = {signal->mainSignal, signal->auxSignal};
  return Run({"getSignalValue", "At!dalgrxagc?\r", 14, keys, fields, 2, false});
}

int getManufacturerInfo(ManufactureInfo* info) {
  static const char* const keys[] = {"Model: ", "IMEI: ", "Revision: "};
  char* const fields[] = {info->model, info->imei, info->revision};
  return Run({"getManufacturerInfo", "ATI\r", 4, keys, fields, 3, false});
}

int unlockDevice() {
  static const char kUnlock[] = "AT!entercnd=\"K418\"\r";
  static_assert(sizeof kUnlock - 1 == 19, "the unlock command is 19 bytes");
  if (writeToDevice(kUnlock, sizeof kUnlock - 1) == 0) return 0;
  char response[kAtResponseSize] = {};
  readFromDevice(response);
  return 1;
}
