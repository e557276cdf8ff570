// The questions the reports ask the LTE modem, each one exchange on the AT
// channel (ftm_at.h), which the caller has opened and closes afterwards.
//
// The three queries answer 0 when the exchange failed (the command could not
// be written, or no final result came), 2 when the modem said "OK" but an
// expected line was missing or empty, and 1 otherwise, error results
// included: then the fields are empty and lastResultText holds the
// "+CME ERROR" detail or "RETRY".
#ifndef FTM_MODEM_FTM_MODEM_QUERY_H_
#define FTM_MODEM_FTM_MODEM_QUERY_H_

#include "modem/ftm_at.h"

// The receive AGC readings of the two antennas, as the modem writes them.
struct SignalValues {
  char mainSignal[kAtValueSize];
  char auxSignal[kAtValueSize];
};

// The modem's identity, from "ATI".
struct ManufactureInfo {
  char revision[kAtValueSize];
  char model[kAtValueSize];
  char imei[kAtValueSize];
};

// "AT+CPIN?": the SIM's PIN state into `status` (kAtValueSize bytes). After
// "+CME ERROR" the status is the error's detail, or "SIM not
// inserted/Failed" when the answer holds none.
int getPINStatus(char* status);

// "At!dalgrxagc?": the main and auxiliary receive levels. The modem answers
// it only after unlockDevice.
int getSignalValue(SignalValues* signal);

// "ATI": model, IMEI and firmware revision.
int getManufacturerInfo(ManufactureInfo* info);

// Sends the unlock command of the modem's vendor commands and reads and
// drops its answer, whatever it is. 1 when the command was written, 0 when
// the write failed.
int unlockDevice();

#endif  // FTM_MODEM_FTM_MODEM_QUERY_H_
