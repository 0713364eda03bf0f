#include "workstation/browser/engine/protocol/message_framing.h"

#include <utility>

namespace workstation {

void MessageFraming::keep(std::string_view part) {
  if (dropping_) return;
  if (part.size() > limit_ - partial_.size()) {
    dropping_ = true;
    std::string().swap(partial_);
    return;
  }
  partial_ += part;
}

void MessageFraming::feed(std::string_view octets,
                          const std::function<void(std::string&&)>& onMessage) {
  for (std::size_t end; (end = octets.find('\0')) != std::string_view::npos;) {
    keep(octets.substr(0, end));
    octets.remove_prefix(end + 1);
    std::string message = std::exchange(partial_, std::string());
    if (!std::exchange(dropping_, false)) onMessage(std::move(message));
  }
  keep(octets);
}

}  // namespace workstation
