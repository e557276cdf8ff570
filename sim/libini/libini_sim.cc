// ParseIniFile of the simulated board, on the SimpleIni parser.
//
// A file is checked whole before anything is applied: one bad line refuses
// it, and a refused file changes neither the store nor the flags. The
// store's fields are written through the simulated libcfg in one
// transaction, so a commit rewrites each table atomically with its
// "cfg commit <Table>" event.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include "libini_sim.h"

#include <SimpleIni.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "cfgstore/libcfg.h"
#include "cfgstore/libini.h"
#include "sim_board.h"

namespace {

SimIniHook g_hook = nullptr;

// Bounds on what a file may name: far above any real table, and small
// enough that a hostile file cannot make the store write much.
constexpr size_t kMaxTextBytes = 64 * 1024;
constexpr size_t kMaxNameBytes = 64;
constexpr size_t kMaxValueBytes = 4095;
constexpr long kMaxRow = 9999;
constexpr size_t kMaxFields = 1024;

const char kFtmSection[] = "ftm";

struct Field {
  std::string table;
  long row;
  std::string column;
  std::string value;
};

bool Word(const std::string& s) {
  if (s.empty() || s.size() > kMaxNameBytes) return false;
  for (char c : s) {
    bool ok =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
    if (!ok) return false;
  }
  return true;
}

// "Row.Column": a data row counted from 0 and a column name.
bool SplitKey(const std::string& key, long* row, std::string* column) {
  size_t dot = key.find('.');
  if (dot == std::string::npos || dot == 0 || dot > 4) return false;
  *row = 0;
  for (size_t i = 0; i < dot; ++i) {
    if (key[i] < '0' || key[i] > '9') return false;
    *row = *row * 10 + (key[i] - '0');
  }
  *column = key.substr(dot + 1);
  return *row <= kMaxRow && Word(*column);
}

bool Flag(const char* value, int32_t* flag) {
  if (std::strcmp(value, "0") == 0) {
    *flag = 0;
  } else if (std::strcmp(value, "1") == 0) {
    *flag = 1;
  } else {
    return false;
  }
  return true;
}

// SimpleIni passes over lines it does not understand; this library refuses
// them: every line is blank, a comment (";" or "#"), a "[section]" or holds
// a "=".
bool EveryLineKnown(const char* text, size_t length) {
  size_t start = 0;
  while (start < length) {
    size_t end = start;
    while (end < length && text[end] != '\n') ++end;
    size_t first = start;
    while (first < end && (text[first] == ' ' || text[first] == '\t' || text[first] == '\r')) {
      ++first;
    }
    size_t last = end;
    while (last > first &&
           (text[last - 1] == ' ' || text[last - 1] == '\t' || text[last - 1] == '\r')) {
      --last;
    }
    if (first < last) {
      char c = text[first];
      bool section = c == '[' && text[last - 1] == ']';
      bool comment = c == ';' || c == '#';
      bool pair = std::memchr(text + first, '=', last - first) != nullptr && c != '=';
      if (!section && !comment && !pair) return false;
    }
    start = end + 1;
  }
  return true;
}

// Checks the whole file; collects the store fields and the flags it sets.
bool Collect(const CSimpleIniCaseA& ini, std::vector<Field>* fields, int32_t* restart,
             int32_t* reset) {
  CSimpleIniCaseA::TNamesDepend sections;
  ini.GetAllSections(sections);
  sections.sort(CSimpleIniCaseA::Entry::LoadOrder());
  for (const auto& section : sections) {
    const std::string name = section.pItem;
    CSimpleIniCaseA::TNamesDepend keys;
    ini.GetAllKeys(section.pItem, keys);
    keys.sort(CSimpleIniCaseA::Entry::LoadOrder());
    if (name == kFtmSection) {
      for (const auto& key : keys) {
        const char* value = ini.GetValue(section.pItem, key.pItem);
        int32_t* flag = std::strcmp(key.pItem, "reset") == 0     ? reset
                        : std::strcmp(key.pItem, "restart") == 0 ? restart
                                                                 : nullptr;
        if (flag == nullptr || value == nullptr || !Flag(value, flag)) return false;
      }
      continue;
    }
    // Keys before the first section, and sections that are not table
    // names, refuse the file.
    if (!Word(name)) return false;
    for (const auto& key : keys) {
      Field field;
      field.table = name;
      const char* value = ini.GetValue(section.pItem, key.pItem);
      if (value == nullptr || std::strlen(value) > kMaxValueBytes) return false;
      if (!SplitKey(key.pItem, &field.row, &field.column)) return false;
      field.value = value;
      if (fields->size() >= kMaxFields) return false;
      fields->push_back(std::move(field));
    }
  }
  return true;
}

// Writes the fields in one transaction: all of them or none.
bool Apply(const std::vector<Field>& fields) {
  if (fields.empty()) return true;
  CfgSession session = cfg_startSession(5, "libIni");
  if (session == 0) return false;
  cfg_startTransaction(session);
  bool ok = true;
  for (const Field& f : fields) {
    int32_t column = cfg_findCol(session, f.table.c_str(), f.column.c_str());
    if (column < 0 || cfg_setField(session, f.table.c_str(), static_cast<int32_t>(f.row), column,
                                   f.value.c_str()) != 0) {
      ok = false;
      break;
    }
  }
  if (ok) {
    ok = cfg_commitTransaction(session) == 0;
  } else {
    cfg_abortTransaction(session);
  }
  cfg_endSession(session);
  return ok;
}

}  // namespace

void SimIniSetHook(SimIniHook hook) {
  g_hook = hook;
}

extern "C" int32_t ParseIniFile(IniParseContext* context, int32_t* restart, int32_t* reset,
                                int32_t /*flags*/) {
  if (g_hook != nullptr) g_hook();
  if (context == nullptr || context->text == nullptr || restart == nullptr || reset == nullptr ||
      context->textLength < 0) {
    return -1;
  }
  if (SimFaultActive("ini parse")) return -1;
  const size_t length = static_cast<size_t>(context->textLength);
  // The text ends at its first NUL whatever the length says.
  if (length > kMaxTextBytes || std::memchr(context->text, '\0', length) != nullptr) return -1;

  try {
    // Case-sensitive like the store's names; no key without "=", no
    // multi-line value; a key given twice keeps its last value.
    CSimpleIniCaseA ini(false, false, false);
    ini.SetAllowKeyOnly(false);
    if (!EveryLineKnown(context->text, length)) return -1;
    if (ini.LoadData(context->text, length) < 0) return -1;
    std::vector<Field> fields;
    int32_t newRestart = *restart;
    int32_t newReset = *reset;
    if (!Collect(ini, &fields, &newRestart, &newReset) || !Apply(fields)) return -1;
    *restart = newRestart;
    *reset = newReset;
    return 0;
  } catch (const std::bad_alloc&) {
    return -1;  // no exception leaves the library
  }
}
