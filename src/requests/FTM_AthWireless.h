// The Wi-Fi radios: ATH_WIRELESS settings go straight to the driver through
// interface-flag and wireless-extension ioctls on a datagram socket, and the
// read-back takes the driver's values (and the store's radio switches) back
// into the kept TEST_CONFIG document.
//
// Radio 0 is the 2.4 GHz radio (interface "ath0", radio device "wifi0"),
// radio 1 the 5 GHz radio ("ath4", "wifi1").
#ifndef FTM_REQUESTS_FTM_ATHWIRELESS_H_
#define FTM_REQUESTS_FTM_ATHWIRELESS_H_

#include "dispatch/ftm_result.h"
#include "xml/xml_doc.h"

// The requests, as the driver numbers them.
enum FtmWifiRequest : unsigned long {
  kFtmSiocSifFlags = 0x8914,      // SIOCSIFFLAGS: interface up (1) or down (0)
  kFtmSiocSiwFreq = 0x8B04,       // SIOCSIWFREQ
  kFtmSiocGiwFreq = 0x8B05,       // SIOCGIWFREQ
  kFtmSiocSiwEssid = 0x8B1A,      // SIOCSIWESSID
  kFtmSiocGiwEssid = 0x8B1B,      // SIOCGIWESSID
  kFtmSiocIwSetCountry = 0x8BE2,  // SIOCIWFIRSTPRIV + 2, on the radio device
  kFtmSiocIwGetCountry = 0x8BE3,  // SIOCIWFIRSTPRIV + 3, on the radio device
  kFtmSiocIwGetMode = 0x8BF1,     // SIOCIWFIRSTPRIV + 17
  kFtmSiocIwSetMode = 0x8BF2,     // SIOCIWFIRSTPRIV + 18
};

// The request's name in logs and in the simulated board's faults
// ("SIOCSIWFREQ", "SIOCIWSETCOUNTRY", ...), or null for another number.
const char* FtmWifiRequestName(unsigned long request);

// The ATH_WIRELESS handler: each ATH_24G_WIRELESS / ATH_5G_WIRELESS child in
// order; accepted, or the result of the first radio that fails.
FtmResult FtmAthWirelessConfig(XmlNode* element);

// Applies one radio element's settings (radio 0 or 1): accepted; refused
// for a channel, SSID or mode ("Test not supported"); failed for a driver
// request. Ends the process (status -1) when no socket can be made.
FtmResult FtmAthRadioConfig(XmlNode* radioElement, int radio);

// Reads both radios back into the kept TEST_CONFIG document. 0, or -1 when
// the store read or any driver request failed (every item is still tried).
int FtmUpdateAthWireless();

#endif  // FTM_REQUESTS_FTM_ATHWIRELESS_H_
