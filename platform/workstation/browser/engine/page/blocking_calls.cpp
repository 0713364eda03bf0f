#include "workstation/browser/engine/page/blocking_calls.h"

#include <cstddef>

namespace workstation {
namespace {

// One for each frame is all that a page can need.
constexpr std::size_t kMostCalls = 256;

}  // namespace

void BlockingCalls::begin(long long id) { calls_.try_emplace(id); }

std::optional<BlockingCalls::Answer> BlockingCalls::addReply(long long id,
                                                             const std::string& body) {
  const auto call = calls_.find(id);
  if (call == calls_.end()) return std::nullopt;
  call->second.body = body;
  return takeIfComplete(call);
}

std::optional<BlockingCalls::Answer> BlockingCalls::addRequest(long long id,
                                                               const std::string& requestId,
                                                               bool& accepted) {
  const bool known = calls_.find(id) != calls_.end();
  accepted = known || calls_.size() < kMostCalls;
  if (!accepted) return std::nullopt;
  const auto call = calls_.try_emplace(id).first;
  // A second request for the same reply is not the script's; it takes the first one's place.
  call->second.requestId = requestId;
  return takeIfComplete(call);
}

std::optional<BlockingCalls::Answer> BlockingCalls::takeIfComplete(
    std::map<long long, Call>::iterator call) {
  if (!call->second.requestId || !call->second.body) return std::nullopt;
  Answer answer{*call->second.requestId, *call->second.body};
  calls_.erase(call);
  return answer;
}

bool BlockingCalls::isHeld() const {
  for (const auto& [id, call] : calls_) {
    if (call.requestId) return true;
  }
  return false;
}

}  // namespace workstation
