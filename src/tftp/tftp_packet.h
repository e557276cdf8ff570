// The transfer task's packet senders and waits (the wire format itself is
// in tftp_wire.h). Every packet goes out of the listening socket to
// the current connection.
#ifndef FTM_TFTP_TFTP_PACKET_H_
#define FTM_TFTP_TFTP_PACKET_H_

#include <cstddef>
#include <cstdint>

#include "tftp/tftp_wire.h"

// The one buffer in which every outgoing packet is built; transfer task only.
extern uint8_t TftpSendBuffer[kTftpPacketSize];

// Sends length bytes of TftpSendBuffer to the current connection, then
// yields the CPU once when it went out (see the source for why).
void FTM_sendPacket(const uint8_t* bytes, int length);
// ERROR packet: the code and the message (cut at 511 characters; null = empty).
void FTM_sendError(uint16_t code, const char* message);
// DATA packet with count (0 to 512) bytes. Returns 0.
int FTM_sendData(const uint8_t* bytes, int count, uint16_t block);
// ACK packet. Returns 0.
int FTM_sendAck(uint16_t block);

// Waits about 3 s for one DATA packet: 0 with its block, length and data
// (room for 512 bytes); -1 when the datagram taken is not a DATA packet;
// -2 on time-out.
int FTM_getData(uint8_t* destination, uint16_t* length, uint16_t* block);
// Waits about 3.25 s for one ACK packet: 0 with its block; -2 on time-out.
int FTM_getAck(uint16_t* block);

#endif  // FTM_TFTP_TFTP_PACKET_H_
