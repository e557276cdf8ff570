// The production-data request ("FTM_ModemInfo.xml" uploaded): the board's
// identity into the store's ProductionData table in one transaction, and the
// boot loader's boot delay.
#ifndef FTM_REQUESTS_FTM_PUTMODEMINFO_H_
#define FTM_REQUESTS_FTM_PUTMODEMINFO_H_

// Handles the uploaded text (NUL-terminated; not changed). 0 on success;
// otherwise -1 or the failed commit's result, with the reason in the error
// record. After any request that parses, the saved configuration files
// "/PRST/current.cfg" and "/PRST/current.bak" are removed, unless no store
// session could be opened.
int FtmPutModemInfo(const char* text);

#endif  // FTM_REQUESTS_FTM_PUTMODEMINFO_H_
