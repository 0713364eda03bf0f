/// What pages of the workbench see of a run: its pictures, as many as the fastest of them looks at.
#ifndef WZ_WORKBENCH_PAGE_VIEW_H
#define WZ_WORKBENCH_PAGE_VIEW_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "wz/workbench/debug_session.h"
#include "wz/workbench/loop.h"
#include "wz/workbench/pages.h"

namespace wz {

/// For the loop's thread.
class PageView {
 public:
  /// \param run  the number by which pages know it.
  PageView(Loop& loop, Pages& pages, std::uint32_t run) : loop_(loop), pages_(pages), run_(run) {}

  /// The run's page is there; its debugging socket is at `url`.
  void open(const std::string& url);

  /// It has ended.
  void close();

  [[nodiscard]] bool isOpen() const { return session_ != nullptr; }

  /// Who looks gets the last picture at once, and those that come.
  void look(const SharedPage& page, bool on);
  void forget(const SharedPage& page);

  /// A page has seen a picture.
  void seen(const SharedPage& page, std::uint32_t frame);

  /// A command of the DevTools protocol; only while it is open.
  void send(const std::string& method, const zelipc::JSObject& params,
            DebugSession::Result onResult = nullptr);

 private:
  void start();
  void show(const std::string& jpeg, unsigned width, unsigned height, long long number);

  Loop& loop_;
  Pages& pages_;
  const std::uint32_t run_;
  std::unique_ptr<DebugSession> session_;
  std::set<std::weak_ptr<PageSocket>, std::owner_less<>> lookers_;
  SharedFrame frame_;         // the last picture
  std::uint32_t frames_ = 0;  // so far
  std::uint32_t known_ = 0;   // the last of which the browser knows that it was seen
  long long series_ = 0;      // the browser's number of these pictures
};

}  // namespace wz

#endif  // WZ_WORKBENCH_PAGE_VIEW_H
