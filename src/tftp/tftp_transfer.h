// The two transfers: uploads into memory and downloads from memory.
#ifndef FTM_TFTP_TFTP_TRANSFER_H_
#define FTM_TFTP_TFTP_TRANSFER_H_

#include <cstdint>

// Upload file types, from the name's last extension (case-sensitive).
enum FtmFileType { FTM_FILE_PLAIN = 0, FTM_FILE_UPG = 1, FTM_FILE_HEX = 2 };
int FTM_getFileType(const char* name);

// Serves one WRQ datagram of the given length. 0 on success, -1 on failure;
// lastBlock receives the last DATA block taken (0 on failure).
int TFTP_write(const uint8_t* request, int length, uint16_t* lastBlock);

// Serves one RRQ datagram. 0 when the last block was acknowledged, else -1.
int TFTP_read(const uint8_t* request, int length);

#endif  // FTM_TFTP_TFTP_TRANSFER_H_
