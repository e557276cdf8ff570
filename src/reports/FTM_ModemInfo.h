// The modem information report ("FTM_ModemInfo.xml"): the board's identity,
// software versions, software load and boot delay.
#ifndef FTM_REPORTS_FTM_MODEMINFO_H_
#define FTM_REPORTS_FTM_MODEMINFO_H_

// Builds the report from the MODEM_INFO template, filled from the store, the
// flash driver and the boot loader, into a new malloc'd text in *buffer
// (*buffer null on entry; *length counts the terminator). 0, or non-zero
// after recording the failure in the error record.
int FTM_GetModemInfoXml(char** buffer, int* length);

#endif  // FTM_REPORTS_FTM_MODEMINFO_H_
