// What the reports made afresh for every request share (the modem
// information, mobile and antenna reports): the document is parsed from the
// built-in template on every request, the report element is filled when the
// template has it, and the whole document is written into the catalogue's
// slot.
#ifndef FTM_REPORTS_FTM_REPORT_H_
#define FTM_REPORTS_FTM_REPORT_H_

#include "xml/xml_doc.h"

// 0 when the text was made; -1 after recording "Fail to Create Xml Data
// Obj" when the template gives no document; otherwise the failure of
// FTM_BuildReportFile. The fill's own result is not used.
int FtmBuildFreshReport(char** buffer, int* length, const char* templateText, const char* element,
                        int (*fill)(XmlNode* element));

#endif  // FTM_REPORTS_FTM_REPORT_H_
