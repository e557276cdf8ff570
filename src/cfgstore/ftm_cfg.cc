#include "cfgstore/ftm_cfg.h"

#include <cstdio>

#include "dispatch/ftm_status.h"
#include "platform/ftm_log.h"

const char kFtmCfgSourceFile[] = "FTM_Apis.c";

FtmCfgSession::FtmCfgSession(int32_t mode, const char* tag) : id_(cfg_startSession(mode, tag)) {}

FtmCfgSession::~FtmCfgSession() {
  if (id_ != 0) cfg_endSession(id_);
}

int32_t FtmCfgTable::Read(CfgSession session, const char* name, const char* operation, int line) {
  Free();
  CfgTable* table = nullptr;
  int32_t rc = cl_cfg_getTable(session, name, &table, kFtmCfgSourceFile, operation, line);
  // A failed read hands out no record, and nothing is freed on that path.
  if (rc != 0) return rc;
  if (table == nullptr) return -1;
  table_ = table;
  return 0;
}

void FtmCfgTable::Free() {
  if (table_ != nullptr) cfg_freeTable(table_);
  table_ = nullptr;
}

const char* FtmCfgTable::CellOrNull(int row, int column) const {
  if (table_ == nullptr || table_->cells == nullptr || row < 0 || column < 0 ||
      row >= table_->rowCount || column >= table_->colCount) {
    return nullptr;
  }
  // Data row r follows the leading row: it starts at (r + 1) * colCount.
  long index = (static_cast<long>(row) + 1) * table_->colCount + column;
  return table_->cells[index];
}

const char* FtmCfgTable::Cell(int row, int column) const {
  const char* cell = CellOrNull(row, column);
  return cell != nullptr ? cell : "";
}

FtmCfgReader::FtmCfgReader(const char* tag, FtmCfgReport report)
    : session_(kFtmCfgReadMode, tag), report_(report) {
  if (ok()) return;
  FtmLogStderr("error: failed to start session\n");
  if (report_ == FtmCfgReport::kRecord) ftm_SetErrorInfo(0, kFtmMsgCreateXmlFileFailed);
}

FtmCfgTable FtmCfgReader::ReadQuietly(const char* name, const char* operation, int line) const {
  FtmCfgTable table;
  table.Read(session_.id(), name, operation, line);
  return table;
}

FtmCfgTable FtmCfgReader::Read(const char* name, const char* operation, int line, int rows) const {
  FtmCfgTable table = ReadQuietly(name, operation, line);
  if (table.ok() && table.rows() >= rows) return table;
  if (report_ == FtmCfgReport::kRecord) {
    FtmLogStderr("error: failed to read table: %s\n", name);
    ftm_SetErrorInfo(0, kFtmMsgCreateXmlFileFailed);
  } else {
    FtmLogConsole("error: failed to read table: %s\n", name);
  }
  return FtmCfgTable();
}

int FtmCfgSetField(CfgSession session, const char* table, const char* column, int row,
                   const char* value) {
  if (table == nullptr) return -1;
  int32_t col = cfg_findCol(session, table, column);
  if (cfg_setField(session, table, row, col, value) == 0) return 0;
  ftm_SetErrorInfo(0, kFtmMsgWriteDataFailed);
  FtmLogConsole("FTM write failed on table=%s row=%d col=%d(%s) value='%s'\n", table, row,
                static_cast<int>(col), column != nullptr ? column : "(null)",
                value != nullptr ? value : "(null)");
  return -1;
}

FtmCfgWrite::FtmCfgWrite() : session_(kFtmCfgWriteMode, "FTM write"), open_(false) {
  if (session_.ok()) {
    cfg_startTransaction(session_.id());
    open_ = true;
  }
}

FtmCfgWrite::~FtmCfgWrite() {
  Abort();
}

int32_t FtmCfgWrite::Commit() {
  if (!open_) return -1;
  open_ = false;
  return cfg_commitTransaction(session_.id());
}

void FtmCfgWrite::Abort() {
  if (!open_) return;
  open_ = false;
  cfg_abortTransaction(session_.id());
}
