#include "wz/terminal/server_stop.h"

#include <arpa/inet.h>
#include <civetweb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace wz {
namespace {

// Somebody comes and goes.
void visit(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (socket < 0) return;
  (void)connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  close(socket);
}

}  // namespace

// The server sees that it is to stop when somebody comes.
void stopServer(mg_context* context, int port) {
  constexpr std::chrono::milliseconds kPause{10};
  std::atomic<bool> isStopped{false};
  std::thread visitor([&] {
    for (; !isStopped; std::this_thread::sleep_for(kPause)) visit(port);
  });
  mg_stop(context);
  isStopped = true;
  visitor.join();
}

}  // namespace wz
