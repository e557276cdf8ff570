// The Ethernet port request ("FTM_Stats_4port.xml" uploaded): each listed
// port is enabled or disabled by reading its link configuration through the
// board's "switch_utility", changing two values and writing it back.
#ifndef FTM_REQUESTS_FTM_PUTETHERNETPORTS_H_
#define FTM_REQUESTS_FTM_PUTETHERNETPORTS_H_

// Handles the uploaded text (NUL-terminated; not changed). For each child
// PORT_1 to PORT_5 of ETHERNET, in document order, the switch port (4, 2,
// 1, 0, 5) gets its configuration with the sixth and seventh values set to
// "1" "1" when the first child ETH_PORT_ACTIVE reads "NO", else "1" "0".
// 0, or -1: "Xml File InValid" for a document without ETHERNET; "Write data
// failed" when a port's configuration holds a value that is not a plain word
// (letters, digits, ".", "-", ":", "_"), which is never run through the
// shell (ports after it are left alone). A port element without children
// has its configuration read and nothing set. Failures of the switch
// utility are not seen.
int FtmPutEthernetPorts(const char* text);

#endif  // FTM_REQUESTS_FTM_PUTETHERNETPORTS_H_
