// The daemon's access to the configuration store (libcfg.h): the session
// and table guards, the read pattern with its messages, the transactional
// write, and the one field write that the request handlers share.
//
// Every session is opened and ended within one operation, and every table
// record is released before the operation returns; the guards below make
// sure of that on every path. All store access runs on the transfer task's
// thread, so nothing here locks.
#ifndef FTM_CFGSTORE_FTM_CFG_H_
#define FTM_CFGSTORE_FTM_CFG_H_

#include <cstdint>

#include "cfgstore/libcfg.h"

// The call site every table read names as its source file.
extern const char kFtmCfgSourceFile[];  // "FTM_Apis.c"

// Session modes: 0 for reading (and the configuration reset), 5 for the
// production-data write.
constexpr int32_t kFtmCfgReadMode = 0;
constexpr int32_t kFtmCfgWriteMode = 5;

// A store session: started on construction, ended on destruction.
class FtmCfgSession {
 public:
  FtmCfgSession(int32_t mode, const char* tag);
  ~FtmCfgSession();
  FtmCfgSession(const FtmCfgSession&) = delete;
  FtmCfgSession& operator=(const FtmCfgSession&) = delete;

  bool ok() const { return id_ != 0; }
  CfgSession id() const { return id_; }

 private:
  CfgSession id_;
};

// A table record from the library, freed on destruction (an FtmCfgReader
// hands them out).
class FtmCfgTable {
 public:
  FtmCfgTable() = default;
  ~FtmCfgTable() { Free(); }
  FtmCfgTable(FtmCfgTable&& other) noexcept : table_(other.table_) { other.table_ = nullptr; }
  FtmCfgTable& operator=(FtmCfgTable&& other) noexcept {
    if (this != &other) {
      Free();
      table_ = other.table_;
      other.table_ = nullptr;
    }
    return *this;
  }
  FtmCfgTable(const FtmCfgTable&) = delete;
  FtmCfgTable& operator=(const FtmCfgTable&) = delete;

  // True when the table was read.
  bool ok() const { return table_ != nullptr; }
  explicit operator bool() const { return ok(); }
  int rows() const { return table_ != nullptr ? table_->rowCount : 0; }
  int columns() const { return table_ != nullptr ? table_->colCount : 0; }
  // The cell at a column position of a data row (both from 0). A cell the
  // table does not hold (no such row or column, or no text in the record)
  // reads as the empty text, like an empty cell; the library's leading row
  // is never returned.
  const char* Cell(int row, int column) const;
  // The same cell, or null when the table holds no text for it: for the
  // readers that must tell an absent cell from an empty one.
  const char* CellOrNull(int row, int column) const;

 private:
  friend class FtmCfgReader;
  // cl_cfg_getTable with the call site ("FTM_Apis.c", operation, line); the
  // library's result, 0 on success. Reports nothing.
  int32_t Read(CfgSession session, const char* name, const char* operation, int line);
  void Free();

  CfgTable* table_ = nullptr;
};

// How a store read reports its failures. kRecord, the read pattern:
// "error: failed to start session\n" and "error: failed to read table: %s\n"
// on standard error, and "Fail to Create Xml File" in the error record.
// kConsole (the Wi-Fi switch's read-back): the session's message on standard
// error, the table's on standard output, nothing recorded.
enum class FtmCfgReport { kRecord, kConsole };

// The store read of one operation: a session of mode 0 (tagged `tag`, or
// untagged) started on construction, its failure reported, and ended on
// destruction; the tables it reads are the caller's, released with them.
class FtmCfgReader {
 public:
  explicit FtmCfgReader(const char* tag = nullptr, FtmCfgReport report = FtmCfgReport::kRecord);

  bool ok() const { return session_.ok(); }

  // Reads a table, or reports the failure and hands out an empty one.
  // `rows` is how many data rows the reader takes by position: a table with
  // fewer counts as a failed read, so that the reader's elements stay as
  // they were rather than go out empty.
  FtmCfgTable Read(const char* name, const char* operation, int line, int rows = 0) const;
  // The same read without a report, for a reader with a message of its own.
  FtmCfgTable ReadQuietly(const char* name, const char* operation, int line) const;

 private:
  FtmCfgSession session_;
  FtmCfgReport report_;
};

// Writes one field inside the caller's session and transaction; the column
// by name. 0, or -1 after recording "Write data failed" and printing
// "FTM write failed on table=%s row=%d col=%d(%s) value='%s'\n". A null
// table name is -1 at once, without a message.
int FtmCfgSetField(CfgSession session, const char* table, const char* column, int row,
                   const char* value);

// The transactional write: a session of mode 5 tagged "FTM write" holding one
// transaction, started on construction when the session opens. A transaction
// neither committed nor aborted is aborted on destruction, before the
// session ends, so no path leaves it open.
class FtmCfgWrite {
 public:
  FtmCfgWrite();
  ~FtmCfgWrite();
  FtmCfgWrite(const FtmCfgWrite&) = delete;
  FtmCfgWrite& operator=(const FtmCfgWrite&) = delete;

  bool ok() const { return session_.ok(); }
  CfgSession session() const { return session_.id(); }
  // Commits the transaction: the library's result (0 on success).
  int32_t Commit();
  void Abort();

 private:
  FtmCfgSession session_;
  bool open_;
};

#endif  // FTM_CFGSTORE_FTM_CFG_H_
