#include "wz/terminal/web_socket.h"

#include <civetweb.h>

#include <utility>

namespace wz {
namespace {

bool sendFrame(mg_connection* connection, int opcode, const char* data, std::size_t size) {
  return mg_websocket_write(connection, opcode, data, size) > 0;
}

}  // namespace

IncomingTexts::Step IncomingTexts::add(int bits, const char* data, std::size_t size) {
  constexpr int kLast = 0x80, kOpcode = 0x0F;  // RFC 6455, 5.2
  const int opcode = bits & kOpcode;
  if (opcode == MG_WEBSOCKET_OPCODE_CONNECTION_CLOSE) return Step::kClose;
  if (opcode != MG_WEBSOCKET_OPCODE_TEXT && opcode != MG_WEBSOCKET_OPCODE_CONTINUATION) {
    return Step::kGoOn;
  }
  if (size > largest_ - message_.size()) return Step::kClose;
  message_.append(data, size);
  return (bits & kLast) != 0 ? Step::kMessage : Step::kGoOn;
}

std::string IncomingTexts::take() { return std::exchange(message_, {}); }

bool sendText(mg_connection* connection, const std::string& message) {
  return sendFrame(connection, MG_WEBSOCKET_OPCODE_TEXT, message.data(), message.size());
}

bool sendBinary(mg_connection* connection, const std::string& message) {
  return sendFrame(connection, MG_WEBSOCKET_OPCODE_BINARY, message.data(), message.size());
}

bool sendGoodbye(mg_connection* connection) {
  constexpr char kGoingAway[] = {'\x03', '\xE9'};  // 1001 (RFC 6455, 7.4.1)
  return sendFrame(connection, MG_WEBSOCKET_OPCODE_CONNECTION_CLOSE, kGoingAway, sizeof kGoingAway);
}

}  // namespace wz
