/// Frames of the remote-debugging pipe: JSON texts, each ended by one NUL octet.
#ifndef WORKSTATION_BROWSER_ENGINE_MESSAGE_FRAMING_H
#define WORKSTATION_BROWSER_ENGINE_MESSAGE_FRAMING_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace workstation {

/// Cuts a stream of octets into messages. For one thread.
class MessageFraming {
 public:
  /// \param limit  a longer message is dropped without being kept; a page can cause one of any
  /// size.
  explicit MessageFraming(std::size_t limit) : limit_(limit) {}

  /// Takes the next octets of the stream and hands over each message that they complete.
  void feed(std::string_view octets, const std::function<void(std::string&&)>& onMessage);

 private:
  void keep(std::string_view part);

  std::size_t limit_;
  std::string partial_;
  bool dropping_ = false;
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_MESSAGE_FRAMING_H
