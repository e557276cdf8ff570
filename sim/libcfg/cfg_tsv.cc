#include "cfg_tsv.h"

namespace {

std::vector<std::string> SplitCells(const std::string& line) {
  std::vector<std::string> cells(1);
  for (size_t i = 0; i < line.size(); ++i) {
    char c = line[i];
    if (c == '\t') {
      cells.emplace_back();
    } else if (c == '\\' && i + 1 < line.size()) {
      char next = line[i + 1];
      if (next == 't' || next == 'n' || next == '\\') {
        cells.back() += next == 't' ? '\t' : next == 'n' ? '\n' : '\\';
        ++i;
      } else {
        cells.back() += c;
      }
    } else {
      cells.back() += c;
    }
  }
  return cells;
}

void AppendLine(const std::vector<std::string>& cells, std::string* out) {
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i != 0) *out += '\t';
    for (char c : cells[i]) {
      if (c == '\t') {
        *out += "\\t";
      } else if (c == '\n') {
        *out += "\\n";
      } else if (c == '\\') {
        *out += "\\\\";
      } else {
        *out += c;
      }
    }
  }
  *out += '\n';
}

}  // namespace

bool CfgTsvParse(const std::string& text, CfgTsvTable* table) {
  table->columns.clear();
  table->rows.clear();
  if (text.empty()) return false;
  size_t start = 0;
  bool header = true;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::vector<std::string> cells = SplitCells(text.substr(start, end - start));
    start = end + 1;
    if (header) {
      table->columns = std::move(cells);
      header = false;
      continue;
    }
    if (cells.size() > table->columns.size()) return false;
    cells.resize(table->columns.size());
    table->rows.push_back(std::move(cells));
  }
  return true;
}

std::string CfgTsvFormat(const CfgTsvTable& table) {
  std::string out;
  AppendLine(table.columns, &out);
  for (const auto& row : table.rows) AppendLine(row, &out);
  return out;
}
