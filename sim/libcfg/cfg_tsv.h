// The simulated store's table files: cfg/<Table>.tsv, the column names as
// the leading line, one line per data row, cells separated by tabs, and a
// tab, line feed or backslash inside a cell written as \t, \n, \\. A cell
// written exactly \N is absent: the library hands out no text for it (a
// null pointer), which an empty cell is not.
#ifndef FTM_SIM_LIBCFG_CFG_TSV_H_
#define FTM_SIM_LIBCFG_CFG_TSV_H_

#include <string>
#include <vector>

struct CfgTsvTable {
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;  // each exactly columns.size() cells
};

// The absent cell as a parsed table holds it (one NUL character, which no
// cell text can be).
inline bool CfgTsvAbsent(const std::string& cell) {
  return cell.size() == 1 && cell[0] == '\0';
}

// Parses a table file. A row with fewer cells than columns is completed with
// empty cells; a row with more cells than columns, or a file without the
// leading line, makes the whole table unreadable (false). Other backslash
// pairs than the three escapes stand for themselves.
bool CfgTsvParse(const std::string& text, CfgTsvTable* table);

// The file text of a table: every line, the last included, ends with "\n".
std::string CfgTsvFormat(const CfgTsvTable& table);

#endif  // FTM_SIM_LIBCFG_CFG_TSV_H_
