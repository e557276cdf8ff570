// The simulated board's configuration store: the calls of libcfg on the
// table files under cfg/ of the board directory.
//
// Sessions of mode 5 may write; every other mode only reads (and may reset).
// Inside a transaction each table that is written is held as a private copy
// that the session's own reads see; a commit rewrites each such table through
// a temporary file and a rename, so that a reader, or a process killed on
// the way, finds either the old or the new table, never a mix. Without a
// transaction a field write is committed at once.
#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string>

#include "cfg_tsv.h"
#include "cfgstore/libcfg.h"
#include "sim_board.h"

namespace {

constexpr int32_t kWriteMode = 5;
// Bounds that keep a hand-edited or runaway table from exhausting memory.
constexpr size_t kMaxTableFileBytes = 1 << 20;
constexpr size_t kMaxValueBytes = 4095;
constexpr size_t kMaxTableNameBytes = 64;
constexpr int32_t kTableMagic = 0x43464754;  // "CFGT"
constexpr useconds_t kStallMicros = 20000;

struct Session {
  int32_t mode = 0;
  bool inTransaction = false;
  std::map<std::string, CfgTsvTable> pending;  // tables written in the transaction
};

std::mutex g_mutex;
std::map<CfgSession, Session> g_sessions;
CfgSession g_nextSession = 1;

// Table names become file names: only letters, digits and underscores, so
// that no name reaches outside cfg/.
bool ValidTableName(const char* name) {
  if (name == nullptr || *name == '\0') return false;
  size_t length = 0;
  for (const char* p = name; *p != '\0'; ++p, ++length) {
    bool ok = (*p >= 'A' && *p <= 'Z') || (*p >= 'a' && *p <= 'z') || (*p >= '0' && *p <= '9') ||
              *p == '_';
    if (!ok || length >= kMaxTableNameBytes) return false;
  }
  return true;
}

std::string TablePath(const std::string& name) {
  return SimDir() + "/cfg/" + name + ".tsv";
}

bool LoadTable(const std::string& name, CfgTsvTable* table) {
  std::string text;
  if (!SimReadFile(TablePath(name), &text) || text.size() > kMaxTableFileBytes) return false;
  return CfgTsvParse(text, table);
}

Session* FindSession(CfgSession session) {
  auto it = g_sessions.find(session);
  return it == g_sessions.end() ? nullptr : &it->second;
}

// The table as the session sees it: its transaction's copy, else the file.
bool SessionView(Session* s, const std::string& name, CfgTsvTable* table) {
  if (s->inTransaction) {
    auto it = s->pending.find(name);
    if (it != s->pending.end()) {
      *table = it->second;
      return true;
    }
  }
  return LoadTable(name, table);
}

bool SetCell(CfgTsvTable* table, int32_t row, int32_t column, const char* value) {
  if (row < 0 || column < 0 || static_cast<size_t>(row) >= table->rows.size() ||
      static_cast<size_t>(column) >= table->columns.size()) {
    return false;
  }
  table->rows[row][column] = value;
  return true;
}

bool CommitTable(const std::string& name, const CfgTsvTable& table) {
  if (!SimWriteFileAtomic(TablePath(name), CfgTsvFormat(table))) return false;
  SimEvent("cfg commit " + name);
  return true;
}

// One block holds the record, the cell pointers and the cell texts, so that
// cfg_freeTable() is a single free().
CfgTable* NewCfgTable(const CfgTsvTable& t) {
  size_t columns = t.columns.size();
  size_t cells = (t.rows.size() + 1) * columns;
  size_t bytes = sizeof(CfgTable) + cells * sizeof(char*);
  auto add_texts = [&bytes](const std::vector<std::string>& row) {
    for (const auto& cell : row) bytes += CfgTsvAbsent(cell) ? 0 : cell.size() + 1;
  };
  add_texts(t.columns);
  for (const auto& row : t.rows) add_texts(row);
  char* block = static_cast<char*>(std::malloc(bytes));
  if (block == nullptr) return nullptr;
  auto* table = new (block) CfgTable;
  table->libraryWords[0] = kTableMagic;
  table->libraryWords[1] = 0;
  table->libraryWords[2] = 0;
  table->rowCount = static_cast<int32_t>(t.rows.size());
  table->colCount = static_cast<int32_t>(columns);
  table->cells = reinterpret_cast<char**>(block + sizeof(CfgTable));
  char* text = block + sizeof(CfgTable) + cells * sizeof(char*);
  size_t index = 0;
  auto put_row = [&](const std::vector<std::string>& row) {
    for (const auto& cell : row) {
      if (CfgTsvAbsent(cell)) {
        table->cells[index++] = nullptr;
        continue;
      }
      std::memcpy(text, cell.c_str(), cell.size() + 1);
      table->cells[index++] = text;
      text += cell.size() + 1;
    }
  };
  put_row(t.columns);
  for (const auto& row : t.rows) put_row(row);
  return table;
}

}  // namespace

extern "C" {

CfgSession cfg_startSession(int32_t mode, const char* tag) {
  if (SimFaultActive("cfg session")) return 0;
  std::lock_guard<std::mutex> lock(g_mutex);
  CfgSession id = g_nextSession;
  g_nextSession = g_nextSession >= INT32_MAX - 1 ? 1 : g_nextSession + 1;
  g_sessions[id].mode = mode;
  SimEvent("cfg session " + std::to_string(mode) + (tag != nullptr ? " " + std::string(tag) : ""));
  return id;
}

int32_t cfg_endSession(CfgSession session) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  if (s == nullptr) return -1;
  if (s->inTransaction) SimEvent("cfg abort");
  g_sessions.erase(session);
  SimEvent("cfg end");
  return 0;
}

int32_t cl_cfg_getTable(CfgSession session, const char* name, CfgTable** table, const char* file,
                        const char* function, int32_t /*line*/) {
  if (table == nullptr) return -1;
  *table = nullptr;
  if (!ValidTableName(name)) return -1;
  if (SimFaultActive(std::string("cfg table ") + name)) return -1;
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  CfgTsvTable t;
  if (s == nullptr || !SessionView(s, name, &t)) return -1;
  *table = NewCfgTable(t);
  if (*table == nullptr) return -1;
  // The call site, as the library's own trace names it (the line changes
  // with every edit of the caller, so it is left out).
  SimEvent(std::string("cfg read ") + name + " " + (file != nullptr ? file : "-") + " " +
           (function != nullptr ? function : "-"));
  return 0;
}

int32_t cfg_freeTable(CfgTable* table) {
  if (table == nullptr) return -1;
  std::free(table);
  return 0;
}

int32_t cfg_findCol(CfgSession session, const char* table, const char* column) {
  if (!ValidTableName(table) || column == nullptr) return -1;
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  CfgTsvTable t;
  if (s == nullptr || !SessionView(s, table, &t)) return -1;
  for (size_t i = 0; i < t.columns.size(); ++i) {
    if (t.columns[i] == column) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t cfg_setField(CfgSession session, const char* table, int32_t row, int32_t column,
                     const char* value) {
  if (!ValidTableName(table)) return -1;
  if (SimFaultActive(std::string("cfg set ") + table)) return -1;
  // A slow store, so that a daemon killed in the middle of a request can be
  // caught between two of its writes. Real time, outside the store's lock.
  if (SimFaultActive(std::string("cfg stall ") + table)) ::usleep(kStallMicros);
  // A field without a value is stored as the empty text.
  if (value == nullptr) value = "";
  if (std::strlen(value) > kMaxValueBytes) return -1;
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  if (s == nullptr || s->mode != kWriteMode) return -1;
  if (s->inTransaction) {
    auto it = s->pending.find(table);
    if (it == s->pending.end()) {
      CfgTsvTable t;
      if (!LoadTable(table, &t)) return -1;
      it = s->pending.emplace(table, std::move(t)).first;
    }
    return SetCell(&it->second, row, column, value) ? 0 : -1;
  }
  CfgTsvTable t;
  if (!LoadTable(table, &t) || !SetCell(&t, row, column, value)) return -1;
  return CommitTable(table, t) ? 0 : -1;
}

int32_t cfg_startTransaction(CfgSession session) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  if (s == nullptr || s->inTransaction) return -1;
  s->inTransaction = true;
  s->pending.clear();
  return 0;
}

int32_t cfg_commitTransaction(CfgSession session) {
  bool fault = SimFaultActive("cfg commit");
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  if (s == nullptr || !s->inTransaction) return -1;
  std::map<std::string, CfgTsvTable> pending;
  pending.swap(s->pending);
  s->inTransaction = false;
  // A failed commit writes nothing; the transaction's changes are dropped.
  if (fault) return -1;
  int32_t rc = 0;
  for (const auto& entry : pending) {
    if (!CommitTable(entry.first, entry.second)) rc = -1;
  }
  return rc;
}

int32_t cfg_abortTransaction(CfgSession session) {
  std::lock_guard<std::mutex> lock(g_mutex);
  Session* s = FindSession(session);
  if (s == nullptr || !s->inTransaction) return -1;
  s->pending.clear();
  s->inTransaction = false;
  SimEvent("cfg abort");
  return 0;
}

int32_t cfg_resetCfg(CfgSession session, int32_t /*flags*/) {
  std::lock_guard<std::mutex> lock(g_mutex);
  if (FindSession(session) == nullptr) return -1;
  std::string defaults = SimDir() + "/cfg/defaults";
  DIR* dir = opendir(defaults.c_str());
  if (dir == nullptr) return -1;
  int32_t rc = 0;
  std::set<std::string> files;  // in name order, so that the events are too
  errno = 0;
  while (struct dirent* entry = readdir(dir)) {
    std::string file = entry->d_name;
    if (file.size() > 4 && file.compare(file.size() - 4, 4, ".tsv") == 0) files.insert(file);
    errno = 0;
  }
  if (errno != 0) rc = -1;  // the listing broke off
  closedir(dir);
  for (const std::string& file : files) {
    std::string text;
    if (!SimReadFile(defaults + "/" + file, &text) ||
        !SimWriteFileAtomic(SimDir() + "/cfg/" + file, text)) {
      rc = -1;
      continue;
    }
    SimEvent("cfg restore " + file.substr(0, file.size() - 4));
  }
  SimEvent("cfg reset");
  return rc;
}

}  // extern "C"
