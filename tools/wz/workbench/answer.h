/// A question of a page, and how it is answered: once, now or later.
#ifndef WZ_WORKBENCH_ANSWER_H
#define WZ_WORKBENCH_ANSWER_H

#include <memory>
#include <string>
#include <vector>

#include "wz/workbench/page_socket.h"
#include "zelipc/zelipc.h"

namespace wz {

/// For the loop's thread. Copies answer the same question.
class Answer {
 public:
  /// \param id  as the question has it, JSON text.
  Answer(const std::shared_ptr<PageSocket>& page, std::string id);

  void done() const { done(zelipc::JSObject()); }
  void done(const zelipc::JSObject& result) const;
  /// \param result  JSON text.
  void doneWith(const std::string& result) const;
  void failed(const std::string& error) const;

  /// Who asked; null when it has gone.
  [[nodiscard]] std::shared_ptr<PageSocket> page() const { return page_.lock(); }

 private:
  void put(const std::string& rest) const;

  std::weak_ptr<PageSocket> page_;
  std::string id_;
};

/// "" or an error: what is wrong with a question.
using Problem = std::string;

/// An object that has a text for `key`, and nothing else: {"name": "..."}.
[[nodiscard]] zelipc::JSObject objectWith(const std::string& key, const std::string& value);
[[nodiscard]] zelipc::JSObject listOf(const std::vector<std::string>& texts);
[[nodiscard]] std::vector<std::string> textsOf(const zelipc::JSObject& list);

}  // namespace wz

#endif  // WZ_WORKBENCH_ANSWER_H
