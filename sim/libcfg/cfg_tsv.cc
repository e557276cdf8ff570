#include "cfg_tsv.h"

namespace {

std::string Unescape(const std::string& raw) {
  if (raw == "\\N") return std::string(1, '\0');  // absent
  std::string cell;
  for (size_t i = 0; i < raw.size(); ++i) {
    char c = raw[i];
    char next = i + 1 < raw.size() ? raw[i + 1] : '\0';
    if (c == '\\' && (next == 't' || next == 'n' || next == '\\')) {
      cell += next == 't' ? '\t' : next == 'n' ? '\n' : '\\';
      ++i;
    } else {
      cell += c;
    }
  }
  return cell;
}

std::vector<std::string> SplitCells(const std::string& line) {
  std::vector<std::string> cells;
  size_t start = 0;
  while (true) {
    size_t tab = line.find('\t', start);
    cells.push_back(Unescape(line.substr(start, tab == std::string::npos ? tab : tab - start)));
    if (tab == std::string::npos) return cells;
    start = tab + 1;
  }
}

void AppendLine(const std::vector<std::string>& cells, std::string* out) {
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i != 0) *out += '\t';
    if (CfgTsvAbsent(cells[i])) {
      *out += "\\N";
      continue;
    }
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
