/// Values of JSON with placeholders, and conditions on values.
///
/// A placeholder stands in a text between {{ and }}. It names a member of what a notification
/// carries by the path to it ("card.number", "items.0.id"), or something about the notification:
/// $from, $to, $name, $flags, $payload, and $count, the number of notifications that its rule has
/// answered, this one included. A text that is one placeholder becomes the value itself; inside of
/// a longer text a value stands as text, a missing one as nothing.
#ifndef WZ_HOST_REPLY_TEMPLATE_H
#define WZ_HOST_REPLY_TEMPLATE_H

#include <string>

#include "zelipc/zelipc.h"

namespace wz {

/// What placeholders stand for.
struct TemplateValues {
  std::string from, to, name;
  unsigned flags = 0;
  zelipc::JSObject payload;
  long long count = 0;
};

/// A copy of `value` in which every placeholder has been replaced.
[[nodiscard]] zelipc::JSObject filledIn(const zelipc::JSObject& value,
                                        const TemplateValues& values);

/// Whether `payload` meets a condition as host files have them ("when", host.schema.json).
[[nodiscard]] bool meets(const zelipc::JSObject& condition, const zelipc::JSObject& payload);

/// Why a condition cannot be used, for its regular expressions; empty when it can.
[[nodiscard]] std::string whyNoCondition(const zelipc::JSObject& condition);

}  // namespace wz

#endif  // WZ_HOST_REPLY_TEMPLATE_H
