/// One running browser and the invocations in it.
#ifndef WORKSTATION_BROWSER_ENGINE_BROWSER_H
#define WORKSTATION_BROWSER_ENGINE_BROWSER_H

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "workstation/browser/browser_control.h"
#include "workstation/browser/engine/files/file_server.h"
#include "workstation/browser/engine/files/recent_names.h"
#include "workstation/browser/engine/page/invocation.h"
#include "workstation/browser/engine/process/browser_loan.h"
#include "workstation/browser/engine/process/chromium_process.h"
#include "workstation/browser/engine/process/profile_directory.h"

namespace workstation {

/// Why a call about an invocation that is none fails.
inline constexpr char kNoInvocation[] = "there is no such invocation";

/// The public members may be called from any thread but the connection's; the browser's state is
/// that thread's alone.
class Browser final : private InvocationHost {
 public:
  /// Starts a browser without waiting until it answers. One with a window has it in that shape, and
  /// serves one invocation. Null, with the reason in `error`, on failure.
  static std::unique_ptr<Browser> start(const BrowserOptions& options, const std::string& terminal,
                                        const WindowShape& shape, std::string& error);

  /// Ends the browser, and with it its invocations, and removes its profile.
  ~Browser();

  /// Opens an invocation. False when the browser has ended; the invocation then has not begun.
  bool open(std::shared_ptr<InvocationOutcome> outcome, std::shared_ptr<CallQueue> queue,
            const InvocationPlan& plan);

  /// Ends an invocation if it still runs.
  void cancel(int invocation);

  /// False, with the reason in `error`, when no picture could be taken.
  bool takeScreenshot(int invocation, std::string& png, std::string& error);

  /// Gives a page a command, see commandPage.
  bool command(int invocation, const std::string& method, const std::string& params,
               std::string& result, std::string& error);

  bool showDeveloperTools(int invocation, std::string& error);

  std::unique_ptr<DebugTool> openDebugTool(int invocation, DebugScope scope,
                                           const DebugListener& listener, std::string& error);

  bool isHeadless() const { return headless_; }
  bool hasEnded() const { return ended_; }

  /// Why open() has failed. Not for several threads at once.
  std::string whyEnded();

 private:
  Browser() = default;

  bool startProcess(const BrowserOptions& options, const std::string& terminal,
                    const WindowShape& shape, std::string& error);
  bool connect(UniqueFd commands, UniqueFd events, int firstId);

  void addContext(const std::string& context, Invocation& invocation) override;
  void addSession(const std::string& session, Invocation& invocation) override;
  void addFrame(const std::string& frame, Invocation& invocation) override;
  void removeFrame(const std::string& frame) override;
  void remove(Invocation& invocation) override;

  void onEvent(const CdpEvent& event);
  void onClosed();
  void onTargetEvent(const std::string& method, const JsonValue& params);
  void onWindow(const JsonValue& targetInfo);
  void onRequestPaused(const JsonValue& params);
  bool answerCall(Invocation* owner, const std::string& path, const std::string& requestId);
  void refuseRequest(const JsonValue& params, const std::string& url, Invocation* owner);
  Invocation* find(int invocation);
  using PageRequest = std::function<void(Invocation& page, Invocation::PageHandler handler)>;
  bool ask(int invocation, const PageRequest& request, std::string& result, std::string& error);
  Invocation* ownerOfRequest(const JsonValue& params, const std::string& host);

  std::unique_ptr<BrowserLoan> loan_;  // or what follows
  std::unique_ptr<ProfileDirectory> profile_;
  std::unique_ptr<ChromiumProcess> process_;
  std::shared_ptr<CdpConnection> connection_;
  std::unique_ptr<FileServer> files_;
  bool headless_ = true;
  std::atomic<bool> ended_{false};
  std::string whyEnded_;  // set by the connection's thread as it ends

  // The connection's thread's.
  std::map<int, std::shared_ptr<Invocation>> invocations_;
  std::string windowContext_, windowTarget_;  // of the browser's window, where it has one
  std::map<std::string, Invocation*> contexts_, sessions_, frames_;
  RecentNames goneFrames_{4096};  // of invocations that have ended
};

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_ENGINE_BROWSER_H
