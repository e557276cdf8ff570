// The benchmark's timed station: downloads over loopback, their times taken
// in compiled code so that the figures are the servers' and not an
// interpreter's. Built with the host preset; tftp_bench.py keeps one
// running, as a station would be.
//
//   tftp_station OUTPUT
//
// Reads "PORT NAME" lines on standard input. For each, sends an RRQ for NAME
// to 127.0.0.1:PORT, follows the server to the port it answers from,
// acknowledges every DATA block and writes the file to OUTPUT; then prints
// one line: the request time, then the time of each DATA received and each
// ACK sent, in turn (CLOCK_MONOTONIC seconds), or "error" on an ERROR packet,
// a block out of order or a time-out.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

namespace {

double Now() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// One download; false on an ERROR packet, a block out of order or silence.
bool Download(int sock, int port, const char* name, const char* output,
              std::vector<double>* times) {
  sockaddr_in server = {};
  server.sin_family = AF_INET;
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  server.sin_port = htons(static_cast<uint16_t>(port));
  unsigned char request[600] = {0, 1};
  const size_t nameLength = std::strlen(name);
  if (nameLength > 500) return false;
  std::memcpy(request + 2, name, nameLength + 1);
  std::memcpy(request + 3 + nameLength, "octet", 6);
  times->assign(1, Now());
  sendto(sock, request, 9 + nameLength, 0, reinterpret_cast<sockaddr*>(&server), sizeof server);

  std::vector<unsigned char> content;
  unsigned char packet[1024];
  for (unsigned block = 1;; ++block) {
    sockaddr_in peer;
    socklen_t peerLength = sizeof peer;
    const ssize_t count =
        recvfrom(sock, packet, sizeof packet, 0, reinterpret_cast<sockaddr*>(&peer), &peerLength);
    times->push_back(Now());
    if (count < 4 || packet[1] != 3 ||
        static_cast<unsigned>(packet[2] << 8 | packet[3]) != (block & 0xffff)) {
      return false;
    }
    content.insert(content.end(), packet + 4, packet + count);
    const unsigned char ack[4] = {0, 4, packet[2], packet[3]};
    sendto(sock, ack, sizeof ack, 0, reinterpret_cast<sockaddr*>(&peer), peerLength);
    times->push_back(Now());
    if (count < 516) break;
  }
  FILE* out = std::fopen(output, "wb");
  if (out == nullptr) return false;
  const bool written = std::fwrite(content.data(), 1, content.size(), out) == content.size();
  return std::fclose(out) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: tftp_station OUTPUT\n");
    return 2;
  }
  const int sock = socket(AF_INET, SOCK_DGRAM, 0);
  const timeval limit = {10, 0};
  setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  int port;
  char name[512];
  std::vector<double> times;
  while (std::scanf("%d %511s", &port, name) == 2) {
    if (Download(sock, port, name, argv[1], &times)) {
      for (size_t i = 0; i < times.size(); ++i) std::printf(i ? " %.9f" : "%.9f", times[i]);
      std::printf("\n");
    } else {
      std::printf("error\n");
    }
    std::fflush(stdout);
  }
  close(sock);
  return 0;
}
