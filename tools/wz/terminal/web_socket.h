/// What the servers of WebSockets (RFC 6455) have in common: CivetWeb gives frames and their bits,
/// they want messages.
#ifndef WZ_TERMINAL_WEB_SOCKET_H
#define WZ_TERMINAL_WEB_SOCKET_H

#include <cstddef>
#include <string>

struct mg_connection;

namespace wz {

/// The text messages that come over one connection. For the connection's thread.
class IncomingTexts {
 public:
  enum class Step {
    kGoOn,     ///< a part of a message, or a frame that is none of a text
    kMessage,  ///< take() has one
    kClose     ///< the other side goes, or has sent too much: the connection is to be closed
  };

  /// \param largest  octets of a message.
  explicit IncomingTexts(std::size_t largest) : largest_(largest) {}

  /// What CivetWeb's handler for data is given.
  [[nodiscard]] Step add(int bits, const char* data, std::size_t size);

  /// The message that is complete; once.
  [[nodiscard]] std::string take();

 private:
  std::size_t largest_;
  std::string message_;  // as much of one as has come
};

/// Sends a whole message in one frame. False: the connection is no more.
[[nodiscard]] bool sendText(mg_connection* connection, const std::string& message);
[[nodiscard]] bool sendBinary(mg_connection* connection, const std::string& message);

/// Says that this side goes away (1001). False: the connection is no more.
bool sendGoodbye(mg_connection* connection);

}  // namespace wz

#endif  // WZ_TERMINAL_WEB_SOCKET_H
