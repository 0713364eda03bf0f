// The id of an application, which names its directories in every root.
#ifndef WZAPP_SUPPORT_APP_ID_H
#define WZAPP_SUPPORT_APP_ID_H

#include <string_view>

namespace wzapp {

// Whether `id` is one plain name, such that a path made of it stays in the directory that it is
// joined to: not "." or "..", without "/", "\" and zero octet, and no volume, which ends in ":".
// Any other id names no application. The empty one is plain: it stands for none.
[[nodiscard]] bool isPlainAppId(std::string_view id);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_APP_ID_H
